import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tavrin.Views

// The first-run flow: one screen per step over a blue-to-purple gradient, and the navigation row
// below it. The content keeps the view model's frame (it grows with the desktop's text), scaled
// about its centre to fit the screen. Colours follow the palette, light or dark.
Item {
    id: view
    required property FTUEViewModel viewModel
    readonly property real u: viewModel.layoutScale

    // Top leading to bottom trailing, blue to purple, both translucent, over the window's colour.
    Rectangle {
        objectName: "ftueBackground"
        anchors.fill: parent
        color: palette.window
        clip: true
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
        width: view.viewModel.frameWidth
        height: view.viewModel.frameHeight
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
            anchors.topMargin: 30 * view.u
            anchors.leftMargin: 40 * view.u
            anchors.rightMargin: 40 * view.u
            readonly property var screen: view.viewModel.screen

            FTUEWelcomeStep {
                anchors.fill: parent
                visible: steps.screen === FTUEViewModel.Welcome
                viewModel: view.viewModel
            }
            FTUEPersonalizationStep {
                anchors.fill: parent
                visible: steps.screen === FTUEViewModel.Personalization
                viewModel: view.viewModel
            }
            FTUEPotentialStep {
                anchors.fill: parent
                visible: steps.screen === FTUEViewModel.ProductivityPotential
                viewModel: view.viewModel
            }
            FTUEHowToStep {
                anchors.fill: parent
                visible: steps.screen === FTUEViewModel.HowToUseTavrin
                viewModel: view.viewModel
            }
            FTUEPrivacyStep {
                anchors.fill: parent
                visible: steps.screen === FTUEViewModel.PrivacySetup
                viewModel: view.viewModel
            }
        }

        // The navigation row: the step's one button, or nothing.
        Item {
            id: navigation
            anchors.left: parent.left
            anchors.right: parent.right
            anchors.bottom: parent.bottom
            anchors.bottomMargin: 40 * view.u
            height: 44 * view.u
            FTUEButton {
                objectName: "navigationButton"
                anchors.centerIn: parent
                viewModel: view.viewModel
                visible: view.viewModel.navigationTitle.length > 0
                text: view.viewModel.navigationTitle
                secondary: view.viewModel.navigationSecondary
                pulsing: view.viewModel.navigationPulses
                onClicked: view.viewModel.next()
            }
        }
    }
}
