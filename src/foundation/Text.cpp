#include "foundation/Text.h"

#include <algorithm>

#include <unicode/uchar.h>
#include <unicode/ustring.h>
#include <unicode/utf8.h>

namespace tavrin {

namespace {

bool isAscii(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

} // namespace

std::u16string toUtf16(std::string_view text) {
    UErrorCode status = U_ZERO_ERROR;
    int32_t length = 0;
    u_strFromUTF8WithSub(nullptr, 0, &length, text.data(), static_cast<int32_t>(text.size()), 0xFFFD, nullptr, &status);
    std::u16string out(static_cast<std::size_t>(length), u'\0');
    status = U_ZERO_ERROR;
    u_strFromUTF8WithSub(out.data(), length, nullptr, text.data(), static_cast<int32_t>(text.size()), 0xFFFD, nullptr,
                         &status);
    return U_SUCCESS(status) ? out : std::u16string();
}

std::string toUtf8(const std::u16string& text) {
    UErrorCode status = U_ZERO_ERROR;
    int32_t length = 0;
    u_strToUTF8WithSub(nullptr, 0, &length, text.data(), static_cast<int32_t>(text.size()), 0xFFFD, nullptr, &status);
    std::string out(static_cast<std::size_t>(length), '\0');
    status = U_ZERO_ERROR;
    u_strToUTF8WithSub(out.data(), length, nullptr, text.data(), static_cast<int32_t>(text.size()), 0xFFFD, nullptr,
                       &status);
    return U_SUCCESS(status) ? out : std::string();
}

std::u32string codePoints(std::string_view text) {
    std::u32string out;
    const auto size = static_cast<int32_t>(text.size());
    for (int32_t at = 0; at < size;) {
        UChar32 c = 0;
        U8_NEXT(text.data(), at, size, c);
        out.push_back(c < 0 ? U'\uFFFD' : static_cast<char32_t>(c));
    }
    return out;
}

std::string lowercased(std::string_view text) {
    if (isAscii(text)) {
        std::string out(text);
        std::transform(out.begin(), out.end(), out.begin(),
                       [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
        return out;
    }
    const auto source = toUtf16(text);
    UErrorCode status = U_ZERO_ERROR;
    const int32_t length = u_strToLower(nullptr, 0, source.data(), static_cast<int32_t>(source.size()), "", &status);
    std::u16string lower(static_cast<std::size_t>(length), u'\0');
    status = U_ZERO_ERROR;
    u_strToLower(lower.data(), length, source.data(), static_cast<int32_t>(source.size()), "", &status);
    return U_SUCCESS(status) ? toUtf8(lower) : std::string(text);
}

bool isWhitespace(char32_t codePoint) {
    return u_isUWhiteSpace(static_cast<UChar32>(codePoint));
}

std::string trimmed(std::string_view text) {
    const auto size = static_cast<int32_t>(text.size());
    int32_t begin = 0;
    while (begin < size) {
        int32_t next = begin;
        UChar32 c = 0;
        U8_NEXT(text.data(), next, size, c);
        if (c < 0 || !u_isUWhiteSpace(c))
            break;
        begin = next;
    }
    int32_t end = size;
    while (end > begin) {
        int32_t previous = end;
        UChar32 c = 0;
        U8_PREV(text.data(), begin, previous, c);
        if (c < 0 || !u_isUWhiteSpace(c))
            break;
        end = previous;
    }
    return std::string(text.substr(static_cast<std::size_t>(begin), static_cast<std::size_t>(end - begin)));
}

} // namespace tavrin
