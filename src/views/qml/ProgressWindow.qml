import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import QtCharts
import Tavrin.Views

// "Your Progress": per week, clicks against shortcut uses (a chart, and the same figures as a
// table that screen readers read), the shortcuts learned and when, and the time saved so far.
Window {
    id: root
    required property ProgressViewModel viewModel

    title: "Your Progress"
    width: 560
    height: 640
    minimumWidth: 420
    minimumHeight: 480
    color: palette.window

    readonly property color clicksColor: viewModel.dark ? "#e8825f" : "#c8502a"
    readonly property color usesColor: viewModel.dark ? "#6cb6f5" : "#1f6fb8"

    Shortcut {
        sequences: [StandardKey.Cancel, StandardKey.Close]
        onActivated: root.close()
    }

    ScrollView {
        id: scroll
        anchors.fill: parent
        anchors.margins: 16
        contentWidth: availableWidth
        ScrollBar.horizontal.policy: ScrollBar.AlwaysOff
        // The controls inside take the desktop's colours, as the window does.
        palette.window: root.palette.window
        palette.windowText: root.palette.windowText
        palette.button: root.palette.button
        palette.buttonText: root.palette.buttonText
        palette.base: root.palette.base
        palette.text: root.palette.text
        palette.mid: root.palette.mid
        palette.placeholderText: root.palette.placeholderText

        ColumnLayout {
            width: scroll.availableWidth
            spacing: 8

            Label {
                text: "Clicks against shortcut uses, per week"
                font.bold: true
                font.pixelSize: Qt.application.font.pixelSize * 1.2
                Accessible.role: Accessible.Heading
                Accessible.name: text
            }

            ChartView {
                id: chart
                objectName: "chart"
                Layout.fillWidth: true
                Layout.preferredHeight: 240
                antialiasing: true
                backgroundColor: palette.window
                plotAreaColor: palette.window
                margins.top: 0
                margins.bottom: 0
                margins.left: 0
                margins.right: 0
                legend.alignment: Qt.AlignBottom
                legend.labelColor: palette.windowText
                Accessible.role: Accessible.Chart
                Accessible.name: "Clicks against shortcut uses, per week"
                Accessible.description: "The table that follows has the same figures."

                BarSeries {
                    axisX: BarCategoryAxis {
                        categories: root.viewModel.weekLabels
                        truncateLabels: false
                        labelsColor: palette.windowText
                        gridVisible: false
                        lineVisible: false
                    }
                    axisY: ValueAxis {
                        min: 0
                        max: root.viewModel.scaleTop
                        tickType: ValueAxis.TicksDynamic
                        tickInterval: root.viewModel.scaleStep
                        labelFormat: "%d"
                        labelsColor: palette.windowText
                        gridLineColor: palette.mid
                        lineVisible: false
                    }
                    BarSet {
                        label: "Clicks"
                        values: root.viewModel.clicks
                        color: root.clicksColor
                        borderColor: root.clicksColor
                    }
                    BarSet {
                        label: "Shortcut uses"
                        values: root.viewModel.uses
                        color: root.usesColor
                        borderColor: root.usesColor
                    }
                }
            }

            // The chart's figures, a row per week; each row reads as one sentence.
            ColumnLayout {
                objectName: "weekTable"
                Layout.fillWidth: true
                spacing: 2
                Accessible.role: Accessible.Table
                Accessible.name: "Clicks and shortcut uses per week"

                component Cell: Label {
                    Layout.preferredWidth: 110
                    horizontalAlignment: Text.AlignRight
                    Accessible.ignored: true
                }
                RowLayout {
                    Accessible.ignored: true
                    Cell { text: "Week of"; font.bold: true; horizontalAlignment: Text.AlignLeft }
                    Cell { text: "Clicks"; font.bold: true }
                    Cell { text: "Shortcut uses"; font.bold: true }
                }
                Repeater {
                    model: root.viewModel.weeks
                    delegate: RowLayout {
                        required property var modelData
                        Accessible.role: Accessible.Row
                        Accessible.name: modelData.spoken
                        Cell { text: modelData.label; horizontalAlignment: Text.AlignLeft }
                        Cell { text: modelData.clicks; color: root.clicksColor }
                        Cell { text: modelData.uses; color: root.usesColor }
                    }
                }
            }

            Label {
                Layout.topMargin: 12
                text: "Shortcuts learned"
                font.bold: true
                font.pixelSize: Qt.application.font.pixelSize * 1.2
                Accessible.role: Accessible.Heading
                Accessible.name: text
            }
            Label {
                visible: root.viewModel.noneLearned.length > 0
                Layout.fillWidth: true
                text: root.viewModel.noneLearned
                wrapMode: Text.Wrap
                Accessible.name: text
            }
            ColumnLayout {
                objectName: "learnedList"
                Layout.fillWidth: true
                spacing: 2
                Accessible.role: Accessible.List
                Accessible.name: "Shortcuts learned"
                Repeater {
                    model: root.viewModel.learned
                    delegate: RowLayout {
                        required property var modelData
                        Layout.fillWidth: true
                        spacing: 12
                        Accessible.role: Accessible.ListItem
                        Accessible.name: modelData.spoken
                        Label { text: modelData.actionName; Layout.fillWidth: true; elide: Text.ElideRight; Accessible.ignored: true }
                        Label { text: modelData.keys; font.family: "monospace"; Accessible.ignored: true }
                        Label { text: modelData.place; color: palette.placeholderText; Accessible.ignored: true }
                        Label { text: modelData.when; color: palette.placeholderText; Accessible.ignored: true }
                    }
                }
            }

            Label {
                objectName: "timeSaved"
                Layout.topMargin: 12
                Layout.fillWidth: true
                text: root.viewModel.timeSaved
                wrapMode: Text.Wrap
                Accessible.name: text
            }

            Button {
                Layout.alignment: Qt.AlignRight
                Layout.topMargin: 8
                text: "Close"
                Accessible.name: "Close"
                Accessible.description: "Closes Your Progress"
                Accessible.onPressAction: clicked()
                onClicked: root.close()
            }
        }
    }
}
