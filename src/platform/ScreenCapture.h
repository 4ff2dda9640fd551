#pragma once

#include <cstddef>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "foundation/Image.h"

namespace tavrin {

// Whole screen pixels.
struct PixelSize {
    int width = 0;
    int height = 0;
    bool operator==(const PixelSize&) const = default;
};

// A rectangle of screen pixels, origin at the top left of the display.
struct PixelRect {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;
    bool operator==(const PixelRect&) const = default;
};

// What may be captured: the displays, main display first, and how many windows they show.
struct ShareableContent {
    std::vector<PixelSize> displays;
    std::size_t windowCount = 0;
};

// Listing the shareable content failed. `code` is set when the capture service itself refused,
// with one of the codes below or another of its own; any other failure has none.
class ScreenAccessError : public std::runtime_error {
public:
    static constexpr int userDeclined = -3801;
    static constexpr int failedToStart = -3802;
    static constexpr int missingEntitlements = -3803;

    explicit ScreenAccessError(const std::string& description, std::optional<int> code = std::nullopt)
        : std::runtime_error(description), code(code) {}

    std::optional<int> code;
};

// Reads the screen for the picture around a click. Implementations serialise their own calls, so
// any thread may call them.
class ScreenCapture {
public:
    virtual ~ScreenCapture() = default;

    // Whether this program may read the screen. Never asks the user.
    virtual bool hasPermission() const = 0;

    // The displays and windows that may be captured. Where the system guards the screen, the
    // first call makes it ask the user. Throws ScreenAccessError.
    virtual ShareableContent shareableContent() = 0;

    // The pixels of `area` of the main display (which must lie inside it), scaled to `size`,
    // without the pointer. Blocks while it reads; throws std::runtime_error with a sentence.
    virtual Image capture(PixelRect area, PixelSize size) = 0;
};

} // namespace tavrin
