#!/usr/bin/python3
# Whole dictations through the real application, driven from outside as a user would: the right
# Control key held with xdotool, speech played into the session's microphone, a local transcription
# server (transcription_stub.py) that answers with a known sentence, and the GTK target windows
# that receive the text. Runs inside `with-desktop --audio`.
#
# Usage: dictation_test.py SORAWEN_BINARY TESTDATA_FOLDER
# Exits 0 when every case passed, 1 when one failed (with what it waited for and the end of the
# application's standard error), 77 when the shared test data is missing.
import json
import os
import re
import shutil
import signal
import stat
import subprocess
import sys
import tempfile
import time
import traceback
from dataclasses import dataclass
from typing import Callable, Optional

import desktop
from desktop import Failure, run, wait_for

HERE = os.path.dirname(os.path.abspath(__file__))
SENTENCE = "The quarterly report is ready for review."
SPEECH = "speech-en-fillers.wav"
# The user's clipboard before each dictation: one item in three types.
CLIPBOARD = {"text/plain": "mine", "text/html": "<b>mine</b>", "application/x-sorawen-test": "marker"}
TEXT_TYPES = ("text/plain;charset=utf-8", "UTF8_STRING", "text/plain")
START_LINE = re.compile(r"sorawen \[timing\] 開始 マイク (\d+)ms 入力先 (\d+)ms 認識の準備 (\d+)ms$")
FINISH_LINE = re.compile(r"sorawen \[timing\] 認識 (\d+)ms 清書 (\d+)ms 貼付 (\d+)ms 文字数 (\d+)$")
SKIPPED = 77
# Right Control by its X key code: given the key's name, xdotool first presses left Control to
# produce the Control modifier the name maps to, which no real keyboard does and which makes the
# press count as a chord.
RIGHT_CONTROL = "105"


def xdotool(*arguments):
    result = run("xdotool", *arguments)
    if result.returncode != 0:
        raise Failure(f"xdotool {' '.join(arguments)} failed: {result.stderr.strip()}")


def write_json(path, value):
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, "w", encoding="utf-8") as out:
        json.dump(value, out, ensure_ascii=False)


def read_json(path):
    try:
        with open(path, encoding="utf-8") as source:
            return json.load(source)
    except (OSError, ValueError):
        return None


class XTerm:
    """An xterm, which has no accessibility, whose every received byte lands in a file. Stock xterm
    binds no key to the clipboard; its users bind Control+Shift+V as here."""

    TITLE = "Sorawen xterm"

    def __init__(self, folder):
        self.output = os.path.join(folder, "xterm-received")
        open(self.output, "w").close()
        self.log = open(os.path.join(folder, "xterm.log"), "w", encoding="utf-8")
        self.process = subprocess.Popen(
            ["xterm", "-title", self.TITLE, "-xrm",
             "XTerm*VT100.translations: #override Shift Ctrl <Key>V: insert-selection(CLIPBOARD)",
             "-e", "/bin/sh", "-c", f"stty raw -echo; exec cat >> '{self.output}'"],
            stdout=self.log, stderr=self.log)
        wait_for("the xterm window", lambda: run("xdotool", "search", "--name", f"^{self.TITLE}$").returncode == 0, 20)

    def text(self):
        return read_text(self.output) or ""

    def clear(self):
        # cat appends, so emptying the file starts it over.
        open(self.output, "w").close()

    def focus(self):
        xdotool("search", "--name", f"^{self.TITLE}$", "windowactivate", "--sync")
        active = run("xdotool", "getactivewindow", "getwindowname").stdout.strip()
        if active != self.TITLE:
            raise Failure(f"the active window is {active!r}, not the xterm")
        # The terminal takes keys a moment after it is activated.
        time.sleep(1)

    def stop(self):
        self.process.kill()
        self.process.wait()
        self.log.close()


