#include "TinyLanguageModel.h"

#include <QFile>

#include <ggml.h>
#include <gguf.h>

#include <memory>
#include <string>
#include <vector>

namespace TinyLanguageModel {

namespace {

// Token kinds as the GGUF vocabulary stores them.
enum TokenType : std::int32_t { normal = 1, unknown = 2, control = 3, byte = 6 };

constexpr int endOfTextToken = 2;
constexpr int endOfTurnToken = 4;

struct Vocabulary {
    std::vector<std::string> texts;
    std::vector<float> scores;
    std::vector<std::int32_t> types;

    void add(std::string text, TokenType type, float score = 0)
    {
        texts.push_back(std::move(text));
        types.push_back(type);
        scores.push_back(score);
    }
};

Vocabulary vocabulary(int extraTokens)
{
    Vocabulary vocabulary;
    vocabulary.add("<unk>", unknown);
    vocabulary.add("<s>", control);
    vocabulary.add("</s>", control);
    vocabulary.add("<|im_start|>", control);
    vocabulary.add("<|im_end|>", control);
    static const char *hex = "0123456789ABCDEF";
    for (int value = 0; value < 256; ++value)
        vocabulary.add(std::string("<0x") + hex[value >> 4] + hex[value & 15] + '>', byte);
    // Ordinary pieces: the word-start mark, then letters and numbered filler pieces.
    for (int i = 0; i < extraTokens; ++i) {
        std::string text = i == 0 ? std::string("\xe2\x96\x81")
            : i <= 26             ? std::string(1, char('a' + i - 1))
                                  : "t" + std::to_string(i);
        vocabulary.add(std::move(text), normal, -float(i));
    }
    return vocabulary;
}

// A fast generator of uniform values in [-scale, scale]; the weights only need to be varied.
class Noise
{
public:
    explicit Noise(std::uint32_t seed)
        : state(0x9e3779b97f4a7c15ULL ^ seed)
    { }
    float next(float scale)
    {
        state ^= state << 13;
        state ^= state >> 7;
        state ^= state << 17;
        return scale * (float(state >> 40) / float(1 << 23) - 1.0F);
    }

private:
    std::uint64_t state;
};

class Writer
{
public:
    Writer(const Shape &shape, Answer answer, std::uint32_t seed, int vocabularySize)
        : shape(shape)
        , answer(answer)
        , noise(seed)
        , vocabularySize(vocabularySize)
    {
        ggml_init_params parameters{memoryNeeded(), nullptr, false};
        context.reset(ggml_init(parameters));
        gguf.reset(gguf_init_empty());
    }

    gguf_context *metadata() { return gguf.get(); }

    void addTensors()
    {
        const int headSize = shape.embedding / shape.heads;
        const int keyValueSize = headSize * shape.keyValueHeads;
        matrix("token_embd.weight", shape.embedding, vocabularySize, Role::embedding);
        vector("output_norm.weight", shape.embedding);
        matrix("output.weight", shape.embedding, vocabularySize, Role::output);
        for (int layer = 0; layer < shape.layers; ++layer) {
            const std::string prefix = "blk." + std::to_string(layer) + '.';
            vector(prefix + "attn_norm.weight", shape.embedding);
            matrix(prefix + "attn_q.weight", shape.embedding, shape.embedding, Role::plain);
            matrix(prefix + "attn_k.weight", shape.embedding, keyValueSize, Role::plain);
            matrix(prefix + "attn_v.weight", shape.embedding, keyValueSize, Role::plain);
            matrix(prefix + "attn_output.weight", shape.embedding, shape.embedding, Role::intoResidual);
            vector(prefix + "ffn_norm.weight", shape.embedding);
            matrix(prefix + "ffn_gate.weight", shape.embedding, shape.feedForward, Role::plain);
            matrix(prefix + "ffn_up.weight", shape.embedding, shape.feedForward, Role::plain);
            matrix(prefix + "ffn_down.weight", shape.feedForward, shape.embedding, Role::intoResidual);
        }
    }

    bool save(const QString &path) const
    {
        return gguf_write_to_file(gguf.get(), QFile::encodeName(path).constData(), false);
    }

private:
    // How a matrix is filled. The first dimension of the residual stream is held at 1: embeddings
    // set it, and no layer writes into it. The output rows then read it to make one token win, or
    // the end-of-turn tokens lose, whatever the rest of the stream holds.
    enum class Role { plain, embedding, intoResidual, output };

    ggml_type matrixType() const
    {
        switch (shape.weights) {
        case Shape::Weights::q4k: return GGML_TYPE_Q4_K;
        case Shape::Weights::q4_0: return GGML_TYPE_Q4_0;
        case Shape::Weights::f32: break;
        }
        return GGML_TYPE_F32;
    }

    size_t memoryNeeded() const
    {
        const size_t embedding = size_t(shape.embedding);
        const size_t rowBytes = ggml_row_size(matrixType(), shape.embedding);
        const size_t feedForwardRowBytes = ggml_row_size(matrixType(), shape.feedForward);
        const size_t keyValue = embedding / size_t(shape.heads) * size_t(shape.keyValueHeads);
        size_t bytes = 2 * rowBytes * size_t(vocabularySize) + embedding * 4;
        bytes += size_t(shape.layers)
            * (rowBytes * (2 * embedding + 2 * keyValue + 2 * size_t(shape.feedForward))
                + feedForwardRowBytes * embedding + 2 * embedding * 4);
        const size_t tensors = 3 + 9 * size_t(shape.layers);
        return bytes + tensors * (ggml_tensor_overhead() + 64) + 1024 * 1024;
    }

