import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tavrin.Views

// The first-run flow: one screen per step over a blue-to-purple gradient, and the navigation row
// below it. The content keeps a frame of 1100 by 600, scaled about its centre to fit the screen.
Item {
    id: view
    required property FTUEViewModel viewModel
    readonly property var texts: viewModel.texts

    // Top leading to bottom trailing, blue to purple, both translucent.
    Rectangle {
        anchors.fill: parent
        color: "white"
        Rectangle {
            anchors.centerIn: parent
            width: Math.hypot(parent.width, parent.height)
            height: width
            rotation: -45 + Math.atan2(parent.height, parent.width) * 180 / Math.PI
            gradient: Gradient {
                GradientStop { position: 0; color: Qt.rgba(0.16, 0.42, 0.96, 0.30) }
                GradientStop { position: 1; color: Qt.rgba(0.58, 0.24, 0.86, 0.30) }
            }
        }
    }

    Item {
        id: frame
        objectName: "ftueFrame"
        width: 1100
        height: 600
        anchors.centerIn: parent
        scale: view.viewModel.frameScale
        transformOrigin: Item.Center

        // One screen per step; only the current one shows.
        Item {
            id: steps
            anchors.top: parent.top
            anchors.left: parent.left
            anchors.right: parent.right
            anchors.bottom: navigation.top
            anchors.topMargin: 30
            anchors.leftMargin: 40
            anchors.rightMargin: 40
            readonly property int currentIndex: view.viewModel.step

            // welcome
            ColumnLayout {
                anchors.fill: parent
                visible: steps.currentIndex === 0
                spacing: 12
                Title { text: view.texts.welcomeTitle }
                Subtitle { text: view.texts.welcomeSubtitle }
                CalendarAnimationView {
                    Layout.alignment: Qt.AlignHCenter
                    Layout.topMargin: 16
                    year: view.texts.calendarYear
                    daysOfWeek: view.viewModel.daysOfWeek
                    leadingBlanks: view.viewModel.calendarLeadingBlanks
                    dayCount: view.viewModel.calendarDayCount
                    nextDay: function (day) { return view.viewModel.nextHighlightedDay(day) }
                }
                Item { Layout.fillHeight: true }
            }

            // personalization
            ColumnLayout {
                anchors.fill: parent
                visible: steps.currentIndex === 1
                spacing: 10
                Title { text: view.texts.personalizationTitle }
                Subtitle { text: view.texts.personalizationSubtitle }
                RowLayout {
                    Layout.alignment: Qt.AlignHCenter
                    Layout.topMargin: 10
                    spacing: 60
                    ColumnLayout {
                        Layout.alignment: Qt.AlignTop
                        spacing: 0
                        Heading { text: view.texts.roleQuestion }
                        ButtonGroup { id: roles }
                        Repeater {
                            model: view.viewModel.userRoles
                            RadioButton {
                                required property string modelData
                                required property int index
                                text: modelData
                                font.pixelSize: 14
                                topPadding: 3
                                bottomPadding: 3
                                ButtonGroup.group: roles
                                checked: view.viewModel.userRole === index
                                Accessible.name: text
                                Accessible.onPressAction: clicked()
                                Accessible.onToggleAction: clicked()
                                onClicked: view.viewModel.setUserRole(index)
                            }
                        }
                    }
                    ColumnLayout {
                        Layout.alignment: Qt.AlignTop
                        spacing: 0
                        Heading { text: view.texts.appsQuestion }
                        Repeater {
                            model: view.viewModel.appTypes
                            CheckBox {
                                required property string modelData
                                required property int index
                                text: modelData
                                font.pixelSize: 14
                                checked: view.viewModel.chosenApps[index] === true
                                Accessible.name: text
                                Accessible.onPressAction: toggled()
                                Accessible.onToggleAction: toggled()
                                // The store decides: the box shows the state, not its own click.
                                nextCheckState: function () { return checkState }
                                onToggled: view.viewModel.toggleFrequentApp(index)
                            }
                        }
                    }
                }
                Item { Layout.fillHeight: true }
            }

            // productivityPotential
            ColumnLayout {
                anchors.fill: parent
                visible: steps.currentIndex === 2
                spacing: 12
                Title { text: view.texts.potentialTitle }
                Subtitle { text: view.texts.potentialSubtitle; color: "#1b1b1b" }
                FTUEButton {
                    Layout.alignment: Qt.AlignHCenter
                    Layout.topMargin: 10
                    text: view.texts.calculateButton
                    pulsing: view.viewModel.savingsRows.length === 0
                    onClicked: view.viewModel.calculateTimeSavings()
                }
                ColumnLayout {
                    Layout.alignment: Qt.AlignHCenter
                    Layout.topMargin: 16
                    spacing: 14
                    visible: view.viewModel.savingsRows.length > 0
                    Heading { text: view.texts.savingsIntro; Layout.alignment: Qt.AlignHCenter }
                    Repeater {
                        model: view.viewModel.savingsRows
                        RowLayout {
                            required property var modelData
                            spacing: 12
                            Accessible.role: Accessible.StaticText
                            Accessible.name: modelData.text
                            FTUESymbol { name: modelData.icon; size: 28; color: "#1f6feb" }
                            Text { text: modelData.text; font.pixelSize: 22; font.bold: true; color: "#1b1b1b" }
                        }
                    }
                }
                Item { Layout.fillHeight: true }
            }

            // howToUseTavrin
            ColumnLayout {
                anchors.fill: parent
                visible: steps.currentIndex === 3
                spacing: 14
                Title { text: view.texts.howTitle }
                RowLayout {
                    Layout.alignment: Qt.AlignHCenter
                    Layout.topMargin: 6
                    spacing: 20
                    Panel {
                        implicitWidth: 460
                        title: view.texts.performPanelTitle
                        ColumnLayout {
                            spacing: 10
                            Label { text: view.texts.browserExample; font.pixelSize: 13; color: "#555555" }
                            MockBrowserBar {}
                        }
                    }
                    Panel {
                        implicitWidth: 540
                        title: view.texts.recommendPanelTitle
                        ColumnLayout {
                            spacing: 8
                            Label { text: view.texts.recommendIntro; font.pixelSize: 13; color: "#555555" }
                            Repeater {
                                model: view.viewModel.shortcuts
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
                                        text: view.texts.tryShortcut
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
                PracticePanel { Layout.alignment: Qt.AlignHCenter }
                Item { Layout.fillHeight: true }
            }

            // privacySetup
            ColumnLayout {
                anchors.fill: parent
                visible: steps.currentIndex === 4
                spacing: 6
                Title { text: view.texts.privacyTitle }
                Subtitle { text: view.texts.privacySubtitle }
                RowLayout {
                    Layout.alignment: Qt.AlignHCenter
                    Layout.topMargin: 8
                    spacing: 30
                    ColumnLayout {
                        Layout.preferredWidth: 470
                        Layout.alignment: Qt.AlignTop
                        spacing: 8
                        Heading { text: view.texts.needsPermission }
                        FTUEPermissionItem {
                            Layout.fillWidth: true
                            icon: view.viewModel.accessibilityItem.icon
                            title: view.viewModel.accessibilityItem.title
                            description: view.viewModel.accessibilityItem.description
                            isGranted: view.viewModel.accessibilityItem.isGranted
                        }
                        FTUEButton {
                            text: view.viewModel.accessibilityItem.buttonTitle
                            enabled: !view.viewModel.accessibilityItem.isGranted
                            pulsing: enabled
                            onClicked: view.viewModel.requestAccessibilityPermission()
                        }
                        Label {
                            Layout.fillWidth: true
                            visible: text.length > 0
                            text: view.viewModel.restartNotice
                            wrapMode: Text.Wrap
                            font.pixelSize: 13
                            color: "#9a6700"
                            Accessible.role: Accessible.StaticText
                            Accessible.name: text
                        }
                    }
                    ColumnLayout {
                        Layout.preferredWidth: 470
                        Layout.alignment: Qt.AlignTop
                        spacing: 8
                        Heading { text: view.texts.optionalScreenRecording }
                        Label {
                            Layout.fillWidth: true
                            text: view.texts.revokeLater
                            wrapMode: Text.Wrap
                            font.pixelSize: 13
                            color: "#555555"
                        }
                        FTUEPermissionItem {
                            Layout.fillWidth: true
                            icon: view.viewModel.screenRecordingItem.icon
                            title: view.viewModel.screenRecordingItem.title
                            description: view.viewModel.screenRecordingItem.description
                            isGranted: view.viewModel.screenRecordingItem.isGranted
                        }
                        FTUEButton {
                            secondary: true
                            text: view.viewModel.screenRecordingItem.buttonTitle
                            enabled: !view.viewModel.screenRecordingItem.isGranted
                            onClicked: view.viewModel.requestScreenRecordingPermission()
                        }
                    }
                }
                Label {
                    Layout.fillWidth: true
                    Layout.topMargin: 12
                    text: view.texts.dataShareText
                    wrapMode: Text.Wrap
                    horizontalAlignment: Text.AlignHCenter
                    font.pixelSize: 12
                    color: "#555555"
                    Accessible.role: Accessible.StaticText
                    Accessible.name: text
                }
                Switch {
                    Layout.alignment: Qt.AlignHCenter
                    text: view.texts.dataShareToggle
                    font.pixelSize: 13
                    checked: view.viewModel.dataShareAgreement
                    Accessible.name: text
                    Accessible.onPressAction: toggled()
                    Accessible.onToggleAction: toggled()
                    onToggled: {
                        view.viewModel.toggleDataShareAgreement()
                        // The store decides: show its value again, not the click's.
                        checked = Qt.binding(function () { return view.viewModel.dataShareAgreement })
                    }
                }
                Item { Layout.fillHeight: true }
            }
        }

        // The navigation row: the step's one button, or nothing.
        Item {
            id: navigation
            anchors.left: parent.left
            anchors.right: parent.right
            anchors.bottom: parent.bottom
            anchors.bottomMargin: 40
            height: 44
            FTUEButton {
                objectName: "navigationButton"
                anchors.centerIn: parent
                visible: view.viewModel.navigationTitle.length > 0
                text: view.viewModel.navigationTitle
                secondary: view.viewModel.navigationSecondary
                pulsing: view.viewModel.step === 3 && !secondary
                onClicked: view.viewModel.next()
            }
        }
    }

    component Title: Label {
        Layout.alignment: Qt.AlignHCenter
        font.pixelSize: 34
        font.bold: true
        color: "#1b1b1b"
        Accessible.role: Accessible.Heading
        Accessible.name: text
    }
    component Subtitle: Label {
        Layout.alignment: Qt.AlignHCenter
        font.pixelSize: 22
        color: "#5a5a5a"
        Accessible.role: Accessible.StaticText
        Accessible.name: text
    }
    component Heading: Label {
        font.pixelSize: 16
        font.bold: true
        color: "#1b1b1b"
        bottomPadding: 6
        Accessible.role: Accessible.StaticText
        Accessible.name: text
    }
    component Panel: Rectangle {
        id: panel
        property string title
        default property alias content: holder.data
        radius: 12
        color: Qt.rgba(1, 1, 1, 0.6)
        implicitWidth: 480
        implicitHeight: 220
        Accessible.role: Accessible.Grouping
        Accessible.name: title
        Column {
            anchors.fill: parent
            anchors.margins: 16
            spacing: 10
            Label { text: panel.title; font.pixelSize: 17; font.bold: true; color: "#1b1b1b" }
            Item { id: holder; width: parent.width; height: childrenRect.height }
        }
    }
    component MockBrowserBar: Rectangle {
        implicitWidth: 428
        implicitHeight: 44
        radius: 8
        color: "#eeeeee"
        border.color: "#cccccc"
        Accessible.role: Accessible.Graphic
        Accessible.name: view.texts.browserExample
        RowLayout {
            anchors.fill: parent
            anchors.leftMargin: 10
            anchors.rightMargin: 10
            spacing: 8
            FTUESymbol { name: "chevron.left"; color: "#666666" }
            FTUESymbol { name: "chevron.right"; color: "#666666" }
            FTUESymbol { name: "arrow.clockwise"; size: 18; color: "#1f6feb" }
            Label { text: view.texts.clickRefresh; font.pixelSize: 12; font.bold: true; color: "#1f6feb" }
            Rectangle {
                Layout.fillWidth: true
                height: 28
                radius: 14
                color: "white"
                Label {
                    anchors.verticalCenter: parent.verticalCenter
                    anchors.left: parent.left
                    anchors.leftMargin: 12
                    text: view.texts.browserAddress
                    font.pixelSize: 12
                    color: "#444444"
                }
            }
        }
    }
    component PracticePanel: Item {
        implicitWidth: 500
        implicitHeight: 110
        // While the practice runs: the indicators and the count of presses still to go.
        ColumnLayout {
            anchors.centerIn: parent
            visible: !view.viewModel.practiceFinished
            spacing: 8
            Label {
                Layout.alignment: Qt.AlignHCenter
                text: view.texts.practiceProgress
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
                    model: view.viewModel.indicators
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
                        FTUESymbol {
                            anchors.centerIn: parent
                            visible: modelData.state === "done"
                            name: "checkmark"
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
                text: view.viewModel.remainingText
                font.pixelSize: 15
                font.bold: true
                color: "#1f6feb"
                opacity: view.viewModel.remainingVisible ? 1 : 0
                Behavior on opacity { NumberAnimation { duration: 300; easing.type: Easing.InQuad } }
                Accessible.role: Accessible.StaticText
                Accessible.name: text
                Accessible.ignored: !view.viewModel.remainingVisible
            }
        }
        // Once it is done.
        Column {
            anchors.centerIn: parent
            visible: view.viewModel.practiceFinished
            spacing: 2
            Repeater {
                model: [view.texts.greatJob, view.texts.learnedShortcut, view.texts.suggestMore1,
                        view.texts.suggestMore2]
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
}
