"""What the desktop test scripts share: their failure, waiting for a condition, running a command,
and a picture of the screen when SORAWEN_SCREENSHOTS names a folder."""
import os
import subprocess
import time


class Failure(Exception):
    pass


def wait_for(what, predicate, seconds, poll=0.1):
    """predicate's first true value; Failure naming `what` when `seconds` pass first."""
    deadline = time.monotonic() + seconds
    while True:
        value = predicate()
        if value:
            return value
        if time.monotonic() > deadline:
            raise Failure(f"waited {seconds:g} s for {what}")
        time.sleep(poll)


def run(*command, timeout=30):
    return subprocess.run(command, capture_output=True, text=True, timeout=timeout, check=False)


def output(*command):
    return run(*command).stdout


def session_bus_has(name):
    """Whether some process owns `name` on the session bus."""
    return name in output("dbus-send", "--session", "--print-reply", "--dest=org.freedesktop.DBus",
                          "/org/freedesktop/DBus", "org.freedesktop.DBus.ListNames")


def screenshot(name):
    """The whole screen as SORAWEN_SCREENSHOTS/<name>.png, when that folder is given."""
    folder = os.environ.get("SORAWEN_SCREENSHOTS")
    if folder:
        os.makedirs(folder, exist_ok=True)
        run("import", "-window", "root", os.path.join(folder, f"{name}.png"))
