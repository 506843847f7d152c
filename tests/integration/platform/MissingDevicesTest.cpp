#include "ScopedEnvironment.h"
#include "input/AccessibilityServices.h"
#include "platform/linux/AtspiAccess.h"
#include "platform/linux/AtspiAccessibilityTree.h"
#include "platform/linux/EvdevKeySource.h"
#include "platform/linux/InjectedKeys.h"
#include "platform/linux/LogindSession.h"
#include "platform/linux/UinputKeystroke.h"
#include "platform/linux/XInputKeySource.h"
#include "platform/linux/XTestKeystroke.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QFile>

#include <gtest/gtest.h>

// What the evdev and uinput adapters do on a machine without keyboards or /dev/uinput (such as the
// test machines): say so plainly, never crash. Their work on real devices is not testable here.
namespace {

TEST(MissingDevices, EvdevWithoutReadableKeyboardsSaysWhy)
{
    if (QFile::exists(QStringLiteral("/dev/input")))
        GTEST_SKIP() << "this machine has input devices";
    EvdevKeySource source;
    int events = 0;
    const bool started = source.start([&](const KeyEvent &) { ++events; });
    // It keeps listening for a keyboard to be plugged in where udev events reach it, and says why
    // nothing is heard either way.
    EXPECT_EQ(source.errorMessage(), QStringLiteral("キーボードが見つかりません。")) << "started: " << started;
    EXPECT_FALSE(source.canObserve(0x40));
    source.stop();
    EXPECT_EQ(events, 0);
}

TEST(MissingDevices, UinputWithoutTheDeviceIsUnavailable)
{
    if (QFile::exists(QStringLiteral("/dev/uinput")))
        GTEST_SKIP() << "this machine has /dev/uinput";
    InjectedKeys injected;
    UinputKeystroke keystroke([] { return quint64(0); }, injected);
    EXPECT_FALSE(keystroke.isAvailable());
    EXPECT_FALSE(keystroke.sendPaste(false));
}

TEST(MissingDevices, SessionWithoutLogindCountsAsActive)
{
    const QDBusConnection bus = QDBusConnection::systemBus();
    if (bus.isConnected() && bus.interface()->isServiceRegistered(QStringLiteral("org.freedesktop.login1")))
        GTEST_SKIP() << "logind runs here; its answer depends on the session";
    EXPECT_TRUE(LogindSession().isActive());
}

// Without a display and without a session bus, whatever the environment had.
TEST(MissingDevices, WithoutDesktopKeysInjectionAndAccessibilitySayWhyQuickly)
{
    ScopedEnvironment environment;
    environment.unset("DISPLAY");
    environment.set("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/bus");
    InjectedKeys injected;
    XInputKeySource source(injected);
    EXPECT_FALSE(source.start([](const KeyEvent &) {}));
    EXPECT_EQ(source.errorMessage(), QStringLiteral("X サーバーに接続できません。"));
    XTestKeystroke keystroke(injected);
    EXPECT_FALSE(keystroke.isAvailable());
    EXPECT_FALSE(keystroke.sendPaste(false));

    EXPECT_FALSE(AtspiAccess().isEnabled());
    const AtspiAccessibilityTree tree(std::chrono::milliseconds(200));
    EXPECT_EQ(AccessibilityServices::captureContext(tree, true), std::nullopt);
    EXPECT_EQ(AccessibilityServices::focusedValue(tree), std::nullopt);
}

} // namespace
