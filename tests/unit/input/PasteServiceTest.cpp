#include "input/PasteService.h"
#include "FakeAccessibilityTree.h"
#include "FakeKeystroke.h"
#include "FakePasteboard.h"
#include "ManualClock.h"
#include "input/AccessibilityServices.h"
#include "input/TerminalPolicy.h"
#include "platform/Pasteboard.h"

#include <QCoreApplication>
#include <QObject>

#include <gtest/gtest.h>

#include <functional>
#include <memory>

using namespace Qt::Literals::StringLiterals;
using namespace std::chrono_literals;

namespace {

struct Fixture {
    QObject context;
    FakeAccessibilityTree tree;
    FakeAccessibilityAccess access;
    FakePasteboard pasteboard;
    FakeKeystroke keystroke;
    ManualClock clock;
    std::shared_ptr<std::atomic<bool>> cancelled = std::make_shared<std::atomic<bool>>(false);
    PasteService::Environment environment {tree, access, pasteboard, keystroke, clock};

    // Runs before each wait of the paste ends, with the number of the wait.
    std::function<void(int)> beforePoll;

    // Runs the paste of "Hello" on this thread's event loop and moves the clock by one poll whenever
    // the paste waits on it.
    std::expected<PasteOutcome, PasteError> run(const InputTarget &expected, double restoreDelay)
    {
        std::optional<std::expected<PasteOutcome, PasteError>> result;
        const QCoro::Task<> pasting = [&]() -> QCoro::Task<> {
            const QCoro::Task<std::expected<PasteOutcome, PasteError>> paste
                = PasteService::paste(u"Hello"_s, expected, restoreDelay, environment, &context, cancelled);
            result = co_await paste;
        }();
        int waits = 0;
        while (!result) {
            QCoreApplication::processEvents();
            if (clock.pendingCount() == 0)
                continue;
            if (beforePoll)
                beforePoll(++waits);
            clock.advance(50ms);
        }
        return *result;
    }
};

const QList<PasteboardItem> usersClipboard = FakePasteboard().contents;
const QList<PasteboardItem> dictation {PasteboardItem {{{u"text/plain"_s, "Hello"}}}};

// Refusals before the clipboard is written, refusals right before the keys go out, and what the
// paste could see of its text.
TEST(PasteService, Outcomes)
{
    struct Case {
        const char *name;
        std::function<void(Fixture &)> arrange;
        std::expected<PasteOutcome, PasteError> result;
        Clock::Duration waited;
        // The shortcuts sent, true for the terminal's.
        std::vector<bool> sent;
        // Nothing when the clipboard is never written.
        std::optional<QList<PasteboardItem>> clipboardAfter;
        double restoreDelay = 1.0;
        // What changes between the press and the paste.
        std::function<void(Fixture &)> afterPress = [](Fixture &) {};
    };
    const QList<PasteboardItem> managers {PasteboardItem {{{u"text/plain"_s, "manager"}}}};
    const auto terminal = [](Fixture &f, const QString &text, qint64 caret) {
        f.tree.focused->role = TerminalPolicy::terminalRole;
        f.tree.focused->numberOfCharacters = 1000;
        f.tree.focused->selectedTextRange = AccessibleElement::Range{caret, 0};
        f.tree.setFocusedValue(text);
    };
    const auto nothing = [](Fixture &) {};
    const auto moveFocus = [](Fixture &f) { f.tree.focused->hash = 99; };
    const auto makeSecure = [](Fixture &f) { f.tree.focused->role = AccessibilityServices::secureFieldRole; };
    const Case cases[] = {
        {"accessibility off", [](Fixture &f) { f.access.enabled = false; }, std::unexpected(PasteError::notTrusted),
            0ms, {}, std::nullopt},
        {"password field, checked before the focus", makeSecure, std::unexpected(PasteError::secureField), 0ms, {},
            std::nullopt, 1.0, moveFocus},
        {"focus moved to another field", nothing, std::unexpected(PasteError::targetChanged), 0ms, {}, std::nullopt,
            1.0, moveFocus},
        {"another window of the application, with the same title", nothing,
            std::unexpected(PasteError::targetChanged), 0ms, {}, std::nullopt, 1.0,
            [](Fixture &f) { f.tree.application->windowIdentifier = 0x3c00002; }},
        {"no field read at the press, a password field now", [](Fixture &f) { f.tree.unansweredFocusReads = 1; },
            std::unexpected(PasteError::targetChanged), 0ms, {}, std::nullopt, 1.0, makeSecure},
        {"focus moved while the modifiers were released",
            [](Fixture &f) {
                f.keystroke.duringModifierWait = [&f] {
                    std::scoped_lock lock(f.tree.mutex);
                    f.tree.focused->hash = 99;
                };
            },
            std::unexpected(PasteError::targetChanged), 0ms, {}, usersClipboard},
        {"the keys could not be sent", [](Fixture &f) { f.keystroke.fails = true; },
            std::unexpected(PasteError::noKeystroke), 0ms, {false}, usersClipboard},
        {"a clipboard manager took the clipboard while the modifiers stayed held",
            [managers](Fixture &f) {
                f.keystroke.modifiersHeld = true;
                f.keystroke.duringModifierWait = [&f, managers] { f.pasteboard.writeItems(managers); };
            },
            std::unexpected(PasteError::modifiersHeld), 0ms, {}, managers},
        {"text appears after three polls",
            [](Fixture &f) {
                f.tree.setFocusedValue(u"abc"_s);
                f.beforePoll = [&f](int wait) {
                    if (wait == 3)
                        f.tree.setFocusedValue(u"Hello abc"_s);
                };
            },
            PasteOutcome::confirmed, 150ms, {false}, usersClipboard},
        {"field already held the text", [](Fixture &f) { f.tree.setFocusedValue(u"Hello"_s); },
            PasteOutcome::unconfirmed, 2000ms, {false}, dictation, 2.0},
        {"short delays wait half a second", [](Fixture &f) { f.tree.setFocusedValue(u"abc"_s); },
            PasteOutcome::unconfirmed, 500ms, {false}, dictation, 0.2},
        {"field unanswered at the deadline, then showing the text",
            [](Fixture &f) {
                f.tree.setFocusedValue(u"abc"_s);
                f.beforePoll = [&f](int wait) {
                    std::scoped_lock lock(f.tree.mutex);
                    if (wait == 20)
                        f.tree.focused->value.reset();
                    if (wait == 21)
                        f.tree.focused->value = u"abcHello"_s;
                };
            },
            PasteOutcome::confirmed, 1050ms, {false}, usersClipboard},
        {"clipboard manager replaced the text",
            [managers](Fixture &f) {
                f.tree.setFocusedValue(u""_s);
                f.keystroke.effect = [&f, managers] {
                    f.pasteboard.writeItems(managers);
                    f.tree.setFocusedValue(u"Hello"_s);
                };
            },
            PasteOutcome::confirmed, 0ms, {false}, managers},
        {"terminal output before the caret is not the paste",
            [terminal](Fixture &f) {
                terminal(f, u"Hello\n$ "_s, 8);
                f.keystroke.effect = [&f] { f.tree.setFocusedValue(u"Hello\nmail\n$ "_s); };
                f.beforePoll = [&f](int wait) {
                    if (wait == 3)
                        f.tree.setFocusedValue(u"Hello\n$ Hello"_s);
                };
            },
            PasteOutcome::confirmed, 150ms, {true}, usersClipboard},
        {"terminal without a caret is never confirmed",
            [terminal](Fixture &f) {
                terminal(f, u"$ "_s, 2);
                f.tree.focused->selectedTextRange.reset();
                f.keystroke.effect = [&f] { f.tree.setFocusedValue(u"$ Hello"_s); };
            },
            PasteOutcome::unconfirmed, 1050ms, {true}, dictation},
        // The dictated text stays on the clipboard for the user to paste by hand.
        {"cancelled while the paste is watched",
            [terminal](Fixture &f) {
                terminal(f, u"$ "_s, 2);
                f.beforePoll = [&f](int wait) { *f.cancelled = wait == 3; };
            },
            std::unexpected(PasteError::cancelled), 150ms, {true}, dictation, 5.0},
        {"terminal known by its executable, any case",
            [](Fixture &f) {
                f.tree.application->bundleIdentifier = u"Alacritty"_s;
                f.tree.focused.reset();
            },
            PasteOutcome::unchecked, 0ms, {true}, dictation},
        {"field unanswered at the press: sent to the same window, unchecked",
            [](Fixture &f) { f.tree.unansweredFocusReads = 1; }, PasteOutcome::unchecked, 0ms, {false}, dictation},
        {"field not found again before the paste: sent to the same window, unchecked", nothing,
            PasteOutcome::unchecked, 0ms, {false}, dictation, 1.0, [](Fixture &f) { f.tree.unansweredFocusReads = 2; }},
        {"the field's role unread before the paste: still the field, its text unread", nothing,
            PasteOutcome::unconfirmed, 1050ms, {false}, dictation, 1.0,
            [](Fixture &f) { f.tree.focused->role.reset(); }},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        Fixture f;
        c.arrange(f);
        const InputTarget expected = AccessibilityServices::captureContext(f.tree, false)->target;
        c.afterPress(f);
        EXPECT_EQ(f.run(expected, c.restoreDelay), c.result);
        EXPECT_EQ(f.clock.now(), c.waited);
        EXPECT_EQ(f.keystroke.sent, c.sent);
        EXPECT_EQ(f.pasteboard.contents, c.clipboardAfter.value_or(usersClipboard));
        EXPECT_EQ(f.pasteboard.changes == 7, !c.clipboardAfter);
        EXPECT_EQ(f.access.requests, f.access.enabled ? 0 : 1);
    }
}

} // namespace
