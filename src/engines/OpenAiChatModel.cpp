#include "engines/OpenAiChatModel.h"

#include "engines/BlockingHttp.h"

#include <QCoreApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkReply>

#include <mutex>

namespace {

constexpr int prewarmTimeoutMs = 15000;

using BlockingHttp::Cancellation;
using BlockingHttp::endpoint;

// One request, run to its end on the calling thread. Nothing (a JSON body) for GET.
std::expected<QByteArray, QString> exchange(
    const QUrl &url, const std::optional<QByteArray> &body, int timeoutMs, Cancellation *cancellation)
{
    const BlockingHttp::Reply reply = BlockingHttp::exchange(
        [&](QNetworkAccessManager &manager) {
            QNetworkRequest request(url);
            request.setHeader(QNetworkRequest::ContentTypeHeader, QByteArrayLiteral("application/json"));
            return body ? manager.post(request, *body) : manager.get(request);
        },
        timeoutMs, cancellation);
    switch (reply.outcome) {
    case BlockingHttp::Reply::Outcome::answered: return reply.body;
    case BlockingHttp::Reply::Outcome::cancelled: return std::unexpected(LanguageModel::cancelledMessage());
    case BlockingHttp::Reply::Outcome::httpError:
        return std::unexpected(
            QCoreApplication::translate("LanguageModel", "言語モデルのサーバーがエラーを返しました（HTTP %1）: %2")
                .arg(reply.status)
                .arg(BlockingHttp::serverMessage(reply.body)));
    case BlockingHttp::Reply::Outcome::refused:
        return std::unexpected(QCoreApplication::translate("LanguageModel", "言語モデルのサーバーに接続できません: %1")
                                   .arg(url.toDisplayString()));
    case BlockingHttp::Reply::Outcome::timedOut:
        return std::unexpected(
            QCoreApplication::translate("LanguageModel", "言語モデルのサーバーから応答がありません: %1")
                .arg(url.toDisplayString()));
    case BlockingHttp::Reply::Outcome::failed: break;
    }
    return std::unexpected(QCoreApplication::translate("LanguageModel", "言語モデルのサーバーと通信できません: %1")
                               .arg(reply.errorString));
}

QString unreadable()
{
    return QCoreApplication::translate("LanguageModel", "言語モデルのサーバーの応答を読めません");
}

constexpr QChar wordJoiner(0x2060);

// A server reads the whole rendered chat with its control tokens, so a spelling of one inside the
// text (quoted from another application, or dictated) could close the user's turn and open another.
// A word joiner after the opening bracket keeps such text plain for every common template (ChatML and
// the <|…|> family, Llama 2, Gemma); the answer loses the joiners again.
QString defused(QString text)
{
    static const QStringList openings{QStringLiteral("<|"), QStringLiteral("<s>"), QStringLiteral("</s>"),
        QStringLiteral("<start_of_turn>"), QStringLiteral("<end_of_turn>"), QStringLiteral("[INST]"),
        QStringLiteral("[/INST]")};
    for (const QString &opening : openings)
        text.replace(opening, opening.left(1) + wordJoiner + opening.mid(1));
    return text;
}

QByteArray chatRequest(const QString &model, const QString &instructions, const QString &prompt, int maximumTokens)
{
    const QJsonArray messages{
        QJsonObject{
            {QStringLiteral("role"), QStringLiteral("system")}, {QStringLiteral("content"), defused(instructions)}},
        QJsonObject{{QStringLiteral("role"), QStringLiteral("user")}, {QStringLiteral("content"), defused(prompt)}},
    };
    QJsonObject request{{QStringLiteral("messages"), messages}, {QStringLiteral("temperature"), 0},
        {QStringLiteral("stream"), false}, {QStringLiteral("max_tokens"), maximumTokens}};
    if (!model.isEmpty())
        request.insert(QStringLiteral("model"), model);
    return QJsonDocument(request).toJson(QJsonDocument::Compact);
}

} // namespace

struct OpenAiChatModel::Shared {
    const Options options;
    std::mutex lock;
    QString resolvedModel;
    // The model object's pool for background requests; none once the model object is going away.
    QThreadPool *prewarms = nullptr;
    // Ends the background requests when the model object goes.
    Cancellation prewarmCancellation;

    explicit Shared(Options options)
        : options(std::move(options))
    { }

