#include "input/EventTapController.h"
#include "FakeKeySource.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

namespace {

// The calls the controller made on its state machine, as the machine answered them.
struct Recorder {
    std::vector<std::string> calls;
    void operator()(const std::vector<HotkeyAction> &actions)
    {
        std::string text;
        for (const HotkeyAction action : actions)
            text += toString(action);
        calls.push_back(text.empty() ? "-" : text);
    }
};

struct Event {
    quint32 type;
    quint16 keyCode;
    quint64 flags;
    quint64 timestamp;
};

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
        std::vector<Event> events;
        std::vector<std::string> calls;
    };
    const Case cases[] = {
        {"right option pressed, released, repeated", HotkeyChoice::rightOption,
            {{flags, 0, 0x80140, 10 * second}, {flags, 0, 0x100, 12 * second}, {flags, 0, 0x100, 13 * second}},
            {"startRecording", "finishRecording"}},
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
        {"letter while the key is held", HotkeyChoice::leftControl,
            {{flags, 0, 0x01, 10 * second}, {down, 300, 0x01, 10 * second}, {down, 300, 0x01, 10 * second},
                {up, 300, 0x01, 11 * second}},
            {"startRecording", "cancelRecording", "-"}},
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
        {"tap disabled forgets held letters", HotkeyChoice::leftControl,
            {{down, 300, 0, second}, {disabled, 0, 0, 2 * second}, {flags, 0, 0x01, 3 * second}}, {"startRecording"}},
        {"fn is told by its flag bit alone", HotkeyChoice::function,
            {{down, 63, 0, second}, {up, 63, 0, second}, {flags, 0, 0x800000, 2 * second}, {flags, 0, 0, 3 * second}},
            {"startRecording", "finishRecording"}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        FakeKeySource source;
        EventTapController controller(source);
        Recorder recorder;
        controller.onActions = std::ref(recorder);
        controller.hotkey = c.hotkey;
        controller.start();
        for (const Event &event : c.events)
            source.handler({event.type, event.keyCode, event.flags, event.timestamp});
        EXPECT_EQ(recorder.calls, c.calls);
    }
}

TEST(EventTapController, StartAndStopResetEverything)
{
    FakeKeySource source;
    EventTapController controller(source);
    Recorder recorder;
    controller.onActions = std::ref(recorder);
    controller.hotkey = HotkeyChoice::rightOption;
    controller.start();
    source.handler({down, 300, 0, second});
    source.handler({flags, 0, 0x40, second});
    controller.start();
    EXPECT_EQ(source.stops, 1);
    EXPECT_FALSE(controller.hotkeyPressed);
    EXPECT_TRUE(controller.otherKeys.empty());
    source.handler({disabled, 0, 0, 2 * second});
    EXPECT_EQ(source.resumes, 1);
    controller.stop();
    EXPECT_FALSE(controller.isRunning());

    source.refuses = true;
    controller.start();
    EXPECT_FALSE(controller.isRunning());
    EXPECT_TRUE(controller.canObserveHotkey()) << "right Alt is observable";
    controller.hotkey = HotkeyChoice::function;
    EXPECT_FALSE(controller.canObserveHotkey());
}

} // namespace
