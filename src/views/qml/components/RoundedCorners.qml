import QtQuick

// Rounds the corners of what lies under it: a quarter-circle cut-out in `color` (the colour around
// the rounded shape) at each corner, above the content. Qt Quick clips to rectangles only, and the
// software renderer has no masks, so this is how content stops at a round corner.
Item {
    id: corners
    property real radius: 10
    property color color

    anchors.fill: parent
    onColorChanged: {
        for (let i = 0; i < repeater.count; ++i)
            repeater.itemAt(i).requestPaint()
    }

    Repeater {
        id: repeater
        model: 4 // top left, top right, bottom left, bottom right
        Canvas {
            required property int index
            width: corners.radius
            height: corners.radius
            x: index % 2 === 0 ? 0 : corners.width - width
            y: index < 2 ? 0 : corners.height - height
            rotation: [0, 90, 270, 180][index]
            onPaint: {
                const ctx = getContext("2d")
                ctx.reset()
                ctx.fillStyle = corners.color
                ctx.beginPath()
                ctx.moveTo(0, 0)
                ctx.lineTo(width, 0)
                ctx.arc(width, height, width, 1.5 * Math.PI, Math.PI, true)
                ctx.closePath()
                ctx.fill()
            }
        }
    }
}