class Target:
    """The GTK windows of target_app.py, read through the state file it keeps, and the xterm when
    there is one."""

    def __init__(self, xterm=None):
        self.state_file = os.environ["SORAWEN_TARGET_STATE"]
        self.pid = int(os.environ["SORAWEN_TARGET_PID"])
        self.xterm = xterm

    def state(self):
        return read_json(self.state_file) or {"texts": {}, "focused": None}

    def texts(self):
        texts = self.state()["texts"]
        return dict(texts, xterm=self.xterm.text()) if self.xterm else texts

    def clear(self):
        if self.xterm:
            self.xterm.clear()
        os.kill(self.pid, signal.SIGUSR1)
        wait_for("the target's entries to empty", lambda: not any(self.texts().values()), 10)

    def focus(self, entry):
        if entry == "xterm":
            self.xterm.focus()
            return
        title, role = {
            "plain": ("Sorawen target", "text"),
            "secret": ("Sorawen target", "password text"),
            "other": ("Sorawen other", "text"),
        }[entry]
        xdotool("search", "--name", f"^{title}$", "windowactivate", "--sync")
        for _ in range(4):
            try:
                wait_for(f"the focus on the entry {entry!r}", lambda: self.state()["focused"] == entry, 3)
                break
            except Failure:
                xdotool("key", "Tab")
        wait_for(f"the focus on the entry {entry!r}", lambda: self.state()["focused"] == entry, 5)
        # The application finds the focused field through the accessibility bus, which lags behind GTK.
        probe = run("/usr/bin/python3", os.path.join(HERE, "atspi_wait.py"), title, role, "15", timeout=60)
        if probe.returncode != 0:
            raise Failure(probe.stderr.strip())


class Clipboard:
    """The user's clipboard item, served by clipboard.py, which says whether another program took it."""

    def __init__(self, folder):
        self.folder = folder
        self.owner = None
        self.state_file = None

    def take(self, name):
        self.release()
        self.state_file = os.path.join(self.folder, f"clipboard-{name}")
        items = [f"{mime}={text}" for mime, text in CLIPBOARD.items()]
        self.owner = subprocess.Popen(
            ["/usr/bin/python3", os.path.join(HERE, "clipboard.py"), "own", self.state_file, *items])
        wait_for("clipboard.py to hold the clipboard", lambda: self.ownership() == "owned", 15)

    def ownership(self):
        try:
            with open(self.state_file, encoding="utf-8") as source:
                return source.read().strip()
        except OSError:
            return None

    def release(self):
        if self.owner is not None:
            self.owner.kill()
            self.owner.wait()
            self.owner = None

    @staticmethod
    def read():
        result = run("/usr/bin/python3", os.path.join(HERE, "clipboard.py"), "read")
        return json.loads(result.stdout) if result.returncode == 0 and result.stdout.strip() else None

    @staticmethod
    def differences(item):
        """What is missing or different in item compared with the user's item; empty when equal."""
        if item is None:
            return ["nobody serves the clipboard"]
        contents = item["contents"]
        text_type = next((t for t in TEXT_TYPES if t in contents), None)
        found = {
            "text/plain": contents.get(text_type) if text_type else None,
            "text/html": contents.get("text/html"),
            "application/x-sorawen-test": contents.get("application/x-sorawen-test"),
        }
        return [f"{mime}: {found[mime]!r} instead of {text!r}" for mime, text in CLIPBOARD.items() if found[mime] != text]


class Stub:
    """transcription_stub.py and the requests it recorded."""

    def __init__(self, folder):
        self.record = os.path.join(folder, "requests.jsonl")
        self.mode_file = os.path.join(folder, "stub-mode")
        port_file = os.path.join(folder, "stub-port")
        self.log = open(os.path.join(folder, "stub.log"), "w", encoding="utf-8")
        self.process = subprocess.Popen(
            [sys.executable, os.path.join(HERE, "transcription_stub.py"), "--text", SENTENCE, "--record",
             self.record, "--port-file", port_file, "--mode-file", self.mode_file],
            stderr=self.log)
        self.port = int(wait_for("the transcription stub's port", lambda: read_text(port_file), 30))

    def set_mode(self, mode):
        with open(self.mode_file, "w", encoding="utf-8") as out:
            out.write(mode)

    def transcriptions(self):
        try:
            with open(self.record, encoding="utf-8") as source:
                entries = [json.loads(line) for line in source if line.strip()]
        except OSError:
            return []
        return [e for e in entries if e.get("path") == "/v1/audio/transcriptions"]

    def stop(self):
        self.process.kill()
        self.process.wait()
        self.log.close()


