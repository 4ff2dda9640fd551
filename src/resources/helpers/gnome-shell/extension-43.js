// The extension format of GNOME Shell 3.38 to 44 (Debian 12 ships 43).
const {Gio, GLib, Clutter, Meta} = imports.gi;

// @HELPER@

class TavrinHelperExtension {
    enable() {
        this._helper = makeTavrinHelper(Gio, GLib, Clutter, Meta, global);
        this._helper.enable();
    }

    disable() {
        this._helper.disable();
        this._helper = null;
    }
}

function init() {
    return new TavrinHelperExtension();
}
