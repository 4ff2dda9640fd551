import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// The line under a first-run screen's title, centred, in the secondary colour.
Label {
    required property var viewModel
    Layout.alignment: Qt.AlignHCenter
    font.pixelSize: viewModel.fonts.title2
    color: palette.placeholderText
    Accessible.role: Accessible.StaticText
    Accessible.name: text
}
