import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// The cheat sheet. Until its cards are here: the application in front and its list, one line each.
Item {
    id: view
    property string place
    property var shortcuts: []

    ColumnLayout {
        anchors.fill: parent
        anchors.margins: 12
        spacing: 8

        Label {
            Layout.fillWidth: true
            Layout.rightMargin: 32 // room for the menu button
            text: view.place.length > 0 ? view.place : "Tavrin"
            font.pixelSize: 18
            font.bold: true
            elide: Text.ElideRight
            Accessible.role: Accessible.Heading
            Accessible.name: text
        }

        ListView {
            id: list
            Layout.fillWidth: true
            Layout.fillHeight: true
            clip: true
            spacing: 4
            model: view.shortcuts
            Accessible.role: Accessible.List
            Accessible.name: "Shortcuts"
            delegate: Rectangle {
                required property string modelData
                width: ListView.view.width
                height: 36
                radius: 6
                color: Qt.rgba(1, 0.85, 0.2, 0.25)
                Accessible.role: Accessible.ListItem
                Accessible.name: modelData
                Label {
                    anchors.fill: parent
                    anchors.leftMargin: 10
                    verticalAlignment: Text.AlignVCenter
                    text: parent.modelData
                    elide: Text.ElideRight
                }
            }
        }

        Label {
            visible: list.count === 0
            Layout.fillWidth: true
            text: "Click buttons and menus in your applications; their shortcuts appear here."
            wrapMode: Text.Wrap
            color: palette.placeholderText
            Accessible.role: Accessible.StaticText
            Accessible.name: text
        }
    }
}
