#!/usr/bin/python3
# The settings window on the desktop, run inside tests/e2e/with-desktop: a second launch opens it,
# and "もう一度入力" in its history section puts the stored dictation into the GTK entry the user
# had the focus in before. With SORAWEN_SCREENSHOTS set to a folder, each section is kept there as
# a picture, in Japanese and in English.
# Usage: settings_test.py SORAWEN_BINARY
import json
import os
import subprocess
import sys
import tempfile
import time
import uuid

from desktop import Failure, output, session_bus_has, wait_for

SECTIONS = ["general", "dictionary", "writing", "applications", "history"]
DICTATED = "今日はいい天気ですね。"


def prepare(folder):
    config = os.path.join(folder, "config", "sorawen")
    data = os.path.join(folder, "data", "Ripplet")
    os.makedirs(config)
    os.makedirs(data, mode=0o700)
    settings = {"hotkey": "rightControl", "customInstructions": "丁寧語で書く。",
                "dictionary": [{"id": str(uuid.uuid4()).upper(), "spoken": "そらうぇん", "replacement": "Sorawen"}],
                "applicationStyles": [{"id": str(uuid.uuid4()).upper(), "bundleIdentifier": "org.gnome.TextEditor",
                                       "applicationName": "Text Editor", "instruction": "箇条書きにする",
                                       "skipsPolishing": False}]}
    with open(os.path.join(config, "defaults.json"), "w", encoding="utf-8") as out:
        json.dump({"settings": json.dumps(settings), "onboardingCompleted": True}, out)
    history = os.path.join(data, "history.json")
    with open(history, "w", encoding="utf-8") as out:
        json.dump({"items": [{"id": str(uuid.uuid4()).upper(), "date": 785000000.0, "applicationName": "Mail",
                              "rawText": "きょうはいいてんきですね", "polishedText": DICTATED}]}, out)
    os.chmod(history, 0o600)


def settings_window():
    for window in output("xdotool", "search", "--onlyvisible", "--class", "sorawen").split():
        geometry = output("xdotool", "getwindowgeometry", "--shell", window)
        values = dict(line.split("=", 1) for line in geometry.split() if "=" in line)
        if int(values.get("WIDTH", 0)) >= 760 and int(values.get("HEIGHT", 0)) >= 520:
            return window, int(values["WIDTH"])
    return None


def click(window, x, y):
    subprocess.run(["xdotool", "mousemove", "--window", window, str(x), str(y), "click", "1"], check=True)


def target_text():
    with open(os.environ["SORAWEN_TARGET_STATE"], encoding="utf-8") as state:
        return json.load(state)["texts"]["plain"]


def run(binary, language, reinserts):
    folder = tempfile.mkdtemp(prefix="settings-", dir=os.environ.get("XDG_RUNTIME_DIR"))
    prepare(folder)
    environment = dict(os.environ, XDG_CONFIG_HOME=os.path.join(folder, "config"),
                       XDG_DATA_HOME=os.path.join(folder, "data"), XDG_CACHE_HOME=os.path.join(folder, "cache"),
                       LANG=language, LC_ALL="")
    stderr = open(os.path.join(folder, "sorawen.stderr"), "w+b")
    first = subprocess.Popen([binary], env=environment, stdout=subprocess.DEVNULL, stderr=stderr)
    try:
        wait_for("the first instance to own its name on the session bus",
                 lambda: session_bus_has("com.kestrelwood.ripplet"), 20)
        subprocess.run([binary], env=environment, capture_output=True, timeout=20, check=True)
        wait_for("the settings window", lambda: settings_window(), 10)
        window, width = settings_window()
        subprocess.run(["xdotool", "windowactivate", "--sync", window], check=False)
        time.sleep(0.5)
        shots = os.environ.get("SORAWEN_SCREENSHOTS")
        for index, section in enumerate(SECTIONS):
            # The sidebar's rows are 30 pixels high below a 12-pixel margin.
            click(window, 60, 27 + 30 * index)
            time.sleep(0.5)
            if shots:
                name = f"settings-{section}-{'ja' if language.startswith('ja') else 'en'}.png"
                subprocess.run(["import", "-window", window, os.path.join(shots, name)], check=False)
        if reinserts:
            # "もう一度入力" is the last button of the only entry, at the form's right edge.
            click(window, width - 24 - 40, 192)
            wait_for("the history item in the GTK entry", lambda: target_text() == DICTATED, 10)
    finally:
        first.terminate()
        first.wait(timeout=10)
        stderr.seek(0)
        log = stderr.read().decode("utf-8", "replace")
    if first.returncode != 0:
        raise Failure(f"Sorawen ended with status {first.returncode} on SIGTERM:\n{log}")


def main(binary):
    run(binary, "ja_JP.UTF-8", reinserts=True)
    if os.environ.get("SORAWEN_SCREENSHOTS"):
        run(binary, "C.UTF-8", reinserts=False)


if __name__ == "__main__":
    try:
        main(sys.argv[1])
    except Failure as failure:
        print(f"settings_test: {failure}", file=sys.stderr)
        sys.exit(1)
    print("settings_test: passed")
