#include "database/CSVReader.h"

#include <algorithm>
#include <charconv>

#include "foundation/Text.h"

namespace tavrin {

CSVTable CSVTable::parse(std::string_view text) {
    std::vector<std::vector<std::string>> records;
    std::vector<std::string> record;
    std::string field;
    bool quoted = false, fieldStarted = false;
    auto endField = [&] {
        record.push_back(trimmed(field));
        field.clear();
        fieldStarted = false;
    };
    auto endRecord = [&] {
        endField();
        if (!(record.size() == 1 && record[0].empty()))
            records.push_back(std::move(record));
        record.clear();
    };
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (quoted) {
            if (c == '"') {
                if (i + 1 < text.size() && text[i + 1] == '"') {
                    field.push_back('"');
                    ++i;
                } else {
                    quoted = false;
                }
            } else {
                field.push_back(c);
            }
            continue;
        }
        if (c == '"' && !fieldStarted) {
            quoted = true;
            fieldStarted = true;
            field.clear(); // blanks before an opening quote are padding
        } else if (c == ',') {
            endField();
        } else if (c == '\n') {
            if (!field.empty() && field.back() == '\r')
                field.pop_back();
            endRecord();
        } else {
            field.push_back(c);
            if (c != ' ' && c != '\t')
                fieldStarted = true;
        }
    }
    if (!field.empty() || !record.empty() || quoted)
        endRecord();

    CSVTable table;
    if (records.empty())
        return table;
    table.header_ = std::move(records.front());
    for (std::size_t i = 0; i < table.header_.size(); ++i)
        table.columns_.emplace(table.header_[i], i); // the first of a repeated name wins
    table.rows_.assign(std::make_move_iterator(records.begin() + 1), std::make_move_iterator(records.end()));
    return table;
}

std::vector<std::string> CSVTable::duplicateHeaders() const {
    std::vector<std::string> duplicates;
    for (std::size_t i = 0; i < header_.size(); ++i) {
        const auto& name = header_[i];
        const bool repeated = std::count(header_.begin(), header_.end(), name) > 1;
        if (repeated && std::find(duplicates.begin(), duplicates.end(), name) == duplicates.end())
            duplicates.push_back(name);
    }
    return duplicates;
}

std::optional<std::string> CSVTable::field(std::size_t row, std::string_view name) const {
    const auto column = columns_.find(name);
    if (column == columns_.end() || row >= rows_.size() || column->second >= rows_[row].size())
        return std::nullopt;
    return rows_[row][column->second];
}

std::string decodeString(const CSVTable& table, std::size_t row, std::string_view name) {
    auto value = table.field(row, name);
    if (!value)
        throw CSVDecodeError("No value for key '" + std::string(name) + "' in row " + std::to_string(row + 1));
    return std::move(*value);
}

std::optional<std::string> decodeOptionalString(const CSVTable& table, std::size_t row, std::string_view name) {
    auto value = table.field(row, name);
    if (!value || value->empty())
        return std::nullopt;
    return value;
}

std::int64_t decodeInteger(const CSVTable& table, std::size_t row, std::string_view name) {
    const auto text = decodeString(table, row, name);
    std::int64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || text.empty())
        throw CSVDecodeError("Cannot read '" + text + "' as an integer for key '" + std::string(name) + "' in row " +
                             std::to_string(row + 1));
    return value;
}

std::optional<std::int64_t> decodeOptionalInteger(const CSVTable& table, std::size_t row, std::string_view name) {
    const auto text = table.field(row, name);
    if (!text || text->empty())
        return std::nullopt;
    return decodeInteger(table, row, name);
}

bool decodeBool(const CSVTable& table, std::size_t row, std::string_view name) {
    auto text = table.field(row, name);
    if (!text)
        return false;
    text = lowercased(*text);
    if (*text == "true" || *text == "yes" || *text == "1" || *text == "y")
        return true;
    if (*text == "false" || *text == "no" || *text == "0" || *text == "n" || text->empty())
        return false;
    throw CSVDecodeError("Invalid boolean value: " + *text);
}

} // namespace tavrin
