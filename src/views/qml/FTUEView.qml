import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tavrin.Views

// The first-run flow: one screen per step over a blue-to-purple gradient, and the navigation row
// below it. The content keeps a frame of 1100 by 600, scaled about its centre to fit the screen.
Item {
    id: view
    required property FTUEViewModel viewModel

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

            FTUEWelcomeStep {
                anchors.fill: parent
                visible: steps.currentIndex === 0
                viewModel: view.viewModel
            }
            FTUEPersonalizationStep {
                anchors.fill: parent
                visible: steps.currentIndex === 1
                viewModel: view.viewModel
            }
            FTUEPotentialStep {
                anchors.fill: parent
                visible: steps.currentIndex === 2
                viewModel: view.viewModel
            }
            FTUEHowToStep {
                anchors.fill: parent
                visible: steps.currentIndex === 3
                viewModel: view.viewModel
            }
            FTUEPrivacyStep {
                anchors.fill: parent
                visible: steps.currentIndex === 4
                viewModel: view.viewModel
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
}
