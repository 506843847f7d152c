#pragma once

#include "platform/UpdateFeed.h"

#include <QByteArray>
#include <QNetworkAccessManager>

// The update feed as one JSON document over HTTPS (plain HTTP only on the loopback interface):
//
//   {"feed": "<base64 of the feed's JSON>", "signature": "<base64 Ed25519 signature of those bytes>"}
//
// where the feed's JSON is {"version": "1.2.0", "page": "https://…", "notes": "…"}. The address and
// the 32-byte public key are fixed when the application is built; without either there is no feed.
class SignedUpdateFeed final : public UpdateFeed
{
public:
    // `publicKey` is the raw 32-byte key.
    SignedUpdateFeed(QUrl address, QByteArray publicKey);

    QString host() const override;
    QCoro::Task<std::expected<UpdateOffer, QString>> fetch() override;

    // Checks the document's signature with `publicKey` and reads the offer from it.
    static std::expected<UpdateOffer, QString> read(const QByteArray &document, const QByteArray &publicKey);
    // The document for `feed` signed with a 64-byte secret key, for publishing a release.
    static QByteArray sign(const QByteArray &feed, const QByteArray &secretKey);
    struct Keys {
        QByteArray publicKey;
        QByteArray secretKey;
    };
    static Keys generateKeys();

private:
    QUrl address;
    QByteArray publicKey;
    QNetworkAccessManager network;
};
