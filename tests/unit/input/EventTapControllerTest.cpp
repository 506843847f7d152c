#include "input/EventTapController.h"
#include "ObservedHotkey.h"

#include <gtest/gtest.h>

#include <string>

namespace {

constexpr quint32 down = KeyEventType::keyDown;
constexpr quint32 up = KeyEventType::keyUp;
constexpr quint32 flags = KeyEventType::flagsChanged;
constexpr quint32 system = KeyEventType::systemDefined;
constexpr quint32 disabled = KeyEventType::tapDisabledByTimeout;
constexpr quint64 second = 1'000'000'000;

TEST(EventTapController, HandlesEvents)
{
    struct Case {
        const char *name;
        HotkeyChoice hotkey;
        std::vector<KeyEvent> events;
        std::vector<std::string> calls;
    };
    const Case cases[] = {
        {"another modifier while held, then released", HotkeyChoice::rightOption,
            {{flags, 0, 0x40, 10 * second}, {flags, 0, 0x42, 11 * second}, {flags, 0, 0x40, 12 * second},
                {flags, 0, 0, 13 * second}},
            {"startRecording", "cancelRecording", "-", "-"}},
        {"chosen key pressed while left command is held", HotkeyChoice::rightOption,
            {{flags, 0, 0x08, 10 * second}, {flags, 0, 0x48, 11 * second}, {flags, 0, 0x08, 12 * second},
                {flags, 0, 0x48, 13 * second}},
            // Suppressed until release; the next press still has command held.
            {"-", "-", "-"}},
        {"letter held, then released", HotkeyChoice::leftControl,
            {{down, 300, 0, 9 * second}, {flags, 0, 0x01, 10 * second}, {flags, 0, 0, 10 * second},
                {up, 300, 0, 11 * second}, {flags, 0, 0x01, 12 * second}},
            {"-", "-", "startRecording"}},
        {"escape with the key up and down", HotkeyChoice::leftShift,
            {{down, escapeKeyCode, 0, second}, {flags, 0, 0x02, 2 * second}, {down, escapeKeyCode, 0x02, 3 * second},
                {up, escapeKeyCode, 0x02, 3 * second}, {flags, 0, 0, 4 * second}, {flags, 0, 0x02, 5 * second}},
            // Escape never enters the held keys, so the last press is clean.
            {"-", "startRecording", "cancelRecording", "-", "startRecording"}},
        {"system-defined key while held and while up", HotkeyChoice::rightShift,
            {{system, 0, 0, second}, {flags, 0, 0x04, 2 * second}, {system, 0, 0x04, 3 * second}},
            {"startRecording", "cancelRecording"}},
        {"tap disabled while held clears the key state", HotkeyChoice::rightOption,
            {{flags, 0, 0x40, 10 * second}, {disabled, 0, 0, 11 * second}, {flags, 0, 0, 12 * second},
                {flags, 0, 0x40, 13 * second}},
            {"startRecording", "startRecording"}},
        {"fn is told by its flag bit alone", HotkeyChoice::function,
            {{down, 63, 0, second}, {up, 63, 0, second}, {flags, 0, 0x800000, 2 * second}, {flags, 0, 0, 3 * second}},
            {"startRecording", "finishRecording"}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        ObservedHotkey observed(c.hotkey);
        for (const KeyEvent &event : c.events)
            observed.source.handler(event);
        EXPECT_EQ(observed.calls, c.calls);
    }
}

TEST(EventTapController, ARestartForgetsHeldKeys)
{
    ObservedHotkey observed(HotkeyChoice::rightOption);
    FakeKeySource &source = observed.source;
    source.handler({down, 300, 0, second});
    source.handler({flags, 0, 0x40, second});
    observed.controller.start();
    EXPECT_EQ(source.stops, 1);
    source.handler({flags, 0, 0, 2 * second});
    source.handler({flags, 0, 0x40, 3 * second});
    // The letter held before the restart no longer suppresses the key.
    EXPECT_EQ(observed.calls, (std::vector<std::string> {"-", "startRecording"}));
    source.handler({disabled, 0, 0, 4 * second});
    EXPECT_EQ(source.resumes, 1);
}

} // namespace
