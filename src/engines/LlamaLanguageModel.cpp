#include "engines/LlamaLanguageModel.h"

#include "engines/EngineModels.h"

#include <QCoreApplication>
#include <QFile>

#include <llama.h>

#include <algorithm>
#include <atomic>
#include <mutex>
#include <string>
#include <vector>

namespace {

void initialiseLibrary()
{
    static std::once_flag once;
    std::call_once(once, [] {
        // llama.cpp logs every load to stderr; the application keeps its own log.
        llama_log_set([](ggml_log_level, const char *, void *) {}, nullptr);
        llama_backend_init();
    });
}

// A loaded model file, shared by every session while any of them holds it.
struct LoadedModel {
    llama_model *model = nullptr;
    const llama_vocab *vocabulary = nullptr;
    std::string chatTemplate;

    ~LoadedModel() { llama_model_free(model); }
};

std::expected<std::shared_ptr<LoadedModel>, QString> loadShared(const QString &fileName)
{
    return EngineModels::sharedPerFile<LoadedModel>(
        fileName, [&]() -> std::expected<std::shared_ptr<LoadedModel>, QString> {
            QFile file(fileName);
            if (!file.open(QIODevice::ReadOnly))
                return std::unexpected(
                    QCoreApplication::translate("LanguageModel", "言語モデルのファイルがありません: %1").arg(fileName));
            if (file.read(4) != "GGUF")
                return std::unexpected(
                    QCoreApplication::translate("LanguageModel", "言語モデルのファイルではありません: %1")
                        .arg(fileName));
            file.close();

            initialiseLibrary();
            llama_model_params parameters = llama_model_default_params();
            llama_model *model = llama_model_load_from_file(QFile::encodeName(fileName).constData(), parameters);
            if (model == nullptr)
                return std::unexpected(QCoreApplication::translate(
                    "LanguageModel", "言語モデルを読み込めませんでした（壊れているか対応していない形式です）: %1")
                                           .arg(fileName));
            auto shared = std::make_shared<LoadedModel>();
            shared->model = model;
            shared->vocabulary = llama_model_get_vocab(model);
            // A model without a template of its own is spoken to in ChatML, the most common form.
            const char *chatTemplate = llama_model_chat_template(model, nullptr);
            shared->chatTemplate = chatTemplate != nullptr ? chatTemplate : "chatml";
            return shared;
        });
}

// Marks where the utterance goes when the instructions alone are rendered.
constexpr char utteranceMark[] = "\x1e\x1e";

class LlamaSession final : public LanguageModelSession
{
public:
    LlamaSession(LlamaLanguageModel::Options options, const QString &instructions)
        : options(std::move(options))
        , instructions(instructions.toStdString())
    { }

    ~LlamaSession() override
    {
        if (context != nullptr)
            llama_free(context);
    }

    std::expected<void, QString> prewarm() override
    {
        std::scoped_lock guard(work);
        if (std::expected<void, QString> isReady = ready(); !isReady)
            return isReady;
        // The text before the utterance: the template's opening, the instructions and the start of
        // the user's turn. Its tokens stay in the cache for the answer.
        const std::expected<std::string, QString> rendered = render(utteranceMark, false);
        if (!rendered)
            return std::unexpected(rendered.error());
        const size_t mark = rendered->find(utteranceMark);
        if (mark == std::string::npos || mark == 0)
            return {};
        return feed(tokenize(rendered->substr(0, mark), true));
    }

    std::expected<QString, QString> respond(const QString &prompt) override
    {
        std::scoped_lock guard(work);
        if (std::expected<void, QString> isReady = ready(); !isReady)
            return std::unexpected(isReady.error());
        const std::string promptText = prompt.toStdString();
        const std::expected<std::string, QString> rendered = render(promptText, true);
        if (!rendered)
            return std::unexpected(rendered.error());
        const std::vector<llama_token> tokens = tokenize(*rendered, true);
        const int room = int(llama_n_ctx(context)) - int(tokens.size());
        if (room < 2)
            return std::unexpected(
                QCoreApplication::translate("LanguageModel", "指示と発話が長すぎて言語モデルに収まりません"));
        const int cap = std::min(LanguageModel::answerCap(int(tokenize(promptText, false).size())), room - 1);
        if (std::expected<void, QString> fed = feed(tokens); !fed)
            return std::unexpected(fed.error());

        const int vocabularySize = llama_vocab_n_tokens(model->vocabulary);
        std::string answer;
        for (int produced = 0;; ++produced) {
            if (cancelled)
                return std::unexpected(LanguageModel::cancelledMessage());
            const float *logits = llama_get_logits_ith(context, -1);
            const llama_token next = llama_token(std::max_element(logits, logits + vocabularySize) - logits);
            if (produced == 0 && onFirstToken)
                onFirstToken();
            if (llama_vocab_is_eog(model->vocabulary, next))
                break;
            if (produced == cap)
                return std::unexpected(LanguageModel::cutMessage(cap));
            answer += piece(next);
            if (std::expected<void, QString> fed = decode({next}); !fed)
                return std::unexpected(fed.error());
        }
        return QString::fromStdString(answer);
    }

    void cancel() override { cancelled = true; }