def read_text(path):
    try:
        with open(path, encoding="utf-8") as source:
            return source.read().strip()
    except OSError:
        return None


class Application:
    """The sorawen process with its own configuration and data folders."""

    def __init__(self, binary, folder, port):
        self.config = os.path.join(folder, "config")
        self.data = os.path.join(folder, "data")
        settings = {"hotkey": "rightControl", "language": "en_US", "historyEnabled": True, "playSounds": True}
        write_json(os.path.join(self.config, "sorawen", "defaults.json"), {
            "settings": json.dumps(settings),
            "onboardingCompleted": True,
            "speechModel": json.dumps({"en_US": {"endpoint": f"http://127.0.0.1:{port}/v1", "model": "test"}}),
        })
        self.stderr_file = os.path.join(folder, "sorawen.stderr")
        environment = dict(os.environ, XDG_CONFIG_HOME=self.config, XDG_DATA_HOME=self.data,
                           XDG_CACHE_HOME=os.path.join(folder, "cache"), LANG="C.UTF-8", LC_ALL="C.UTF-8",
                           QT_LOGGING_RULES="sorawen.keys.debug=true;sorawen.accessibility.debug=true")
        self.stderr = open(self.stderr_file, "wb")
        self.process = subprocess.Popen([binary], env=environment, stdout=subprocess.DEVNULL, stderr=self.stderr)

    def lines(self):
        with open(self.stderr_file, encoding="utf-8", errors="replace") as source:
            return source.read().splitlines()

    def tail(self, count=60):
        # libatspi's harmless criticals would crowd out the application's own lines.
        # So would the accessibility reads that took no time.
        quick = re.compile(r"sorawen\.accessibility: read: \d+ ms queued, \d{1,2} ms running$")
        lines = [line for line in self.lines() if "GLib-CRITICAL" not in line and not quick.search(line)]
        return "\n".join("    " + line for line in lines[-count:]) or "    (nothing)"

    def check_alive(self):
        if self.process.poll() is not None:
            raise Failure(f"the application exited with status {self.process.returncode}")

    def pulse_clients(self):
        """The PulseAudio client indices of this process."""
        clients, index = set(), None
        for line in run("pactl", "list", "clients").stdout.splitlines():
            if line.startswith("Client #"):
                index = line.split("#", 1)[1].strip()
            elif line.strip() == f'application.process.id = "{self.process.pid}"' and index is not None:
                clients.add(index)
        return clients

    def recording_sources(self):
        """Names of the sources this process records from now."""
        clients = self.pulse_clients()
        sources = dict(line.split("\t")[:2] for line in run("pactl", "list", "short", "sources").stdout.splitlines())
        names = []
        for line in run("pactl", "list", "short", "source-outputs").stdout.splitlines():
            fields = line.split("\t")
            if len(fields) >= 3 and fields[2] in clients:
                names.append(sources.get(fields[1], f"#{fields[1]}"))
        return names

    def wait_recording(self, what):
        sources = wait_for(f"the application to record ({what})", self.recording_sources, 20)
        if sources != ["mic"]:
            raise Failure(f"the application records from {sources}, not from the microphone source 'mic'")

    def stop(self):
        if self.process.poll() is None:
            self.process.terminate()
            try:
                self.process.wait(10)
            except subprocess.TimeoutExpired:
                self.process.kill()
                self.process.wait()
        self.stderr.close()


