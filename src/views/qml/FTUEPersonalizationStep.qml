import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tavrin.Views

// The first-run questions: the user's role and the kinds of applications they use most.
ColumnLayout {
    id: step
    required property FTUEViewModel viewModel
    readonly property var texts: viewModel.texts
    spacing: 10
    FTUETitle { text: step.texts.personalizationTitle }
    FTUESubtitle { text: step.texts.personalizationSubtitle }
    RowLayout {
        Layout.alignment: Qt.AlignHCenter
        Layout.topMargin: 10
        spacing: 60
        ColumnLayout {
            Layout.alignment: Qt.AlignTop
            spacing: 0
            FTUEHeading { text: step.texts.roleQuestion }
            ButtonGroup { id: roles }
            Repeater {
                model: step.viewModel.userRoles
                RadioButton {
                    required property string modelData
                    required property int index
                    text: modelData
                    font.pixelSize: 14
                    topPadding: 3
                    bottomPadding: 3
                    ButtonGroup.group: roles
                    checked: step.viewModel.userRole === index
                    Accessible.name: text
                    Accessible.onPressAction: clicked()
                    Accessible.onToggleAction: clicked()
                    onClicked: step.viewModel.setUserRole(index)
                }
            }
        }
        ColumnLayout {
            Layout.alignment: Qt.AlignTop
            spacing: 0
            FTUEHeading { text: step.texts.appsQuestion }
            Repeater {
                model: step.viewModel.appTypes
                CheckBox {
                    required property string modelData
                    required property int index
                    text: modelData
                    font.pixelSize: 14
                    checked: step.viewModel.chosenApps[index] === true
                    Accessible.name: text
                    Accessible.onPressAction: toggled()
                    Accessible.onToggleAction: toggled()
                    // The store decides: the box shows the state, not its own click.
                    nextCheckState: function () { return checkState }
                    onToggled: step.viewModel.toggleFrequentApp(index)
                }
            }
        }
    }
    Item { Layout.fillHeight: true }
}
