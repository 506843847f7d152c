#!/usr/bin/python3
# The user's clipboard in desktop tests. Run with Debian's Python (it has the GTK bindings).
#
#   clipboard.py own STATE TYPE=TEXT...  takes the clipboard with one item of several types and
#                                         serves it; writes "owned" to STATE once it holds the
#                                         clipboard and "lost" when another program takes it, then exits
#   clipboard.py read                     prints the clipboard's types and the content of each
#                                         (UTF-8 text) as one JSON object; exits 1 when nobody owns it
import json
import os
import sys

import gi

gi.require_version("Gdk", "3.0")
gi.require_version("Gtk", "3.0")
from gi.repository import Gdk, GLib, Gtk  # noqa: E402

# What a selection owner answers for itself, not a type of the item.
BOOKKEEPING = {"TARGETS", "TIMESTAMP", "MULTIPLE", "SAVE_TARGETS", "DELETE", "INSERT_PROPERTY", "INSERT_SELECTION"}
# Text is also asked for under the older X names.
TEXT_ALIASES = ["UTF8_STRING", "text/plain;charset=utf-8", "STRING", "TEXT", "COMPOUND_TEXT"]


def write_state(path, word):
    partial = path + ".part"
    with open(partial, "w", encoding="utf-8") as out:
        out.write(word)
    os.replace(partial, path)


def own(state, items):
    contents = {}
    for item in items:
        mime, _, text = item.partition("=")
        contents[mime] = text.encode("utf-8")
    if "text/plain" in contents:
        for alias in TEXT_ALIASES:
            contents.setdefault(alias, contents["text/plain"])

    owner = Gtk.Invisible()
    clipboard = Gdk.Atom.intern("CLIPBOARD", False)
    for mime in contents:
        Gtk.selection_add_target(owner, clipboard, Gdk.Atom.intern(mime, False), 0)

    def serve(_widget, data, _info, _time):
        target = data.get_target()
        data.set(target, 8, contents[target.name()])

    def lost(*_):
        write_state(state, "lost")
        Gtk.main_quit()
        return True

    owner.connect("selection-get", serve)
    owner.connect("selection-clear-event", lost)
    if not Gtk.selection_owner_set(owner, clipboard, Gdk.CURRENT_TIME):
        sys.exit("clipboard.py: could not take the clipboard")
    write_state(state, "owned")
    Gtk.main()


def give_up():
    # The waits below run their own main loop; an exception raised here would not end them.
    print("clipboard.py: the clipboard's owner did not answer within 10 s", file=sys.stderr)
    os._exit(2)


def read():
    clipboard = Gtk.Clipboard.get(Gdk.SELECTION_CLIPBOARD)
    has_targets, targets = clipboard.wait_for_targets()
    if not has_targets:
        print(json.dumps(None))
        sys.exit(1)
    names = sorted({atom.name() for atom in targets} - BOOKKEEPING)
    result = {"types": names, "contents": {}}
    for name in names:
        data = clipboard.wait_for_contents(Gdk.Atom.intern(name, False))
        raw = data.get_data() if data is not None else None
        result["contents"][name] = None if raw is None else bytes(raw).decode("utf-8", "replace")
    print(json.dumps(result))


if __name__ == "__main__":
    if len(sys.argv) >= 4 and sys.argv[1] == "own":
        own(sys.argv[2], sys.argv[3:])
    elif len(sys.argv) == 2 and sys.argv[1] == "read":
        GLib.timeout_add_seconds(10, give_up)
        read()
    else:
        sys.exit("usage: clipboard.py own STATE TYPE=TEXT... | clipboard.py read")