# The number of the case running, for the screenshots' names.
case_number = 0


def screenshot(name):
    desktop.screenshot(f"{case_number}-{name}")


def speak(speech):
    result = run("paplay", "-d", "mic_feed", speech, timeout=60)
    if result.returncode != 0:
        raise Failure(f"paplay failed: {result.stderr.strip()}")


# The user's keys and speech, one function per way of dictating.

def hold_speak_release(app, target, speech):
    xdotool("keydown", RIGHT_CONTROL)
    app.wait_recording("after the press")
    player = subprocess.Popen(["paplay", "-d", "mic_feed", speech])
    time.sleep(3)
    screenshot("recording")
    if player.wait(60) != 0:
        raise Failure("paplay failed")
    xdotool("keyup", RIGHT_CONTROL)
    time.sleep(0.1)
    screenshot("released")


def hold_while_speaking(app, target, speech):
    # For a field the application may refuse to record for: no wait for a recording.
    xdotool("keydown", RIGHT_CONTROL)
    speak(speech)
    xdotool("keyup", RIGHT_CONTROL)


def double_press_then_press(app, target, speech):
    # A tap, then a press 0.1 s after its release: well inside the double-press interval.
    xdotool("keydown", RIGHT_CONTROL, "keyup", RIGHT_CONTROL, "sleep", "0.1", "keydown", RIGHT_CONTROL, "keyup", RIGHT_CONTROL)
    app.wait_recording("after the double press")
    speak(speech)
    if not app.recording_sources():
        raise Failure("the recording ended without a third press: no hands-free recording")
    xdotool("keydown", RIGHT_CONTROL, "keyup", RIGHT_CONTROL)


def escape_right_after_press(app, target, speech):
    # Speech plays throughout, so a recording that Escape failed to cancel would have words to send.
    player = subprocess.Popen(["paplay", "-d", "mic_feed", speech])
    try:
        xdotool("keydown", RIGHT_CONTROL, "key", "Escape", "sleep", "0.5", "keyup", RIGHT_CONTROL)
    finally:
        player.wait(60)


def move_focus_before_release(app, target, speech):
    xdotool("keydown", RIGHT_CONTROL)
    app.wait_recording("after the press")
    speak(speech)
    xdotool("search", "--name", "^Sorawen other$", "windowactivate", "--sync")
    wait_for("the focus on the other window's entry", lambda: target.state()["focused"] == "other", 10)
    xdotool("keyup", RIGHT_CONTROL)


@dataclass
class Case:
    name: str
    entry: str  # focused at the press
    keys: Callable
    lands: bool  # the sentence lands in `entry` and the clipboard comes back; otherwise nothing changes
    # False where the paste cannot be seen (no accessibility): the clipboard then keeps the sentence.
    clipboard_back: bool = True
    asks_server: Optional[bool] = None  # None: either is right
    stub_mode: str = "ok"


CASES = [
    Case("hold, speak, release", "plain", hold_speak_release, lands=True, asks_server=True),
    Case("double press, speak, press", "plain", double_press_then_press, lands=True, asks_server=True),
    Case("Escape right after the press", "plain", escape_right_after_press, lands=False, asks_server=False),
    Case("password entry focused", "secret", hold_while_speaking, lands=False),
    Case("focus moved to another window before the release", "plain", move_focus_before_release, lands=False),
    Case("the server answers an error", "plain", hold_speak_release, lands=False, asks_server=True, stub_mode="error"),
    Case("the server answers garbage", "plain", hold_speak_release, lands=False, asks_server=True,
         stub_mode="garbage"),
    Case("xterm: no accessibility, Control+Shift+V", "xterm", hold_speak_release, lands=True, asks_server=True,
         clipboard_back=False),
]


