import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// A first-run screen's title, centred.
Label {
    Layout.alignment: Qt.AlignHCenter
    font.pixelSize: 34
    font.bold: true
    color: "#1b1b1b"
    Accessible.role: Accessible.Heading
    Accessible.name: text
}
