#pragma once

#include "platform/LanguageModel.h"

#include <QString>

#include <expected>
#include <functional>
#include <memory>

// Language models run in the process by llama.cpp, on the CPU (or the GPU of a CUDA build). The
// model file is loaded on first use, shared by every object naming the same file, and kept until
// `release`. A session works in a context whose cache holds its instructions after `prewarm`, so an
// answer only reads the utterance; when it ends, its context is kept for the next session, which
// reads only where its text departs from the last one. Answers use the model's own chat template
// (the only text read with control tokens) and greedy decoding, and stop at the end of the turn or
// at a length cap derived from the prompt. Sessions may be used from any thread, one call at a time.
class LlamaLanguageModel final : public LanguageModel
{
public:
    struct Options {
        // The model file, or why there is none (not installed yet); asked when a session starts work.
        std::function<std::expected<QString, QString>()> locate;
        // 0: the language model's share of the thread budget, read before each step (smaller
        // while a recording runs).
        int threads = 0;
        // Tokens of context per session, at most what the model was trained with.
        int contextTokens = 4096;
    };

    explicit LlamaLanguageModel(Options options);
    ~LlamaLanguageModel() override;

    std::shared_ptr<LanguageModelSession> makeSession(const QString &instructions) override;
    bool isAvailable() const override;
    void release() override;

    // How many tokens a session of this model has read so far, prompts and answers; -1 for a
    // session of another model. For tests and measurements.
    static int tokensRead(const LanguageModelSession &session);
    // How many control tokens (turn marks) the session's cache holds; -1 for another model's.
    static int controlTokensHeld(LanguageModelSession &session);

    struct Shared;

private:
    std::shared_ptr<Shared> shared;
};
