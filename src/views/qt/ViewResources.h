#pragma once

namespace tavrin {

// Where the QML module puts its files among the resources ("qrc:" + this + "RootView.qml"). Qt
// 6.4 places module Tavrin.Views at /Tavrin/Views/; later versions default to /qt/qml/...
inline constexpr const char kViewsResourceRoot[] = ":/Tavrin/Views/";

} // namespace tavrin
