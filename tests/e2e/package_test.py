#!/usr/bin/python3
# The Debian package as a user gets it: installed with apt-get, started with the command of its
# menu entry, one whole dictation into the GTK entry (the dictation test's first case: the sentence
# lands and the user's clipboard comes back), then removed again. While the installed program runs,
# every library, plugin and font it has mapped must come from a package that the package's
# dependencies pull in, or a clean machine would lack it. Runs inside `with-desktop --audio`, as
# root or with password-less sudo, because it installs and removes a package.
#
# Usage: package_test.py PACKAGE.deb TESTDATA_FOLDER
# Exits 0 when everything passed, 1 when something failed, 77 when the shared test data is missing.
import os
import re
import shlex
import shutil
import subprocess
import sys
import tempfile
import time
import traceback

import dictation_test
from desktop import Failure, run

PACKAGE = "sorawen"
# What the package must put where a desktop and udev look for it.
INSTALLED = [
    "/usr/bin/sorawen",
    "/usr/bin/sorawen-cli",
    "/usr/share/applications/sorawen.desktop",
    "/usr/share/icons/hicolor/scalable/apps/sorawen.svg",
    "/usr/lib/udev/rules.d/70-sorawen-uinput.rules",
]
DESKTOP_ENTRY = "/usr/share/applications/sorawen.desktop"
# Loaded when present, never required: Qt's X11 plugin opens libXcursor (which brings libXrender)
# for the cursor theme and falls back to the core cursors without it.
OPTIONAL = {"libxcursor1", "libxrender1"}


def as_root(*command, timeout=600):
    prefix = [] if os.geteuid() == 0 else ["sudo", "-n"]
    environment = dict(os.environ, DEBIAN_FRONTEND="noninteractive")
    return subprocess.run([*prefix, *command], capture_output=True, text=True, timeout=timeout, env=environment,
                          check=False)


def is_installed():
    status = run("dpkg-query", "-W", "-f=${Status}", PACKAGE).stdout
    return "install ok installed" in status


def exec_command():
    """The desktop entry's Exec line as an argument list, field codes dropped."""
    with open(DESKTOP_ENTRY, encoding="utf-8") as source:
        lines = [line.strip() for line in source]
    if "[Desktop Entry]" not in lines:
        raise Failure(f"{DESKTOP_ENTRY} has no [Desktop Entry] group")
    execs = [line.split("=", 1)[1] for line in lines if line.startswith("Exec=")]
    if len(execs) != 1:
        raise Failure(f"{DESKTOP_ENTRY} has {len(execs)} Exec lines")
    return [word for word in shlex.split(execs[0]) if not re.fullmatch(r"%[fFuUick]", word)]


def package_closure():
    """The package, every package its dependencies pull in, recursively, and the essential packages
    that every Debian system has."""
    listing = run("apt-cache", "depends", "--recurse", "--installed", "--no-recommends", "--no-suggests",
                  "--no-conflicts", "--no-breaks", "--no-replaces", "--no-enhances", PACKAGE, timeout=120).stdout
    names = set()
    for line in listing.splitlines():
        if line and not line[0].isspace():
            names.add(line.strip().strip("<>").split(":")[0])
    essential = run("dpkg-query", "-W", "-f=${Package} ${Essential}\\n").stdout.splitlines()
    return names | {line.split()[0] for line in essential if line.endswith(" yes")}


def mapped_files(pid):
    files = set()
    with open(f"/proc/{pid}/maps", encoding="utf-8") as maps:
        for line in maps:
            fields = line.split(None, 5)
            if len(fields) == 6 and fields[5].startswith("/") and not fields[5].endswith("(deleted)\n"):
                files.add(fields[5].strip())
    return files


def owners(paths):
    """{path: package} for the paths dpkg knows; others (caches, generated files) are left out."""
    found = {}
    for path in sorted(paths):
        # With /usr merged, dpkg may know a library under /lib while the process maps it from /usr/lib.
        names = {path, os.path.realpath(path)}
        names |= {name[len("/usr"):] for name in names if name.startswith("/usr/")}
        for name in sorted(names):
            result = run("dpkg-query", "-S", name)
            if result.returncode == 0:
                found[path] = result.stdout.split(":", 1)[0].split(",")[0].strip()
                break
    return found


