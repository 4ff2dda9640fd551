import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tavrin.Views

// How Tavrin works: a shortcut spotted in use, the ones it recommends, and a practice round.
ColumnLayout {
    id: step
    required property FTUEViewModel viewModel
    readonly property var texts: viewModel.texts
    readonly property real u: viewModel.layoutScale
    spacing: 14 * u
    FTUETitle { viewModel: step.viewModel; text: step.texts.howTitle }
    RowLayout {
        Layout.alignment: Qt.AlignHCenter
        Layout.topMargin: 6 * step.u
        spacing: 20 * step.u
        FTUEPanel {
            Layout.alignment: Qt.AlignTop
            viewModel: step.viewModel
            implicitWidth: 460 * step.u
            title: step.texts.performPanelTitle
            ColumnLayout {
                spacing: 10 * step.u
                Label {
                    text: step.texts.browserExample
                    font.pixelSize: step.viewModel.fonts.subheadline
                    color: palette.placeholderText
                }
                MockBrowserBar {}
            }
        }
        FTUEPanel {
            Layout.alignment: Qt.AlignTop
            viewModel: step.viewModel
            implicitWidth: 540 * step.u
            title: step.texts.recommendPanelTitle
            ColumnLayout {
                spacing: 8 * step.u
                Label {
                    text: step.texts.recommendIntro
                    font.pixelSize: step.viewModel.fonts.subheadline
                    color: palette.placeholderText
                }
                Repeater {
                    model: step.viewModel.shortcuts
                    RowLayout {
                        required property var modelData
                        spacing: 10 * step.u
                        FTUEShortcutCardView {
                            viewModel: step.viewModel
                            name: modelData.name
                            keys: modelData.keys
                            isHighlighted: modelData.isHighlighted
                        }
                        Label {
                            visible: modelData.isHighlighted
                            text: step.texts.tryShortcut
                            font.pixelSize: step.viewModel.fonts.subheadline
                            font.bold: true
                            color: step.viewModel.colors.blueText
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

    // A browser's toolbar, its refresh button pointed out. A picture of a light browser, in its
    // own colours whatever the palette.
    component MockBrowserBar: Rectangle {
        implicitWidth: 428 * step.u
        implicitHeight: 44 * step.u
        radius: 8 * step.u
        color: "#eeeeee"
        border.color: "#cccccc"
        Accessible.role: Accessible.Graphic
        Accessible.name: step.texts.browserExample
        RowLayout {
            anchors.fill: parent
            anchors.leftMargin: 10 * step.u
            anchors.rightMargin: 10 * step.u
            spacing: 8 * step.u
            SymbolIcon { symbol: "chevron.left"; size: 16 * step.u; color: "#666666" }
            SymbolIcon { symbol: "chevron.right"; size: 16 * step.u; color: "#666666" }
            SymbolIcon { symbol: "arrow.clockwise"; size: 18 * step.u; color: "#1f6feb" }
            Label {
                text: step.texts.clickRefresh
                font.pixelSize: step.viewModel.fonts.footnote
                font.bold: true
                color: "#1f6feb"
            }
            Rectangle {
                Layout.fillWidth: true
                implicitHeight: 28 * step.u
                radius: 14 * step.u
                color: "white"
                Label {
                    anchors.verticalCenter: parent.verticalCenter
                    anchors.left: parent.left
                    anchors.leftMargin: 12 * step.u
                    text: step.texts.browserAddress
                    font.pixelSize: step.viewModel.fonts.footnote
                    color: "#444444"
                }
            }
        }
    }
}
