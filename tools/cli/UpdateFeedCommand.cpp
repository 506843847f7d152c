#include "CliCommand.h"

#include "platform/linux/SignedUpdateFeed.h"

#include <QFile>
#include <QTextStream>

// Keys and signatures for the update feed of a release: a new key pair (the secret half to a file
// only its owner reads, the public half printed for SORAWEN_UPDATE_PUBLIC_KEY), a signed document
// for a feed, and the check the application makes of a document.
int runUpdateFeedCommand(const QStringList &arguments)
{
    const std::optional<Cli::Options> options
        = Cli::parse(arguments, {QStringLiteral("new-keys"), QStringLiteral("sign"), QStringLiteral("secret-key"),
                                    QStringLiteral("check"), QStringLiteral("public-key")},
            {});
    if (!options)
        return 2;
    if (const std::optional<QString> path = options->value("new-keys")) {
        const SignedUpdateFeed::Keys keys = SignedUpdateFeed::generateKeys();
        QFile secret(*path);
        if (keys.secretKey.isEmpty()
            || !secret.open(QIODevice::NewOnly | QIODevice::WriteOnly, QFileDevice::ReadOwner | QFileDevice::WriteOwner)
            || secret.write(keys.secretKey.toBase64() + '\n') < 0) {
            return Cli::usageError(
                QStringLiteral("cannot write a new secret key to %1: %2").arg(*path, secret.errorString()));
        }
        Cli::writeStandardOutput(keys.publicKey.toBase64() + '\n');
        return 0;
    }
    if (const std::optional<QString> feedPath = options->value("sign")) {
        const std::optional<QString> keyPath = options->value("secret-key");
        if (!keyPath)
            return Cli::usageError(QStringLiteral("--sign needs --secret-key FILE"));
        const std::optional<QByteArray> feed = Cli::readInput(*feedPath);
        const std::optional<QByteArray> key = feed ? Cli::readInput(*keyPath) : std::nullopt;
        if (!key)
            return 2;
        const QByteArray document = SignedUpdateFeed::sign(*feed, QByteArray::fromBase64(key->trimmed()));
        if (document.isEmpty())
            return Cli::usageError(QStringLiteral("%1 holds no secret key").arg(*keyPath));
        Cli::writeStandardOutput(document + '\n');
        return 0;
    }
    if (const std::optional<QString> documentPath = options->value("check")) {
        const std::optional<QString> key = options->value("public-key");
        if (!key)
            return Cli::usageError(QStringLiteral("--check needs --public-key BASE64"));
        const std::optional<QByteArray> document = Cli::readInput(*documentPath);
        if (!document)
            return 2;
        const std::expected<UpdateOffer, QString> offer
            = SignedUpdateFeed::read(*document, QByteArray::fromBase64(key->toLatin1()));
        if (!offer) {
            QTextStream(stderr) << offer.error() << Qt::endl;
            return 1;
        }
        Cli::writeStandardOutput(
            QStringLiteral("%1 %2\n").arg(offer->version.toString(), offer->page.toString()).toUtf8());
        return 0;
    }
    return Cli::usageError(QStringLiteral(
        "give --new-keys FILE, --sign FEED.json --secret-key FILE, or --check FILE --public-key BASE64"));
}
