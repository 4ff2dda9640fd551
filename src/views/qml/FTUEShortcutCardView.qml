import QtQuick
import QtQuick.Layouts

// A browser shortcut of the practice panel. The one to practise is highlighted in yellow and its
// keys pulse.
Rectangle {
    id: card
    required property var viewModel
    property string name
    property string keys
    property bool isHighlighted: false
    readonly property real u: viewModel.layoutScale
    // Dark text on the yellow highlight; the palette's text on the translucent gray.
    readonly property color foreground: isHighlighted ? "#1b1b1b" : palette.windowText

    width: 250 * u
    implicitHeight: 40 * u
    radius: 8 * u
    color: isHighlighted ? "#ffd60a" : Qt.rgba(0.5, 0.5, 0.5, 0.3)
    Accessible.role: Accessible.StaticText
    Accessible.name: name + ": " + keys

    RowLayout {
        anchors.fill: parent
        anchors.leftMargin: 12 * card.u
        anchors.rightMargin: 12 * card.u
        Text {
            text: card.name
            font.pixelSize: card.viewModel.fonts.body
            font.bold: true
            color: card.foreground
            elide: Text.ElideRight
            Layout.fillWidth: true
        }
        Text {
            id: keysText
            text: card.keys
            font.pixelSize: card.viewModel.fonts.footnote
            color: card.foreground
            opacity: 0.75
            property real pulse: 1
            scale: pulse
            SequentialAnimation on pulse {
                running: card.isHighlighted && card.visible
                loops: Animation.Infinite
                onRunningChanged: if (!running) keysText.pulse = 1
                NumberAnimation { to: 1.25; duration: 1000; easing.type: Easing.InOutQuad }
                NumberAnimation { to: 1; duration: 1000; easing.type: Easing.InOutQuad }
            }
        }
    }
}
