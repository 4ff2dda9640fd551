import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tavrin.Views

// The practice round of the first run: one indicator per press to make, then the praise once done.
Item {
    id: panel
    required property FTUEViewModel viewModel
    readonly property var texts: viewModel.texts
    implicitWidth: 500
    implicitHeight: 110
    // While the practice runs: the indicators and the count of presses still to go.
    ColumnLayout {
        anchors.centerIn: parent
        visible: !panel.viewModel.practiceFinished
        spacing: 8
        Label {
            Layout.alignment: Qt.AlignHCenter
            text: panel.texts.practiceProgress
            font.pixelSize: 15
            font.bold: true
            color: "#1b1b1b"
            Accessible.role: Accessible.StaticText
            Accessible.name: text
        }
        Row {
            Layout.alignment: Qt.AlignHCenter
            spacing: 16
            Repeater {
                model: panel.viewModel.indicators
                Rectangle {
                    required property var modelData
                    width: 36
                    height: 36
                    radius: 18
                    color: modelData.state === "done" ? "#2da44e"
                                                      : modelData.state === "next" ? "#1f6feb"
                                                                                   : Qt.rgba(0.5, 0.5, 0.5, 0.35)
                    Behavior on color { ColorAnimation { duration: 200 } }
                    Accessible.role: Accessible.StaticText
                    Accessible.name: "Practice " + modelData.number + (modelData.state === "done" ? ": done" : "")
                    SymbolIcon {
                        anchors.centerIn: parent
                        visible: modelData.state === "done"
                        symbol: "checkmark"
                        size: 16
                        color: "white"
                    }
                    Text {
                        anchors.centerIn: parent
                        visible: modelData.state !== "done"
                        text: modelData.number
                        font.pixelSize: 16
                        font.bold: true
                        color: "white"
                    }
                }
            }
        }
        Label {
            Layout.alignment: Qt.AlignHCenter
            text: panel.viewModel.remainingText
            font.pixelSize: 15
            font.bold: true
            color: "#1f6feb"
            opacity: panel.viewModel.remainingVisible ? 1 : 0
            Behavior on opacity { NumberAnimation { duration: 300; easing.type: Easing.InQuad } }
            Accessible.role: Accessible.StaticText
            Accessible.name: text
            Accessible.ignored: !panel.viewModel.remainingVisible
        }
    }
    // Once it is done.
    Column {
        anchors.centerIn: parent
        visible: panel.viewModel.practiceFinished
        spacing: 2
        Repeater {
            model: [panel.texts.greatJob, panel.texts.learnedShortcut, panel.texts.suggestMore1,
                    panel.texts.suggestMore2]
            Label {
                required property string modelData
                required property int index
                anchors.horizontalCenter: parent.horizontalCenter
                text: modelData
                font.pixelSize: index === 0 ? 22 : 15
                font.bold: index === 0
                color: index === 0 ? "#2da44e" : "#1b1b1b"
                Accessible.role: Accessible.StaticText
                Accessible.name: text
            }
        }
    }
}
