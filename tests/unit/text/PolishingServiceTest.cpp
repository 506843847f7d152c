#include "text/PolishingService.h"
#include "ManualClock.h"
#include "ScriptedLanguageModel.h"
#include "WaitFor.h"

#include <gtest/gtest.h>

using namespace std::chrono_literals;
using namespace Qt::Literals::StringLiterals;

namespace {

struct Fixture {
    ScriptedModel model;
    ManualClock clock;
    PolishingService service{model, clock};

    QFuture<PolishingOutcome::Value> polish(double timeout, quint64 generation = 1)
    {
        QFuture<PolishingOutcome::Value> outcome = service.polish(
            u"えーと会議です"_s, u"instructions"_s, RecognitionLanguage::japanese, generation, timeout);
        // The rewrite has asked its session when a prompt arrived.
        EXPECT_TRUE(waitFor([&] { return model.last() && model.last()->hasPrompt(); }));
        return outcome;
    }
};

TEST(PolishingService, TheFirstOutcomeWins)
{
    struct Case {
        const char *name;
        double timeout;
        std::function<void(Fixture &, ScriptedSession &)> act;
        PolishingOutcome::Value expected;
        bool isCancelled;
    };
    const Case cases[] = {
        {"zero timeout still waits a quarter second", 0.0,
            [](Fixture &f, ScriptedSession &s) {
                f.clock.advance(249ms);
                s.give(u"会議です。"_s);
            },
            PolishingOutcome::Polished{u"会議です。"_s}, false},
        {"an answer 10 ms late is dropped", 1.0,
            [](Fixture &f, ScriptedSession &s) {
                f.clock.advance(1000ms);
                f.clock.advance(10ms);
                s.give(u"late"_s);
            },
            PolishingOutcome::TimedOut{}, true},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        Fixture f;
        QFuture<PolishingOutcome::Value> outcome = f.polish(c.timeout);
        std::shared_ptr<ScriptedSession> session = f.model.last();
        c.act(f, *session);
        ASSERT_TRUE(waitFor([&] { return outcome.isFinished(); }));
        EXPECT_EQ(outcome.result(), c.expected);
        EXPECT_EQ(session->wasCancelled(), c.isCancelled);
        // The limit always runs to its end.
        f.clock.advance(60s);
        session->give(u"release"_s);
        QThreadPool::globalInstance()->waitForDone();
    }
}

TEST(PolishingService, PreparedSessions)
{
    Fixture f;
    const auto prepare = [&](const QString &instructions, quint64 generation) {
        f.service.prepare(instructions, generation).waitForFinished();
        EXPECT_TRUE(waitFor([&] { return f.model.last()->prewarms == 1; })) << "read in the background";
    };
    prepare(u"A"_s, 1);
    ASSERT_EQ(f.model.count(), 1u);
    // Another generation leaves it in place.
    EXPECT_EQ(f.service.takePrepared(u"A"_s, 2).result(), nullptr);
    f.service.discardPrepared(2).waitForFinished();
    EXPECT_EQ(f.service.takePrepared(u"A"_s, 1).result(), f.model.made[0]);
    EXPECT_EQ(f.service.takePrepared(u"A"_s, 1).result(), nullptr) << "taken once";
}

TEST(PolishingService, ADiscardDoesNotWaitForAReadingInProgress)
{
    Fixture f;
    f.model.isSlow = true;
    f.service.prepare(u"instructions"_s, 1);
    ASSERT_TRUE(waitFor([&] { return f.model.last() && f.model.last()->prewarms == 1; }));
    const std::shared_ptr<ScriptedSession> discarded = f.model.last();
    QFuture<void> discarding = f.service.discardPrepared(1);
    ASSERT_TRUE(waitFor([&] { return discarding.isFinished(); }));
    EXPECT_TRUE(discarded->wasCancelled());
}

TEST(PolishingService, ARewriteUsesThePreparedSessionOnlyForTheSameInstructions)
{
    struct Case {
        const char *name;
        QString instructions;
        size_t sessions;
    };
    const Case cases[] = {
        {"same instructions", u"instructions"_s, 1},
        {"other instructions: a new session with them", u"old"_s, 2},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        Fixture f;
        f.service.prepare(c.instructions, 7).waitForFinished();
        const std::shared_ptr<ScriptedSession> prepared = f.model.last();
        QFuture<PolishingOutcome::Value> outcome = f.polish(4.0, 7);
        ASSERT_EQ(f.model.count(), c.sessions);
        EXPECT_EQ(f.model.last()->instructions, u"instructions"_s);
        EXPECT_EQ(prepared->wasCancelled(), c.sessions == 2) << "a session nobody will use stops reading";
        EXPECT_EQ(f.model.last()->prompts, std::vector<QString>{u"<発話>えーと会議です</発話>"_s});
        f.model.last()->give(u"会議です。"_s);
        ASSERT_TRUE(waitFor([&] { return outcome.isFinished(); }));
        EXPECT_EQ(outcome.result(), PolishingOutcome::Value(PolishingOutcome::Polished{u"会議です。"_s}));
        f.clock.advance(10s);
        QThreadPool::globalInstance()->waitForDone();
    }
}

} // namespace
