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

// How a matrix is filled. The first dimension of the residual stream is held at 1: embeddings set
// it, and no layer writes into it. The output rows then read it to make one token win, or the
// end-of-turn tokens lose, whatever the rest of the stream holds.
enum class Role { plain, embedding, intoResidual, output };

class Writer
{
public:
    Writer(const Shape &shape, Answer answer, std::uint32_t seed)
        : shape(shape)
        , answer(answer)
        , noise(0x9e3779b97f4a7c15ULL ^ seed)
        // The context holds only the tensors' descriptions; their data lives in `buffers`.
        , context(ggml_init({size_t(4 + 9 * shape.layers) * ggml_tensor_overhead(), nullptr, true}), ggml_free)
    { }

    void vector(gguf_context *gguf, const std::string &name, int size)
    {
        ggml_tensor *tensor = add(gguf, name, ggml_new_tensor_1d(context.get(), GGML_TYPE_F32, size));
        std::fill_n(static_cast<float *>(tensor->data), size, 1.0F);
    }

    void matrix(gguf_context *gguf, const std::string &name, int columns, int rows, Role role)
    {
        const ggml_type type = shape.weights == Shape::Weights::q4k ? GGML_TYPE_Q4_K
            : shape.weights == Shape::Weights::q4_0                 ? GGML_TYPE_Q4_0
                                                                    : GGML_TYPE_F32;
        ggml_tensor *tensor = add(gguf, name, ggml_new_tensor_2d(context.get(), type, columns, rows));
        const float scale = role == Role::embedding ? 0.1F : 1.0F / float(columns);
        std::vector<float> row(static_cast<size_t>(columns));
        for (int r = 0; r < rows; ++r) {
            for (float &value : row)
                value = next(scale);
            if (role == Role::embedding)
                row[0] = 1.0F;
            else if (role == Role::intoResidual && r == 0)
                std::fill(row.begin(), row.end(), 0.0F);
            else if (role == Role::output)
                row[0] = outputBias(r);
            char *target = static_cast<char *>(tensor->data) + size_t(r) * tensor->nb[1];
            if (type != GGML_TYPE_F32)
                ggml_quantize_chunk(type, row.data(), target, 0, 1, columns, nullptr);
            else
                std::copy(row.begin(), row.end(), reinterpret_cast<float *>(target));
        }
    }

private:
    ggml_tensor *add(gguf_context *gguf, const std::string &name, ggml_tensor *tensor)
    {
        ggml_set_name(tensor, name.c_str());
        tensor->data = buffers.emplace_back(ggml_nbytes(tensor)).data();
        gguf_add_tensor(gguf, tensor);
        return tensor;
    }

    // Uniform values in [-scale, scale] from a fast generator; the weights only need to be varied.
    float next(float scale)
    {
        noise ^= noise << 13;
        noise ^= noise >> 7;
        noise ^= noise << 17;
        return scale * (float(noise >> 40) / float(1 << 23) - 1.0F);
    }

    float outputBias(int token) const
    {
        if (answer == Answer::endsAtOnce)
            return token == endOfTurnToken ? 100.0F : 0.0F;
        return token == endOfTurnToken || token == endOfTextToken ? -100.0F : 0.0F;
    }

    Shape shape;
    Answer answer;
    std::uint64_t noise;
    std::unique_ptr<ggml_context, void (*)(ggml_context *)> context;
    std::vector<std::vector<char>> buffers;
};

} // namespace

