import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tavrin.Views

// The first-run permissions: the accessibility one Tavrin needs, screen recording optional, and data sharing.
ColumnLayout {
    id: step
    required property FTUEViewModel viewModel
    readonly property var texts: viewModel.texts
    spacing: 6
    FTUETitle { text: step.texts.privacyTitle }
    FTUESubtitle { text: step.texts.privacySubtitle }
    RowLayout {
        Layout.alignment: Qt.AlignHCenter
        Layout.topMargin: 8
        spacing: 30
        ColumnLayout {
            Layout.preferredWidth: 470
            Layout.alignment: Qt.AlignTop
            spacing: 8
            FTUEHeading { text: step.texts.needsPermission }
            FTUEPermissionItem {
                Layout.fillWidth: true
                icon: step.viewModel.accessibilityItem.icon
                title: step.viewModel.accessibilityItem.title
                description: step.viewModel.accessibilityItem.description
                isGranted: step.viewModel.accessibilityItem.isGranted
            }
            FTUEButton {
                text: step.viewModel.accessibilityItem.buttonTitle
                enabled: !step.viewModel.accessibilityItem.isGranted
                pulsing: enabled
                onClicked: step.viewModel.requestAccessibilityPermission()
            }
            Label {
                Layout.fillWidth: true
                visible: text.length > 0
                text: step.viewModel.restartNotice
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
            FTUEHeading { text: step.texts.optionalScreenRecording }
            Label {
                Layout.fillWidth: true
                text: step.texts.revokeLater
                wrapMode: Text.Wrap
                font.pixelSize: 13
                color: "#555555"
            }
            FTUEPermissionItem {
                Layout.fillWidth: true
                icon: step.viewModel.screenRecordingItem.icon
                title: step.viewModel.screenRecordingItem.title
                description: step.viewModel.screenRecordingItem.description
                isGranted: step.viewModel.screenRecordingItem.isGranted
            }
            FTUEButton {
                secondary: true
                text: step.viewModel.screenRecordingItem.buttonTitle
                enabled: !step.viewModel.screenRecordingItem.isGranted
                onClicked: step.viewModel.requestScreenRecordingPermission()
            }
        }
    }
    Label {
        Layout.fillWidth: true
        Layout.topMargin: 12
        text: step.texts.dataShareText
        wrapMode: Text.Wrap
        horizontalAlignment: Text.AlignHCenter
        font.pixelSize: 12
        color: "#555555"
        Accessible.role: Accessible.StaticText
        Accessible.name: text
    }
    Switch {
        Layout.alignment: Qt.AlignHCenter
        text: step.texts.dataShareToggle
        font.pixelSize: 13
        checked: step.viewModel.dataShareAgreement
        Accessible.name: text
        Accessible.onPressAction: toggled()
        Accessible.onToggleAction: toggled()
        onToggled: {
            step.viewModel.toggleDataShareAgreement()
            // The store decides: show its value again, not the click's.
            checked = Qt.binding(function () { return step.viewModel.dataShareAgreement })
        }
    }
    Item { Layout.fillHeight: true }
}
