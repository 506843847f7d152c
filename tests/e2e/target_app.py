#!/usr/bin/python3
# The application that desktop tests dictate into: one window with a text entry and a password
# entry. Run with Debian's Python (it has the GTK bindings).
import gi

gi.require_version("Gtk", "3.0")
from gi.repository import Gtk  # noqa: E402

window = Gtk.Window(title="Sorawen target")
window.set_default_size(420, 120)
box = Gtk.Box(orientation=Gtk.Orientation.VERTICAL, spacing=8)
box.set_border_width(12)
entry = Gtk.Entry()
entry.set_name("plain")
password = Gtk.Entry()
password.set_name("secret")
password.set_visibility(False)
box.pack_start(entry, False, False, 0)
box.pack_start(password, False, False, 0)
window.add(box)
window.connect("destroy", Gtk.main_quit)
window.show_all()
entry.grab_focus()
Gtk.main()
