import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// A translucent panel with its title above what it holds.
Rectangle {
    id: panel
    required property var viewModel
    property string title
    default property alias content: holder.data
    readonly property real u: viewModel.layoutScale
    radius: 12 * u
    color: Qt.rgba(palette.base.r, palette.base.g, palette.base.b, 0.6)
    implicitWidth: 480 * u
    implicitHeight: column.implicitHeight + 32 * u
    Accessible.role: Accessible.Grouping
    Accessible.name: title
    Column {
        id: column
        anchors.fill: parent
        anchors.margins: 16 * panel.u
        spacing: 10 * panel.u
        Label {
            text: panel.title
            font.pixelSize: panel.viewModel.fonts.title3
            font.bold: true
            color: palette.windowText
        }
        Item { id: holder; width: parent.width; height: childrenRect.height }
    }
}
