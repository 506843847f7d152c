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
    // How the matrices are stored: 32-bit floats, or 4 bits in blocks of 256 (Q4_K; the matrix
    // widths must be multiples of 256) or of 32 (Q4_0).
    enum class Weights { f32, q4k, q4_0 };
    Weights weights = Weights::f32;
};

bool write(const QString &path, Answer answer, const Shape &shape = {}, std::uint32_t seed = 1);

} // namespace TinyLanguageModel
