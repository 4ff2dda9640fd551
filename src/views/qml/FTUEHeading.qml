import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// The heading of a group of choices or permissions on a first-run screen.
Label {
    font.pixelSize: 16
    font.bold: true
    color: "#1b1b1b"
    bottomPadding: 6
    Accessible.role: Accessible.StaticText
    Accessible.name: text
}
