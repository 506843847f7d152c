#pragma once

#include "platform/LanguageModel.h"

#include <QThreadPool>
#include <QUrl>

#include <memory>

// A language model served by a program on the user's machine through the OpenAI-compatible chat API
// (Ollama, llama-server, LM Studio): one POST to <base>/chat/completions per answer, temperature 0,
// no streaming. `prewarm` sends the instructions ahead in the background, so the server has the
// model loaded and, where it caches prompts, the instructions read. Requests block the worker that
// makes them and end early on `cancel`.
class OpenAiChatModel final : public LanguageModel
{
public:
    struct Options {
        // For example http://127.0.0.1:11434/v1
        QUrl baseUrl;
        // Empty: the first model the server lists.
        QString model;
        // The longest a request may take when nothing else ends it first.
        int requestTimeoutMs = 60000;
    };

    explicit OpenAiChatModel(Options options);
    ~OpenAiChatModel() override;

    std::shared_ptr<LanguageModelSession> makeSession(const QString &instructions) override;

    struct Shared;

private:
    std::shared_ptr<Shared> shared;
    // Background requests; cancelled and waited for when the model object goes.
    QThreadPool prewarms;
};
