import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tavrin.Views

// The first-run estimate of the time shortcuts save, shown once asked for.
ColumnLayout {
    id: step
    required property FTUEViewModel viewModel
    readonly property var texts: viewModel.texts
    readonly property real u: viewModel.layoutScale
    spacing: 12 * u
    FTUETitle { viewModel: step.viewModel; text: step.texts.potentialTitle }
    FTUESubtitle { viewModel: step.viewModel; text: step.texts.potentialSubtitle; color: palette.windowText }
    FTUEButton {
        Layout.alignment: Qt.AlignHCenter
        Layout.topMargin: 10 * step.u
        viewModel: step.viewModel
        text: step.texts.calculateButton
        pulsing: step.viewModel.calculatePulses
        onClicked: step.viewModel.calculateTimeSavings()
    }
    ColumnLayout {
        Layout.alignment: Qt.AlignHCenter
        Layout.topMargin: 16 * step.u
        spacing: 14 * step.u
        visible: step.viewModel.savingsRows.length > 0
        FTUEHeading { viewModel: step.viewModel; text: step.texts.savingsIntro; Layout.alignment: Qt.AlignHCenter }
        Repeater {
            model: step.viewModel.savingsRows
            RowLayout {
                required property var modelData
                spacing: 12 * step.u
                Accessible.role: Accessible.StaticText
                Accessible.name: modelData.text
                SymbolIcon { symbol: modelData.icon; size: 28 * step.u; color: step.viewModel.colors.blue }
                Text {
                    text: modelData.text
                    font.pixelSize: step.viewModel.fonts.title2
                    font.bold: true
                    color: palette.windowText
                }
            }
        }
    }
    Item { Layout.fillHeight: true }
}
