import QtQuick

// The calendar's band: the year on teal.
Rectangle {
    property string year
    color: "#14a3a3"
    implicitHeight: 44
    Text {
        anchors.centerIn: parent
        text: parent.year
        font.pixelSize: 22
        font.bold: true
        color: "white"
        Accessible.role: Accessible.StaticText
        Accessible.name: text
    }
}
