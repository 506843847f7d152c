#!/usr/bin/env python3
"""Faults the tests must catch.

Each mutation is a small change to one production file and the test binary (with a GoogleTest
filter) that should fail because of it. The script applies one mutation at a time, rebuilds only
that binary, runs only the named tests, puts the file back, and prints caught or missed for each,
then the total. A mutation whose build fails counts as an error, never as caught.

Usage: tests/mutations.py [--build DIR] [--list] [NAME_SUBSTRING...]
Builds and runs take /tmp/sorawen-build.lock, as every build on a shared machine does.
"""

import argparse
import pathlib
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
LOCK = "/tmp/sorawen-build.lock"

# (name, file under src/ (tools/ as ../tools/), text, replacement, binary, gtest filter)
MUTATIONS = [
    # dictation
    ("double press: a gap of exactly the interval no longer counts",
     "dictation/HotkeyStateMachine.cpp", "at - waiting->releasedAt <= doublePressInterval",
     "at - waiting->releasedAt < doublePressInterval", "unit_dictation", "HotkeyStateMachine*"),
    ("hold: exactly the minimum counts as a tap",
     "dictation/HotkeyStateMachine.cpp", "at - down->startedAt < minimumHoldDuration",
     "at - down->startedAt <= minimumHoldDuration", "unit_dictation", "HotkeyStateMachine*"),
    ("Escape cancels again while the key is suppressed",
     "dictation/HotkeyStateMachine.cpp",
     "std::holds_alternative<Idle>(state) || std::holds_alternative<SuppressUntilRelease>(state)",
     "std::holds_alternative<Idle>(state)", "unit_dictation", "HotkeyStateMachine*"),
    ("a start of an old generation is taken",
     "dictation/RecordingLifecycle.cpp", "starting == nullptr || starting->generation != generation",
     "starting == nullptr", "unit_dictation", "RecordingLifecycle*"),
    ("a locked request during a start is forgotten",
     "dictation/RecordingLifecycle.cpp", "starting->locked = true;", "starting->locked = false;",
     "unit_dictation", "RecordingLifecycle*"),
    ("a failure of an old generation ends the current one",
     "dictation/RecordingLifecycle.cpp", "if (generationOf(phase) != generation)", "if (generationOf(phase) < generation)",
     "unit_dictation", "RecordingLifecycle*"),
    ("a missing injector's own reason is not shown",
     "dictation/AppModel.cpp", "if (!reason.isEmpty())", "if (reason.isEmpty())",
     "unit_dictation", "AppModel*"),
    # input
    ("another dictation key held no longer suppresses",
     "input/EventTapController.cpp",
     "!otherKeys.empty() || (flags & hotkey.otherHotkeyFlagMask()) != 0", "!otherKeys.empty()",
     "unit_input", "EventTapController*"),
    ("a disabled tap is not resumed",
     "input/EventTapController.cpp", "if (running)\n            source.resume();", "",
     "unit_input", "EventTapController*"),
    ("a field's value is read up to one character too many",
     "input/AccessibilityServices.cpp", "*count > largestValueRead", "*count >= largestValueRead",
     "unit_input", "AccessibilityServices*"),
    ("a secure subrole is not a secure field",
     "input/AccessibilityServices.cpp",
     "role == AccessibilityServices::secureFieldRole\n        || element.subrole() == AccessibilityServices::secureFieldRole",
     "role == AccessibilityServices::secureFieldRole\n        || (element.subrole() && false)",
     "unit_input", "AccessibilityServices*"),
    ("a field not found again before the paste refuses it",
     "input/PasteService.cpp", "return current.hasFocusedElement() ? Presence::changed : Presence::windowOnly;",
     "return Presence::changed;", "unit_input", "PasteService*"),
    ("the same element with its role unread is another target",
     "input/PasteService.cpp", "    if (current.focusedElementHash == target.focusedElementHash)\n        return Presence::same;\n",
     "", "unit_input", "PasteService*"),
    ("a refused paste gives the clipboard back over a manager's item",
     "input/PasteService.cpp", "if (owner && environment.pasteboard.changeCount() == changeCount) {", "if (owner) {",
     "unit_input", "PasteService*"),
    ("a confirmed paste gives the clipboard back over a manager's item",
     "input/PasteService.h", "return insertionConfirmed && pasteboardStillContainsDictation;",
     "return insertionConfirmed || pasteboardStillContainsDictation;", "unit_input", "PasteService*"),
    # text
    ("a run of two commas is kept",
     "text/TextPostProcessor.cpp", 'IcuRegex(u"、{2,}")', 'IcuRegex(u"、{3,}")', "unit_text", "TextPostProcessor*"),
    ("an upper-case first letter of a caseless script is changed",
     "text/TextPostProcessor.cpp", "if (upper == first || Unicode::lowercased(first) != first)",
     "if (upper == first)", "unit_text", "TextPostProcessor*"),
    ("an entry without a replacement deletes its word",
     "text/TextPostProcessor.cpp", "if (entry.spoken.isEmpty() || entry.replacement.isEmpty())",
     "if (entry.spoken.isEmpty())", "unit_text", "TextPostProcessor*"),
    ("spoken punctuation inside a Latin word",
     "text/TextPostProcessor.cpp", 'IcuRegex(u"(?<![A-Za-z])まる(?![A-Za-z])")', 'IcuRegex(u"まる")',
     "unit_text", "TextPostProcessor*"),
    ("a correction cue no longer lets words go",
     "text/PolishedTextValidator.cpp", "if (correctionCue().isFoundIn(raw))",
     "if (correctionCue().isFoundIn(raw) && false)",
     "unit_text", "PolishedTextValidator*"),
    ("a rewrite may repeat a word",
     "text/PolishedTextValidator.cpp", "if (found == unused.end() || found.value() == 0)",
     "if (found == unused.end())", "unit_text", "PolishedTextValidator*"),
    ("a Japanese rewrite that changes nothing counts as accepted",
     "text/PolishedTextValidator.cpp", "if (merged == raw)\n        return std::nullopt;", "",
     "unit_text", "PolishedTextValidator*"),
    ("diff tie-break: the raw character goes first",
     "text/JapaneseEditFilter.cpp", "at(i, j + 1) >= at(i + 1, j)", "at(i, j + 1) > at(i + 1, j)",
     "unit_text", "JapaneseEditFilter*"),
    ("a question mark may be dropped",
     "text/JapaneseEditFilter.cpp", "if (hasQuestionMark(removed) && !hasQuestionMark(inserted))",
     "if (hasQuestionMark(removed) && !hasQuestionMark(inserted) && false)", "unit_text", "JapaneseEditFilter*"),
    ("content may be added where there was none",
     "text/JapaneseEditFilter.cpp", "if (removedContent.isEmpty())\n        return insertedContent.isEmpty();",
     "if (removedContent.isEmpty())\n        return true;", "unit_text", "JapaneseEditFilter*"),
    ("a correction may leave less than the bound",
     "text/JapaneseEditFilter.cpp", "minimumContentAfterCorrection = 0.4;", "minimumContentAfterCorrection = 0.2;",
     "unit_text", "JapaneseEditFilter*"),
    ("a blank style instruction adds its section",
     "text/PromptBuilder.cpp", "if (style && !style->instruction.trimmed().isEmpty())", "if (style)",
     "unit_text", "PromptBuilder*"),
    ("one word of the Japanese base instruction",
     "text/PromptBuilder.cpp", "句読点は整える。", "句読点を整える。", "unit_text", "PromptBuilder*"),
    ("a zero rewrite limit strikes at once",
     "text/PolishingService.cpp", "std::max(timeout, shortestTimeout)", "timeout", "unit_text", "PolishingService*"),
    ("one word of the English base instruction",
     "text/PromptBuilder.cpp", "Keep greetings, polite phrases", "Keep greetings, polite words",
     "unit_text", "PromptBuilder*"),
    # core
    ("the last characters are cut one short",
     "core/Unicode.cpp", "boundaries[static_cast<size_t>(characters - count)]",
     "boundaries[static_cast<size_t>(characters - count + 1)]", "unit_core", "Unicode*"),
    ("canonically equivalent texts differ",
     "core/Unicode.cpp", "return canonicalForm(a) == canonicalForm(b);", "return false;",
     "unit_core", "Unicode*"),
    ("a serial executor drops its queue when it goes",
     "core/SerialExecutor.cpp", "if (jobs.empty())\n                return;", "if (stopping)\n                return;",
     "unit_core", "SerialExecutor*"),
    # store
    ("a history limit of 0 keeps nothing",
     "store/RippletHistory.cpp", "std::max<qint64>(limit, 1)", "std::max<qint64>(limit, 0)",
     "unit_store", "RippletHistory*"),
    ("search skips the application name",
     "store/RippletHistory.cpp",
     "\n            || Unicode::containsIgnoringCase(item.applicationName, trimmed)", "",
     "unit_store", "RippletHistory*"),
    ("a damaged history item is skipped instead of the whole file",
     "store/RippletHistory.cpp", "if (!item)\n            return {};", "if (!item)\n            continue;",
     "unit_store", "RippletHistory*"),
    ("127.0.0.255 is no longer loopback",
     "core/LoopbackHost.h", "value <= 255", "value < 255", "unit_store", "LanguageModelChoice*"),
    ("a relative model file is taken",
     "store/SpeechModelChoice.cpp", "!file->isEmpty() && QDir::isAbsolutePath(*file)", "!file->isEmpty()",
     "unit_store", "SpeechModelChoice*"),
    ("the restore delay's upper bound",
     "store/RippletSettings.cpp", "std::min(pasteboardRestoreDelaySeconds, 10.0)",
     "std::min(pasteboardRestoreDelaySeconds, 20.0)", "unit_store", "RippletSettings*"),
    # speech
    ("pending audio: a buffer at the bound is kept",
     "speech/SpeechService.cpp", "double(pendingFrames) < buffer.format.sampleRate * pendingSeconds",
     "double(pendingFrames) <= buffer.format.sampleRate * pendingSeconds", "unit_speech", "SpeechService*"),
    ("one restart more than allowed",
     "speech/SpeechService.cpp", "restartCount > maximumRestarts - 1", "restartCount > maximumRestarts",
     "unit_speech", "SpeechService*"),
    ("levels are reported after a cancel",
     "speech/SpeechService.cpp", "if (onLevel && !isSilenced)", "if (onLevel)", "unit_speech", "SpeechService*"),
    ("the level's gain",
     "speech/SpeechService.cpp", "* 8.0, 1.0)", "* 4.0, 1.0)", "unit_speech", "SpeechService*"),
    ("a microphone that is never heard is left open",
     "speech/SpeechService.cpp", "    if (!isHeard) {\n        stopInput();\n", "    if (!isHeard) {\n",
     "unit_speech", "SpeechService*"),
    # ui
    ("the bar ignores the screen under the pointer",
     "ui/FloatingPanelPlacement.cpp", "if (screen.frame.contains(layout.pointer)) {", "if (false) {",
     "unit_ui", "FloatingPanel*"),
    ("a failure hides as soon as a success",
     "ui/FloatingPanelController.cpp", "schedule(failureHideSeconds);", "schedule(successHideSeconds);",
     "unit_ui", "FloatingPanelController*"),
    # platform
    ("an injected key stamped a little early is taken as the user's",
     "platform/linux/InjectedKeys.cpp", "timestamp + stampTolerance >= entry.recordedAt",
     "timestamp >= entry.recordedAt", "unit_platform", "InjectedKeys*"),
    ("a volume key is an ordinary key",
     "platform/linux/KeyEventTranslator.cpp", "(linuxKeyCode >= 113 && linuxKeyCode <= 116)",
     "(linuxKeyCode >= 114 && linuxKeyCode <= 116)", "unit_platform", "KeyEventTranslator*"),
    ("NumLock is an ordinary key that cancels a hold",
     "platform/linux/KeyEventTranslator.cpp", "linuxKeyCode == LinuxKey::capsLock || linuxKeyCode == LinuxKey::numLock",
     "linuxKeyCode == LinuxKey::capsLock", "unit_platform", "KeyEventTranslator*"),
    ("the server clock's window ends one step late",
     "platform/linux/XServerClock.cpp", "now - windowStart >= window", "now - windowStart > window",
     "unit_platform", "XServerClock*"),
    ("a launcher prefix stays in the desktop id",
     "platform/linux/DesktopIdentity.cpp", "if (dash > 0)", "if (dash > 0 && false)",
     "integration_platform", "DesktopIdentity*"),
    ("the sleep monitor follows any sender's PrepareForSleep",
     "platform/linux/LogindSleepMonitor.cpp", "if (logindName.isEmpty() || message().service() != logindName)",
     "if (logindName.isEmpty())", "integration_desktop_services", "PrivateBus*"),
    ("the sleep inhibitor is let go before the handler runs",
     "platform/linux/LogindSleepMonitor.cpp",
     "    if (willSleep)\n        willSleep();\n    inhibitor = QDBusUnixFileDescriptor();",
     "    inhibitor = QDBusUnixFileDescriptor();\n    if (willSleep)\n        willSleep();",
     "integration_desktop_services", "PrivateBus*"),
    ("the portal's session is used though its keyboard was not allowed",
     "platform/linux/RemoteDesktopPortalKeystroke.cpp",
     'if ((results.value(QStringLiteral("devices")).toUInt() & keyboardDevice) == 0) {',
     'if (false) {', "integration_desktop_services", "RemoteDesktopPortal*"),
    ("the kept remote-desktop permission is not handed back",
     "platform/linux/RemoteDesktopPortalKeystroke.cpp", "options.insert(QStringLiteral(\"restore_token\"),",
     "options.insert(QStringLiteral(\"restore_token_\"),", "integration_desktop_services", "RemoteDesktopPortal*"),
    ("a portal session named by an object path is not found",
     "platform/linux/RemoteDesktopPortalKeystroke.cpp", "handle.metaType() == QMetaType::fromType<QDBusObjectPath>()",
     "false", "integration_desktop_services", "RemoteDesktopPortal*"),
    ("a failed key press leaves the keys before it held",
     "platform/linux/RemoteDesktopPortalKeystroke.cpp", "isSent = sendKey(sessionPath, *keysym, false) && isSent;",
     "isSent = isSent && sendKey(sessionPath, *keysym, false);", "integration_desktop_services", "RemoteDesktopPortal*"),
    ("Hidden in another group of the autostart file counts",
     "platform/linux/XdgAutostartLoginItem.cpp", "if (isInEntry && equals > 0",
     "if ((isInEntry || key.size() > 0) && equals > 0",
     "integration_desktop_services", "XdgAutostart*"),
    ("a dollar in the autostart Exec line is not escaped",
     "platform/linux/XdgAutostartLoginItem.cpp", 'QStringView(u"\\"`$\\\\").contains(c)',
     'QStringView(u"\\"`\\\\").contains(c)', "integration_desktop_services", "XdgAutostart*"),
    ("an update feed with a bad signature is taken",
     "platform/linux/SignedUpdateFeed.cpp", "            != 0) {", "            == 12345) {",
     "integration_platform", "SignedUpdateFeed*"),
    ("an update feed may send the user to a plain http page",
     "platform/linux/SignedUpdateFeed.cpp", 'offer.page.scheme() != u"https"', "offer.page.scheme().isEmpty()",
     "integration_platform", "SignedUpdateFeed*"),
    ("an emptied history leaves its file behind",
     "store/HistoryStore.cpp", "    if (!bytes) {\n        QFile::remove(fileName);", "    if (!bytes) {",
     "integration_store", "HistoryFile*"),
    # engines
    ("a downloaded model is placed without its checksum",
     "engines/HttpModelStore.cpp", "    if (!hasChecksum(partPath, file)) {", "    if (false) {",
     "integration_speech", "HttpModelStore*"),
    ("a resumed download throws its part away",
     "engines/HttpModelStore.cpp", "if (status != 206)", "if (status != 200)",
     "integration_speech", "HttpModelStore*"),
    ("any verified note passes for an installed model",
     "engines/HttpModelStore.cpp", "note.readAll() == fingerprint(path, file)", "!note.readAll().isEmpty()",
     "integration_speech", "HttpModelStore*"),
    ("a stopped download waits for the server",
     "engines/HttpModelStore.cpp", "if (isStopping && reply->isRunning())", "if (false)",
     "integration_speech", "HttpModelStore*"),
    ("a download after the stop is placed",
     "engines/HttpModelStore.cpp", "    if (isStopping)\n        return std::unexpected(", "    if (false)\n        return std::unexpected(",
     "integration_speech", "HttpModelStore*"),
    ("a model of the other engine is opened",
     "engines/WhisperRecognizer.cpp", "if (kindOf(fileName) != kind)",
     "if (kindOf(fileName) == ModelKind::unknown && kind != ModelKind::unknown)",
     "integration_speech", "WithTestData*"),
    ("the end of input no longer stops a running decode",
     "engines/GatedRecognizer.cpp", "return isCancelled || (isDecodingVolatile && isInputFinished);",
     "return isCancelled;", "integration_speech", "GatedRecognizer*"),
    ("running decodes no longer wait for twice their cost",
     "engines/GatedRecognizer.cpp", "std::max(paceSamples, 2 * cost)", "paceSamples",
     "integration_speech", "GatedRecognizer*"),
    ("the resampler's tail is dropped",
     "engines/SoxrConverter.cpp", "        if (resampler == nullptr)\n            return tail;\n        // Without",
     "        return tail;\n        // Without", "integration_speech", "SoxrConverter*"),
    ("a cancelled transcription reports what the server said",
     "engines/OpenAiTranscriptionRecognizer.cpp", "    if (cancellation.isCancelled())\n        return {};\n", "",
     "integration_speech", "OpenAiTranscriptionRecognizer*"),
    ("an empty prompt is sent to the transcription server",
     "engines/OpenAiTranscriptionRecognizer.cpp", "if (!prompt.isEmpty())", "if (true)",
     "integration_speech", "OpenAiTranscriptionRecognizer*"),
    ("a chat answer cut at the limit is taken",
     "engines/OpenAiChatModel.cpp", 'toString() == u"length")', 'toString() == u"length" && false)',
     "integration_rewrite", "OpenAiChatModel*"),
    ("the language model reads its cached instructions again",
     "engines/LlamaLanguageModel.cpp",
     "while (kept < cached.size() && kept < tokens.size() && cached[kept] == tokens[kept])", "while (false)",
     "integration_rewrite", "LlamaLanguageModel*"),
    ("turn marks in the utterance become control tokens",
     "engines/LlamaLanguageModel.cpp", "append(utterance, false);", "append(utterance, true);",
     "integration_rewrite", "LlamaLanguageModel*"),
    ("a local answer runs past its cap",
     "engines/LlamaLanguageModel.cpp", "if (produced == cap)", "if (produced == cap + 64)",
     "integration_rewrite", "LlamaLanguageModel*"),
    # command-line tool
    ("the command-line tool takes two speech model choices at once",
     "../tools/cli/SpeechModelCommand.cpp", "if (given > 1)", "if (given > 2)", "integration_cli", "Cli*"),
    ("a new signing key overwrites an old one",
     "../tools/cli/UpdateFeedCommand.cpp", "QIODevice::NewOnly | QIODevice::WriteOnly", "QIODevice::WriteOnly",
     "integration_cli", "Cli*"),
]


