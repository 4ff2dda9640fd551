// Tavrin's helper inside KWin: tells Tavrin, and no other program, where the pointer is in the
// active window, that window's application id, title, process and frame, and when the active
// window changes. Nothing else: no keys, no content.
//
// A KWin script cannot be called over D-Bus, only call out. So it asks Tavrin, over and over,
// for the next question (Tavrin answers when a button has gone down) and answers it at once. The
// calls go to Tavrin's name on the session bus, which the bus delivers to the process that owns it
// alone; while Tavrin does not run, they fail and the script falls silent until Tavrin starts it
// again.
var TAVRIN = "app.tavrin.tavrin";
var PATH = "/app/tavrin/Helper";
var INTERFACE = "app.tavrin.HelperClient1";

function rect(r) {
    return r ? [Math.round(r.x), Math.round(r.y), Math.round(r.width), Math.round(r.height)] : [0, 0, 0, 0];
}

function describe(window) {
    if (!window)
        return ["", "", 0, [0, 0, 0, 0]];
    return [String(window.resourceClass || ""), String(window.caption || ""), window.pid || 0, rect(window.frameGeometry)];
}

function focusChanged() {
    var w = describe(workspace.activeClient);
    callDBus(TAVRIN, PATH, INTERFACE, "FocusChanged", w[0], w[1], w[2], w[3].join(","));
}

// The pointer in the active window's surface coordinates (where its accessible coordinates
// start), and whether it lies inside the window's frame.
function answer(serial) {
    var p = workspace.cursorPos;
    var window = workspace.activeClient;
    var w = describe(window);
    var frame = w[3];
    var surface = window ? rect(window.bufferGeometry) : [0, 0, 0, 0];
    var inside = !!window && p.x >= frame[0] && p.y >= frame[1] && p.x < frame[0] + frame[2] && p.y < frame[1] + frame[3];
    callDBus(TAVRIN, PATH, INTERFACE, "Pointer", serial, inside, p.x - surface[0], p.y - surface[1],
             w[0], w[1], w[2], frame.join(","), surface.join(","));
}

function ask() {
    callDBus(TAVRIN, PATH, INTERFACE, "NextQuestion", function (serial) {
        if (serial > 0)
            answer(serial);
        ask();
    });
}

workspace.clientActivated.connect(focusChanged);
focusChanged();
ask();
