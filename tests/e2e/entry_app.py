#!/usr/bin/python3
# One more application for the desktop dictations: a window TITLE with one text field of the
# toolkit named, whose text is written to FILE at every change (replaced in one step). SIGUSR1
# empties the field. Run with Debian's Python (it has the bindings).
#
#   entry_app.py gtk4 TITLE FILE   a GTK 4 Gtk.Entry (GTK 4 speaks AT-SPI itself)
#   entry_app.py qt6 TITLE FILE    a Qt 6 QLineEdit (PyQt6; run with QT_ACCESSIBILITY=1)
#   entry_app.py vte TITLE FILE    a VTE terminal in a GTK 3 window running cat with echo on, so what
#                                  it receives shows on its screen and is appended to FILE; it pastes
#                                  with Control+Shift+V, as the terminals built on VTE do
import os
import signal
import sys


def write_text(path, text):
    partial = path + ".part"
    with open(partial, "w", encoding="utf-8") as out:
        out.write(text)
    os.replace(partial, path)


def gtk4(title, path):
    import gi
    gi.require_version("Gtk", "4.0")
    from gi.repository import GLib, Gtk

    window = Gtk.Window(title=title)
    window.set_default_size(420, 80)
    entry = Gtk.Entry()
    entry.connect("changed", lambda e: write_text(path, e.get_text()))
    window.set_child(entry)
    loop = GLib.MainLoop()
    window.connect("close-request", lambda *_: loop.quit())
    GLib.unix_signal_add(GLib.PRIORITY_DEFAULT, signal.SIGUSR1, lambda: entry.set_text("") or True)
    write_text(path, "")
    window.present()
    entry.grab_focus()
    loop.run()


def qt6(title, path):
    from PyQt6.QtCore import QTimer
    from PyQt6.QtWidgets import QApplication, QLineEdit, QVBoxLayout, QWidget

    application = QApplication(sys.argv)
    window = QWidget()
    window.setWindowTitle(title)
    window.resize(420, 60)
    entry = QLineEdit()
    QVBoxLayout(window).addWidget(entry)
    entry.textChanged.connect(lambda text: write_text(path, text))
    # Python runs a signal's handler only between its own lines: the timer gives it some.
    signal.signal(signal.SIGUSR1, lambda *_: entry.clear())
    ticker = QTimer()
    ticker.timeout.connect(lambda: None)
    ticker.start(100)
    write_text(path, "")
    window.show()
    entry.setFocus()
    application.exec()


def vte(title, path):
    import gi
    gi.require_version("Gdk", "3.0")
    gi.require_version("Gtk", "3.0")
    gi.require_version("Vte", "2.91")
    from gi.repository import Gdk, GLib, Gtk, Vte

    window = Gtk.Window(title=title)
    window.set_default_size(520, 200)
    terminal = Vte.Terminal()
    window.add(terminal)
    window.connect("destroy", Gtk.main_quit)
    write_text(path, "")
    # Raw input with echo: every byte lands in the file at once and shows on the screen, where the
    # accessibility bus reads it.
    terminal.spawn_async(Vte.PtyFlags.DEFAULT, None, ["/bin/sh", "-c", f"stty raw; exec cat >> '{path}'"], None,
                         GLib.SpawnFlags.DEFAULT, None, None, -1, None, None, None)
    # The widget binds no key to the clipboard: the terminals built on it bind Control+Shift+V.
    paste_keys = Gdk.ModifierType.CONTROL_MASK | Gdk.ModifierType.SHIFT_MASK

    def key_pressed(_widget, event):
        if event.keyval in (Gdk.KEY_V, Gdk.KEY_v) and event.state & paste_keys == paste_keys:
            terminal.paste_clipboard()
            return True
        return False
    terminal.connect("key-press-event", key_pressed)
    window.show_all()
    terminal.grab_focus()
    Gtk.main()


if __name__ == "__main__":
    toolkits = {"gtk4": gtk4, "qt6": qt6, "vte": vte}
    if len(sys.argv) != 4 or sys.argv[1] not in toolkits:
        sys.exit("usage: entry_app.py gtk4|qt6|vte TITLE FILE")
    toolkits[sys.argv[1]](sys.argv[2], sys.argv[3])
