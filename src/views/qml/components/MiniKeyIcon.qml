import QtQuick

// One key of a shortcut as a chip, 24 by 20: its image at size 12 when it has one (`source`),
// else its text at size 10, shrinking to half that to fit in one line.
Rectangle {
    id: chip
    property string text
    property string source
    property bool dark: false

    implicitWidth: 24
    implicitHeight: 20
    radius: 4
    color: dark ? Qt.rgba(0.56, 0.56, 0.58, 0.3) : "white"
    border.width: 0.5
    border.color: Qt.rgba(0.56, 0.56, 0.58, dark ? 0.6 : 0.5)
    Accessible.role: Accessible.StaticText
    Accessible.name: text

    readonly property color foreground: dark ? "white" : "black"

    SymbolIcon {
        anchors.centerIn: parent
        visible: chip.source.length > 0
        source: chip.source.length > 0 ? Qt.resolvedUrl(chip.source) : ""
        size: 12
        color: chip.foreground
    }
    Text {
        id: label
        visible: chip.source.length === 0
        anchors.fill: parent
        anchors.margins: 1
        text: chip.text
        color: chip.foreground
        font.pixelSize: 10
        font.weight: Font.DemiBold
        fontSizeMode: Text.HorizontalFit
        minimumPixelSize: 5
        horizontalAlignment: Text.AlignHCenter
        verticalAlignment: Text.AlignVCenter
        maximumLineCount: 1
        Accessible.ignored: true
    }
}
