#pragma once

#include <QtGlobal>

#include <optional>
#include <variant>

// Where the one current recording stands. Every phase but idle carries its generation.
namespace RecordingPhase {
struct Starting {
    quint64 generation;
    bool locked;
    friend bool operator==(const Starting &, const Starting &) = default;
};
struct Recording {
    quint64 generation;
    bool locked;
    friend bool operator==(const Recording &, const Recording &) = default;
};
struct Finalizing {
    quint64 generation;
    friend bool operator==(const Finalizing &, const Finalizing &) = default;
};
struct Idle {
    friend bool operator==(const Idle &, const Idle &) = default;
};
using Value = std::variant<Starting, Recording, Finalizing, Idle>;

std::optional<quint64> generationOf(const Value &phase);
} // namespace RecordingPhase

// The decision a request produced.
namespace RecordingCommand {
struct Start {
    quint64 generation;
    bool locked;
    friend bool operator==(const Start &, const Start &) = default;
};
struct Cancel {
    quint64 generation;
    friend bool operator==(const Cancel &, const Cancel &) = default;
};
struct Finish {
    quint64 generation;
    friend bool operator==(const Finish &, const Finish &) = default;
};
using Value = std::variant<Start, Cancel, Finish>;
} // namespace RecordingCommand

// The single authority on which recording is current and what it may do next. Generations are
// 1, 2, 3 … and never reused, so late work of an abandoned recording recognises itself by its
// generation and stops. A refused request returns nothing and changes nothing. Main thread only.
class RecordingLifecycle
{
public:
    RecordingPhase::Value phase = RecordingPhase::Idle {};
    quint64 nextGeneration = 0;

    std::optional<RecordingCommand::Value> requestStart(bool locked);
    std::optional<RecordingCommand::Value> requestFinish();
    std::optional<RecordingCommand::Value> requestCancel();

    bool didStart(quint64 generation);
    bool complete(quint64 generation);
    bool fail(quint64 generation);

    bool isBusy() const { return !std::holds_alternative<RecordingPhase::Idle>(phase); }
};
