import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Tavrin.Views

// The first-run questions: the user's role and the kinds of applications they use most. A click or
// Space asks the store, and each control shows the store's answer. The arrow keys move through
// the roles and choose, as in any group of radio buttons.
ColumnLayout {
    id: step
    required property FTUEViewModel viewModel
    readonly property var texts: viewModel.texts
    readonly property real u: viewModel.layoutScale
    spacing: 10 * u

    // Moves the keyboard focus `by` roles on, round the ends, and chooses that role.
    function moveRole(from, by) {
        const to = (from + by + roles.count) % roles.count
        roles.itemAt(to).forceActiveFocus(Qt.TabFocusReason)
        viewModel.setUserRole(to)
    }

    FTUETitle { viewModel: step.viewModel; text: step.texts.personalizationTitle }
    FTUESubtitle { viewModel: step.viewModel; text: step.texts.personalizationSubtitle }
    RowLayout {
        Layout.alignment: Qt.AlignHCenter
        Layout.topMargin: 10 * step.u
        spacing: 60 * step.u
        ColumnLayout {
            Layout.alignment: Qt.AlignTop
            spacing: 0
            FTUEHeading { viewModel: step.viewModel; text: step.texts.roleQuestion }
            Repeater {
                id: roles
                model: step.viewModel.userRoles
                RadioButton {
                    required property string modelData
                    required property int index
                    text: modelData
                    font.pixelSize: step.viewModel.fonts.body
                    topPadding: 3 * step.u
                    bottomPadding: 3 * step.u
                    checked: step.viewModel.userRole === index
                    Accessible.name: text
                    Accessible.onPressAction: clicked()
                    onClicked: step.viewModel.setUserRole(index)
                    Keys.onUpPressed: step.moveRole(index, -1)
                    Keys.onDownPressed: step.moveRole(index, 1)
                }
            }
        }
        ColumnLayout {
            Layout.alignment: Qt.AlignTop
            spacing: 0
            FTUEHeading { viewModel: step.viewModel; text: step.texts.appsQuestion }
            Repeater {
                model: step.viewModel.appTypes
                CheckBox {
                    required property string modelData
                    required property int index
                    text: modelData
                    font.pixelSize: step.viewModel.fonts.body
                    checked: step.viewModel.chosenApps[index] === true
                    nextCheckState: function () { return checkState }
                    Accessible.name: text
                    Accessible.onPressAction: clicked()
                    Accessible.onToggleAction: clicked()
                    // `clicked`, not `toggled`: the state does not change until the store says so,
                    // and Qt reports a toggle only for a change.
                    onClicked: step.viewModel.toggleFrequentApp(index)
                }
            }
        }
    }
    Item { Layout.fillHeight: true }
}
