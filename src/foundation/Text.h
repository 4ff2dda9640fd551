#pragma once

#include <string>
#include <string_view>

namespace tavrin {

// Text helpers on UTF-8, with Unicode's rules: names of applications and sites, window titles
// and key texts are compared and trimmed this way throughout. Bytes that are not UTF-8 are kept
// as they are by trimmed(), and read as U+FFFD by the others.

// Full lower case in the root locale: "ÉDITEUR" gives "éditeur", the Kelvin sign gives "k".
std::string lowercased(std::string_view text);

// Unicode white space (blanks, tabs, line breaks, no-break and other wide spaces).
bool isWhitespace(char32_t codePoint);

// `text` without white space at both ends.
std::string trimmed(std::string_view text);

// `text` in UTF-16, as ICU takes it, and back.
std::u16string toUtf16(std::string_view text);
std::string toUtf8(const std::u16string& text);

// The code points of `text`, in order.
std::u32string codePoints(std::string_view text);

} // namespace tavrin
