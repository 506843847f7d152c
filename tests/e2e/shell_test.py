#!/usr/bin/python3
# The application shell on the desktop, run inside tests/e2e/with-desktop --audio: Sorawen starts
# without any tray host, a second launch has the running one open its settings and ends, and a tray host
# started afterwards (as a panel at login may be) shows the item, whose menu opens on a click.
# With SORAWEN_SCREENSHOTS set to a folder, pictures of the tray item and its menu are kept there.
# Usage: shell_test.py SORAWEN_BINARY
import json
import os
import subprocess
import sys
import tempfile
import time

from desktop import Failure, output, screenshot, session_bus_has, wait_for


def main(binary):
    folder = tempfile.mkdtemp(prefix="shell-", dir=os.environ.get("XDG_RUNTIME_DIR"))
    config = os.path.join(folder, "config")
    os.makedirs(os.path.join(config, "sorawen"))
    with open(os.path.join(config, "sorawen", "defaults.json"), "w", encoding="utf-8") as out:
        json.dump({"settings": json.dumps({"hotkey": "rightControl"}), "onboardingCompleted": True}, out)
    environment = dict(os.environ, XDG_CONFIG_HOME=config, XDG_DATA_HOME=os.path.join(folder, "data"),
                       XDG_CACHE_HOME=os.path.join(folder, "cache"), LANG="ja_JP.UTF-8", LC_ALL="")
    stderr = open(os.path.join(folder, "sorawen.stderr"), "w+b")
    first = subprocess.Popen([binary], env=environment, stdout=subprocess.PIPE, stderr=stderr)
    tray = None
    try:
        wait_for("the first instance to own its name on the session bus",
                 lambda: session_bus_has("com.kestrelwood.ripplet"), 20)
        if first.poll() is not None:
            raise Failure(f"the first instance ended with status {first.returncode}")

        second = subprocess.run([binary], env=environment, capture_output=True, text=True, timeout=20, check=False)
        if second.returncode != 0 or "起動中の Sorawen の設定を開きました" not in second.stdout:
            raise Failure(f"second launch: status {second.returncode}, output {second.stdout!r} {second.stderr!r}")
        if first.poll() is not None:
            raise Failure("the first instance ended when the second was launched")

        tray = subprocess.Popen(["trayer", "--edge", "top", "--align", "right", "--widthtype", "request",
                                 "--height", "24", "--SetDockType", "true", "--transparent", "false"],
                                stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        # The item is made once the tray shows; the click on it below finds out whether it is there.
        wait_for("the tray host", lambda: output("xdotool", "search", "--onlyvisible", "--class", "trayer"), 20)
        time.sleep(1)
        screenshot("shell-tray")

        geometry = output("xdotool", "search", "--onlyvisible", "--class", "trayer", "getwindowgeometry", "--shell")
        values = dict(line.split("=", 1) for line in geometry.split() if "=" in line)
        x = int(values["X"]) + int(values["WIDTH"]) - 12
        y = int(values["Y"]) + int(values["HEIGHT"]) // 2
        before = set(output("xdotool", "search", "--onlyvisible", "--pid", str(first.pid), "").split())
        subprocess.run(["xdotool", "mousemove", "--sync", str(x), str(y), "click", "3"], check=True)
        wait_for("the tray menu to open",
                 lambda: set(output("xdotool", "search", "--onlyvisible", "--pid", str(first.pid), "").split())
                 - before, 5)
        time.sleep(0.5)
        screenshot("shell-tray-menu")
        subprocess.run(["xdotool", "key", "Escape"], check=False)
    finally:
        if tray is not None:
            tray.terminate()
        first.terminate()
        first.wait(timeout=10)
        stderr.seek(0)
        log = stderr.read().decode("utf-8", "replace")
    if first.returncode != 0:
        raise Failure(f"Sorawen ended with status {first.returncode} on SIGTERM:\n{log}")


if __name__ == "__main__":
    try:
        main(sys.argv[1])
    except Failure as failure:
        print(f"shell_test: {failure}", file=sys.stderr)
        sys.exit(1)
    print("shell_test: passed")
