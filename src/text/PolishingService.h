#pragma once

#include "core/Clock.h"
#include "platform/LanguageModel.h"
#include "core/SerialExecutor.h"
#include "store/RecognitionLanguage.h"
#include "text/PolishingOutcome.h"

#include <QFuture>
#include <QObject>
#include <QThreadPool>

#include <memory>
#include <optional>

// The optional rewrite of a dictation by the language model, under a hard time limit that counts
// from the call of `polish`: the first of the answer, the failure and the end of the limit decides
// the outcome; later arrivals are dropped. Keeps at most one prepared session, whose instructions
// are read in the background while the user speaks, at idle priority so that recognition keeps the
// cores. The session bookkeeping runs on the service's own executor and never waits for a model;
// the rewrite runs on the long-work pool and the time limit on the service's thread (the main
// thread). Never fails: a failure is an outcome.
class PolishingService : public QObject
{
    Q_OBJECT

public:
    PolishingService(LanguageModel &model, Clock &clock, QObject *parent = nullptr);
    ~PolishingService() override;

    // Loads the model and reads the language's base instruction in the background, so the first
    // recording starts from it.
    QFuture<void> prewarm(RecognitionLanguage language);
    // Makes the session for this generation and starts reading its instructions in the background;
    // finishes once the session is in place, not when the reading ends. An earlier prepared session
    // is cancelled.
    QFuture<void> prepare(const QString &instructions, quint64 generation);
    // Cancels the prepared session of this generation, also while it is still reading.
    QFuture<void> discardPrepared(quint64 generation);
    // The prepared session when it is for this generation and these exact instructions. A session
    // of this generation is given up either way; one of another generation stays.
    QFuture<std::shared_ptr<LanguageModelSession>> takePrepared(const QString &instructions, quint64 generation);
    QFuture<PolishingOutcome::Value> polish(const QString &utterance, const QString &instructions,
        RecognitionLanguage language, quint64 generation, double timeout);

    // Whether a rewrite can be asked for at all (a model is installed or configured). Cheap.
    bool isModelAvailable() const;
    // Frees the loaded model, for when rewriting is turned off. Main thread.
    void releaseModel();

    static constexpr double shortestTimeout = 0.25;
    // The model is freed after this long without a rewrite or a preparation.
    static constexpr Clock::Duration idleRelease = std::chrono::minutes(15);

private:
    struct Rewrite;
    // On the executor only.
    std::shared_ptr<LanguageModelSession> takePreparedNow(const QString &instructions, quint64 generation);
    void dropPrepared();
    void readInBackground(std::shared_ptr<LanguageModelSession> session);
    // Main thread: the model is freed `idleRelease` after the last use.
    void touch();

    struct Prepared {
        quint64 generation;
        QString instructions;
        std::shared_ptr<LanguageModelSession> session;
    };

    LanguageModel &model;
    Clock &clock;
    TimerHandle idleTimer;
    // Reads instructions at idle priority, one session at a time.
    QThreadPool background;
    // Touched only on the executor.
    std::optional<Prepared> prepared;
    // The start-up reading, held only to cancel it.
    std::weak_ptr<LanguageModelSession> warming;
    SerialExecutor executor;
};
