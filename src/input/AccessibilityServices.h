#pragma once

#include "input/InputTarget.h"

#include <optional>

class AccessibilityTree;

namespace ContextCapturePolicy {
// Text is never read from a password field, and only when the user allows context.
constexpr bool shouldReadText(bool deepContextEnabled, bool isSecure)
{
    return deepContextEnabled && !isSecure;
}
} // namespace ContextCapturePolicy

// Reads where the dictation will go and what surrounds the caret, through the accessibility tree.
// Stateless; called from worker threads (each read is a blocking call to another application).
namespace AccessibilityServices {

// The role of a password field.
inline const QString secureFieldRole = QStringLiteral("password text");
constexpr qsizetype contextCharacterLimit = 400;

// Nothing only when there is no frontmost application.
std::optional<CaptureResult> captureContext(const AccessibilityTree &tree, bool includeText);
// The focused element's text; nothing for a password field or an element without text.
std::optional<QString> focusedValue(const AccessibilityTree &tree);
// Where the caret of the focused element is (the start of its selection), in the tree's units;
// nothing for a password field or an element without text.
std::optional<qint64> focusedCaret(const AccessibilityTree &tree);
// The focused element's text from `offset` to its end; nothing as for focusedValue.
std::optional<QString> focusedTextFrom(const AccessibilityTree &tree, qint64 offset);

} // namespace AccessibilityServices
