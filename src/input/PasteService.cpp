#include "input/PasteService.h"

#include "core/Clock.h"
#include "core/TaskPools.h"
#include "input/AccessibilityServices.h"
#include "input/TerminalPolicy.h"
#include "platform/AccessibilityAccess.h"
#include "platform/Keystroke.h"
#include "platform/Pasteboard.h"

#include <QCoreApplication>
#include <QPointer>
#include <qcoro/qcorofuture.h>

#include <chrono>

using namespace std::chrono_literals;

QString description(PasteError error)
{
    switch (error) {
    case PasteError::notTrusted: return QCoreApplication::translate("PasteError", "アクセシビリティの許可が必要です。");
    case PasteError::secureField: return QCoreApplication::translate("PasteError", "パスワード欄には入力しません。");
    case PasteError::targetChanged:
        return QCoreApplication::translate(
            "PasteError", "入力先が変わったため入力せず、クリップボードも変更していません。");
    case PasteError::noKeystroke:
        return QCoreApplication::translate(
            "PasteError", "貼り付けのキーを送れません。/dev/uinput への書き込みを許可してください。");
    case PasteError::modifiersHeld:
        return QCoreApplication::translate(
            "PasteError", "キーが押されたままのため入力しませんでした。キーを離してからもう一度お試しください。");
    case PasteError::cancelled: return QCoreApplication::translate("PasteError", "入力を取り消しました。");
    }
    return {};
}

