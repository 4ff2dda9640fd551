#pragma once

#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace tavrin {

// A decoding failure of one field or row; its message is what the load reports.
class CSVDecodeError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// The exports' CSV: comma-separated, rows ending in a line feed (a carriage return before it is
// dropped), fields optionally quoted with '"' so that they may hold commas, line feeds and doubled
// quotes. Every field is trimmed of blanks and tabs. The first row names the columns.
class CSVTable {
public:
    // Never throws: arbitrary bytes give some table.
    static CSVTable parse(std::string_view text);

    const std::vector<std::string>& header() const { return header_; }
    const std::vector<std::vector<std::string>>& rows() const { return rows_; }
    // Header names that occur more than once, in first-seen order.
    std::vector<std::string> duplicateHeaders() const;

    // Reads column `name` of row `row` (the first column of that name). No value when the
    // column does not exist or the row is too short.
    std::optional<std::string> field(std::size_t row, std::string_view name) const;

private:
    std::vector<std::string> header_;
    std::vector<std::vector<std::string>> rows_;
    std::map<std::string, std::size_t, std::less<>> columns_;
};

// Field decoders that throw CSVDecodeError.
std::string decodeString(const CSVTable& table, std::size_t row, std::string_view name);
std::optional<std::string> decodeOptionalString(const CSVTable& table, std::size_t row, std::string_view name);
std::int64_t decodeInteger(const CSVTable& table, std::size_t row, std::string_view name);
std::optional<std::int64_t> decodeOptionalInteger(const CSVTable& table, std::size_t row, std::string_view name);
// True for "true", "yes", "1", "y"; false for "false", "no", "0", "n", "" and a missing column;
// any other text fails with "Invalid boolean value: " and the text, lower-cased.
bool decodeBool(const CSVTable& table, std::size_t row, std::string_view name);

} // namespace tavrin
