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

// A context with the tokens its cache holds, in order. Kept by the loaded model between sessions,
// so that a session whose text starts like the last one reads only the part that differs.
struct Workspace {
    llama_context *context = nullptr;
    std::vector<llama_token> cached;

    Workspace() = default;
    Workspace(const Workspace &) = delete;
    Workspace &operator=(const Workspace &) = delete;
    ~Workspace() { llama_free(context); }
};

// A loaded model file, shared by every session while any of them holds it.
struct LoadedModel {
    llama_model *model = nullptr;
    const llama_vocab *vocabulary = nullptr;
    std::string chatTemplate;
    std::mutex lock;
    // The workspace of the last session that ended, ready for the next one.
    std::unique_ptr<Workspace> spare;

    ~LoadedModel()
    {
        spare.reset();
        llama_model_free(model);
    }

    std::unique_ptr<Workspace> takeSpare()
    {
        std::scoped_lock guard(lock);
        return std::move(spare);
    }
    void keepSpare(std::unique_ptr<Workspace> workspace)
    {
        std::scoped_lock guard(lock);
        spare = std::move(workspace);
    }
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

// Stand in for the instructions and the utterance when the chat is rendered, so that the
// template's own text can be told from theirs. Control characters that no template writes.
constexpr char instructionsMark[] = "\x1f\x1f";
constexpr char utteranceMark[] = "\x1e\x1e";

} // namespace

// What every session of one LlamaLanguageModel shares: its options and the model it keeps loaded.
struct LlamaLanguageModel::Shared {
    const Options options;
    std::mutex lock;
    QString fileName;
    std::shared_ptr<LoadedModel> loaded;

    explicit Shared(Options options)
        : options(std::move(options))
    { }

    std::expected<std::shared_ptr<LoadedModel>, QString> model()
    {
        const std::expected<QString, QString> located = options.locate ? options.locate() : std::unexpected(QString());
        if (!located)
            return std::unexpected(LanguageModel::notInstalledMessage());
        std::scoped_lock guard(lock);
        if (loaded && fileName == *located)
            return loaded;
        std::expected<std::shared_ptr<LoadedModel>, QString> model = loadShared(*located);
        if (model) {
            fileName = *located;
            loaded = *model;
        }
        return model;
    }
};

namespace {

class LlamaSession final : public LanguageModelSession
{
public:
    LlamaSession(std::shared_ptr<LlamaLanguageModel::Shared> shared, const QString &instructions)
        : shared(std::move(shared))
        , instructions(instructions.toStdString())
    { }

    ~LlamaSession() override
    {
        // A workspace left in an unknown state by a failed step is not passed on.
        if (workspace && model && !isBroken) {
            llama_set_abort_callback(workspace->context, nullptr, nullptr);
            model->keepSpare(std::move(workspace));
        }
    }

    std::expected<void, QString> prewarm() override
    {
        std::scoped_lock guard(work);
        if (answering)
            return {};
        if (std::expected<void, QString> isReady = ready(); !isReady)
            return isReady;
        // The text before the utterance: the template's opening, the instructions and the start of
        // the user's turn. Its tokens stay in the cache for the answer.
        reading = true;
        const std::expected<void, QString> fed = feed(chatTokens(false));
        reading = false;
        // Stopped to let `respond` go on with the reading: not a failure.
        if (!fed && answering && !cancelled)
            return {};
        return fed;
    }

