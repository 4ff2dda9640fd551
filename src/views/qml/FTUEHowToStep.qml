import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tavrin.Views

// How Tavrin works: a shortcut spotted in use, the ones it recommends, and a practice round.
ColumnLayout {
    id: step
    required property FTUEViewModel viewModel
    readonly property var texts: viewModel.texts
    spacing: 14
    FTUETitle { text: step.texts.howTitle }
    RowLayout {
        Layout.alignment: Qt.AlignHCenter
        Layout.topMargin: 6
        spacing: 20
        FTUEPanel {
            implicitWidth: 460
            title: step.texts.performPanelTitle
            ColumnLayout {
                spacing: 10
                Label { text: step.texts.browserExample; font.pixelSize: 13; color: "#555555" }
                MockBrowserBar {}
            }
        }
        FTUEPanel {
            implicitWidth: 540
            title: step.texts.recommendPanelTitle
            ColumnLayout {
                spacing: 8
                Label { text: step.texts.recommendIntro; font.pixelSize: 13; color: "#555555" }
                Repeater {
                    model: step.viewModel.shortcuts
                    RowLayout {
                        required property var modelData
                        spacing: 10
                        FTUEShortcutCardView {
                            name: modelData.name
                            keys: modelData.keys
                            isHighlighted: modelData.isHighlighted
                        }
                        Label {
                            visible: modelData.isHighlighted
                            text: step.texts.tryShortcut
                            font.pixelSize: 13
                            font.bold: true
                            color: "#1f6feb"
                            Accessible.name: text
                        }
                    }
                }
            }
        }
    }
    FTUEPracticePanel {
        Layout.alignment: Qt.AlignHCenter
        viewModel: step.viewModel
    }
    Item { Layout.fillHeight: true }

    // A browser's toolbar, its refresh button pointed out.
    component MockBrowserBar: Rectangle {
        implicitWidth: 428
        implicitHeight: 44
        radius: 8
        color: "#eeeeee"
        border.color: "#cccccc"
        Accessible.role: Accessible.Graphic
        Accessible.name: step.texts.browserExample
        RowLayout {
            anchors.fill: parent
            anchors.leftMargin: 10
            anchors.rightMargin: 10
            spacing: 8
            SymbolIcon { symbol: "chevron.left"; color: "#666666" }
            SymbolIcon { symbol: "chevron.right"; color: "#666666" }
            SymbolIcon { symbol: "arrow.clockwise"; size: 18; color: "#1f6feb" }
            Label { text: step.texts.clickRefresh; font.pixelSize: 12; font.bold: true; color: "#1f6feb" }
            Rectangle {
                Layout.fillWidth: true
                height: 28
                radius: 14
                color: "white"
                Label {
                    anchors.verticalCenter: parent.verticalCenter
                    anchors.left: parent.left
                    anchors.leftMargin: 12
                    text: step.texts.browserAddress
                    font.pixelSize: 12
                    color: "#444444"
                }
            }
        }
    }
}
