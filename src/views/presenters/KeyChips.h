#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/PlatformProfile.h"

namespace tavrin {

// One key of a shortcut as a small chip: a named image (see Icons.h) or a short text.
struct KeyChip {
    std::string image; // empty when the chip shows text
    std::string text;  // what the chip says, or the key's name for an image chip
    bool operator==(const KeyChip&) const = default;
};

// A key name as its chip. The name is matched lower-cased: first the image table ("command",
// "esc", the arrows, ...), then the text table ("control" as "Ctrl", "slash" as "/", ...), else
// the name in upper case ("f5" as "F5"). Profiles other than macOS show the canonical "command"
// and "option" by their keyboard's labels (the Linux one: "Super" and "Alt").
KeyChip keyChip(std::string_view keyName, const PlatformProfile& profile);

// The chips of a canonical key text, split at every " + ": "control + t" gives two chips.
// An empty text gives none.
std::vector<KeyChip> keyChips(std::string_view shortcutKeys, const PlatformProfile& profile);

// `text` in upper case by Unicode's rules, in the root locale.
std::string uppercased(std::string_view text);

} // namespace tavrin