namespace PasteService {

namespace {

constexpr Clock::Duration pollInterval = 50ms;
constexpr double shortestWait = 0.5;

// A field whose text could not be read before the paste (a slow answer cut by the time-out)
// counts as having been without the dictated text.
bool isConfirmed(const std::optional<QString> &before, const std::optional<QString> &after, const QString &text)
{
    return after && (!before || *after != *before) && after->contains(text);
}

// What a look at the desktop says of the target: still in front with its field; in front as a
// window only (its field could not be found again, as when the application is slow to answer); or
// gone.
enum class Presence { same, windowOnly, changed };

bool isSameWindow(const InputTarget &target, const InputTarget &current)
{
    return current.processIdentifier == target.processIdentifier
        && current.bundleIdentifier == target.bundleIdentifier && current.windowTitle == target.windowTitle
        && current.windowIdentifier == target.windowIdentifier;
}

// A target read without a focused element (no accessibility, or an application that did not answer
// at the press) is its window: the same window in front, on anything but a password field, is it.
// A target read with one is that element (its bus name and path): the same element read again is
// the same target even when its role could not be read this time, as it could at the press, and a
// window whose element is not found at all is the window only.
Presence presenceOf(const InputTarget &target, const InputTarget &current)
{
    if (current == target)
        return Presence::same;
    if (!isSameWindow(target, current))
        return Presence::changed;
    if (!target.hasFocusedElement())
        return current.isSecure ? Presence::changed : Presence::same;
    if (current.focusedElementHash == target.focusedElementHash)
        return Presence::same;
    return current.hasFocusedElement() ? Presence::changed : Presence::windowOnly;
}

// A read that stalls may leave the identity short of what the desktop would say: anything but the
// same target gets one more look, which may find the field again (so its text can be watched and
// the user's clipboard given back).
Presence lookForTarget(const AccessibilityTree &tree, const InputTarget &target)
{
    Presence best = Presence::changed;
    for (int look = 0; look < 2; ++look) {
        const std::optional<CaptureResult> current = AccessibilityServices::captureContext(tree, false);
        const Presence presence = current ? presenceOf(target, current->target) : Presence::changed;
        if (presence == Presence::same)
            return presence;
        if (presence == Presence::windowOnly)
            best = presence;
    }
    return best;
}

} // namespace

QCoro::Task<std::expected<PasteOutcome, PasteError>> paste(QString text, InputTarget target, double restoreDelay,
    Environment environment, QObject *context, std::shared_ptr<const std::atomic<bool>> cancelled)
{
    const QPointer<QObject> owner(context);
    const auto isCancelled = [&] { return !owner || (cancelled && cancelled->load()); };

    const bool isTerminal = TerminalPolicy::isTerminal(target);
    // What the field looks like before anything is changed, read only when the focus is still on
    // the target: its text, or for a terminal (whose text changes with any output) where its caret was.
    // Only a field found again is watched for the text.
    struct Look {
        std::optional<PasteError> refusal;
        std::optional<QString> before;
        std::optional<qint64> caret;
        bool isWatched = false;
    };
    const QFuture<Look> looking = TaskPools::run(TaskPools::shortWork(), [environment, target, isTerminal] {
        if (!environment.access.isEnabled()) {
            environment.access.requestEnable();
            return Look{PasteError::notTrusted, {}, {}};
        }
        if (!environment.keystroke.isAvailable())
            return Look{PasteError::noKeystroke, {}, {}};
        if (target.isSecure)
            return Look{PasteError::secureField, {}, {}};
        const Presence presence = lookForTarget(environment.tree, target);
        if (presence == Presence::changed)
            return Look{PasteError::targetChanged, {}, {}};
        if (!target.hasFocusedElement() || presence == Presence::windowOnly)
            return Look{};
        if (isTerminal)
            return Look{{}, {}, AccessibilityServices::focusedCaret(environment.tree), true};
        return Look{{}, AccessibilityServices::focusedValue(environment.tree), {}, true};
    });
    const Look look = co_await looking;
    if (look.refusal)
        co_return std::unexpected(*look.refusal);
    if (isCancelled())
        co_return std::unexpected(PasteError::cancelled);

    const QList<PasteboardItem> snapshot = environment.pasteboard.items();
    environment.pasteboard.clearContents();
    environment.pasteboard.setString(text);
    const quint64 changeCount = environment.pasteboard.changeCount();
    // The slow steps (the field's text, the clipboard's formats, the wait for the modifiers) are
    // behind us: the target is checked once more right before the keys go out.
    const QFuture<std::expected<Presence, PasteError>> sending = TaskPools::run(TaskPools::shortWork(),
        [environment, target, isTerminal]() -> std::expected<Presence, PasteError> {
            if (!environment.keystroke.waitForModifierRelease())
                return std::unexpected(PasteError::modifiersHeld);
            const Presence presence = lookForTarget(environment.tree, target);
            if (presence == Presence::changed)
                return std::unexpected(PasteError::targetChanged);
            if (!environment.keystroke.sendPaste(isTerminal))
                return std::unexpected(PasteError::noKeystroke);
            return presence;
        });
    const std::expected<Presence, PasteError> sent = co_await sending;
    if (!sent) {
        // Nothing was typed: the user's clipboard comes back, unless somebody replaced it meanwhile.
        if (owner && environment.pasteboard.changeCount() == changeCount) {
            environment.pasteboard.clearContents();
            environment.pasteboard.writeItems(snapshot);
        }
        co_return std::unexpected(sent.error());
    }
    // Nothing to watch: the dictated text stays on the clipboard, as after any paste not seen.
    if (!look.isWatched || *sent == Presence::windowOnly)
        co_return PasteOutcome::unchecked;

    Clock &clock = environment.clock;
    const Clock::Duration deadline = clock.now() + secondsToDuration(std::max(restoreDelay, shortestWait));
    bool isLastLook = false;
    for (;;) {
        const QFuture<std::optional<QString>> reading
            = TaskPools::run(TaskPools::shortWork(), [&tree = environment.tree, isTerminal, caret = look.caret] {
                  if (!isTerminal)
                      return AccessibilityServices::focusedValue(tree);
                  return caret ? AccessibilityServices::focusedTextFrom(tree, *caret) : std::nullopt;
              });
        const std::optional<QString> after = co_await reading;
        if (!owner)
            co_return std::unexpected(PasteError::cancelled);
        if (isTerminal ? after && after->contains(text) : isConfirmed(look.before, after, text)) {
            const bool stillHoldsDictation = environment.pasteboard.changeCount() == changeCount;
            if (PasteboardPolicy::shouldRestoreOriginal(true, stillHoldsDictation)) {
                environment.pasteboard.clearContents();
                environment.pasteboard.writeItems(snapshot);
            }
            co_return PasteOutcome::confirmed;
        }
        // An application busy with the paste itself may leave the read at the deadline unanswered:
        // it gets one more look a poll later.
        if (clock.now() >= deadline) {
            if (after || isLastLook)
                co_return PasteOutcome::unconfirmed;
            isLastLook = true;
        }
        if (isCancelled())
            co_return std::unexpected(PasteError::cancelled);
        const QFuture<void> waiting = clock.after(pollInterval, context);
        co_await waiting;
        // A context gone during the wait took the services with it: nothing more is read.
        if (!owner)
            co_return std::unexpected(PasteError::cancelled);
    }
}

} // namespace PasteService
