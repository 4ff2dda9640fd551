import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tavrin.Views

// The first-run permissions: the accessibility one Tavrin needs, screen recording optional, and data sharing.
ColumnLayout {
    id: step
    required property FTUEViewModel viewModel
    readonly property var texts: viewModel.texts
    readonly property real u: viewModel.layoutScale
    spacing: 6 * u
    FTUETitle { viewModel: step.viewModel; text: step.texts.privacyTitle }
    FTUESubtitle { viewModel: step.viewModel; text: step.texts.privacySubtitle }
    RowLayout {
        Layout.alignment: Qt.AlignHCenter
        Layout.topMargin: 8 * step.u
        spacing: 30 * step.u
        ColumnLayout {
            Layout.preferredWidth: 470 * step.u
            Layout.alignment: Qt.AlignTop
            spacing: 8 * step.u
            FTUEHeading { viewModel: step.viewModel; text: step.texts.needsPermission }
            FTUEPermissionItem {
                Layout.fillWidth: true
                viewModel: step.viewModel
                icon: step.viewModel.accessibilityItem.icon
                title: step.viewModel.accessibilityItem.title
                description: step.viewModel.accessibilityItem.description
                isGranted: step.viewModel.accessibilityItem.isGranted
            }
            FTUEButton {
                viewModel: step.viewModel
                text: step.viewModel.accessibilityItem.buttonTitle
                enabled: !step.viewModel.accessibilityItem.isGranted
                pulsing: step.viewModel.accessibilityItem.buttonPulses
                onClicked: step.viewModel.requestAccessibilityPermission()
            }
            Label {
                Layout.fillWidth: true
                visible: text.length > 0
                text: step.viewModel.restartNotice
                wrapMode: Text.Wrap
                font.pixelSize: step.viewModel.fonts.subheadline
                color: step.viewModel.colors.warning
                Accessible.role: Accessible.StaticText
                Accessible.name: text
            }
            Label {
                Layout.fillWidth: true
                visible: text.length > 0
                text: step.viewModel.keySourceNotice
                wrapMode: Text.Wrap
                textFormat: Text.PlainText
                font.pixelSize: step.viewModel.fonts.subheadline
                color: palette.placeholderText
                Accessible.role: Accessible.StaticText
                Accessible.name: text
            }
        }
        ColumnLayout {
            Layout.preferredWidth: 470 * step.u
            Layout.alignment: Qt.AlignTop
            spacing: 8 * step.u
            FTUEHeading { viewModel: step.viewModel; text: step.texts.optionalScreenRecording }
            Label {
                Layout.fillWidth: true
                text: step.texts.revokeLater
                wrapMode: Text.Wrap
                font.pixelSize: step.viewModel.fonts.subheadline
                color: palette.placeholderText
            }
            FTUEPermissionItem {
                Layout.fillWidth: true
                viewModel: step.viewModel
                icon: step.viewModel.screenRecordingItem.icon
                title: step.viewModel.screenRecordingItem.title
                description: step.viewModel.screenRecordingItem.description
                isGranted: step.viewModel.screenRecordingItem.isGranted
            }
            FTUEButton {
                viewModel: step.viewModel
                secondary: true
                text: step.viewModel.screenRecordingItem.buttonTitle
                enabled: !step.viewModel.screenRecordingItem.isGranted
                pulsing: step.viewModel.screenRecordingItem.buttonPulses
                onClicked: step.viewModel.requestScreenRecordingPermission()
            }
        }
    }
    Label {
        Layout.fillWidth: true
        Layout.topMargin: 12 * step.u
        text: step.texts.dataShareText
        wrapMode: Text.Wrap
        horizontalAlignment: Text.AlignHCenter
        font.pixelSize: step.viewModel.fonts.footnote
        color: palette.placeholderText
        Accessible.role: Accessible.StaticText
        Accessible.name: text
    }
    Switch {
        Layout.alignment: Qt.AlignHCenter
        text: step.texts.dataShareToggle
        font.pixelSize: step.viewModel.fonts.subheadline
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
