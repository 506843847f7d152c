#pragma once

#include "input/InputTarget.h"

#include <QString>

#include <atomic>
#include <expected>

class AccessibilityAccess;
class AccessibilityTree;
class Clock;
class Keystroke;
class Pasteboard;

enum class PasteOutcome { confirmed, unconfirmed };

enum class PasteError { notTrusted, secureField, targetChanged, cancelled };
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
// the field for the text and giving the user's clipboard back. Stateless; `paste` blocks and runs on
// a worker thread, never on the main thread.
namespace PasteService {

struct Environment {
    const AccessibilityTree &tree;
    AccessibilityAccess &access;
    Pasteboard &pasteboard;
    Keystroke &keystroke;
    Clock &clock;
};

inline const QString terminalRole = QStringLiteral("terminal");

// `cancelled`, when given, is checked between polls; a cancelled paste leaves the dictated text on
// the clipboard.
std::expected<PasteOutcome, PasteError> paste(const QString &text, const InputTarget &target, double restoreDelay,
    const Environment &environment, const std::atomic<bool> *cancelled = nullptr);

} // namespace PasteService
