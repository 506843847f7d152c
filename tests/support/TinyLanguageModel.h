#pragma once

#include <QString>

#include <cstdint>

// Writes a language model file in the GGUF format with random weights, for exercising the real
// engine without a trained model: llama architecture, a byte-level vocabulary with ChatML control
// tokens and a ChatML chat template.
namespace TinyLanguageModel {

enum class Answer {
    // Every answer ends at once: the end-of-turn token wins every step.
    endsAtOnce,
    // No answer ends by itself: the end-of-turn tokens never win, so generation runs to its cap.
    neverEnds,
};

struct Shape {
    int embedding = 64;
    int layers = 2;
    int heads = 4;
    int keyValueHeads = 2;
    int feedForward = 128;
    // Ordinary tokens besides the control and byte tokens.
    int extraTokens = 32;
    int contextLength = 4096;
    // Weights stored quantised to 4 bits (Q4_K) instead of 32-bit floats; needs an embedding
    // size that is a multiple of 256.
    bool quantised = false;
};

// About the size of a 1.5-billion-parameter model with a 152k vocabulary, quantised: for measuring
// what such a model costs on this machine.
Shape oneAndAHalfBillion();

bool write(const QString &path, Answer answer, const Shape &shape = {}, std::uint32_t seed = 1);

} // namespace TinyLanguageModel
