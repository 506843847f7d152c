#include "platform/linux/SignedUpdateFeed.h"

#include "core/LoopbackHost.h"

#include <QCoreApplication>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QPointer>
#include <QScopeGuard>
#include <qcoro/qcoronetworkreply.h>

#include <sodium.h>

namespace {

// A feed is a few hundred bytes; anything much larger is not one.
constexpr qint64 largestDocument = 64 * 1024;
constexpr int transferTimeoutMs = 15'000;

QString unreadable()
{
    return QCoreApplication::translate("UpdateFeed", "更新情報を読み取れませんでした。");
}

// https anywhere, http only to this machine (a feed served locally while testing a release).
bool isAcceptable(const QUrl &address)
{
    if (!address.isValid() || address.host().isEmpty())
        return false;
    if (address.scheme() == u"https")
        return true;
    return address.scheme() == u"http" && isLoopbackHost(address.host());
}

} // namespace

SignedUpdateFeed::SignedUpdateFeed(QUrl address, QByteArray publicKey)
    : address(std::move(address))
    , publicKey(std::move(publicKey))
{
    if (sodium_init() < 0)
        this->publicKey.clear();
}

QString SignedUpdateFeed::host() const
{
    if (publicKey.size() != crypto_sign_PUBLICKEYBYTES || !isAcceptable(address))
        return {};
    return address.host();
}

QCoro::Task<std::expected<UpdateOffer, QString>> SignedUpdateFeed::fetch()
{
    if (host().isEmpty())
        co_return std::unexpected(QCoreApplication::translate("UpdateFeed", "この版には更新の確認先がありません。"));
    QNetworkRequest request(address);
    request.setTransferTimeout(transferTimeoutMs);
    request.setHeader(QNetworkRequest::UserAgentHeader,
        QStringLiteral("%1/%2").arg(QCoreApplication::applicationName(), QCoreApplication::applicationVersion()));
    // The manager owns its replies and may delete one first when it goes.
    const QPointer<QNetworkReply> reply = network.get(request);
    const auto release = qScopeGuard([reply] {
        if (reply)
            reply->deleteLater();
    });
    QObject::connect(reply, &QNetworkReply::downloadProgress, reply, [reply](qint64 received) {
        if (received > largestDocument)
            reply->abort();
    });
    auto finished = qCoro(reply.data()).waitForFinished();
    co_await finished;
    if (!reply)
        co_return std::unexpected(unreadable());
    const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    if (reply->error() != QNetworkReply::NoError && status == 0) {
        co_return std::unexpected(
            QCoreApplication::translate("UpdateFeed", "更新の確認先に接続できませんでした（%1）。").arg(reply->errorString()));
    }
    if (status != 200) {
        co_return std::unexpected(
            QCoreApplication::translate("UpdateFeed", "更新の確認先がエラーを返しました（HTTP %1）。").arg(status));
    }
    co_return read(reply->read(largestDocument + 1), publicKey);
}

std::expected<UpdateOffer, QString> SignedUpdateFeed::read(const QByteArray &document, const QByteArray &publicKey)
{
    if (document.size() > largestDocument)
        return std::unexpected(unreadable());
    const QJsonObject envelope = QJsonDocument::fromJson(document).object();
    const auto feed = QByteArray::fromBase64Encoding(envelope.value(u"feed").toString().toLatin1(),
        QByteArray::AbortOnBase64DecodingErrors);
    const auto signature = QByteArray::fromBase64Encoding(envelope.value(u"signature").toString().toLatin1(),
        QByteArray::AbortOnBase64DecodingErrors);
    if (!feed || !signature || feed.decoded.isEmpty())
        return std::unexpected(unreadable());
    if (signature.decoded.size() != crypto_sign_BYTES || publicKey.size() != crypto_sign_PUBLICKEYBYTES
        || crypto_sign_verify_detached(reinterpret_cast<const unsigned char *>(signature.decoded.constData()),
               reinterpret_cast<const unsigned char *>(feed.decoded.constData()), feed.decoded.size(),
               reinterpret_cast<const unsigned char *>(publicKey.constData()))
            != 0) {
        return std::unexpected(QCoreApplication::translate("UpdateFeed", "更新情報の署名が正しくありません。"));
    }
    const QJsonObject fields = QJsonDocument::fromJson(feed.decoded).object();
    UpdateOffer offer {QVersionNumber::fromString(fields.value(u"version").toString()),
        QUrl(fields.value(u"page").toString()), fields.value(u"notes").toString()};
    if (offer.version.isNull() || offer.page.scheme() != u"https" || offer.page.host().isEmpty())
        return std::unexpected(unreadable());
    return offer;
}

QByteArray SignedUpdateFeed::sign(const QByteArray &feed, const QByteArray &secretKey)
{
    QByteArray signature(crypto_sign_BYTES, Qt::Uninitialized);
    if (sodium_init() < 0 || secretKey.size() != crypto_sign_SECRETKEYBYTES)
        return {};
    crypto_sign_detached(reinterpret_cast<unsigned char *>(signature.data()), nullptr,
        reinterpret_cast<const unsigned char *>(feed.constData()), feed.size(),
        reinterpret_cast<const unsigned char *>(secretKey.constData()));
    return QJsonDocument(QJsonObject {{QStringLiteral("feed"), QString::fromLatin1(feed.toBase64())},
                             {QStringLiteral("signature"), QString::fromLatin1(signature.toBase64())}})
        .toJson(QJsonDocument::Compact);
}

SignedUpdateFeed::Keys SignedUpdateFeed::generateKeys()
{
    Keys keys {QByteArray(crypto_sign_PUBLICKEYBYTES, Qt::Uninitialized),
        QByteArray(crypto_sign_SECRETKEYBYTES, Qt::Uninitialized)};
    if (sodium_init() < 0)
        return {};
    crypto_sign_keypair(reinterpret_cast<unsigned char *>(keys.publicKey.data()),
        reinterpret_cast<unsigned char *>(keys.secretKey.data()));
    return keys;
}
