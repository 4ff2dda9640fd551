// The extension format of GNOME Shell 45 and later (ES modules).
import Gio from 'gi://Gio';
import GLib from 'gi://GLib';
import Clutter from 'gi://Clutter';
import Meta from 'gi://Meta';
import {Extension} from 'resource:///org/gnome/shell/extensions/extension.js';

// @HELPER@

export default class TavrinHelperExtension extends Extension {
    enable() {
        this._helper = makeTavrinHelper(Gio, GLib, Clutter, Meta, global);
        this._helper.enable();
    }

    disable() {
        this._helper.disable();
        this._helper = null;
    }
}
