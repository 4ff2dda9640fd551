import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tavrin.Views

// The first-run welcome: the title and the calendar of days that shortcuts give back.
ColumnLayout {
    id: step
    required property FTUEViewModel viewModel
    readonly property var texts: viewModel.texts
    spacing: 12 * viewModel.layoutScale
    FTUETitle { viewModel: step.viewModel; text: step.texts.welcomeTitle }
    FTUESubtitle { viewModel: step.viewModel; text: step.texts.welcomeSubtitle }
    CalendarAnimationView {
        Layout.alignment: Qt.AlignHCenter
        Layout.topMargin: 16 * step.viewModel.layoutScale
        viewModel: step.viewModel
        year: step.texts.calendarYear
        daysOfWeek: step.viewModel.daysOfWeek
        leadingBlanks: step.viewModel.calendarLeadingBlanks
        dayCount: step.viewModel.calendarDayCount
        nextDay: function (day) { return step.viewModel.nextHighlightedDay(day) }
    }
    Item { Layout.fillHeight: true }
}
