#include "app/PictureFile.h"

#include <png.h>
#include <vector>

namespace tavrin {

std::optional<std::string> writePng(const Image& image, const std::filesystem::path& file) {
    const auto pixels = static_cast<std::size_t>(image.width) * image.height;
    if (image.width <= 0 || image.height <= 0 || image.rgba.size() != pixels * 4)
        return "the picture is empty";
    std::vector<std::uint8_t> rgb(pixels * 3);
    for (std::size_t i = 0; i < pixels; ++i)
        for (int c = 0; c < 3; ++c)
            rgb[i * 3 + c] = image.rgba[i * 4 + c];
    // libpng's simplified interface reports errors in the structure (no longjmp) and removes a
    // partly written file.
    png_image png{};
    png.version = PNG_IMAGE_VERSION;
    png.width = static_cast<png_uint_32>(image.width);
    png.height = static_cast<png_uint_32>(image.height);
    png.format = PNG_FORMAT_RGB;
    if (!png_image_write_to_file(&png, file.c_str(), 0, rgb.data(), image.width * 3, nullptr)) {
        std::string reason = png.message;
        png_image_free(&png);
        return reason;
    }
    return std::nullopt;
}

} // namespace tavrin
