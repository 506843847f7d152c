#include "input/AccessibilityServices.h"
#include "input/PasteService.h"
#include "core/SystemClock.h"
#include "platform/linux/AtspiAccess.h"
#include "platform/linux/AtspiAccessibilityTree.h"
#include "platform/linux/QtClipboardPasteboard.h"
#include "platform/linux/XInputKeySource.h"
#include "platform/linux/XTestKeystroke.h"

#include <QClipboard>
#include <QElapsedTimer>
#include <QFuture>
#include <QGuiApplication>
#include <QMimeData>
#include <QProcess>
#include <QThreadPool>
#include <QtConcurrent/QtConcurrentRun>

#include "WaitFor.h"

#include <gtest/gtest.h>

using namespace Qt::Literals::StringLiterals;

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
    waitFor([&] {
        result = AccessibilityServices::captureContext(tree, includeText);
        return result && ready(*result);
    });
    return result;
}

TEST(DesktopInput, XInputSeesTheDictationKeyAndOtherKeys)
{
    XInputKeySource source;
    source.setIgnoresInjectedKeys(false);
    std::vector<KeyEvent> events;
    ASSERT_TRUE(source.start([&](const KeyEvent &event) { events.push_back(event); }))
        << source.errorMessage().toStdString();
    // xdotool presses the left key before a right modifier, so left Shift plays the dictation key.
    xdotool({u"keydown"_s, u"Shift_L"_s});
    xdotool({u"keyup"_s, u"Shift_L"_s});
    xdotool({u"key"_s, u"Escape"_s});
    ASSERT_TRUE(waitFor([&] { return events.size() >= 4; }));
    EXPECT_EQ(events[0].type, KeyEventType::flagsChanged);
    EXPECT_EQ(events[0].flags, 0x02u);
    EXPECT_EQ(events[1].type, KeyEventType::flagsChanged);
    EXPECT_EQ(events[1].flags, 0u);
    EXPECT_EQ(events[2].type, KeyEventType::keyDown);
    EXPECT_EQ(events[2].keyCode, escapeKeyCode);
    EXPECT_EQ(events[3].type, KeyEventType::keyUp);
    EXPECT_LT(events[0].timestamp, events[3].timestamp);
    EXPECT_FALSE(source.canObserve(0x800000));

    // By default the keys of the injector (the XTEST device, which xdotool uses too) are dropped.
    source.stop();
    events.clear();
    XInputKeySource filtering;
    ASSERT_TRUE(filtering.start([&](const KeyEvent &event) { events.push_back(event); }));
    xdotool({u"key"_s, u"Shift_L"_s});
    // Nothing may arrive: wait out the time the first part needed, then check.
    waitFor([&] { return !events.empty(); });
    EXPECT_TRUE(events.empty());
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

class DesktopPaste : public ::testing::Test
{
protected:
    AtspiAccess access;
    AtspiAccessibilityTree tree;
    QtClipboardPasteboard pasteboard;
    XTestKeystroke keystroke;
    SystemClock clock;
    PasteService::Environment environment{tree, access, pasteboard, keystroke, clock};

    void SetUp() override
    {
        ASSERT_TRUE(keystroke.isAvailable());
        focusEntry();
        xdotool({u"key"_s, u"ctrl+a"_s, u"BackSpace"_s});
        xdotool({u"type"_s, u"abc "_s});
        // The user's clipboard: one item with two formats.
        auto *data = new QMimeData;
        data->setText(u"mine"_s);
        data->setHtml(u"<b>mine</b>"_s);
        QGuiApplication::clipboard()->setMimeData(data);
    }

    // The paste runs on a worker thread, as in the application; the clipboard adapter needs the
    // main thread's event loop meanwhile.
    std::expected<PasteOutcome, PasteError> paste(const QString &text, const InputTarget &target)
    {
        // A generous wait: only a failing paste waits it out, and a loaded machine is slow to paste.
        QFuture<std::expected<PasteOutcome, PasteError>> future
            = QtConcurrent::run([&] { return PasteService::paste(text, target, 5.0, environment); });
        waitFor([&] { return future.isFinished(); }, 20000);
        return future.result();
    }
};

TEST_F(DesktopPaste, InsertsConfirmsAndRestoresTheClipboard)
{
    const std::optional<CaptureResult> start
        = captureWhen(tree, false, [](const CaptureResult &r) { return r.target.focusedRole == u"text"_s; });
    ASSERT_TRUE(start);
    ASSERT_TRUE(waitFor([&] { return AccessibilityServices::focusedValue(tree) == u"abc "_s; }));
    EXPECT_EQ(paste(u"Hello"_s, start->target), PasteOutcome::confirmed);
    EXPECT_EQ(AccessibilityServices::focusedValue(tree), u"abc Hello"_s);
    const QMimeData *restored = QGuiApplication::clipboard()->mimeData();
    ASSERT_NE(restored, nullptr);
    EXPECT_EQ(restored->text(), u"mine"_s);
    EXPECT_EQ(restored->html(), u"<b>mine</b>"_s);
}

TEST_F(DesktopPaste, MovedFocusLeavesEverythingAlone)
{
    const std::optional<CaptureResult> start
        = captureWhen(tree, false, [](const CaptureResult &r) { return r.target.focusedRole == u"text"_s; });
    ASSERT_TRUE(start);
    xdotool({u"key"_s, u"Tab"_s});
    ASSERT_TRUE(waitFor([&] { return AccessibilityServices::captureContext(tree, false)->target.isSecure; }));
    EXPECT_EQ(paste(u"Hello"_s, start->target), std::unexpected(PasteError::targetChanged));
    EXPECT_EQ(QGuiApplication::clipboard()->mimeData()->html(), u"<b>mine</b>"_s);
    focusEntry(u"shift+Tab"_s);
    EXPECT_EQ(AccessibilityServices::focusedValue(tree), u"abc "_s);
}

} // namespace

int main(int argc, char **argv)
{
    QGuiApplication application(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
