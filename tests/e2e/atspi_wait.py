#!/usr/bin/python3
# Waits until the accessibility bus shows what a desktop test starts from: an active window with
# the given title whose focused element has the given role (as AT-SPI names it: "text",
# "password text"). Exits 0 once seen, 1 with what it saw last when the deadline passes.
# Usage: atspi_wait.py TITLE ROLE SECONDS. Run with Debian's Python (it has the bindings).
import sys
import time

import gi

gi.require_version("Atspi", "2.0")
from gi.repository import Atspi, GLib  # noqa: E402


def children(accessible):
    for index in range(accessible.get_child_count()):
        child = accessible.get_child_at_index(index)
        if child is not None:
            yield child


def focused_role(accessible, depth=0):
    if accessible.get_state_set().contains(Atspi.StateType.FOCUSED):
        return accessible.get_role_name()
    if depth > 12:
        return None
    for child in children(accessible):
        role = focused_role(child, depth + 1)
        if role is not None:
            return role
    return None


def look(title):
    """The focused role in the active window called title, and a line about what was found."""
    seen = []
    for application in children(Atspi.get_desktop(0)):
        try:
            for window in children(application):
                name = window.get_name()
                active = window.get_state_set().contains(Atspi.StateType.ACTIVE)
                role = focused_role(window) if active else None
                seen.append(f"{application.get_name()}: {name!r} active={active} focused={role}")
                if name == title and active:
                    return role, seen
        except GLib.Error as error:
            # An application that quits or stalls while it is looked at.
            seen.append(f"{error.message}")
    return None, seen


def main():
    title, role, seconds = sys.argv[1], sys.argv[2], float(sys.argv[3])
    # A call to a stalled application gives up quickly, so the deadline holds.
    Atspi.set_timeout(1000, 2000)
    deadline = time.monotonic() + seconds
    seen = []
    while time.monotonic() < deadline:
        found, seen = look(title)
        if found == role:
            return 0
        time.sleep(0.1)
    print(f"atspi_wait.py: no active window {title!r} with a focused {role!r} element after {seconds:g} s; "
          f"the accessibility bus showed: {'; '.join(seen) or 'no application'}", file=sys.stderr)
    return 1


if __name__ == "__main__":
    sys.exit(main())
