import QtQuick

// The welcome screen's calendar: a highlight walks through the days every half second while the
// view is shown.
Column {
    id: calendar
    required property var viewModel
    property var daysOfWeek: []
    property int leadingBlanks: 0
    property int dayCount: 31
    property string year
    // The next day after a given one; the view model decides how the highlight moves.
    property var nextDay: function (day) { return day + 1 }
    property bool isAnimating: visible
    property int highlightedDay: 0

    Accessible.role: Accessible.Graphic
    Accessible.name: "Calendar " + year

    CalendarTop { width: body.width; viewModel: calendar.viewModel; year: calendar.year }
    CalendarBody {
        id: body
        viewModel: calendar.viewModel
        daysOfWeek: calendar.daysOfWeek
        leadingBlanks: calendar.leadingBlanks
        dayCount: calendar.dayCount
        highlightedDay: calendar.highlightedDay
    }

    Timer {
        interval: 500
        repeat: true
        running: calendar.isAnimating
        onTriggered: calendar.highlightedDay = calendar.nextDay(calendar.highlightedDay)
    }
}