bool write(const QString &path, Answer answer, const Shape &shape, std::uint32_t seed)
{
    // A byte-level vocabulary after the control tokens, then the word-start mark, letters and
    // numbered filler pieces.
    std::vector<std::string> texts{"<unk>", "<s>", "</s>", "<|im_start|>", "<|im_end|>"};
    std::vector<std::int32_t> types{unknown, control, control, control, control};
    static const char *hex = "0123456789ABCDEF";
    for (int value = 0; value < 256; ++value) {
        texts.push_back(std::string("<0x") + hex[value >> 4] + hex[value & 15] + '>');
        types.push_back(byte);
    }
    std::vector<float> scores(texts.size(), 0.0F);
    for (int i = 0; i < shape.extraTokens; ++i) {
        texts.push_back(i == 0 ? std::string("\xe2\x96\x81") : i <= 26 ? std::string(1, char('a' + i - 1))
                                                                       : "t" + std::to_string(i));
        types.push_back(normal);
        scores.push_back(-float(i));
    }

    std::unique_ptr<gguf_context, void (*)(gguf_context *)> owned(gguf_init_empty(), gguf_free);
    gguf_context *meta = owned.get();
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
    const bool isQ4k = shape.weights == Shape::Weights::q4k;
    gguf_set_val_u32(meta, "general.file_type", isQ4k ? 15 : shape.weights == Shape::Weights::q4_0 ? 2 : 0);

    std::vector<const char *> pointers;
    for (const std::string &text : texts)
        pointers.push_back(text.c_str());
    gguf_set_val_str(meta, "tokenizer.ggml.model", "llama");
    gguf_set_arr_str(meta, "tokenizer.ggml.tokens", pointers.data(), pointers.size());
    gguf_set_arr_data(meta, "tokenizer.ggml.scores", GGUF_TYPE_FLOAT32, scores.data(), scores.size());
    gguf_set_arr_data(meta, "tokenizer.ggml.token_type", GGUF_TYPE_INT32, types.data(), types.size());
    gguf_set_val_u32(meta, "tokenizer.ggml.unknown_token_id", 0);
    gguf_set_val_u32(meta, "tokenizer.ggml.bos_token_id", 1);
    gguf_set_val_u32(meta, "tokenizer.ggml.eos_token_id", endOfTextToken);
    gguf_set_val_u32(meta, "tokenizer.ggml.eot_token_id", endOfTurnToken);
    gguf_set_val_bool(meta, "tokenizer.ggml.add_bos_token", true);
    gguf_set_val_str(meta, "tokenizer.chat_template",
        "{% for message in messages %}{{'<|im_start|>' + message['role'] + '\\n' + message['content'] + "
        "'<|im_end|>' + '\\n'}}{% endfor %}{% if add_generation_prompt %}{{ '<|im_start|>assistant\\n' }}{% endif %}");

    Writer writer(shape, answer, seed);
    const int vocabulary = int(texts.size());
    const int keyValueSize = shape.embedding / shape.heads * shape.keyValueHeads;
    writer.matrix(meta, "token_embd.weight", shape.embedding, vocabulary, Role::embedding);
    writer.vector(meta, "output_norm.weight", shape.embedding);
    writer.matrix(meta, "output.weight", shape.embedding, vocabulary, Role::output);
    for (int layer = 0; layer < shape.layers; ++layer) {
        const std::string prefix = "blk." + std::to_string(layer) + '.';
        writer.vector(meta, prefix + "attn_norm.weight", shape.embedding);
        writer.matrix(meta, prefix + "attn_q.weight", shape.embedding, shape.embedding, Role::plain);
        writer.matrix(meta, prefix + "attn_k.weight", shape.embedding, keyValueSize, Role::plain);
        writer.matrix(meta, prefix + "attn_v.weight", shape.embedding, keyValueSize, Role::plain);
        writer.matrix(meta, prefix + "attn_output.weight", shape.embedding, shape.embedding, Role::intoResidual);
        writer.vector(meta, prefix + "ffn_norm.weight", shape.embedding);
        writer.matrix(meta, prefix + "ffn_gate.weight", shape.embedding, shape.feedForward, Role::plain);
        writer.matrix(meta, prefix + "ffn_up.weight", shape.embedding, shape.feedForward, Role::plain);
        writer.matrix(meta, prefix + "ffn_down.weight", shape.feedForward, shape.embedding, Role::intoResidual);
    }
    return gguf_write_to_file(meta, QFile::encodeName(path).constData(), false);
}

} // namespace TinyLanguageModel
