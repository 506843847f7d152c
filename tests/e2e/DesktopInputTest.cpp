#include "input/AccessibilityServices.h"
#include "platform/linux/AtspiAccess.h"
#include "platform/linux/AtspiAccessibilityTree.h"
#include "platform/linux/InjectedKeys.h"
#include "platform/linux/KeyEventTranslator.h"
#include "platform/linux/KeyboardLayout.h"
#include "platform/linux/XInputKeySource.h"
#include "platform/linux/XTestKeystroke.h"

#include <QElapsedTimer>
#include <QGuiApplication>
#include <QProcess>
#include <QThread>

#include <algorithm>

#include <linux/input-event-codes.h>
#include <xkbcommon/xkbcommon-keysyms.h>

#include "WaitFor.h"

#include <gtest/gtest.h>

using namespace Qt::Literals::StringLiterals;

void PrintTo(const KeyEvent &event, std::ostream *out)
{
    *out << "{type " << event.type << ", key " << event.keyCode << ", flags 0x" << std::hex << event.flags << std::dec
         << ", at " << event.timestamp << '}';
}

// These tests run inside tests/e2e/with-desktop: an Xvfb display with a window manager, the
// accessibility bus, and the GTK target window (a text entry, then a password entry) focused.
namespace {

void xdotool(const QStringList &arguments)
{
    ASSERT_EQ(QProcess::execute(u"xdotool"_s, arguments), 0) << arguments.join(u' ').toStdString();
}

void focusEntry(const QString &key = {})
{
    xdotool({u"search"_s, u"--name"_s, u"Sorawen target"_s, u"windowactivate"_s, u"--sync"_s});
    // Shift+Tab from the password entry, or stay: the text entry is the first one.
    if (!key.isEmpty())
        xdotool({u"key"_s, key});
}

std::optional<CaptureResult> captureWhen(
    const AccessibilityTree &tree, bool includeText, const std::function<bool(const CaptureResult &)> &ready)
{
    std::optional<CaptureResult> result;
    // A read can stall for a few seconds (libatspi waiting out a call's time-out).
    waitFor(
        [&] {
            result = AccessibilityServices::captureContext(tree, includeText);
            return result && ready(*result);
        },
        15000);
    return result;
}

// What a key source hands over, with when the handler ran.
struct Recorder {
    std::vector<KeyEvent> events;
    std::vector<quint64> handledAt;