def check_mapped_files(pid):
    closure = package_closure()
    if PACKAGE not in closure:
        raise Failure("apt-cache does not know the installed package's dependencies")
    mapped = {path for path in mapped_files(pid) if not path.startswith(("/tmp/", "/dev/", "/run/", "/proc/"))}
    found = owners(mapped)
    missing = sorted(f"{path} ({package})" for path, package in found.items() if package not in closure | OPTIONAL)
    if missing:
        raise Failure("the running program uses files of packages the package does not depend on:\n    "
                      + "\n    ".join(missing))
    depends = run("dpkg-query", "-W", "-f=${Depends}", PACKAGE).stdout
    direct = {item.split()[0] for item in depends.split(",") if item.strip()}
    return len(found), sorted(direct & set(found.values())), sorted(mapped - found.keys())


def main():
    if len(sys.argv) != 3:
        sys.exit("usage: package_test.py PACKAGE.deb TESTDATA_FOLDER")
    deb, testdata = os.path.abspath(sys.argv[1]), sys.argv[2]
    speech = os.path.join(testdata, dictation_test.SPEECH)
    if not os.path.isfile(speech):
        print(f"package_test.py: skipped, {speech} is missing (the shared test data is not beside the project)")
        return dictation_test.SKIPPED
    if not os.path.isfile(deb):
        print(f"package_test.py: {deb} is missing: run make package first", file=sys.stderr)
        return 1
    if os.geteuid() != 0 and run("sudo", "-n", "true").returncode != 0:
        print("package_test.py: installing a package needs root or password-less sudo", file=sys.stderr)
        return 1
    if is_installed():
        print(f"package_test.py: {PACKAGE} is installed already; remove it first (the test removes what it installs)",
              file=sys.stderr)
        return 1

    folder = tempfile.mkdtemp(prefix="package-", dir=os.environ.get("XDG_RUNTIME_DIR"))
    failures = []
    app = stub = clipboard = None
    try:
        started = time.monotonic()
        result = as_root("apt-get", "install", "-y", "--no-install-recommends", deb)
        if result.returncode != 0 or not is_installed():
            raise Failure(f"apt-get install failed:\n{result.stdout[-2000:]}{result.stderr[-2000:]}")
        print(f"ok    installed with apt-get in {time.monotonic() - started:.1f} s")
        absent = [path for path in INSTALLED if not os.path.exists(path)]
        if absent:
            raise Failure(f"the package did not install {absent}")

        command = exec_command()
        if len(command) != 1 or shutil.which(command[0]) != "/usr/bin/sorawen":
            raise Failure(f"the menu entry's command {command} does not start /usr/bin/sorawen")
        stub = dictation_test.Stub(folder)
        app = dictation_test.Application(command[0], folder, stub.port)
        clipboard = dictation_test.Clipboard(folder)
        try:
            dictation_test.wait_for("the application to listen for the key",
                                    lambda: "sorawen [keys] listening for the dictation key" in app.lines(), 60)
            dictation_test.wait_for("the application to connect to PulseAudio", app.pulse_clients, 60)
        except Failure:
            app.check_alive()
            raise
        session = dictation_test.Run(app, dictation_test.Target(), clipboard, stub, speech)
        case = dictation_test.CASES[0]
        session.case(case, 1)
        print(f"ok    dictated through the installed program: {case.name}")
        owned, used, unowned = check_mapped_files(app.process.pid)
        print(f"ok    the {owned} mapped files dpkg knows all come from packages the dependencies pull in; "
              f"files of these direct dependencies are among them: {', '.join(used)}; "
              f"{len(unowned)} files belong to no package: {', '.join(unowned) or 'none'}")
    except Failure as failure:
        failures.append(str(failure))
    except Exception:  # a fault of this script: say where, then clean up as for any failure
        failures.append(traceback.format_exc())
    finally:
        if clipboard:
            clipboard.release()
        if app:
            app.stop()
        if stub:
            stub.stop()
        if is_installed():
            result = as_root("apt-get", "purge", "-y", PACKAGE)
            if result.returncode != 0 or is_installed():
                failures.append(f"apt-get purge failed:\n{result.stdout[-2000:]}{result.stderr[-2000:]}")
            else:
                left = [path for path in INSTALLED if os.path.exists(path)]
                if left:
                    failures.append(f"removing the package left {left}")
                else:
                    print("ok    removed with apt-get purge, nothing left behind")
    for failure in failures:
        print(f"FAIL  {failure}", file=sys.stderr)
    if failures and app:
        print(f"the application's standard error ended with:\n{app.tail()}", file=sys.stderr)
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
