import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// What the cheat sheet shows while nothing is recommended: a greeting and what Tavrin does.
Rectangle {
    id: panel
    property var colors

    color: Qt.rgba(palette.windowText.r, palette.windowText.g, palette.windowText.b, 0.05)
    Accessible.role: Accessible.Pane
    Accessible.name: "Welcome to Tavrin"

    ColumnLayout {
        anchors.fill: parent
        anchors.margins: 24
        spacing: 8

        RowLayout {
            Layout.topMargin: 12
            Layout.alignment: Qt.AlignHCenter
            Layout.maximumWidth: parent.width
            spacing: 10
            SymbolIcon {
                symbol: "wand.and.stars"
                size: 40
                color: panel.colors.blue
            }
            ColumnLayout {
                Layout.fillWidth: true
                spacing: 2
                Label {
                    Layout.fillWidth: true
                    text: "Welcome to Tavrin"
                    wrapMode: Text.WordWrap
                    font.pixelSize: 20
                    font.bold: true
                    Accessible.role: Accessible.Heading
                    Accessible.name: text
                }
                Label {
                    text: "Your shortcut assistant"
                    font.pixelSize: 12
                    color: palette.placeholderText
                    Accessible.role: Accessible.StaticText
                    Accessible.name: text
                }
            }
        }

        RowLayout {
            Layout.alignment: Qt.AlignHCenter
            Layout.topMargin: 3
            Layout.bottomMargin: 3
            spacing: 14
            Repeater {
                model: [{icon: "pin.fill", text: "Pin to top"},
                        {icon: "arrow.down.right.and.arrow.up.left", text: "Shrink if needed"}]
                RowLayout {
                    required property var modelData
                    spacing: 4
                    SymbolIcon { symbol: modelData.icon; size: 10; color: panel.colors.blue }
                    Label {
                        text: modelData.text
                        font.pixelSize: 10
                        Accessible.role: Accessible.StaticText
                        Accessible.name: text
                    }
                }
            }
        }

        Rectangle {
            Layout.alignment: Qt.AlignHCenter
            Layout.maximumWidth: parent.width
            Layout.preferredWidth: hints.implicitWidth + 24
            implicitHeight: hints.implicitHeight + 20
            radius: 8
            color: Qt.rgba(palette.placeholderText.r, palette.placeholderText.g, palette.placeholderText.b, 0.1)

            ColumnLayout {
                id: hints
                anchors.fill: parent
                anchors.margins: 12
                anchors.topMargin: 10
                anchors.bottomMargin: 10
                spacing: 8
                Repeater {
                    model: [{icon: "lightbulb.fill", color: "yellow", text: "Smart contextual shortcut recommendations"},
                            {icon: "bookmark.fill", color: "blue", text: "Bookmark key shortcuts"}]
                    RowLayout {
                        required property var modelData
                        spacing: 8
                        Item {
                            implicitWidth: 22
                            implicitHeight: 22
                            SymbolIcon {
                                anchors.centerIn: parent
                                symbol: modelData.icon
                                size: 22
                                color: panel.colors[modelData.color]
                            }
                        }
                        Label {
                            Layout.fillWidth: true
                            text: modelData.text
                            wrapMode: Text.WordWrap
                            font.pixelSize: 13
                            Accessible.role: Accessible.StaticText
                            Accessible.name: text
                        }
                    }
                }
            }
        }

        Item { Layout.fillHeight: true }
    }
}