    std::expected<QString, QString> respond(const QString &prompt) override
    {
        // A reading in progress stops at its next step and hands the work over.
        answering = true;
        std::scoped_lock guard(work);
        if (std::expected<void, QString> isReady = ready(); !isReady)
            return std::unexpected(isReady.error());
        utterance = prompt.toStdString();
        const std::vector<llama_token> tokens = chatTokens(true);
        const int room = int(llama_n_ctx(workspace->context)) - int(tokens.size());
        if (room < 2)
            return std::unexpected(
                QCoreApplication::translate("LanguageModel", "指示と発話が長すぎて言語モデルに収まりません"));
        const int cap = std::min(LanguageModel::answerCap(int(tokenize(utterance, false, false).size())), room - 1);
        if (std::expected<void, QString> fed = feed(tokens); !fed)
            return std::unexpected(fed.error());

        const int vocabularySize = llama_vocab_n_tokens(model->vocabulary);
        std::string answer;
        for (int produced = 0;; ++produced) {
            if (cancelled)
                return std::unexpected(LanguageModel::cancelledMessage());
            const float *logits = llama_get_logits_ith(workspace->context, -1);
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

    int controlTokensHeld()
    {
        std::scoped_lock guard(work);
        if (!workspace)
            return 0;
        return int(std::count_if(workspace->cached.begin(), workspace->cached.end(),
            [&](llama_token token) { return llama_vocab_is_control(model->vocabulary, token); }));
    }

private:
    // The loaded model (loaded now when the model object has none) and a context: the spare one
    // with what the last session read, or a new one.
    std::expected<void, QString> ready()
    {
        if (cancelled)
            return std::unexpected(LanguageModel::cancelledMessage());
        if (workspace)
            return {};
        std::expected<std::shared_ptr<LoadedModel>, QString> loaded = shared->model();
        if (!loaded)
            return std::unexpected(loaded.error());
        model = *loaded;
        workspace = model->takeSpare();
        if (!workspace) {
            llama_context_params parameters = llama_context_default_params();
            parameters.n_ctx
                = std::uint32_t(std::min(shared->options.contextTokens, llama_model_n_ctx_train(model->model)));
            parameters.n_batch = 512;
            parameters.n_threads = parameters.n_threads_batch = threads();
            parameters.no_perf = true;
            workspace = std::make_unique<Workspace>();
            workspace->context = llama_init_from_model(model->model, parameters);
            if (workspace->context == nullptr) {
                workspace.reset();
                return std::unexpected(
                    QCoreApplication::translate("LanguageModel", "言語モデルのためのメモリが足りません"));
            }
        }
        // Checked between the steps of a computation, so a cancelled answer stops within one step;
        // a background reading also stops there when an answer wants the context.
        llama_set_abort_callback(
            workspace->context,
            [](void *data) {
                const auto *session = static_cast<const LlamaSession *>(data);
                return session->cancelled.load() || (session->reading.load() && session->answering.load());
            },
            this);
        return {};
    }

    // The chat up to the start of the user's turn, or, with `whole`, with the utterance and the
    // opening of the answer. Only the template's own text may become control tokens: the
    // instructions (which quote other applications' text) and the utterance are read as plain text,
    // so none of them can close a turn or open another.
    std::vector<llama_token> chatTokens(bool whole)
    {
        if (templateParts.empty()) {
            const llama_chat_message messages[]{{"system", instructionsMark}, {"user", utteranceMark}};
            std::string text(1024, '\0');
            int length = llama_chat_apply_template(
                model->chatTemplate.c_str(), messages, 2, true, text.data(), int(text.size()));
            if (length > int(text.size())) {
                text.resize(size_t(length));
                length = llama_chat_apply_template(
                    model->chatTemplate.c_str(), messages, 2, true, text.data(), int(text.size()));
            }
            const size_t first = text.find(instructionsMark);
            const size_t second = text.find(utteranceMark);
            if (length < 0 || first == std::string::npos || second == std::string::npos || second < first) {
                isBroken = true;
                return {};
            }
            text.resize(size_t(length));
            templateParts
                = {text.substr(0, first), text.substr(first + 2, second - first - 2), text.substr(second + 2)};
        }
        std::vector<llama_token> tokens = tokenize(templateParts[0], true, true);
        const auto append = [&](const std::string &text, bool isTemplate) {
            const std::vector<llama_token> part = tokenize(text, tokens.empty(), isTemplate);
            tokens.insert(tokens.end(), part.begin(), part.end());
        };
        append(instructions, false);
        append(templateParts[1], true);
        if (whole) {
            append(utterance, false);
            append(templateParts[2], true);
        }
        return tokens;
    }

    std::vector<llama_token> tokenize(const std::string &text, bool atStart, bool isTemplate) const
    {
        std::vector<llama_token> tokens(text.size() + 8);
        for (;;) {
            const int count = llama_tokenize(model->vocabulary, text.data(), int(text.size()), tokens.data(),
                int(tokens.size()), atStart, isTemplate);
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
        if (tokens.empty())
            return std::unexpected(
                QCoreApplication::translate("LanguageModel", "言語モデルの会話形式に対応していません"));
        std::vector<llama_token> &cached = workspace->cached;
        size_t kept = 0;
        while (kept < cached.size() && kept < tokens.size() && cached[kept] == tokens[kept])
            ++kept;
        // The last token is read again when everything is cached, for its next-token scores.
        if (kept == tokens.size() && kept > 0)
            --kept;
        llama_memory_t memory = llama_get_memory(workspace->context);
        if (!llama_memory_seq_rm(memory, 0, llama_pos(kept), -1)) {
            // Some kinds of models cannot drop only the tail of their state.
            llama_memory_clear(memory, true);
            kept = 0;
        }
        cached.resize(kept);
        const size_t batch = llama_n_batch(workspace->context);
        for (size_t at = kept; at < tokens.size(); at += batch) {
            const std::vector<llama_token> part(
                tokens.begin() + qsizetype(at), tokens.begin() + qsizetype(std::min(tokens.size(), at + batch)));
            if (std::expected<void, QString> decoded = decode(part); !decoded)
                return decoded;
        }
        return {};
    }

    int threads() const
    {
        return shared->options.threads > 0 ? shared->options.threads : ThreadBudget::languageModel();
    }

    std::expected<void, QString> decode(std::vector<llama_token> tokens)
    {
        std::vector<llama_token> &cached = workspace->cached;
        // A recording may have started or ended since the last step: follow the budget.
        const int budget = threads();
        llama_set_n_threads(workspace->context, budget, budget);
        const int status = llama_decode(workspace->context, llama_batch_get_one(tokens.data(), int(tokens.size())));
        if (status == 0) {
            read += int(tokens.size());
            cached.insert(cached.end(), tokens.begin(), tokens.end());
            return {};
        }
        // An aborted or failed step may leave part of the batch in the cache; keep the record true.
        const llama_pos last = llama_memory_seq_pos_max(llama_get_memory(workspace->context), 0);
        cached.insert(cached.end(), tokens.begin(), tokens.end());
        cached.resize(std::min(cached.size(), size_t(std::max(last + 1, 0))));
        if (status == 2)
            return std::unexpected(LanguageModel::cancelledMessage());
        isBroken = true;
        return std::unexpected(
            QCoreApplication::translate("LanguageModel", "言語モデルの計算に失敗しました（%1）").arg(status));
    }

    const std::shared_ptr<LlamaLanguageModel::Shared> shared;
    const std::string instructions;
    std::string utterance;
    // One piece of work at a time; `cancel` and the start of `respond` alone come from other threads.
    std::mutex work;
    // Once set, the session answers nothing more.
    std::atomic<bool> cancelled{false};
    // An answer is wanted: a background reading gives way.
    std::atomic<bool> answering{false};
    // `prewarm` is reading.
    std::atomic<bool> reading{false};
    bool isBroken = false;
    std::shared_ptr<LoadedModel> model;
    std::unique_ptr<Workspace> workspace;
    // The rendered chat around the two marks: before the instructions, between them and the
    // utterance, after the utterance.
    std::vector<std::string> templateParts;
    std::atomic<int> read{0};
};

} // namespace

LlamaLanguageModel::LlamaLanguageModel(Options options)
    : shared(std::make_shared<Shared>(std::move(options)))
{ }

LlamaLanguageModel::~LlamaLanguageModel() = default;

std::shared_ptr<LanguageModelSession> LlamaLanguageModel::makeSession(const QString &instructions)
{
    return std::make_shared<LlamaSession>(shared, instructions);
}

bool LlamaLanguageModel::isAvailable() const
{
    return shared->options.locate && shared->options.locate().has_value();
}

void LlamaLanguageModel::release()
{
    std::scoped_lock guard(shared->lock);
    shared->loaded.reset();
    shared->fileName.clear();
}

int LlamaLanguageModel::tokensRead(const LanguageModelSession &session)
{
    const auto *llama = dynamic_cast<const LlamaSession *>(&session);
    return llama != nullptr ? llama->tokensRead() : -1;
}

int LlamaLanguageModel::controlTokensHeld(LanguageModelSession &session)
{
    auto *llama = dynamic_cast<LlamaSession *>(&session);
    return llama != nullptr ? llama->controlTokensHeld() : -1;
}
