#include "core/SystemClock.h"
#include "input/AccessibilityServices.h"
#include "input/PasteService.h"
#include "platform/linux/AtspiAccess.h"
#include "platform/linux/AtspiAccessibilityTree.h"
#include "platform/linux/InjectedKeys.h"
#include "platform/linux/QtClipboardPasteboard.h"
#include "platform/linux/UinputKeystroke.h"
#include "platform/linux/WaylandSessionKeystroke.h"
#include "platform/linux/WindowManagerTree.h"
#include "platform/linux/X11ActiveWindow.h"
#include "platform/linux/XTestKeystroke.h"

#include <QFile>
#include <QGuiApplication>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>

#include "FakeKeystroke.h"
#include "WaitFor.h"

#include <gtest/gtest.h>

using namespace Qt::Literals::StringLiterals;

// These tests run inside tests/e2e/with-wayland: the application's side (this process) on
// XWayland, as the application runs in a Wayland session, with the injectors that session gets.
// The user's clipboard is set and read by native Wayland clients (wl-copy, wl-paste), so every
// check of it crosses the compositor's clipboard bridge.
namespace {

// With the event loop turning: when this process owns the clipboard, it is the one that answers.
QString waylandClipboard()
{
    QProcess paste;
    paste.start(u"wl-paste"_s, {u"--no-newline"_s});
    const bool finished = waitFor([&] { return paste.state() == QProcess::NotRunning; }, 10000);
    return finished && paste.exitCode() == 0 ? QString::fromUtf8(paste.readAllStandardOutput())
                                             : u"(wl-paste failed)"_s;
}

// The GTK target of the desktop tests, as an X client of XWayland or as a native Wayland client.
class Target
{
public:
    explicit Target(const QString &backend)
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"GDK_BACKEND"_s, backend);
        process.setProcessEnvironment(environment);
        process.start(u"/usr/bin/python3"_s, {QStringLiteral(SORAWEN_E2E_DIR "/target_app.py"), state()});
    }
    ~Target()
    {
        process.terminate();
        process.waitForFinished(5000);
    }

    QString state() const { return directory.filePath(u"state.json"_s); }
    QJsonObject read() const
    {
        QFile file(state());
        return file.open(QIODevice::ReadOnly) ? QJsonDocument::fromJson(file.readAll()).object() : QJsonObject{};
    }
    QString text() const { return read().value(u"texts"_s).toObject().value(u"plain"_s).toString(); }

private:
    QTemporaryDir directory;
    QProcess process;
};

class WaylandSession : public ::testing::Test
{
protected:
    AtspiAccess access;
    AtspiAccessibilityTree accessible;
    WindowManagerTree tree{accessible, nullptr};
    QtClipboardPasteboard pasteboard;
    InjectedKeys injected;
    UinputKeystroke virtualKeyboard{[] { return quint64(0); }, injected};
    XTestKeystroke xwayland{injected};
    X11ActiveWindow xwaylandWindows;
    WaylandSessionKeystroke keystroke{virtualKeyboard, xwayland, xwaylandWindows};
    SystemClock clock;
    PasteService::Environment environment{tree, access, pasteboard, keystroke, clock};

    // The focused entry of the target, as the dictation would find it at the key press.
    InputTarget focusedEntry(const Target &target)
    {
        EXPECT_TRUE(waitFor([&] { return target.read().value(u"focused"_s).toString() == u"plain"_s; }, 30000))
            << "the target never took the focus";
        std::optional<CaptureResult> captured;
        // A read can stall for a few seconds (libatspi waiting out a call's time-out).
        EXPECT_TRUE(waitFor(
            [&] {
                captured = AccessibilityServices::captureContext(tree, false);
                return captured && captured->target.focusedRole == u"text"_s;
            },
            30000));
        return captured ? captured->target : InputTarget{};
    }

    std::expected<PasteOutcome, PasteError> paste(const QString &text, const InputTarget &target)
    {
        QObject context;
        return QCoro::waitFor(PasteService::paste(text, target, 5.0, environment, &context));
    }
};

TEST_F(WaylandSession, AnXWaylandWindowGetsThePasteAndTheWaylandClipboardComesBack)
{
    // wl-copy stays in the background to serve the text, as the clipboard owner.
    ASSERT_EQ(QProcess::execute(u"wl-copy"_s, {u"mine"_s}), 0);
    Target target(u"x11"_s);
    const InputTarget entry = focusedEntry(target);
    ASSERT_TRUE(waitFor([&] { return xwaylandWindows.active().has_value(); }));

    EXPECT_EQ(paste(u"Hello"_s, entry), PasteOutcome::confirmed);
    EXPECT_EQ(target.text(), u"Hello"_s);
    EXPECT_EQ(waylandClipboard(), u"mine"_s);
}

TEST_F(WaylandSession, ANativeWindowWithoutTheVirtualKeyboardIsLeftAlone)
{
    if (virtualKeyboard.isAvailable())
        GTEST_SKIP() << "this machine has /dev/uinput: a native window would get the paste";
    ASSERT_EQ(QProcess::execute(u"wl-copy"_s, {u"mine"_s}), 0);
    Target target(u"wayland"_s);
    const InputTarget entry = focusedEntry(target);
    // XWayland names no active window while a native one has the focus.
    ASSERT_TRUE(waitFor([&] { return !xwaylandWindows.active().has_value(); }));

    EXPECT_EQ(paste(u"Hello"_s, entry), std::unexpected(PasteError::noKeystroke));
    EXPECT_EQ(target.text(), QString());
    EXPECT_EQ(waylandClipboard(), u"mine"_s);

    // The portal's keyboard, once allowed, reaches the native window; refused, its reason follows the device file's.
    FakeKeystroke portal;
    WaylandSessionKeystroke withPortal{virtualKeyboard, xwayland, xwaylandWindows, &portal};
    EXPECT_TRUE(withPortal.sendPaste(true));
    EXPECT_EQ(portal.sent, std::vector<bool>{true});
    portal.missing = u"refused"_s;
    EXPECT_FALSE(withPortal.isAvailable());
    EXPECT_EQ(withPortal.unavailableReason(), virtualKeyboard.unavailableReason() + u" refused"_s);
}

} // namespace

int main(int argc, char **argv)
{
    QGuiApplication application(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
