import QtQuick

// A month: the weekday headers and the numbered days, one of them highlighted.
Rectangle {
    id: body
    required property var viewModel
    property var daysOfWeek: []
    property int leadingBlanks: 0
    property int dayCount: 31
    property int highlightedDay: 0
    readonly property real u: viewModel.layoutScale

    color: palette.base
    implicitWidth: grid.implicitWidth + 24 * u
    implicitHeight: grid.implicitHeight + 20 * u

    Grid {
        id: grid
        anchors.centerIn: parent
        columns: 7
        spacing: 4 * body.u
        Repeater {
            model: body.daysOfWeek
            Text {
                width: 40 * body.u
                horizontalAlignment: Text.AlignHCenter
                text: modelData
                font.pixelSize: body.viewModel.fonts.footnote
                font.bold: true
                color: palette.placeholderText
            }
        }
        Repeater {
            model: body.leadingBlanks
            Item { width: 40 * body.u; height: 30 * body.u }
        }
        Repeater {
            model: body.dayCount
            Rectangle {
                readonly property bool lit: index + 1 === body.highlightedDay
                width: 40 * body.u
                height: 30 * body.u
                radius: 6 * body.u
                color: lit ? "#14a3a3" : "transparent"
                scale: lit ? 1.15 : 1
                Behavior on color { ColorAnimation { duration: 250 } }
                Behavior on scale { NumberAnimation { duration: 250 } }
                Text {
                    anchors.centerIn: parent
                    text: index + 1
                    font.pixelSize: body.viewModel.fonts.body
                    color: parent.lit ? "white" : palette.text
                }
            }
        }
    }
}
