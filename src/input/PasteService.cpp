#include "input/PasteService.h"

#include "input/AccessibilityServices.h"
#include "platform/AccessibilityAccess.h"
#include "core/Clock.h"
#include "platform/Keystroke.h"
#include "platform/Pasteboard.h"

#include <QCoreApplication>

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

std::expected<PasteOutcome, PasteError> paste(const QString &text, const InputTarget &target, double restoreDelay,
    const Environment &environment, const std::atomic<bool> *cancelled)
{
    if (!environment.access.isEnabled() || !environment.keystroke.isAvailable()) {
        if (!environment.access.isEnabled())
            environment.access.requestEnable();
        return std::unexpected(PasteError::notTrusted);
    }
    if (target.isSecure)
        return std::unexpected(PasteError::secureField);
    const std::optional<CaptureResult> current = AccessibilityServices::captureContext(environment.tree, false);
    if (!current || current->target != target)
        return std::unexpected(PasteError::targetChanged);

    const std::optional<QString> before = AccessibilityServices::focusedValue(environment.tree);
    const QList<PasteboardItem> snapshot = environment.pasteboard.items();
    environment.pasteboard.clearContents();
    environment.pasteboard.setString(text);
    const quint64 changeCount = environment.pasteboard.changeCount();
    environment.keystroke.sendPaste(target.focusedRole == terminalRole);

    const Clock::Duration deadline = environment.clock.now() + secondsToDuration(std::max(restoreDelay, shortestWait));
    for (;;) {
        if (isConfirmed(before, AccessibilityServices::focusedValue(environment.tree), text)) {
            const bool stillHoldsDictation = environment.pasteboard.changeCount() == changeCount;
            if (PasteboardPolicy::shouldRestoreOriginal(true, stillHoldsDictation)) {
                environment.pasteboard.clearContents();
                environment.pasteboard.writeItems(snapshot);
            }
            return PasteOutcome::confirmed;
        }
        if (environment.clock.now() >= deadline)
            return PasteOutcome::unconfirmed;
        if (cancelled != nullptr && cancelled->load())
            return std::unexpected(PasteError::cancelled);
        environment.clock.sleep(pollInterval);
    }
}

} // namespace PasteService
