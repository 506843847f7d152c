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

// A target read without a focused element (no accessibility, or an application that did not answer
// at the press) is its window: the same window in front, on anything but a password field, is it.
bool isSame(const InputTarget &target, InputTarget current)
{
    if (!target.hasFocusedElement() && !current.isSecure) {
        current.focusedRole.clear();
        current.focusedIdentifier.clear();
        current.focusedElementHash = 0;
    }
    return current == target;
}

// A read that stalls leaves the identity short of what the desktop would say; a mismatch gets one
// more look before it counts as another target.
bool isStillTarget(const AccessibilityTree &tree, const InputTarget &target)
{
    for (int look = 0; look < 2; ++look) {
        const std::optional<CaptureResult> current = AccessibilityServices::captureContext(tree, false);
        if (current && isSame(target, current->target))
            return true;
    }
    return false;
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
    struct Look {
        std::optional<PasteError> refusal;
        std::optional<QString> before;
        std::optional<qint64> caret;
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
        if (!isStillTarget(environment.tree, target))
            return Look{PasteError::targetChanged, {}, {}};
        if (!target.hasFocusedElement())
            return Look{};
        if (isTerminal)
            return Look{{}, {}, AccessibilityServices::focusedCaret(environment.tree)};
        return Look{{}, AccessibilityServices::focusedValue(environment.tree), {}};
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
    const QFuture<std::optional<PasteError>> sending
        = TaskPools::run(TaskPools::shortWork(), [environment, target, isTerminal]() -> std::optional<PasteError> {
              if (!environment.keystroke.waitForModifierRelease())
                  return PasteError::modifiersHeld;
              if (!isStillTarget(environment.tree, target))
                  return PasteError::targetChanged;
              if (!environment.keystroke.sendPaste(isTerminal))
                  return PasteError::noKeystroke;
              return std::nullopt;
          });
    const std::optional<PasteError> notSent = co_await sending;
    if (notSent) {
        // Nothing was typed: the user's clipboard comes back, unless somebody replaced it meanwhile.
        if (owner && environment.pasteboard.changeCount() == changeCount) {
            environment.pasteboard.clearContents();
            environment.pasteboard.writeItems(snapshot);
        }
        co_return std::unexpected(*notSent);
    }
    // Nothing to watch: the dictated text stays on the clipboard, as after any paste not seen.
    if (!target.hasFocusedElement())
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
    }
}

} // namespace PasteService
