#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "views/presenters/Icons.h"

namespace tavrin {
namespace {

namespace fs = std::filesystem;

std::string contents(const fs::path& file) {
    std::ifstream in(file, std::ios::binary);
    std::ostringstream out;
    out << in.rdbuf();
    return out.str();
}

// Every named image has its shipped file, and a single-colour file can be tinted.
TEST(SymbolImages, EachNameHasItsShippedFile) {
    ASSERT_FALSE(symbolImages().empty());
    for (const SymbolImage& image : symbolImages()) {
        SCOPED_TRACE(std::string(image.name));
        const fs::path file = fs::path(TAVRIN_ICONS_DIR) / (std::string(image.name) + ".svg");
        ASSERT_TRUE(fs::exists(file));
        if (image.name != "AppIcon") {
            EXPECT_NE(contents(file).find("currentColor"), std::string::npos);
        }
    }
    EXPECT_EQ(symbolImagePath("no.such.image"), "");
    EXPECT_EQ(symbolImagePath(""), "");
}

} // namespace
} // namespace tavrin
