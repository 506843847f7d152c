#pragma once

#include "platform/LanguageModel.h"

#include <QString>

#include <expected>
#include <functional>

// Language models run in the process by llama.cpp, on the CPU (or the GPU of a CUDA build). The
// model file is loaded on first use and shared by every session and every object naming the same
// file; each session keeps its own context, whose cache holds its instructions after `prewarm`, so
// an answer only reads the utterance. Answers use the model's own chat template and greedy decoding,
// and stop at the end of the turn or at a length cap derived from the prompt.
class LlamaLanguageModel final : public LanguageModel
{
public:
    struct Options {
        // The model file, or why there is none (not installed yet); asked when a session starts work.
        std::function<std::expected<QString, QString>()> locate;
        // 0: as many as the machine has, up to 4.
        int threads = 0;
        // Tokens of context per session, at most what the model was trained with.
        int contextTokens = 4096;
    };

    explicit LlamaLanguageModel(Options options);

    std::shared_ptr<LanguageModelSession> makeSession(const QString &instructions) override;

    // How many tokens a session of this model has read so far, prompts and answers; -1 for a
    // session of another model. For tests and measurements.
    static int tokensRead(const LanguageModelSession &session);

private:
    Options options;
};