class Run:
    def __init__(self, app, target, clipboard, stub, speech):
        self.app, self.target, self.clipboard, self.stub, self.speech = app, target, clipboard, stub, speech
        # How long a dictation took from the release to the text; a case that must change nothing
        # waits twice that before it looks.
        self.landing_seconds = None

    def quiet_window(self):
        return max(5.0, 2 * self.landing_seconds) if self.landing_seconds else 15.0

    def case(self, case, number):
        global case_number
        case_number = number
        self.target.clear()
        self.clipboard.take(str(number))
        self.target.focus(case.entry)
        self.stub.set_mode(case.stub_mode)
        before = len(self.stub.transcriptions())
        try:
            case.keys(self.app, self.target, self.speech)
        finally:
            run("xdotool", "keyup", RIGHT_CONTROL)
        released = time.monotonic()
        if case.lands:
            wait_for(f"{SENTENCE!r} in the entry {case.entry!r} (it holds {self.target.texts().get(case.entry)!r})",
                     lambda: self.target.texts().get(case.entry) == SENTENCE, 60)
            self.landing_seconds = self.landing_seconds or time.monotonic() - released
            screenshot("landed")
            others = {name: text for name, text in self.target.texts().items() if name != case.entry and text}
            if others:
                raise Failure(f"text landed elsewhere too: {others}")
            if case.clipboard_back:
                last = [None]

                def restored():
                    last[0] = Clipboard.differences(Clipboard.read())
                    return not last[0]
                try:
                    wait_for("the user's clipboard item to come back", restored, 20, poll=0.3)
                except Failure as failure:
                    raise Failure(f"{failure}; the clipboard differs: {'; '.join(last[0])}") from None
            else:
                item = Clipboard.read()
                contents = item["contents"] if item else {}
                text = next((contents[t] for t in TEXT_TYPES if t in contents), None)
                if text != SENTENCE:
                    raise Failure(f"the clipboard holds {text!r}, not the dictated sentence")
        else:
            wait_for("the recording to end", lambda: not self.app.recording_sources(), 20)
            time.sleep(0.3)
            screenshot("ended")
            time.sleep(self.quiet_window())
            typed = {name: text for name, text in self.target.texts().items() if text}
            if typed:
                raise Failure(f"text was typed: {typed}")
            if self.clipboard.ownership() != "owned":
                raise Failure("the clipboard was taken from its owner")
            differences = Clipboard.differences(Clipboard.read())
            if differences:
                raise Failure(f"the clipboard changed: {'; '.join(differences)}")
        self.app.check_alive()
        requests = self.stub.transcriptions()[before:]
        if case.asks_server is False and requests:
            raise Failure(f"the transcription server was asked {len(requests)} time(s)")
        if case.asks_server:
            if len(requests) != 1:
                raise Failure(f"the transcription server was asked {len(requests)} times, not once")
            check_request(requests[0])


def check_request(request):
    if request["problems"]:
        raise Failure(f"the transcription request was malformed: {'; '.join(request['problems'])}")
    audio = request["file"]
    if audio.get("seconds", 0) < 1.0:
        raise Failure(f"the recording sent holds {audio.get('seconds', 0):.2f} s of audio")
    # The played speech peaks at 0.74; silence or a wrong source stays near 0.
    if audio.get("peak", 0) < 0.1:
        raise Failure(f"the recording sent is silent (peak {audio.get('peak', 0):.3f}): the microphone was not heard")


def check_history(app):
    folder = os.path.join(app.data, "Ripplet")
    path = os.path.join(folder, "history.json")

    def has_item():
        document = read_json(path) or {}
        return [item for item in document.get("items", []) if item.get("rawText") == SENTENCE]
    items = wait_for(f"an item with {SENTENCE!r} in {path}", has_item, 20)
    if items[0].get("polishedText") != SENTENCE:
        raise Failure(f"the history item's polished text is {items[0].get('polishedText')!r}")
    for name, want in ((path, 0o600), (folder, 0o700)):
        mode = stat.S_IMODE(os.stat(name).st_mode)
        if mode != want:
            raise Failure(f"{name} has mode {mode:o}, not {want:o}")


