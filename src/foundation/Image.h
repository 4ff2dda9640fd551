#pragma once

#include <cstdint>
#include <memory>
#include <vector>

namespace tavrin {

// A captured picture, 8-bit RGBA rows top to bottom.
struct Image {
    int width = 0;
    int height = 0;
    std::vector<std::uint8_t> rgba;
};

// Images travel by reference and compare by identity.
using ImageRef = std::shared_ptr<const Image>;

} // namespace tavrin
