import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// The first-run flow. Until its screens are here, it says how to set Tavrin up from a terminal.
Item {
    id: view

    Rectangle {
        anchors.fill: parent
        gradient: Gradient {
            orientation: Gradient.Vertical
            GradientStop { position: 0; color: Qt.rgba(0.20, 0.40, 0.95, 0.35) }
            GradientStop { position: 1; color: Qt.rgba(0.55, 0.25, 0.85, 0.35) }
        }
    }

    ColumnLayout {
        anchors.centerIn: parent
        width: Math.min(parent.width - 80, 560)
        spacing: 16

        Label {
            Layout.fillWidth: true
            text: "Welcome to Tavrin"
            font.pixelSize: 32
            font.bold: true
            horizontalAlignment: Text.AlignHCenter
            Accessible.role: Accessible.Heading
            Accessible.name: text
        }
        Label {
            Layout.fillWidth: true
            text: "The first-run screens are not part of this version yet. To set Tavrin up, quit it from its menu, run <tt>tavrin setup</tt> in a terminal, then start Tavrin again."
            textFormat: Text.StyledText
            wrapMode: Text.Wrap
            horizontalAlignment: Text.AlignHCenter
            font.pixelSize: 16
            Accessible.role: Accessible.StaticText
            Accessible.name: "The first-run screens are not part of this version yet. To set Tavrin up, quit it from its menu, run tavrin setup in a terminal, then start Tavrin again."
        }
    }
}