    // The model to ask for: the configured one, or the first the server lists (asked once).
    std::expected<QString, QString> modelName(Cancellation *cancellation)
    {
        if (!options.model.isEmpty())
            return options.model;
        {
            std::scoped_lock guard(lock);
            if (!resolvedModel.isEmpty())
                return resolvedModel;
        }
        const std::expected<QByteArray, QString> listing
            = exchange(endpoint(options.baseUrl, "/models"), std::nullopt, options.requestTimeoutMs, cancellation);
        if (!listing)
            return std::unexpected(listing.error());
        const QJsonValue data = QJsonDocument::fromJson(*listing).object().value(QLatin1StringView("data"));
        if (!data.isArray())
            return std::unexpected(unreadable());
        const QString first = data.toArray().first().toObject().value(QLatin1StringView("id")).toString();
        if (first.isEmpty())
            return std::unexpected(
                QCoreApplication::translate("LanguageModel", "言語モデルのサーバーにモデルがありません"));
        std::scoped_lock guard(lock);
        resolvedModel = first;
        return first;
    }
};

namespace {

class OpenAiChatSession final : public LanguageModelSession
{
public:
    OpenAiChatSession(std::shared_ptr<OpenAiChatModel::Shared> shared, const QString &instructions)
        : shared(std::move(shared))
        , instructions(instructions)
    { }

    std::expected<void, QString> prewarm() override
    {
        // Sent in the background: a server that is slow to answer must not hold up the caller.
        const QUrl url = endpoint(shared->options.baseUrl, "/chat/completions");
        std::scoped_lock guard(shared->lock);
        if (shared->prewarms != nullptr) {
            shared->prewarms->start([shared = shared, url, instructions = instructions] {
                Cancellation *cancellation = &shared->prewarmCancellation;
                if (const std::expected<QString, QString> model = shared->modelName(cancellation); model)
                    exchange(
                        url, chatRequest(*model, instructions, QStringLiteral("."), 1), prewarmTimeoutMs, cancellation);
            });
        }
        return {};
    }

    std::expected<QString, QString> respond(const QString &prompt) override
    {
        const std::expected<QString, QString> model = shared->modelName(&cancellation);
        if (!model)
            return std::unexpected(model.error());
        // No tokenizer here: one token per UTF-16 unit bounds any tokenizer's count from above.
        const int cap = LanguageModel::answerCap(int(prompt.size()));
        const std::expected<QByteArray, QString> answer
            = exchange(endpoint(shared->options.baseUrl, "/chat/completions"),
                chatRequest(*model, instructions, prompt, cap), shared->options.requestTimeoutMs, &cancellation);
        if (!answer)
            return std::unexpected(answer.error());
        // Without streaming the first token arrives with the whole answer.
        if (onFirstToken)
            onFirstToken();
        const QJsonObject choice = QJsonDocument::fromJson(*answer)
                                       .object()
                                       .value(QLatin1StringView("choices"))
                                       .toArray()
                                       .first()
                                       .toObject();
        const QJsonValue content
            = choice.value(QLatin1StringView("message")).toObject().value(QLatin1StringView("content"));
        if (!content.isString())
            return std::unexpected(unreadable());
        if (choice.value(QLatin1StringView("finish_reason")).toString() == u"length")
            return std::unexpected(LanguageModel::cutMessage(cap));
        return content.toString().remove(wordJoiner);
    }

    void cancel() override { cancellation.cancel(); }

private:
    std::shared_ptr<OpenAiChatModel::Shared> shared;
    const QString instructions;
    Cancellation cancellation;
};

} // namespace

OpenAiChatModel::OpenAiChatModel(Options options)
    : shared(std::make_shared<Shared>(std::move(options)))
{
    prewarms.setMaxThreadCount(1);
    shared->prewarms = &prewarms;
}

OpenAiChatModel::~OpenAiChatModel()
{
    {
        std::scoped_lock guard(shared->lock);
        shared->prewarms = nullptr;
    }
    // The pool waits for its requests; they end now instead of at their time limit.
    shared->prewarmCancellation.cancel();
}

std::shared_ptr<LanguageModelSession> OpenAiChatModel::makeSession(const QString &instructions)
{
    return std::make_shared<OpenAiChatSession>(shared, instructions);
}
