#include "dictation/RecordingLifecycle.h"

#include <gtest/gtest.h>

#include <functional>
#include <optional>

namespace {

using namespace RecordingPhase;
namespace Command = RecordingCommand;
using Request = std::function<std::optional<Command::Value>(RecordingLifecycle &)>;

const Request startUnlocked = [](RecordingLifecycle &l) { return l.requestStart(false); };
const Request startLocked = [](RecordingLifecycle &l) { return l.requestStart(true); };
const Request finish = [](RecordingLifecycle &l) { return l.requestFinish(); };
const Request cancel = [](RecordingLifecycle &l) { return l.requestCancel(); };

TEST(RecordingLifecycle, RequestsByPhase)
{
    struct Case {
        const char *name;
        RecordingPhase::Value phase;
        Request request;
        std::optional<Command::Value> command;
        RecordingPhase::Value after;
    };
    const Case cases[] = {
        {"idle start", Idle {}, startUnlocked, Command::Start {5, false}, Starting {5, false}},
        {"idle locked start", Idle {}, startLocked, Command::Start {5, true}, Starting {5, true}},
        {"starting locked start marks it locked", Starting {4, false}, startLocked, std::nullopt, Starting {4, true}},
        {"starting finish", Starting {4, true}, finish, Command::Finish {4}, Finalizing {4}},
        {"starting cancel", Starting {4, false}, cancel, Command::Cancel {4}, Idle {}},
        {"recording locked start marks it locked", Recording {4, false}, startLocked, std::nullopt,
            Recording {4, true}},
        {"recording finish", Recording {4, true}, finish, Command::Finish {4}, Finalizing {4}},
        {"finalizing cancel", Finalizing {4}, cancel, Command::Cancel {4}, Idle {}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        RecordingLifecycle lifecycle {c.phase, 4};
        EXPECT_EQ(c.request(lifecycle), c.command);
        EXPECT_EQ(lifecycle.phase, c.after);
        EXPECT_EQ(lifecycle.nextGeneration,
            std::holds_alternative<Command::Start>(c.command.value_or(Command::Cancel {0})) ? 5u : 4u);
    }
}

TEST(RecordingLifecycle, ConfirmationsByPhase)
{
    enum class Confirmation { didStart, complete, fail };
    struct Case {
        const char *name;
        RecordingPhase::Value phase;
        Confirmation confirmation;
        quint64 generation;
        bool accepted;
        RecordingPhase::Value after;
    };
    const Case cases[] = {
        {"didStart keeps the locked flag", Starting {3, true}, Confirmation::didStart, 3, true, Recording {3, true}},
        {"didStart of another generation", Starting {3, true}, Confirmation::didStart, 2, false, Starting {3, true}},
        {"didStart after the key was released", Finalizing {3}, Confirmation::didStart, 3, false, Finalizing {3}},
        {"complete finalizing", Finalizing {3}, Confirmation::complete, 3, true, Idle {}},
        {"complete of another generation", Finalizing {3}, Confirmation::complete, 4, false, Finalizing {3}},
        {"fail starting", Starting {3, false}, Confirmation::fail, 3, true, Idle {}},
        {"fail of another generation", Recording {3, true}, Confirmation::fail, 2, false, Recording {3, true}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        RecordingLifecycle lifecycle {c.phase, 3};
        bool accepted = false;
        switch (c.confirmation) {
        case Confirmation::didStart: accepted = lifecycle.didStart(c.generation); break;
        case Confirmation::complete: accepted = lifecycle.complete(c.generation); break;
        case Confirmation::fail: accepted = lifecycle.fail(c.generation); break;
        }
        EXPECT_EQ(accepted, c.accepted);
        EXPECT_EQ(lifecycle.phase, c.after);
        EXPECT_EQ(lifecycle.nextGeneration, 3u);
    }
}

} // namespace
