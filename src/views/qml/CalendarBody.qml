import QtQuick

// A month: the weekday headers and the numbered days, one of them highlighted.
Rectangle {
    id: body
    property var daysOfWeek: []
    property int leadingBlanks: 0
    property int dayCount: 31
    property int highlightedDay: 0

    color: "white"
    implicitWidth: grid.implicitWidth + 24
    implicitHeight: grid.implicitHeight + 20

    Grid {
        id: grid
        anchors.centerIn: parent
        columns: 7
        spacing: 4
        Repeater {
            model: body.daysOfWeek
            Text {
                width: 40
                horizontalAlignment: Text.AlignHCenter
                text: modelData
                font.pixelSize: 12
                font.bold: true
                color: "#555555"
            }
        }
        Repeater {
            model: body.leadingBlanks
            Item { width: 40; height: 30 }
        }
        Repeater {
            model: body.dayCount
            Rectangle {
                readonly property bool lit: index + 1 === body.highlightedDay
                width: 40
                height: 30
                radius: 6
                color: lit ? "#14a3a3" : "transparent"
                scale: lit ? 1.15 : 1
                Behavior on color { ColorAnimation { duration: 250 } }
                Behavior on scale { NumberAnimation { duration: 250 } }
                Text {
                    anchors.centerIn: parent
                    text: index + 1
                    font.pixelSize: 14
                    color: parent.lit ? "white" : "#222222"
                }
            }
        }
    }
}
