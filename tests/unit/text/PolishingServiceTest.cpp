#include "text/PolishingService.h"
#include "ManualClock.h"
#include "ScriptedLanguageModel.h"
#include "WaitFor.h"
#include "text/PromptBuilder.h"

#include <gtest/gtest.h>

#include <condition_variable>
#include <mutex>

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
    // The time limit is armed once the rewrite has left the service's executor.
    void settle() { service.discardPrepared(0).waitForFinished(); }
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
        {"answer before the limit", 4.0, [](Fixture &, ScriptedSession &s) { s.give(u"会議です。"_s); },
            PolishingOutcome::Polished{u"会議です。"_s}, false},
        {"failure before the limit comes at once", 4.0,
            [](Fixture &, ScriptedSession &s) { s.give(std::unexpected(u"model missing"_s)); },
            PolishingOutcome::Unavailable{u"model missing"_s}, false},
        {"zero timeout waits a quarter second", 0.0, [](Fixture &f, ScriptedSession &) { f.clock.advance(250ms); },
            PolishingOutcome::TimedOut{}, true},
        {"negative timeout too", -3.0, [](Fixture &f, ScriptedSession &) { f.clock.advance(250ms); },
            PolishingOutcome::TimedOut{}, true},
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
        f.settle();
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

TEST(PolishingService, TheTimeoutIsNotReachedEarly)
{
    Fixture f;
    QFuture<PolishingOutcome::Value> outcome = f.polish(0.0);
    f.settle();
    f.clock.advance(249ms);
    QCoreApplication::processEvents();
    EXPECT_FALSE(outcome.isFinished());
    f.clock.advance(1ms);
    ASSERT_TRUE(waitFor([&] { return outcome.isFinished(); }));
    EXPECT_EQ(outcome.result(), PolishingOutcome::Value(PolishingOutcome::TimedOut{}));
    QThreadPool::globalInstance()->waitForDone();
}

TEST(PolishingService, PreparedSessions)
{
    Fixture f;
    f.service.prepare(u"A"_s, 1).waitForFinished();
    ASSERT_EQ(f.model.count(), 1u);
    EXPECT_EQ(f.model.last()->prewarms, 1);
    // Another generation leaves it in place.
    EXPECT_EQ(f.service.takePrepared(u"A"_s, 2).result(), nullptr);
    f.service.discardPrepared(2).waitForFinished();
    EXPECT_EQ(f.service.takePrepared(u"A"_s, 1).result(), f.model.made[0]);
    EXPECT_EQ(f.service.takePrepared(u"A"_s, 1).result(), nullptr) << "taken once";

    // The right generation with other instructions gives nothing and leaves nothing.
    f.service.prepare(u"A"_s, 3).waitForFinished();
    EXPECT_EQ(f.service.takePrepared(u"B"_s, 3).result(), nullptr);
    EXPECT_EQ(f.service.takePrepared(u"A"_s, 3).result(), nullptr);

    // Two prepares keep only the second.
    f.service.prepare(u"A"_s, 4).waitForFinished();
    f.service.prepare(u"A"_s, 5).waitForFinished();
    EXPECT_EQ(f.service.takePrepared(u"A"_s, 4).result(), nullptr);
    EXPECT_EQ(f.service.takePrepared(u"A"_s, 5).result(), f.model.last());

    f.service.prepare(u"A"_s, 6).waitForFinished();
    f.service.discardPrepared(6).waitForFinished();
    EXPECT_EQ(f.service.takePrepared(u"A"_s, 6).result(), nullptr);

    f.service.prewarm(RecognitionLanguage::english).waitForFinished();
    EXPECT_EQ(f.model.last()->instructions, PromptBuilder::englishBaseInstruction);
    EXPECT_EQ(f.model.last()->prewarms, 1);
}

TEST(PolishingService, ARewriteUsesTheMatchingPreparedSession)
{
    Fixture f;
    f.service.prepare(u"instructions"_s, 7).waitForFinished();
    QFuture<PolishingOutcome::Value> outcome = f.polish(4.0, 7);
    EXPECT_EQ(f.model.count(), 1u) << "no second session is made";
    EXPECT_EQ(f.model.last()->prompts, std::vector<QString>{u"<発話>えーと会議です</発話>"_s});
    f.model.last()->give(u"会議です。"_s);
    ASSERT_TRUE(waitFor([&] { return outcome.isFinished(); }));
    f.clock.advance(10s);
    QThreadPool::globalInstance()->waitForDone();
}

} // namespace
