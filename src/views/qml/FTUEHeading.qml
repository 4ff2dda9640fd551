import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// The heading of a group of choices or permissions on a first-run screen.
Label {
    required property var viewModel
    font.pixelSize: viewModel.fonts.headline
    font.bold: true
    color: palette.windowText
    bottomPadding: 6 * viewModel.layoutScale
    Accessible.role: Accessible.StaticText
    Accessible.name: text
}
