#pragma once

#include "core/Clock.h"
#include "platform/LanguageModel.h"
#include "core/SerialExecutor.h"
#include "store/RecognitionLanguage.h"
#include "text/PolishingOutcome.h"

#include <QFuture>
#include <QObject>

#include <memory>
#include <optional>

// The optional rewrite of a dictation by the language model, under a hard time limit: the first of
// the answer, the failure and the end of the limit decides the outcome; later arrivals are dropped.
// Keeps at most one prepared session, made while the user speaks. The session bookkeeping runs on
// the service's own executor; the rewrite runs on the long-work pool and the time limit on the
// service's thread (the main thread). Never fails: a failure is an outcome.
class PolishingService : public QObject
{
    Q_OBJECT

public:
    PolishingService(LanguageModel &model, Clock &clock, QObject *parent = nullptr);

    // A throwaway session with the language's base instruction, to warm the model up.
    QFuture<void> prewarm(RecognitionLanguage language);
    QFuture<void> prepare(const QString &instructions, quint64 generation);
    QFuture<void> discardPrepared(quint64 generation);
    // The prepared session when it is for this generation and these exact instructions. A session
    // of this generation is given up either way; one of another generation stays.
    QFuture<std::shared_ptr<LanguageModelSession>> takePrepared(const QString &instructions, quint64 generation);
    QFuture<PolishingOutcome::Value> polish(const QString &utterance, const QString &instructions,
        RecognitionLanguage language, quint64 generation, double timeout);

    static constexpr double shortestTimeout = 0.25;

private:
    struct Rewrite;
    // On the executor only.
    std::shared_ptr<LanguageModelSession> takePreparedNow(const QString &instructions, quint64 generation);

    struct Prepared {
        quint64 generation;
        QString instructions;
        std::shared_ptr<LanguageModelSession> session;
    };

    LanguageModel &model;
    Clock &clock;
    // Touched only on the executor.
    std::optional<Prepared> prepared;
    SerialExecutor executor;
};