def run(command, **kwargs):
    return subprocess.run(command, cwd=ROOT, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, **kwargs)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--build", default="build")
    parser.add_argument("--list", action="store_true")
    parser.add_argument("only", nargs="*")
    arguments = parser.parse_args()
    chosen = [m for m in MUTATIONS if not arguments.only or any(s in m[0] for s in arguments.only)]
    if arguments.list:
        for name, path, *_rest, binary, pattern in chosen:
            print(f"{name}  [{path}; {binary} {pattern}]")
        return 0

    build = pathlib.Path(arguments.build)
    caught, missed, errors = [], [], []
    for name, path, text, replacement, binary, pattern in chosen:
        source = ROOT / "src" / path
        original = source.read_text()
        if original.count(text) != 1:
            print(f"ERROR   {name}: the text is not found once in {path}", flush=True)
            errors.append(name)
            continue
        try:
            source.write_text(original.replace(text, replacement))
            built = run(["flock", LOCK, "cmake", "--build", str(build), "--target", binary])
            if built.returncode != 0:
                print(f"ERROR   {name}: the mutant does not build", flush=True)
                errors.append(name)
                continue
            # The limit counts from when the lock is held: waiting for another's build is no hang.
            tested = run(["flock", LOCK, "timeout", "300", str(build / "bin" / binary), f"--gtest_filter={pattern}"],
                         env={"QT_QPA_PLATFORM": "offscreen", **__import__("os").environ})
            if tested.returncode == 124:
                print(f"caught  {name} (the tests hung)", flush=True)
                caught.append(name)
            elif tested.returncode != 0:
                print(f"caught  {name}", flush=True)
                caught.append(name)
            else:
                print(f"MISSED  {name}  [{binary} {pattern}]", flush=True)
                missed.append(name)
        finally:
            source.write_text(original)
    # The last build holds a mutant; build the binaries once more from the restored sources.
    for binary in sorted({m[4] for m in chosen}):
        run(["flock", LOCK, "cmake", "--build", str(build), "--target", binary])
    print(f"\n{len(caught)} caught, {len(missed)} missed, {len(errors)} errors of {len(chosen)} mutations")
    return 0 if not missed and not errors else 1


if __name__ == "__main__":
    sys.exit(main())
