import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tavrin.Views

// The practice round of the first run: one indicator per press to make, then the praise once done.
Item {
    id: panel
    required property FTUEViewModel viewModel
    readonly property var texts: viewModel.texts
    readonly property real u: viewModel.layoutScale
    implicitWidth: 500 * u
    implicitHeight: Math.max(progress.implicitHeight, praise.implicitHeight)
    // While the practice runs: the indicators and the count of presses still to go.
    ColumnLayout {
        id: progress
        anchors.centerIn: parent
        visible: !panel.viewModel.practiceFinished
        spacing: 8 * panel.u
        Label {
            Layout.alignment: Qt.AlignHCenter
            text: panel.texts.practiceProgress
            font.pixelSize: panel.viewModel.fonts.callout
            font.bold: true
            color: palette.windowText
            Accessible.role: Accessible.StaticText
            Accessible.name: text
        }
        Row {
            Layout.alignment: Qt.AlignHCenter
            spacing: 16 * panel.u
            Repeater {
                model: panel.viewModel.indicators
                Rectangle {
                    required property var modelData
                    width: 36 * panel.u
                    height: 36 * panel.u
                    radius: width / 2
                    color: modelData.state === "done" ? panel.viewModel.colors.green
                                                      : modelData.state === "next" ? panel.viewModel.colors.blue
                                                                                   : panel.viewModel.colors.gray
                    Behavior on color { ColorAnimation { duration: 200 } }
                    Accessible.role: Accessible.StaticText
                    Accessible.name: "Practice " + modelData.number + (modelData.state === "done" ? ": done" : "")
                    SymbolIcon {
                        anchors.centerIn: parent
                        visible: modelData.state === "done"
                        symbol: "checkmark"
                        size: 16 * panel.u
                        color: "white"
                    }
                    Text {
                        anchors.centerIn: parent
                        visible: modelData.state !== "done"
                        text: modelData.number
                        font.pixelSize: panel.viewModel.fonts.headline
                        font.bold: true
                        color: "white"
                    }
                }
            }
        }
        Label {
            Layout.alignment: Qt.AlignHCenter
            text: panel.viewModel.remainingText
            font.pixelSize: panel.viewModel.fonts.callout
            font.bold: true
            color: panel.viewModel.colors.blueText
            opacity: panel.viewModel.remainingVisible ? 1 : 0
            Behavior on opacity { NumberAnimation { duration: 300; easing.type: Easing.InQuad } }
            Accessible.role: Accessible.StaticText
            Accessible.name: text
            Accessible.ignored: !panel.viewModel.remainingVisible
        }
    }
    // Once it is done.
    Column {
        id: praise
        anchors.centerIn: parent
        visible: panel.viewModel.practiceFinished
        spacing: 2 * panel.u
        Repeater {
            model: [panel.texts.greatJob, panel.texts.learnedShortcut, panel.texts.suggestMore1,
                    panel.texts.suggestMore2]
            Label {
                required property string modelData
                required property int index
                anchors.horizontalCenter: parent.horizontalCenter
                text: modelData
                font.pixelSize: index === 0 ? panel.viewModel.fonts.title2 : panel.viewModel.fonts.callout
                font.bold: index === 0
                color: index === 0 ? panel.viewModel.colors.greenText : palette.windowText
                Accessible.role: Accessible.StaticText
                Accessible.name: text
            }
        }
    }
}
