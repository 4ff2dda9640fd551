#pragma once

#include <span>
#include <string>
#include <string_view>

namespace tavrin {

// The named images the views show, and where each file comes from. The files live in
// src/resources/icons under the image's name ("bookmark.fill" is icons/bookmark.fill.svg in the
// QML module). Single-colour files draw in `currentColor`, so SymbolIcon can tint them for the
// light or dark palette; "AppIcon" keeps its own colours.
struct SymbolImage {
    std::string_view name;
    // The file of the bootstrap-icons package (/usr/share/bootstrap-icons/svg) it was copied
    // from; empty for the ones drawn for Tavrin.
    std::string_view origin;
};

// Every image, sorted by name.
std::span<const SymbolImage> symbolImages();

// The image's file relative to the QML module ("icons/pin.fill.svg"); empty for an unknown name,
// which the views show as an empty image.
std::string symbolImagePath(std::string_view name);

} // namespace tavrin
