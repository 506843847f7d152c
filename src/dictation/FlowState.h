#pragma once

#include <QString>

#include <variant>

// What the user sees of the dictation: the floating bar and the tray menu show its label.
namespace FlowState {
struct Success {
    QString message;
    friend bool operator==(const Success &, const Success &) = default;
};
struct Failure {
    QString message;
    friend bool operator==(const Failure &, const Failure &) = default;
};
struct Idle {
    friend bool operator==(const Idle &, const Idle &) = default;
};
struct Starting {
    friend bool operator==(const Starting &, const Starting &) = default;
};
struct Recording {
    friend bool operator==(const Recording &, const Recording &) = default;
};
struct Locked {
    friend bool operator==(const Locked &, const Locked &) = default;
};
struct Processing {
    friend bool operator==(const Processing &, const Processing &) = default;
};
using Value = std::variant<Success, Failure, Idle, Starting, Recording, Locked, Processing>;

// The fixed labels are localised; the message of a success or failure is shown as it is.
QString label(const Value &state);
} // namespace FlowState
