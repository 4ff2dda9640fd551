import QtQuick
// IconImage is the Controls' own tinted SVG image (what Button.icon draws with): it recolours
// the single-colour files at any size, on the software scene graph too, without a C++ image
// provider. Its module has no public-API promise; Qt 6.4 is pinned by the distribution.
import QtQuick.Controls.impl as Impl

// The named image `symbol` (see views/presenters/Icons.h), `size` pixels square, drawn in `color`.
// A transparent colour keeps the file's own colours ("AppIcon"); an unknown name shows nothing.
Impl.IconImage {
    id: icon
    property string symbol
    property real size: 16

    width: size
    height: size
    sourceSize: Qt.size(size, size)
    fillMode: Image.PreserveAspectFit
    source: symbol.length > 0 ? Qt.resolvedUrl("icons/" + symbol + ".svg") : ""
    color: palette.windowText
    Accessible.ignored: true
}