    void vector(const std::string &name, int size)
    {
        ggml_tensor *tensor = ggml_new_tensor_1d(context.get(), GGML_TYPE_F32, size);
        ggml_set_name(tensor, name.c_str());
        auto *values = static_cast<float *>(tensor->data);
        for (int i = 0; i < size; ++i)
            values[i] = 1.0F;
        gguf_add_tensor(gguf.get(), tensor);
    }

    void matrix(const std::string &name, int columns, int rows, Role role)
    {
        ggml_tensor *tensor = ggml_new_tensor_2d(context.get(), matrixType(), columns, rows);
        ggml_set_name(tensor, name.c_str());
        const float scale = role == Role::embedding ? 0.1F : 1.0F / float(columns);
        std::vector<float> row(static_cast<size_t>(columns));
        const size_t rowBytes = ggml_row_size(matrixType(), columns);
        for (int r = 0; r < rows; ++r) {
            for (float &value : row)
                value = noise.next(scale);
            if (role == Role::embedding)
                row[0] = 1.0F;
            else if (role == Role::intoResidual && r == 0)
                std::fill(row.begin(), row.end(), 0.0F);
            else if (role == Role::output)
                row[0] = outputBias(r);
            char *target = static_cast<char *>(tensor->data) + size_t(r) * rowBytes;
            if (shape.weights != Shape::Weights::f32)
                ggml_quantize_chunk(matrixType(), row.data(), target, 0, 1, columns, nullptr);
            else
                std::copy(row.begin(), row.end(), reinterpret_cast<float *>(target));
        }
        gguf_add_tensor(gguf.get(), tensor);
    }

    float outputBias(int token) const
    {
        const bool endsTurn = token == endOfTurnToken || token == endOfTextToken;
        if (answer == Answer::endsAtOnce)
            return token == endOfTurnToken ? 100.0F : 0.0F;
        return endsTurn ? -100.0F : 0.0F;
    }

    struct ContextFree {
        void operator()(ggml_context *context) const { ggml_free(context); }
    };
    struct GgufFree {
        void operator()(gguf_context *context) const { gguf_free(context); }
    };

    Shape shape;
    Answer answer;
    Noise noise;
    int vocabularySize;
    std::unique_ptr<ggml_context, ContextFree> context;
    std::unique_ptr<gguf_context, GgufFree> gguf;
};

} // namespace

bool write(const QString &path, Answer answer, const Shape &shape, std::uint32_t seed)
{
    const Vocabulary words = vocabulary(shape.extraTokens);
    Writer writer(shape, answer, seed, int(words.texts.size()));
    gguf_context *meta = writer.metadata();
    gguf_set_val_str(meta, "general.architecture", "llama");
    gguf_set_val_str(meta, "general.name", "tiny random test model");
    gguf_set_val_u32(meta, "llama.context_length", std::uint32_t(shape.contextLength));
    gguf_set_val_u32(meta, "llama.embedding_length", std::uint32_t(shape.embedding));
    gguf_set_val_u32(meta, "llama.block_count", std::uint32_t(shape.layers));
    gguf_set_val_u32(meta, "llama.feed_forward_length", std::uint32_t(shape.feedForward));
    gguf_set_val_u32(meta, "llama.attention.head_count", std::uint32_t(shape.heads));
    gguf_set_val_u32(meta, "llama.attention.head_count_kv", std::uint32_t(shape.keyValueHeads));
    gguf_set_val_u32(meta, "llama.rope.dimension_count", std::uint32_t(shape.embedding / shape.heads));
    gguf_set_val_f32(meta, "llama.attention.layer_norm_rms_epsilon", 1e-5F);
    gguf_set_val_u32(meta, "general.file_type",
        shape.weights == Shape::Weights::q4k        ? 15
            : shape.weights == Shape::Weights::q4_0 ? 2
                                                    : 0);

    std::vector<const char *> texts;
    for (const std::string &text : words.texts)
        texts.push_back(text.c_str());
    gguf_set_val_str(meta, "tokenizer.ggml.model", "llama");
    gguf_set_arr_str(meta, "tokenizer.ggml.tokens", texts.data(), texts.size());
    gguf_set_arr_data(meta, "tokenizer.ggml.scores", GGUF_TYPE_FLOAT32, words.scores.data(), words.scores.size());
    gguf_set_arr_data(meta, "tokenizer.ggml.token_type", GGUF_TYPE_INT32, words.types.data(), words.types.size());
    gguf_set_val_u32(meta, "tokenizer.ggml.unknown_token_id", 0);
    gguf_set_val_u32(meta, "tokenizer.ggml.bos_token_id", 1);
    gguf_set_val_u32(meta, "tokenizer.ggml.eos_token_id", endOfTextToken);
    gguf_set_val_u32(meta, "tokenizer.ggml.eot_token_id", endOfTurnToken);
    gguf_set_val_bool(meta, "tokenizer.ggml.add_bos_token", true);
    gguf_set_val_str(meta, "tokenizer.chat_template",
        "{% for message in messages %}{{'<|im_start|>' + message['role'] + '\\n' + message['content'] + "
        "'<|im_end|>' + '\\n'}}{% endfor %}{% if add_generation_prompt %}{{ '<|im_start|>assistant\\n' }}{% endif %}");

    writer.addTensors();
    return writer.save(path);
}

} // namespace TinyLanguageModel
