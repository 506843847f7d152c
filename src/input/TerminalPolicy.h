#pragma once

#include "input/InputTarget.h"

// Which targets are terminals: they take the paste as Control+Shift+V (Control+V would reach the
// shell as a literal ^V), and their text changes with every line of output, so a paste is seen
// only in the text after the caret's earlier place.
namespace TerminalPolicy {

// The accessibility role of a terminal (VTE, Konsole).
inline const QString terminalRole = QStringLiteral("terminal");

// By the focused element's role, or by the application (desktop file id or executable name) for
// the terminals that have no accessibility or do not report the role.
bool isTerminal(const InputTarget &target);

} // namespace TerminalPolicy
