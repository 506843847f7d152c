#pragma once

#include "input/InputTarget.h"

#include <QString>
#include <qcoro/qcorotask.h>

#include <atomic>
#include <expected>
#include <memory>

class AccessibilityAccess;
class AccessibilityTree;
class Clock;
class Keystroke;
class Pasteboard;
class QObject;

// `unchecked`: there was no focused element to watch (an application without accessibility, or one
// that did not answer in time), so the paste went to the same window without its field being checked.
enum class PasteOutcome { confirmed, unconfirmed, unchecked };

// `noKeystroke`: the paste shortcut cannot be sent at all (no XTest on X11, no writable /dev/uinput
// elsewhere), which no accessibility permission would change. `modifiersHeld`: the user kept holding
// a modifier key, which would have turned the shortcut into another one.
enum class PasteError { notTrusted, noKeystroke, secureField, targetChanged, modifiersHeld, cancelled };
// The user-facing message of an error.
QString description(PasteError error);

namespace PasteboardPolicy {
// The user's clipboard comes back only after a confirmed paste, and only if nobody replaced the
// dictated text meanwhile.
constexpr bool shouldRestoreOriginal(bool insertionConfirmed, bool pasteboardStillContainsDictation)
{
    return insertionConfirmed && pasteboardStillContainsDictation;
}
} // namespace PasteboardPolicy

// Puts finished text into the field that had the focus: through the clipboard and the paste
// shortcut, after checking access, password fields and that the focus has not moved, then watching
// the field for the text and giving the user's clipboard back. Stateless; `paste` is a coroutine of
// the main thread (where the clipboard lives): the accessibility reads and the keystroke run on the
// short-work pool and the polls wait on the clock, so the main thread never blocks.
namespace PasteService {

struct Environment {
    const AccessibilityTree &tree;
    AccessibilityAccess &access;
    Pasteboard &pasteboard;
    Keystroke &keystroke;
    Clock &clock;
};

// `cancelled`, when given, is checked between polls; a cancelled paste leaves the dictated text on
// the clipboard. The paste ends as cancelled, at its next wait, when `context` is destroyed.
QCoro::Task<std::expected<PasteOutcome, PasteError>> paste(QString text, InputTarget target, double restoreDelay,
    Environment environment, QObject *context, std::shared_ptr<const std::atomic<bool>> cancelled = {});

} // namespace PasteService