    int tokensRead() const { return read; }

private:
    // Loads the model when no session has yet, and makes this session's context.
    std::expected<void, QString> ready()
    {
        if (cancelled)
            return std::unexpected(LanguageModel::cancelledMessage());
        if (context != nullptr)
            return {};
        const std::expected<QString, QString> fileName = options.locate ? options.locate() : std::unexpected(QString());
        if (!fileName)
            return std::unexpected(fileName.error().isEmpty()
                    ? QCoreApplication::translate("LanguageModel", "言語モデルがインストールされていません")
                    : fileName.error());
        std::expected<std::shared_ptr<LoadedModel>, QString> loaded = loadShared(*fileName);
        if (!loaded)
            return std::unexpected(loaded.error());
        model = *loaded;

        llama_context_params parameters = llama_context_default_params();
        parameters.n_ctx = std::uint32_t(std::min(options.contextTokens, llama_model_n_ctx_train(model->model)));
        parameters.n_batch = 512;
        parameters.n_threads = parameters.n_threads_batch = EngineModels::threadCount(options.threads);
        parameters.no_perf = true;
        // Checked between the steps of a computation, so a cancelled answer stops within one step.
        parameters.abort_callback = [](void *cancelled) { return static_cast<std::atomic<bool> *>(cancelled)->load(); };
        parameters.abort_callback_data = &cancelled;
        context = llama_init_from_model(model->model, parameters);
        if (context == nullptr)
            return std::unexpected(
                QCoreApplication::translate("LanguageModel", "言語モデルのためのメモリが足りません"));
        return {};
    }

    std::expected<std::string, QString> render(const std::string &user, bool opensAnswer) const
    {
        const llama_chat_message messages[]{{"system", instructions.c_str()}, {"user", user.c_str()}};
        std::string text(2 * (instructions.size() + user.size()) + 256, '\0');
        for (;;) {
            const int length = llama_chat_apply_template(
                model->chatTemplate.c_str(), messages, 2, opensAnswer, text.data(), int(text.size()));
            if (length < 0)
                return std::unexpected(
                    QCoreApplication::translate("LanguageModel", "言語モデルの会話形式に対応していません"));
            if (size_t(length) <= text.size()) {
                text.resize(size_t(length));
                return text;
            }
            text.resize(size_t(length));
        }
    }

    std::vector<llama_token> tokenize(const std::string &text, bool atStart) const
    {
        std::vector<llama_token> tokens(text.size() + 8);
        for (;;) {
            const int count = llama_tokenize(
                model->vocabulary, text.data(), int(text.size()), tokens.data(), int(tokens.size()), atStart, true);
            if (count >= 0) {
                tokens.resize(size_t(count));
                return tokens;
            }
            tokens.resize(size_t(-count));
        }
    }

    std::string piece(llama_token token) const
    {
        std::string text(32, '\0');
        int length = llama_token_to_piece(model->vocabulary, token, text.data(), int(text.size()), 0, false);
        if (length < 0) {
            text.resize(size_t(-length));
            length = llama_token_to_piece(model->vocabulary, token, text.data(), int(text.size()), 0, false);
        }
        text.resize(size_t(std::max(length, 0)));
        return text;
    }

    // Brings the cache to exactly these tokens: the part it already holds is kept, the rest read.
    std::expected<void, QString> feed(const std::vector<llama_token> &tokens)
    {
        size_t kept = 0;
        while (kept < cached.size() && kept < tokens.size() && cached[kept] == tokens[kept])
            ++kept;
        // The last token is read again when everything is cached, for its next-token scores.
        if (kept == tokens.size() && kept > 0)
            --kept;
        llama_memory_t memory = llama_get_memory(context);
        if (!llama_memory_seq_rm(memory, 0, llama_pos(kept), -1)) {
            // Some kinds of models cannot drop only the tail of their state.
            llama_memory_clear(memory, true);
            kept = 0;
        }
        cached.resize(kept);
        const size_t batch = llama_n_batch(context);
        for (size_t at = kept; at < tokens.size(); at += batch) {
            const std::vector<llama_token> part(
                tokens.begin() + qsizetype(at), tokens.begin() + qsizetype(std::min(tokens.size(), at + batch)));
            if (std::expected<void, QString> decoded = decode(part); !decoded)
                return decoded;
        }
        return {};
    }

    std::expected<void, QString> decode(std::vector<llama_token> tokens)
    {
        const int status = llama_decode(context, llama_batch_get_one(tokens.data(), int(tokens.size())));
        if (status == 0) {
            read += int(tokens.size());
            cached.insert(cached.end(), tokens.begin(), tokens.end());
            return {};
        }
        // An aborted or failed step may leave part of the batch in the cache; keep the record true.
        const llama_pos last = llama_memory_seq_pos_max(llama_get_memory(context), 0);
        cached.insert(cached.end(), tokens.begin(), tokens.end());
        cached.resize(std::min(cached.size(), size_t(std::max(last + 1, 0))));
        if (cancelled)
            return std::unexpected(LanguageModel::cancelledMessage());
        return std::unexpected(
            QCoreApplication::translate("LanguageModel", "言語モデルの計算に失敗しました（%1）").arg(status));
    }

    const LlamaLanguageModel::Options options;
    const std::string instructions;
    // One piece of work at a time; `cancel` alone comes from other threads.
    std::mutex work;
    // Once set, the session answers nothing more.
    std::atomic<bool> cancelled{false};
    std::shared_ptr<LoadedModel> model;
    llama_context *context = nullptr;
    // The tokens the context's cache holds, in order.
    std::vector<llama_token> cached;
    std::atomic<int> read{0};
};

} // namespace

LlamaLanguageModel::LlamaLanguageModel(Options options)
    : options(std::move(options))
{ }

std::shared_ptr<LanguageModelSession> LlamaLanguageModel::makeSession(const QString &instructions)
{
    return std::make_shared<LlamaSession>(options, instructions);
}

int LlamaLanguageModel::tokensRead(const LanguageModelSession &session)
{
    const auto *llama = dynamic_cast<const LlamaSession *>(&session);
    return llama != nullptr ? llama->tokensRead() : -1;
}
