import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// The line under a first-run screen's title, centred.
Label {
    Layout.alignment: Qt.AlignHCenter
    font.pixelSize: 22
    color: "#5a5a5a"
    Accessible.role: Accessible.StaticText
    Accessible.name: text
}