def check_timing_lines(app):
    lines = app.lines()
    starts = [m for m in map(START_LINE.search, lines) if m]
    finishes = [m for m in map(FINISH_LINE.search, lines) if m]
    if not starts:
        raise Failure("no line 'sorawen [timing] 開始 マイク …ms 入力先 …ms 認識の準備 …ms' on standard error")
    if not finishes:
        raise Failure("no line 'sorawen [timing] 認識 …ms 清書 …ms 貼付 …ms 文字数 …' on standard error")
    counts = [int(m.group(4)) for m in finishes]
    if len(SENTENCE) not in counts:
        raise Failure(f"no finished dictation counted {len(SENTENCE)} characters; counts: {counts}")


def main():
    if len(sys.argv) != 3:
        sys.exit("usage: dictation_test.py SORAWEN_BINARY TESTDATA_FOLDER")
    binary, testdata = sys.argv[1], sys.argv[2]
    speech = os.path.join(testdata, SPEECH)
    if not os.path.isfile(speech):
        print(f"dictation_test.py: skipped, {speech} is missing (the shared test data is not beside the project)")
        return SKIPPED
    if not os.access(binary, os.X_OK):
        print(f"dictation_test.py: {binary} is not an executable", file=sys.stderr)
        return 1
    for variable in ("DISPLAY", "SORAWEN_TARGET_STATE", "PULSE_RUNTIME_PATH"):
        if variable not in os.environ:
            print(f"dictation_test.py: {variable} is not set; run it inside tests/e2e/with-desktop --audio",
                  file=sys.stderr)
            return 1

    # Inside the session's runtime folder, which goes with the session.
    folder = tempfile.mkdtemp(prefix="dictation-", dir=os.environ.get("XDG_RUNTIME_DIR"))
    stub = Stub(folder)
    app = Application(binary, folder, stub.port)
    clipboard = Clipboard(folder)
    xterm = None
    failures = []

    def report(name, error):
        failures.append(name)
        print(f"FAIL  {name}: {error}", file=sys.stderr)

    try:
        try:
            # The application says when it listens for the key; its PulseAudio connection comes
            # earlier still, and the recordings are watched through it.
            wait_for("the application to listen for the key",
                     lambda: "sorawen [keys] listening for the dictation key" in app.lines(), 60)
            wait_for("the application to connect to PulseAudio", app.pulse_clients, 60)
        except Failure as failure:
            app.check_alive()
            raise failure
        xterm = XTerm(folder)
        session = Run(app, Target(xterm), clipboard, stub, speech)
        for number, case in enumerate(CASES, 1):
            try:
                session.case(case, number)
                print(f"ok    {case.name}")
            except Failure as failure:
                report(case.name, failure)
                if app.process.poll() is not None:
                    break
        for name, check in (("history file", check_history), ("timing lines", check_timing_lines)):
            try:
                check(app)
                print(f"ok    {name}")
            except Failure as failure:
                report(name, failure)
    except Failure as failure:
        report("start", failure)
    except Exception:  # a fault of this script: say where, then clean up as for any failure
        report("driver", traceback.format_exc())
    finally:
        clipboard.release()
        if xterm is not None:
            xterm.stop()
        app.stop()
        stub.stop()
    if os.environ.get("SORAWEN_KEEP_STDERR"):
        shutil.copy(app.stderr_file, os.environ["SORAWEN_KEEP_STDERR"])
    if failures:
        print(f"{len(failures)} failed; the application's standard error ended with:\n{app.tail()}", file=sys.stderr)
        print("the transcription stub received:", file=sys.stderr)
        if not stub.transcriptions():
            print("    (nothing)", file=sys.stderr)
        for request in stub.transcriptions():
            audio = request.get("file", {})
            print(f"    answer {request['answer']}, {audio.get('seconds', 0):.2f} s of audio, peak "
                  f"{audio.get('peak', 0):.2f}, fields {request.get('fields')}, problems {request['problems']}",
                  file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
