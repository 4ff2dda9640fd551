#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "foundation/Image.h"

namespace tavrin {

// Writes the picture as an 8-bit RGB PNG file (alpha is dropped: screen pictures are opaque).
// No value on success; else the reason, and no file is left behind.
std::optional<std::string> writePng(const Image& image, const std::filesystem::path& file);

} // namespace tavrin
