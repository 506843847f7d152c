#!/usr/bin/python3
# The application that desktop tests dictate into: a window "Sorawen target" with a text entry
# ("plain") and a password entry ("secret"), and a second window "Sorawen other" with one more
# entry ("other") to move the focus to. Run with Debian's Python (it has the GTK bindings).
#
# With a file name as argument it writes its state there as JSON whenever it changes: the text of
# every entry and which entry has the keyboard focus in the active window ("focused", null when
# none), so a test can wait for a paste or a focus change without asking the accessibility bus.
# SIGUSR1 empties every entry; SIGUSR2 keeps the application busy for four seconds, answering
# nobody, as a hung application does.
import json
import os
import signal
import sys
import time

import gi

gi.require_version("Gtk", "3.0")
from gi.repository import GLib, Gtk  # noqa: E402

state_file = sys.argv[1] if len(sys.argv) > 1 else None
entries = {}


def focused_entry():
    for name, entry in entries.items():
        if entry.get_toplevel().is_active() and entry.has_focus():
            return name
    return None


def write_state(*_):
    if state_file is None:
        return False
    state = {"texts": {name: entry.get_text() for name, entry in entries.items()}, "focused": focused_entry()}
    # Replaced in one step, so a reader never sees half a file.
    partial = state_file + ".part"
    with open(partial, "w", encoding="utf-8") as out:
        json.dump(state, out)
    os.replace(partial, state_file)
    return False


def changed_later(*_):
    # Focus and activation signals arrive before the widget's own state settles.
    GLib.idle_add(write_state)
    return False


def add_entry(box, name, visible=True):
    entry = Gtk.Entry()
    entry.set_name(name)
    entry.set_visibility(visible)
    for signal_name in ("changed", "focus-in-event", "focus-out-event"):
        entry.connect(signal_name, changed_later)
    box.pack_start(entry, False, False, 0)
    entries[name] = entry
    return entry


def add_window(title, names):
    window = Gtk.Window(title=title)
    window.set_default_size(420, 120)
    box = Gtk.Box(orientation=Gtk.Orientation.VERTICAL, spacing=8)
    box.set_border_width(12)
    first = None
    for name, visible in names:
        entry = add_entry(box, name, visible)
        first = first or entry
    window.add(box)
    window.connect("destroy", Gtk.main_quit)
    window.connect("notify::is-active", changed_later)
    window.show_all()
    return window, first


def clear_entries():
    for entry in entries.values():
        entry.set_text("")
    write_state()
    return True


# The other window opens first, so the target window starts on top.
add_window("Sorawen other", [("other", True)])
_, plain = add_window("Sorawen target", [("plain", True), ("secret", False)])
plain.grab_focus()
GLib.unix_signal_add(GLib.PRIORITY_DEFAULT, signal.SIGUSR1, clear_entries)
GLib.unix_signal_add(GLib.PRIORITY_DEFAULT, signal.SIGUSR2, lambda: time.sleep(4) or True)
write_state()
Gtk.main()
