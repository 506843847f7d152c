#include "input/PasteService.h"

#include "core/Clock.h"
#include "core/TaskPools.h"
#include "input/AccessibilityServices.h"
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

} // namespace

QCoro::Task<std::expected<PasteOutcome, PasteError>> paste(QString text, InputTarget target, double restoreDelay,
    Environment environment, QObject *context, std::shared_ptr<const std::atomic<bool>> cancelled)
{
    const QPointer<QObject> owner(context);
    const auto isCancelled = [&] { return !owner || (cancelled && cancelled->load()); };

    // What the field looks like before anything is changed; `before` is read only when the
    // focus is still on the target.
    struct Look {
        std::optional<PasteError> refusal;
        std::optional<QString> before;
    };
    const QFuture<Look> looking = TaskPools::run(TaskPools::shortWork(), [environment, target] {
        if (!environment.access.isEnabled()) {
            environment.access.requestEnable();
            return Look{PasteError::notTrusted, {}};
        }
        if (!environment.keystroke.isAvailable())
            return Look{PasteError::noKeystroke, {}};
        if (target.isSecure)
            return Look{PasteError::secureField, {}};
        // A read that stalls leaves the identity short of what the desktop would say; a mismatch
        // gets one more look before it counts as another target.
        std::optional<CaptureResult> current = AccessibilityServices::captureContext(environment.tree, false);
        if (!current || current->target != target)
            current = AccessibilityServices::captureContext(environment.tree, false);
        if (!current || current->target != target)
            return Look{PasteError::targetChanged, {}};
        return Look{{}, AccessibilityServices::focusedValue(environment.tree)};
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
    const QFuture<bool> sending = TaskPools::run(TaskPools::shortWork(),
        [&keystroke = environment.keystroke, forTerminal = target.focusedRole == terminalRole] {
            return keystroke.sendPaste(forTerminal);
        });
    co_await sending;

    Clock &clock = environment.clock;
    const Clock::Duration deadline = clock.now() + secondsToDuration(std::max(restoreDelay, shortestWait));
    bool isLastLook = false;
    for (;;) {
        const QFuture<std::optional<QString>> reading = TaskPools::run(
            TaskPools::shortWork(), [&tree = environment.tree] { return AccessibilityServices::focusedValue(tree); });
        const std::optional<QString> after = co_await reading;
        if (!owner)
            co_return std::unexpected(PasteError::cancelled);
        if (isConfirmed(look.before, after, text)) {
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