    KeyEventSource::Handler handler()
    {
        return [this](const KeyEvent &event) {
            events.push_back(event);
            handledAt.push_back(KeyEventTranslator::now());
        };
    }
};

constexpr quint64 ms(quint64 milliseconds)
{
    return milliseconds * 1'000'000;
}

TEST(DesktopInput, XInputDeliversOtherSendersKeysStampedWhenTheyHappened)
{
    InjectedKeys injected;
    XInputKeySource source(injected);
    Recorder recorder;
    ASSERT_TRUE(source.start(recorder.handler())) << source.errorMessage().toStdString();
    // xdotool sends through the XTEST device, as remote desktops and software KVMs do. A first key
    // read at once teaches the source the server's clock.
    xdotool({u"key"_s, u"Shift_L"_s});
    ASSERT_TRUE(waitFor([&] { return recorder.events.size() >= 2; }));
    EXPECT_EQ(recorder.events[0], (KeyEvent{KeyEventType::flagsChanged, 0, 0x02, recorder.events[0].timestamp}));
    EXPECT_EQ(recorder.events[1].flags, 0u);
    recorder = {};

    // Held for 300 ms while nothing is read: the stamps must still be 300 ms apart.
    const quint64 beforeDown = KeyEventTranslator::now();
    xdotool({u"keydown"_s, u"Control_R"_s});
    const quint64 afterDown = KeyEventTranslator::now();
    QThread::msleep(300);
    const quint64 beforeUp = KeyEventTranslator::now();
    xdotool({u"keyup"_s, u"Control_R"_s});
    const quint64 afterUp = KeyEventTranslator::now();
    xdotool({u"key"_s, u"Escape"_s});
    ASSERT_TRUE(
        waitFor([&] { return !recorder.events.empty() && recorder.events.back().type == KeyEventType::keyUp; }));
    const std::vector<KeyEvent> &events = recorder.events;
    SCOPED_TRACE(::testing::PrintToString(events));
    // xdotool holds left Control around a right one (it thinks the right key needs the modifier).
    constexpr quint64 rightControl = 0x2000;
    const auto down = std::ranges::find_if(events, [](const KeyEvent &e) { return (e.flags & rightControl) != 0; });
    ASSERT_NE(down, events.end());
    const auto up = std::find_if(down, events.end(), [](const KeyEvent &e) { return (e.flags & rightControl) == 0; });
    ASSERT_NE(up, events.end());
    EXPECT_EQ(down->type, KeyEventType::flagsChanged);
    EXPECT_EQ(up->type, KeyEventType::flagsChanged);
    ASSERT_GE(events.size(), 2u);
    const KeyEvent &escape = events[events.size() - 2];
    EXPECT_EQ(escape, (KeyEvent{KeyEventType::keyDown, escapeKeyCode, 0, escape.timestamp}));
    // Server stamps are whole milliseconds, and the offset is only as good as the quickest read.
    EXPECT_GE(down->timestamp + ms(2), beforeDown);
    EXPECT_LE(down->timestamp, afterDown + ms(25));
    EXPECT_GE(up->timestamp + ms(2), beforeUp);
    EXPECT_LE(up->timestamp, afterUp + ms(25));
    EXPECT_GE(up->timestamp - down->timestamp + ms(25), beforeUp - afterDown);
    EXPECT_LE(up->timestamp - down->timestamp, afterUp - beforeDown + ms(25));
    for (size_t i = 0; i < events.size(); ++i) {
        EXPECT_LE(events[i].timestamp, recorder.handledAt[i]) << i;
        if (i > 0) {
            EXPECT_LE(events[i - 1].timestamp, events[i].timestamp) << i;
        }
    }
    EXPECT_FALSE(source.canObserve(0x800000));
}

TEST(DesktopInput, XInputDropsOnlyThePasteItsOwnInjectorSent)
{
    InjectedKeys injected;
    XInputKeySource source(injected);
    XTestKeystroke keystroke(injected);
    ASSERT_TRUE(keystroke.isAvailable());
    Recorder recorder;
    ASSERT_TRUE(source.start(recorder.handler())) << source.errorMessage().toStdString();
    ASSERT_TRUE(keystroke.sendPaste(false));
    ASSERT_TRUE(keystroke.sendPaste(true));
    // The same Control key from another sender, right after, is the user's.
    xdotool({u"key"_s, u"Control_L"_s, u"Escape"_s});
    // Events arrive in the order they were sent, so the paste's were read before Escape's release.
    ASSERT_TRUE(waitFor([&] { return recorder.events.size() >= 4; }));
    const std::vector<KeyEvent> expected{{KeyEventType::flagsChanged, 0, 0x01, 0},
        {KeyEventType::flagsChanged, 0, 0, 0}, {KeyEventType::keyDown, escapeKeyCode, 0, 0},
        {KeyEventType::keyUp, escapeKeyCode, 0, 0}};
    std::vector<KeyEvent> received = recorder.events;
    for (KeyEvent &event : received)
        event.timestamp = 0;
    EXPECT_EQ(received, expected);
}

TEST(DesktopInput, HeldModifiersHoldThePasteBack)
{
    InjectedKeys injected;
    XTestKeystroke keystroke(injected);
    EXPECT_TRUE(keystroke.waitForModifierRelease());
    xdotool({u"keydown"_s, u"Super_L"_s});
    QElapsedTimer waited;
    waited.start();
    EXPECT_FALSE(keystroke.waitForModifierRelease());
    EXPECT_GE(waited.elapsed(), 900);
    xdotool({u"keyup"_s, u"Super_L"_s});
    EXPECT_TRUE(keystroke.waitForModifierRelease());
}

TEST(DesktopInput, CaptureReadsTheEntryAndRefusesThePasswordEntry)
{
    const AtspiAccess access;
    ASSERT_TRUE(access.isEnabled());
    const AtspiAccessibilityTree tree;
    focusEntry();
    xdotool({u"key"_s, u"ctrl+a"_s, u"BackSpace"_s});
    xdotool({u"type"_s, u"--delay"_s, u"5"_s, u"hello world"_s});
    xdotool({u"key"_s, u"Left"_s, u"shift+Left"_s, u"shift+Left"_s});

    const std::optional<CaptureResult> entry
        = captureWhen(tree, true, [](const CaptureResult &r) { return r.context.selectedText == u"rl"_s; });
    ASSERT_TRUE(entry);
    EXPECT_EQ(entry->target.focusedRole, u"text"_s);
    EXPECT_FALSE(entry->target.isSecure);
    EXPECT_EQ(entry->context.focusedText, u"hello world"_s);
    EXPECT_EQ(entry->context.windowTitle, u"Sorawen target"_s);
    EXPECT_EQ(entry->target.windowTitle, u"Sorawen target"_s);
    EXPECT_GT(entry->target.processIdentifier, 0);
    EXPECT_EQ(entry->target.bundleIdentifier, u"python3.11"_s);
    EXPECT_EQ(AccessibilityServices::focusedValue(tree), u"hello world"_s);

    xdotool({u"key"_s, u"Tab"_s});
    xdotool({u"type"_s, u"hunter2"_s});
    const std::optional<CaptureResult> password
        = captureWhen(tree, true, [](const CaptureResult &r) { return r.target.isSecure; });
    ASSERT_TRUE(password);
    EXPECT_EQ(password->target.focusedRole, AccessibilityServices::secureFieldRole);
    EXPECT_TRUE(password->context.focusedText.isEmpty());
    EXPECT_TRUE(password->context.selectedText.isEmpty());
    EXPECT_NE(password->target.focusedElementHash, entry->target.focusedElementHash);
    EXPECT_EQ(AccessibilityServices::focusedValue(tree), std::nullopt);
    focusEntry(u"shift+Tab"_s);
}

} // namespace

int main(int argc, char **argv)
{
    QGuiApplication application(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}

// The virtual keyboard's V follows the layout the X server has now.
TEST(DesktopInput, TheKeyThatTypesVFollowsTheServersLayout)
{
    const auto layout = [](const QStringList &arguments) {
        return QProcess::execute(u"setxkbmap"_s, arguments) == 0;
    };
    ASSERT_TRUE(layout({u"-layout"_s, u"us"_s}));
    EXPECT_EQ(KeyboardLayout::linuxKeyTypingOnDisplay(XKB_KEY_v), quint16(KEY_V));
    ASSERT_TRUE(layout({u"-layout"_s, u"us"_s, u"-variant"_s, u"dvorak"_s}));
    EXPECT_EQ(KeyboardLayout::linuxKeyTypingOnDisplay(XKB_KEY_v), quint16(KEY_DOT));
    ASSERT_TRUE(layout({u"-layout"_s, u"us"_s}));
}
