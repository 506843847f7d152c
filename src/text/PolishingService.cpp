#include "text/PolishingService.h"

#include "text/PromptBuilder.h"

#include <QCoreApplication>
#include <QPromise>
#include "core/TaskPools.h"

#include <QThread>

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
    bool isCancelled = false;

    // A session taken after the limit ended is cancelled at once: it may still be reading.
    void adopt(std::shared_ptr<LanguageModelSession> taken)
    {
        std::scoped_lock guard(lock);
        if (isCancelled && taken)
            taken->cancel();
        else
            session = std::move(taken);
    }
    std::shared_ptr<LanguageModelSession> sessionOrMake(LanguageModel &model, const QString &instructions)
    {
        std::scoped_lock guard(lock);
        if (!session && !isCancelled)
            session = model.makeSession(instructions);
        return isCancelled ? nullptr : session;
    }
    bool wasCancelled()
    {
        std::scoped_lock guard(lock);
        return isCancelled;
    }
    void cancel()
    {
        std::scoped_lock guard(lock);
        isCancelled = true;
        if (session)
            session->cancel();
    }
};

PolishingService::PolishingService(LanguageModel &model, Clock &clock, QObject *parent)
    : QObject(parent)
    , model(model)
    , clock(clock)
{
    background.setMaxThreadCount(1);
    // Idle priority (SCHED_IDLE on Linux): the reading uses only what recognition leaves over.
    background.setThreadPriority(QThread::IdlePriority);
}

PolishingService::~PolishingService()
{
    // Runs before the executor joins; the background pool then waits only for cancelled work.
    executor.run([this] {
        dropPrepared();
        if (std::shared_ptr<LanguageModelSession> session = warming.lock())
            session->cancel();
    });
}

void PolishingService::readInBackground(std::shared_ptr<LanguageModelSession> session)
{
    background.start([session = std::move(session)]() mutable {
        session->prewarm();
        // Released here, before the next reading starts, so that it can reuse what this one read.
        session.reset();
    });
}

void PolishingService::touch()
{
    idleTimer.cancel();
    idleTimer = clock.schedule(idleRelease, this, [this] { releaseModel(); });
}

void PolishingService::releaseModel()
{
    idleTimer.cancel();
    executor.run([this] { model.release(); });
}

bool PolishingService::isModelAvailable() const
{
    return model.isAvailable();
}

QFuture<void> PolishingService::prewarm(RecognitionLanguage language)
{
    touch();
    return executor.run([this, language] {
        if (!model.isAvailable())
            return;
        const QString &base = language == RecognitionLanguage::japanese ? PromptBuilder::baseInstruction
                                                                        : PromptBuilder::englishBaseInstruction;
        if (std::shared_ptr<LanguageModelSession> earlier = warming.lock())
            earlier->cancel();
        std::shared_ptr<LanguageModelSession> session = model.makeSession(base);
        warming = session;
        readInBackground(std::move(session));
    });
}

QFuture<void> PolishingService::prepare(const QString &instructions, quint64 generation)
{
    touch();
    return executor.run([this, instructions, generation] {
        // One reading at a time: the earlier prepared session and a start-up reading stop here.
        dropPrepared();
        if (std::shared_ptr<LanguageModelSession> session = warming.lock())
            session->cancel();
        std::shared_ptr<LanguageModelSession> session
            = model.isAvailable() ? model.makeSession(instructions) : nullptr;
        prepared = Prepared{generation, instructions, session};
        if (session)
            readInBackground(std::move(session));
    });
}

void PolishingService::dropPrepared()
{
    if (prepared && prepared->session)
        prepared->session->cancel();
    prepared.reset();
}

QFuture<void> PolishingService::discardPrepared(quint64 generation)
{
    return executor.run([this, generation] {
        if (prepared && prepared->generation == generation)
            dropPrepared();
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
    if (prepared->instructions != instructions) {
        dropPrepared();
        return nullptr;
    }
    std::shared_ptr<LanguageModelSession> session = std::move(prepared->session);
    prepared.reset();
    return session;
}

QFuture<PolishingOutcome::Value> PolishingService::polish(const QString &utterance, const QString &instructions,
    RecognitionLanguage language, quint64 generation, double timeout)
{
    auto gate = std::make_shared<OutcomeGate>();
    QFuture<PolishingOutcome::Value> outcome = gate->future();
    auto rewrite = std::make_shared<Rewrite>();
    touch();
    // The limit counts from this call, whatever the executor or the model is busy with, and always
    // runs to its end; after an earlier outcome its resolve has no effect.
    clock.schedule(secondsToDuration(std::max(timeout, shortestTimeout)), this, [gate, rewrite] {
        gate->resolve(PolishingOutcome::TimedOut{});
        rewrite->cancel();
    });
    // The prepared session is taken in order with the other session work; the rewrite then leaves
    // the executor, which is free for the next recording while it runs.
    executor.run(
        [this, gate, rewrite, instructions, generation, prompt = PromptBuilder::wrapUtterance(utterance, language)] {
            rewrite->adopt(takePreparedNow(instructions, generation));
            if (!model.isAvailable()) {
                gate->resolve(PolishingOutcome::Unavailable{LanguageModel::notInstalledMessage()});
                return;
            }
            TaskPools::longWork().start([this, gate, rewrite, instructions, prompt] {
                const std::shared_ptr<LanguageModelSession> session = rewrite->sessionOrMake(model, instructions);
                if (!session)
                    return;
                const std::expected<QString, QString> answer = session->respond(prompt);
                if (rewrite->wasCancelled())
                    return;
                if (answer)
                    gate->resolve(PolishingOutcome::Polished{*answer});
                else
                    gate->resolve(PolishingOutcome::Unavailable{answer.error()});
            });
        });
    return outcome;
}
