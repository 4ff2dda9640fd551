import QtQuick

// The calendar's band: the year on teal.
Rectangle {
    id: band
    required property var viewModel
    property string year
    color: "#14a3a3"
    implicitHeight: 44 * viewModel.layoutScale
    Text {
        anchors.centerIn: parent
        text: band.year
        font.pixelSize: band.viewModel.fonts.title2
        font.bold: true
        color: "white"
        Accessible.role: Accessible.StaticText
        Accessible.name: text
    }
}
