#pragma once

#include <QString>

#include <variant>

// The result of one rewrite attempt: the model's answer as given, the model's failure, or the end
// of the time limit before either.
namespace PolishingOutcome {
struct Polished {
    QString text;
    friend bool operator==(const Polished &, const Polished &) = default;
};
struct Unavailable {
    QString reason;
    friend bool operator==(const Unavailable &, const Unavailable &) = default;
};
struct TimedOut {
    friend bool operator==(const TimedOut &, const TimedOut &) = default;
};
using Value = std::variant<Polished, Unavailable, TimedOut>;
} // namespace PolishingOutcome
