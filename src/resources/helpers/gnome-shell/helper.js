// Tavrin's helper inside GNOME Shell: tells Tavrin, and no other program, where the pointer is in
// the focused window, that window's application id, title, process and frame, when the focus moves
// and when a mouse button goes down on an application's window. Nothing else: no keys, no content.
//
// It answers only while Tavrin runs (its name is owned on the session bus) and only the process
// that owns that name; its signals go to that process alone. Tavrin's installer puts this file
// between the opening and closing lines of the extension format the running Shell uses.
function makeTavrinHelper(Gio, GLib, Clutter, global) {
    const TAVRIN = 'app.tavrin.tavrin';
    const PATH = '/app/tavrin/Helper';
    const INTERFACE = 'app.tavrin.Helper1';
    const XML = `<node><interface name="${INTERFACE}">
  <method name="Pointer">
    <arg type="b" direction="out" name="inside"/>
    <arg type="i" direction="out" name="x"/>
    <arg type="i" direction="out" name="y"/>
    <arg type="s" direction="out" name="app_id"/>
    <arg type="s" direction="out" name="title"/>
    <arg type="i" direction="out" name="pid"/>
    <arg type="(iiii)" direction="out" name="frame"/>
    <arg type="(iiii)" direction="out" name="surface"/>
  </method>
  <signal name="FocusChanged">
    <arg type="s" name="app_id"/>
    <arg type="s" name="title"/>
    <arg type="i" name="pid"/>
    <arg type="(iiii)" name="frame"/>
  </signal>
  <signal name="ButtonPressed">
    <arg type="u" name="button"/>
    <arg type="b" name="inside"/>
    <arg type="i" name="x"/>
    <arg type="i" name="y"/>
    <arg type="s" name="app_id"/>
    <arg type="s" name="title"/>
    <arg type="i" name="pid"/>
    <arg type="(iiii)" name="frame"/>
    <arg type="(iiii)" name="surface"/>
  </signal>
</interface></node>`;
    const DENIED = 'org.freedesktop.DBus.Error.AccessDenied';

    const rect = r => (r ? [r.x, r.y, r.width, r.height] : [0, 0, 0, 0]);

    // The focused window and the pointer in its surface's coordinates (where its accessible
    // coordinates start: the client's own drawing, shadows included, not the frame).
    function pointerInFocus() {
        const [px, py] = global.get_pointer();
        const win = global.display.focus_window;
        if (!win)
            return [false, px, py, '', '', 0, [0, 0, 0, 0], [0, 0, 0, 0]];
        const frame = win.get_frame_rect();
        const surface = win.get_buffer_rect();
        const inside = px >= frame.x && py >= frame.y && px < frame.x + frame.width && py < frame.y + frame.height;
        return [inside, px - surface.x, py - surface.y, win.get_wm_class() || '', win.get_title() || '',
            win.get_pid(), rect(frame), rect(surface)];
    }

    function focusInfo() {
        const win = global.display.focus_window;
        if (!win)
            return ['', '', 0, [0, 0, 0, 0]];
        return [win.get_wm_class() || '', win.get_title() || '', win.get_pid(), rect(win.get_frame_rect())];
    }

    let exported = null;
    let watch = 0;
    let tavrin = null; // Tavrin's unique name while it runs
    const connections = [];

    function emit(name, signature, values) {
        if (!tavrin)
            return;
        try {
            Gio.DBus.session.emit_signal(tavrin, PATH, INTERFACE, name, new GLib.Variant(signature, values));
        } catch (e) {
            logError(e, 'Tavrin helper: a signal was not sent');
        }
    }

    function connect(object, signal, handler) {
        connections.push([object, object.connect(signal, handler)]);
    }

    function follow() {
        connect(global.display, 'notify::focus-window', () =>
            emit('FocusChanged', '(ssi(iiii))', focusInfo()));
        // Presses on application windows: the stage sees every button event first, also those
        // that go on to a Wayland client.
        connect(global.stage, 'captured-event', (actor, event) => {
            if (event.type() === Clutter.EventType.BUTTON_PRESS)
                emit('ButtonPressed', '(ubiissi(iiii)(iiii))', [event.get_button(), ...pointerInFocus()]);
            return Clutter.EVENT_PROPAGATE;
        });
    }

    function unfollow() {
        for (const [object, id] of connections.splice(0))
            object.disconnect(id);
    }

    const service = {
        PointerAsync(parameters, invocation) {
            if (!tavrin || invocation.get_sender() !== tavrin) {
                invocation.return_dbus_error(DENIED, 'This helper answers Tavrin alone');
                return;
            }
            invocation.return_value(new GLib.Variant('(biissi(iiii)(iiii))', pointerInFocus()));
        },
    };

    return {
        enable() {
            exported = Gio.DBusExportedObject.wrapJSObject(XML, service);
            exported.export(Gio.DBus.session, PATH);
            watch = Gio.bus_watch_name_on_connection(Gio.DBus.session, TAVRIN, Gio.BusNameWatcherFlags.NONE,
                (connection, name, owner) => {
                    tavrin = owner;
                    unfollow();
                    follow();
                    emit('FocusChanged', '(ssi(iiii))', focusInfo());
                },
                () => {
                    tavrin = null;
                    unfollow();
                });
        },
        disable() {
            if (watch)
                Gio.bus_unwatch_name(watch);
            watch = 0;
            tavrin = null;
            unfollow();
            if (exported)
                exported.unexport();
            exported = null;
        },
    };
}
