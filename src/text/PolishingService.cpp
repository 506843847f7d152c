#include "text/PolishingService.h"

#include "text/PromptBuilder.h"

#include <QCoreApplication>
#include <QPromise>
#include "core/TaskPools.h"

#include <atomic>
#include <mutex>

namespace {

// Hands the first outcome to the waiting caller, exactly once; later ones are dropped.
class OutcomeGate
{
public:
    OutcomeGate() { promise.start(); }
    QFuture<PolishingOutcome::Value> future() { return promise.future(); }

    void resolve(const PolishingOutcome::Value &outcome)
    {
        {
            std::scoped_lock guard(lock);
            if (finished)
                return;
            finished = true;
        }
        // The caller is resumed outside the lock.
        promise.addResult(outcome);
        promise.finish();
    }

private:
    std::mutex lock;
    bool finished = false;
    QPromise<PolishingOutcome::Value> promise;
};

} // namespace

// One rewrite's session (taken or made) and whether the time limit cancelled it.
struct PolishingService::Rewrite {
    std::mutex lock;
    std::shared_ptr<LanguageModelSession> session;
    std::atomic<bool> isCancelled{false};

    std::shared_ptr<LanguageModelSession> sessionOrMake(LanguageModel &model, const QString &instructions)
    {
        std::scoped_lock guard(lock);
        if (!session && !isCancelled)
            session = model.makeSession(instructions);
        return session;
    }
    void cancel()
    {
        isCancelled = true;
        std::scoped_lock guard(lock);
        if (session)
            session->cancel();
    }
};

PolishingService::PolishingService(LanguageModel &model, Clock &clock, QObject *parent)
    : QObject(parent)
    , model(model)
    , clock(clock)
{ }

QFuture<void> PolishingService::prewarm(RecognitionLanguage language)
{
    return executor.run([this, language] {
        const QString &base = language == RecognitionLanguage::japanese ? PromptBuilder::baseInstruction
                                                                        : PromptBuilder::englishBaseInstruction;
        if (std::shared_ptr<LanguageModelSession> session = model.makeSession(base))
            session->prewarm();
    });
}

QFuture<void> PolishingService::prepare(const QString &instructions, quint64 generation)
{
    return executor.run([this, instructions, generation] {
        // The earlier session is released before the new one is made: one at a time.
        prepared.reset();
        std::shared_ptr<LanguageModelSession> session = model.makeSession(instructions);
        if (session)
            session->prewarm();
        prepared = Prepared{generation, instructions, std::move(session)};
    });
}

QFuture<void> PolishingService::discardPrepared(quint64 generation)
{
    return executor.run([this, generation] {
        if (prepared && prepared->generation == generation)
            prepared.reset();
    });
}

QFuture<std::shared_ptr<LanguageModelSession>> PolishingService::takePrepared(
    const QString &instructions, quint64 generation)
{
    return executor.run([this, instructions, generation] { return takePreparedNow(instructions, generation); });
}

std::shared_ptr<LanguageModelSession> PolishingService::takePreparedNow(const QString &instructions, quint64 generation)
{
    if (!prepared || prepared->generation != generation)
        return nullptr;
    Prepared taken = std::move(*prepared);
    prepared.reset();
    return taken.instructions == instructions ? taken.session : nullptr;
}

QFuture<PolishingOutcome::Value> PolishingService::polish(const QString &utterance, const QString &instructions,
    RecognitionLanguage language, quint64 generation, double timeout)
{
    auto gate = std::make_shared<OutcomeGate>();
    QFuture<PolishingOutcome::Value> outcome = gate->future();
    // The prepared session is taken in order with the other session work; the rewrite then leaves
    // the executor, which is free for the next recording while it runs.
    executor.run(
        [this, gate, instructions, generation, timeout, prompt = PromptBuilder::wrapUtterance(utterance, language)] {
            auto rewrite = std::make_shared<Rewrite>();
            rewrite->session = takePreparedNow(instructions, generation);
            TaskPools::longWork().start([this, gate, rewrite, instructions, prompt] {
                std::shared_ptr<LanguageModelSession> session = rewrite->sessionOrMake(model, instructions);
                if (!session) {
                    gate->resolve(PolishingOutcome::Unavailable{
                        QCoreApplication::translate("LanguageModel", "言語モデルがインストールされていません")});
                    return;
                }
                if (rewrite->isCancelled)
                    return;
                const std::expected<QString, QString> answer = session->respond(prompt);
                if (rewrite->isCancelled)
                    return;
                if (answer)
                    gate->resolve(PolishingOutcome::Polished{*answer});
                else
                    gate->resolve(PolishingOutcome::Unavailable{answer.error()});
            });
            // The limit always runs to its end; after an earlier outcome its resolve has no effect.
            clock.schedule(secondsToDuration(std::max(timeout, shortestTimeout)), this, [gate, rewrite] {
                gate->resolve(PolishingOutcome::TimedOut{});
                rewrite->cancel();
            });
        });
    return outcome;
}
