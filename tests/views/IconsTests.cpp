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

// Every named image has its file, a copy of the one it says it comes from (where the icon
// package is installed to compare), and a single-colour file can be tinted.
TEST(SymbolImages, EachNameHasItsShippedFile) {
    const fs::path shipped(TAVRIN_ICONS_DIR);
    const fs::path package("/usr/share/bootstrap-icons/svg");
    for (const SymbolImage& image : symbolImages()) {
        SCOPED_TRACE(std::string(image.name));
        const fs::path file = shipped / (std::string(image.name) + ".svg");
        ASSERT_TRUE(fs::exists(file));
        const std::string svg = contents(file);
        if (image.name != "AppIcon") {
            EXPECT_NE(svg.find("currentColor"), std::string::npos);
        }
        if (!image.origin.empty() && fs::exists(package)) {
            EXPECT_EQ(svg, contents(package / image.origin));
        }
    }
    EXPECT_EQ(symbolImagePath("no.such.image"), "");
    EXPECT_EQ(symbolImagePath(""), "");
}

} // namespace
} // namespace tavrin
