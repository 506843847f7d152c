#include "dictation/RecordingLifecycle.h"

using namespace RecordingPhase;

std::optional<quint64> RecordingPhase::generationOf(const Value &phase)
{
    return std::visit(
        [](const auto &current) -> std::optional<quint64> {
            if constexpr (requires { current.generation; })
                return current.generation;
            else
                return std::nullopt;
        },
        phase);
}

std::optional<RecordingCommand::Value> RecordingLifecycle::requestStart(bool locked)
{
    if (std::holds_alternative<Idle>(phase)) {
        ++nextGeneration;
        phase = Starting {nextGeneration, locked};
        return RecordingCommand::Start {nextGeneration, locked};
    }
    // A locked request during a running start or recording only marks it hands-free.
    if (locked) {
        if (auto *starting = std::get_if<Starting>(&phase))
            starting->locked = true;
        else if (auto *recording = std::get_if<Recording>(&phase))
            recording->locked = true;
    }
    return std::nullopt;
}

std::optional<RecordingCommand::Value> RecordingLifecycle::requestFinish()
{
    if (std::holds_alternative<Starting>(phase) || std::holds_alternative<Recording>(phase)) {
        const quint64 generation = *generationOf(phase);
        phase = Finalizing {generation};
        return RecordingCommand::Finish {generation};
    }
    return std::nullopt;
}

std::optional<RecordingCommand::Value> RecordingLifecycle::requestCancel()
{
    const std::optional<quint64> generation = generationOf(phase);
    if (!generation)
        return std::nullopt;
    phase = Idle {};
    return RecordingCommand::Cancel {*generation};
}

bool RecordingLifecycle::didStart(quint64 generation)
{
    const auto *starting = std::get_if<Starting>(&phase);
    if (starting == nullptr || starting->generation != generation)
        return false;
    phase = Recording {generation, starting->locked};
    return true;
}

bool RecordingLifecycle::complete(quint64 generation)
{
    const auto *finalizing = std::get_if<Finalizing>(&phase);
    if (finalizing == nullptr || finalizing->generation != generation)
        return false;
    phase = Idle {};
    return true;
}

bool RecordingLifecycle::fail(quint64 generation)
{
    if (generationOf(phase) != generation)
        return false;
    phase = Idle {};
    return true;
}
