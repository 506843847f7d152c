#include "engines/HttpModelStore.h"

#include "core/XdgPaths.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QTimer>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>

namespace {

constexpr int transferTimeout = 30'000;

bool hasChecksum(const QString &path, const ModelFile &file)
{
    QFile content(path);
    if (!content.open(QIODevice::ReadOnly))
        return false;
    QCryptographicHash hash(file.algorithm);
    if (!hash.addData(&content))
        return false;
    return hash.result().toHex() == file.checksum;
}

// A file verified once is remembered beside it by its checksum, size and modification time, so a
// large model is not read whole at every start; a file changed since is verified again.
QByteArray fingerprint(const QString &path, const ModelFile &file)
{
    const QFileInfo info(path);
    return file.checksum + ' ' + QByteArray::number(info.size()) + ' '
        + QByteArray::number(info.lastModified().toMSecsSinceEpoch());
}

QString notePath(const QString &path)
{
    return path + QStringLiteral(".verified");
}

bool isVerified(const QString &path, const ModelFile &file)
{
    if (!QFileInfo::exists(path))
        return false;
    QFile note(notePath(path));
    if (note.open(QIODevice::ReadOnly) && note.readAll() == fingerprint(path, file))
        return true;
    if (!hasChecksum(path, file)) {
        QFile::remove(notePath(path));
        return false;
    }
    QSaveFile written(notePath(path));
    if (written.open(QIODevice::WriteOnly)) {
        written.write(fingerprint(path, file));
        written.commit();
    }
    return true;
}

QString failure(const ModelFile &file, const QString &reason)
{
    return QCoreApplication::translate("HttpModelStore", "%1 をダウンロードできませんでした: %2")
        .arg(file.name, reason);
}

// Puts a verified part in the file's place.
std::expected<void, QString> place(
    const ModelFile &file, const QString &partPath, const std::function<void(double)> &progress, const QString &path)
{
    QFile::remove(path);
    if (!QFile::rename(partPath, path))
        return std::unexpected(failure(file, QCoreApplication::translate("HttpModelStore", "所定の場所に置けません")));
    if (progress)
        progress(1.0);
    return {};
}

} // namespace

HttpModelStore::HttpModelStore(QString folder)
    : folder(std::move(folder))
{ }

QString HttpModelStore::defaultFolder()
{
    return XdgPaths::dataHome() + QStringLiteral("/Ripplet/models");
}

QString HttpModelStore::pathOf(const ModelFile &file) const
{
    return folder + QLatin1Char('/') + file.name;
}

std::expected<std::vector<ModelFile>, QString> HttpModelStore::missingFiles(const std::vector<ModelFile> &files)
{
    std::vector<ModelFile> missing;
    for (const ModelFile &file : files) {
        if (!isVerified(pathOf(file), file))
            missing.push_back(file);
    }
    return missing;
}

std::expected<void, QString> HttpModelStore::download(
    const ModelFile &file, const std::function<void(double)> &progress)
{
    if (!XdgPaths::makePrivateFolder(folder))
        return std::unexpected(
            failure(file, QCoreApplication::translate("HttpModelStore", "%1 を作れません").arg(folder)));
    const QString partPath = pathOf(file) + QStringLiteral(".part");
    QFile part(partPath);
    if (!part.open(QIODevice::ReadWrite))
        return std::unexpected(failure(file, part.errorString()));
    const qint64 resumeFrom = part.size();
    // A part that is already whole (the process ended before placing it) would get "416 Range Not
    // Satisfiable" for ever; it is checked and placed instead.
    if (resumeFrom > 0 && hasChecksum(partPath, file)) {
        part.close();
        return place(file, partPath, progress, pathOf(file));
    }

    QNetworkAccessManager network;
    QNetworkRequest request(QUrl(urlFor ? urlFor(file) : file.url));
    request.setTransferTimeout(transferTimeout);
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::NoLessSafeRedirectPolicy);
    if (resumeFrom > 0)
        request.setRawHeader("Range", "bytes=" + QByteArray::number(resumeFrom) + '-');
    QNetworkReply *reply = network.get(request);

    QString writeError;
    bool isStarted = false;
    qint64 expected = file.approximateBytes;
    // The size the server announced; a transfer that ends short of it was cut off.
    qint64 announced = 0;
    auto begin = [&] {
        isStarted = true;
        const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
        // A server that ignores the range sends the whole file again.
        if (status != 206)
            part.resize(0);
        part.seek(part.size());
        const qint64 length = reply->header(QNetworkRequest::ContentLengthHeader).toLongLong();
        if (length > 0) {
            expected = part.size() + length;
            announced = expected;
        }
    };
    auto save = [&] {
        if (reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt() >= 300 || !writeError.isEmpty())
            return;
        if (!isStarted)
            begin();
        const QByteArray chunk = reply->readAll();
        if (part.write(chunk) != chunk.size()) {
            writeError = part.errorString();
            if (reply->isRunning())
                reply->abort();
            return;
        }
        if (progress && expected > 0)
            progress(std::min(1.0, double(part.size()) / double(expected)));
    };
    QObject::connect(reply, &QNetworkReply::readyRead, save);
    QEventLoop loop;
    QObject::connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
    QTimer stopCheck;
    QObject::connect(&stopCheck, &QTimer::timeout, reply, [&] {
        if (isStopping && reply->isRunning())
            reply->abort();
    });
    stopCheck.start(100);
    loop.exec();
    // What arrived before a broken connection is kept for the next attempt.
    if (reply->bytesAvailable() > 0)
        save();

    const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    const qint64 received = part.size();
    const QNetworkReply::NetworkError networkError = reply->error();
    const QString networkMessage = reply->errorString();
    reply->deleteLater();
    part.flush();
    part.close();
    if (!writeError.isEmpty())
        return std::unexpected(failure(file, writeError));
    if (isStopping)
        return std::unexpected(
            failure(file, QCoreApplication::translate("HttpModelStore", "ダウンロードを中断しました")));
    if (status >= 400)
        return std::unexpected(failure(file, QStringLiteral("HTTP %1").arg(status)));
    if (networkError != QNetworkReply::NoError)
        return std::unexpected(failure(file, networkMessage));
    // Some servers just close the connection; what came is kept for the next attempt.
    if (announced > 0 && received < announced)
        return std::unexpected(failure(file, QCoreApplication::translate("HttpModelStore", "接続が途中で切れました")));

    if (!hasChecksum(partPath, file)) {
        // A complete file with the wrong checksum is useless; start over next time.
        QFile::remove(partPath);
        return std::unexpected(
            failure(file, QCoreApplication::translate("HttpModelStore", "チェックサムが一致しません")));
    }
    return place(file, partPath, progress, pathOf(file));
}
