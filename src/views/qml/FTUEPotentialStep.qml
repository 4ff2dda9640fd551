import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tavrin.Views

// The first-run estimate of the time shortcuts save, shown once asked for.
ColumnLayout {
    id: step
    required property FTUEViewModel viewModel
    readonly property var texts: viewModel.texts
    spacing: 12
    FTUETitle { text: step.texts.potentialTitle }
    FTUESubtitle { text: step.texts.potentialSubtitle; color: "#1b1b1b" }
    FTUEButton {
        Layout.alignment: Qt.AlignHCenter
        Layout.topMargin: 10
        text: step.texts.calculateButton
        pulsing: step.viewModel.savingsRows.length === 0
        onClicked: step.viewModel.calculateTimeSavings()
    }
    ColumnLayout {
        Layout.alignment: Qt.AlignHCenter
        Layout.topMargin: 16
        spacing: 14
        visible: step.viewModel.savingsRows.length > 0
        FTUEHeading { text: step.texts.savingsIntro; Layout.alignment: Qt.AlignHCenter }
        Repeater {
            model: step.viewModel.savingsRows
            RowLayout {
                required property var modelData
                spacing: 12
                Accessible.role: Accessible.StaticText
                Accessible.name: modelData.text
                SymbolIcon { symbol: modelData.icon; size: 28; color: "#1f6feb" }
                Text { text: modelData.text; font.pixelSize: 22; font.bold: true; color: "#1b1b1b" }
            }
        }
    }
    Item { Layout.fillHeight: true }
}
