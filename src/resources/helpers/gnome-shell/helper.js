// Tavrin's helper inside GNOME Shell: tells Tavrin, and no other program, where the pointer is in
// the focused window, that window's application id, title, process and frame, when the focus moves
// and when a mouse button goes down on an application's window (and which window that is). Nothing else: no keys, no content.
//
// It answers only while Tavrin runs (its name is owned on the session bus) and only the process
// that owns that name; its signals go to that process alone. Tavrin's installer puts this file
// between the opening and closing lines of the extension format the running Shell uses.
function makeTavrinHelper(Gio, GLib, Clutter, Meta, global) {
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

    // The pointer in a window's surface coordinates (where its accessible coordinates start: the
    // client's own drawing, shadows included, not the frame), and whether it lies in the frame.
    function pointerIn(win) {
        const [px, py] = global.get_pointer();
        if (!win)
            return [false, px, py, '', '', 0, [0, 0, 0, 0], [0, 0, 0, 0]];
        const frame = win.get_frame_rect();
        const surface = win.get_buffer_rect();
        const inside = px >= frame.x && py >= frame.y && px < frame.x + frame.width && py < frame.y + frame.height;
        return [inside, px - surface.x, py - surface.y, win.get_wm_class() || '', win.get_title() || '',
            win.get_pid(), rect(frame), rect(surface)];
    }

    const MENUS = [Meta.WindowType.DROPDOWN_MENU, Meta.WindowType.POPUP_MENU, Meta.WindowType.MENU,
        Meta.WindowType.COMBO, Meta.WindowType.TOOLTIP];

    // The window under the pointer, topmost first; for a menu, the window it belongs to, in whose
    // coordinates the application places its items.
    function windowUnderPointer() {
        const [px, py] = global.get_pointer();
        const actors = global.get_window_actors();
        for (let i = actors.length - 1; i >= 0; --i) {
            let win = actors[i].get_meta_window();
            if (!win || win.minimized || !actors[i].visible)
                continue;
            const r = win.get_buffer_rect();
            if (px < r.x || py < r.y || px >= r.x + r.width || py >= r.y + r.height)
                continue;
            while (MENUS.includes(win.get_window_type()) && win.get_transient_for())
                win = win.get_transient_for();
            return win;
        }
        return global.display.focus_window;
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
    const POLL_MS = 15;
    let poll = 0;

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
        // Presses on application windows: the Shell's event filters hand presses on a Wayland
        // client's window to the client before the stage sees them, so the pointer's button state is
        // read instead, every POLL_MS while Tavrin runs. A press shorter than that can go unseen.
        let held = 0;
        poll = GLib.timeout_add(GLib.PRIORITY_DEFAULT, POLL_MS, () => {
            const [, , mods] = global.get_pointer();
            const now = mods & (Clutter.ModifierType.BUTTON1_MASK | Clutter.ModifierType.BUTTON3_MASK);
            const down = now & ~held;
            held = now;
            if (down) {
                const win = windowUnderPointer();
                // X11 windows tell Tavrin of their presses themselves.
                if (win && win.get_client_type() !== Meta.WindowClientType.X11) {
                    const button = down & Clutter.ModifierType.BUTTON1_MASK ? 1 : 3;
                    emit('ButtonPressed', '(ubiissi(iiii)(iiii))', [button, ...pointerIn(win)]);
                }
            }
            return GLib.SOURCE_CONTINUE;
        });
    }

    function unfollow() {
        if (poll)
            GLib.source_remove(poll);
        poll = 0;
        for (const [object, id] of connections.splice(0))
            object.disconnect(id);
    }

    const service = {
        PointerAsync(parameters, invocation) {
            if (!tavrin || invocation.get_sender() !== tavrin) {
                invocation.return_dbus_error(DENIED, 'This helper answers Tavrin alone');
                return;
            }
            invocation.return_value(new GLib.Variant('(biissi(iiii)(iiii))', pointerIn(global.display.focus_window)));
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
