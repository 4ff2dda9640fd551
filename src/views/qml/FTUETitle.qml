import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// A first-run screen's title, centred.
Label {
    required property var viewModel
    Layout.alignment: Qt.AlignHCenter
    font.pixelSize: viewModel.fonts.largeTitle
    font.bold: true
    color: palette.windowText
    Accessible.role: Accessible.Heading
    Accessible.name: text
}
