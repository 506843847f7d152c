#include "engines/OpenAiTranscriptionRecognizer.h"

#include "speech/WavFile.h"

#include <QCoreApplication>
#include <QHttpMultiPart>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkReply>

#include <algorithm>
#include <limits>

namespace {

QHttpPart textPart(const char *name, const QString &value)
{
    QHttpPart part;
    part.setHeader(QNetworkRequest::ContentDispositionHeader,
        QByteArrayLiteral("form-data; name=\"") + name + QByteArrayLiteral("\""));
    part.setBody(value.toUtf8());
    return part;
}

} // namespace

OpenAiTranscriptionRecognizer::OpenAiTranscriptionRecognizer(Options options)
    : options(std::move(options))
{ }

std::expected<void, QString> OpenAiTranscriptionRecognizer::prepare(const QStringList &contextualStrings)
{
    // The server's decoder reads the prompt as earlier text, so the words steer its spelling.
    prompt = contextualStrings.join(QStringLiteral(", "));
    return {};
}

std::optional<AudioFormat> OpenAiTranscriptionRecognizer::bestAudioFormat(const AudioFormat &hardware) const
{
    if (!hardware.isUsable())
        return std::nullopt;
    return AudioFormat{double(sampleRate), 1};
}

void OpenAiTranscriptionRecognizer::append(const AudioBuffer &buffer)
{
    if (buffer.format != AudioFormat{double(sampleRate), 1})
        return;
    std::scoped_lock guard(mutex);
    if (!isInputFinished)
        samples.insert(samples.end(), buffer.samples.begin(), buffer.samples.end());
}

void OpenAiTranscriptionRecognizer::finishInput()
{
    std::scoped_lock guard(mutex);
    isInputFinished = true;
    ended.notify_one();
}

void OpenAiTranscriptionRecognizer::cancel()
{
    {
        std::scoped_lock guard(mutex);
        isCancelled = true;
        ended.notify_one();
    }
    cancellation.cancel();
}

std::expected<void, QString> OpenAiTranscriptionRecognizer::run(const std::function<void(const Result &)> &onResult)
{
    std::vector<float> recorded;
    {
        std::unique_lock guard(mutex);
        ended.wait(guard, [this] { return isInputFinished || isCancelled; });
        if (isCancelled)
            return {};
        recorded.swap(samples);
    }
    if (recorded.empty()) {
        onResult(Result{QString(), true});
        return {};
    }
    const std::expected<QString, QString> text = transcribe(recorded);
    if (cancellation.isCancelled())
        return {};
    if (!text)
        return std::unexpected(text.error());
    onResult(Result{*text, true});
    return {};
}

std::expected<QString, QString> OpenAiTranscriptionRecognizer::transcribe(const std::vector<float> &recorded)
{
    const QUrl url = BlockingHttp::endpoint(options.baseUrl, "/audio/transcriptions");
    const qint64 audioMs = qint64(recorded.size()) * 1000 / sampleRate;
    const QByteArray wav = WavFile::encode(AudioBuffer{AudioFormat{double(sampleRate), 1}, recorded});
    const BlockingHttp::Reply reply = BlockingHttp::exchange(
        [&](QNetworkAccessManager &manager) {
            auto *form = new QHttpMultiPart(QHttpMultiPart::FormDataType);
            QHttpPart file;
            file.setHeader(QNetworkRequest::ContentDispositionHeader,
                QByteArrayLiteral("form-data; name=\"file\"; filename=\"audio.wav\""));
            file.setHeader(QNetworkRequest::ContentTypeHeader, QByteArrayLiteral("audio/wav"));
            file.setBody(wav);
            form->append(file);
            form->append(textPart("model", options.model.isEmpty() ? defaultModel : options.model));
            form->append(textPart("language", options.language));
            // No words to favour: no prompt, rather than an empty one.
            if (!prompt.isEmpty())
                form->append(textPart("prompt", prompt));
            form->append(textPart("response_format", QStringLiteral("json")));
            QNetworkReply *sent = manager.post(QNetworkRequest(url), form);
            form->setParent(sent);
            return sent;
        },
        int(std::min<qint64>(options.timeoutMs + audioMs, std::numeric_limits<int>::max())), &cancellation);

    switch (reply.outcome) {
    case BlockingHttp::Reply::Outcome::answered: break;
    case BlockingHttp::Reply::Outcome::cancelled: return QString();
    case BlockingHttp::Reply::Outcome::httpError:
        return std::unexpected(QCoreApplication::translate(
            "OpenAiTranscriptionRecognizer", "音声認識サーバーがエラーを返しました（HTTP %1）: %2")
                                   .arg(reply.status)
                                   .arg(BlockingHttp::serverMessage(reply.body)));
    case BlockingHttp::Reply::Outcome::refused:
        return std::unexpected(
            QCoreApplication::translate("OpenAiTranscriptionRecognizer", "音声認識サーバーに接続できません: %1")
                .arg(url.toDisplayString()));
    case BlockingHttp::Reply::Outcome::timedOut:
        return std::unexpected(QCoreApplication::translate(
            "OpenAiTranscriptionRecognizer", "音声認識サーバーから %1 秒以内に応答がありませんでした: %2")
                                   .arg((options.timeoutMs + audioMs + 999) / 1000)
                                   .arg(url.toDisplayString()));
    case BlockingHttp::Reply::Outcome::failed:
        return std::unexpected(
            QCoreApplication::translate("OpenAiTranscriptionRecognizer", "音声認識サーバーと通信できません: %1")
                .arg(reply.errorString));
    }
    const QJsonValue text = QJsonDocument::fromJson(reply.body).object().value(QLatin1StringView("text"));
    if (!text.isString())
        return std::unexpected(
            QCoreApplication::translate("OpenAiTranscriptionRecognizer", "音声認識サーバーの応答を読めません"));
    return text.toString();
}
