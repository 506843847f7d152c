#include "platform/linux/InjectedKeys.h"
#include "platform/linux/XInputKeySource.h"
#include "platform/linux/XTestKeystroke.h"

#include <QGuiApplication>
#include <QProcess>

#include "WaitFor.h"

#include <gtest/gtest.h>

using namespace Qt::Literals::StringLiterals;

// Runs inside tests/e2e/with-desktop: an Xvfb display with a window manager. The whole-program
// dictations already drive the key source and the injector through the application; they never
// choose a dictation key that the paste itself presses.
namespace {

// Its own paste must not reach the dictation key (left Control may be that key), another sender's must.
TEST(DesktopInput, XInputDropsOnlyThePasteItsOwnInjectorSent)
{
    InjectedKeys injected;
    XInputKeySource source(injected);
    XTestKeystroke keystroke(injected);
    std::vector<KeyEvent> events;
    ASSERT_TRUE(source.start([&](const KeyEvent &event) { events.push_back(event); }))
        << source.errorMessage().toStdString();
    ASSERT_TRUE(keystroke.sendPaste(false));
    ASSERT_TRUE(keystroke.sendPaste(true));
    ASSERT_EQ(QProcess::execute(u"xdotool"_s, {u"key"_s, u"Control_L"_s, u"Escape"_s}), 0);
    // Events arrive in the order they were sent, so the paste's were read before Escape's release.
    ASSERT_TRUE(waitFor([&] { return events.size() >= 4 && events.back().type == KeyEventType::keyUp; }));
    for (KeyEvent &event : events)
        event.timestamp = 0;
    const std::vector<KeyEvent> expected {{KeyEventType::flagsChanged, 0, 0x01, 0},
        {KeyEventType::flagsChanged, 0, 0, 0}, {KeyEventType::keyDown, escapeKeyCode, 0, 0},
        {KeyEventType::keyUp, escapeKeyCode, 0, 0}};
    EXPECT_EQ(events, expected);
}

} // namespace

int main(int argc, char **argv)
{
    QGuiApplication application(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
