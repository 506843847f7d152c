#include "engines/BlockingHttp.h"

#include <QEventLoop>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QTimer>

namespace BlockingHttp {

void Cancellation::cancel()
{
    std::scoped_lock guard(lock);
    cancelled = true;
    if (active != nullptr)
        QMetaObject::invokeMethod(active, &QNetworkReply::abort, Qt::QueuedConnection);
}

bool Cancellation::isCancelled()
{
    std::scoped_lock guard(lock);
    return cancelled;
}

bool Cancellation::attach(QNetworkReply *reply)
{
    std::scoped_lock guard(lock);
    active = reply;
    return !cancelled;
}

void Cancellation::detach()
{
    std::scoped_lock guard(lock);
    active = nullptr;
}

Reply exchange(
    const std::function<QNetworkReply *(QNetworkAccessManager &)> &send, int timeoutMs, Cancellation *cancellation)
{
    // The manager owns the reply; both go when this returns.
    QNetworkAccessManager manager;
    QNetworkReply *reply = send(manager);
    QEventLoop loop;
    QObject::connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
    bool isTimedOut = false;
    QTimer deadline;
    deadline.setSingleShot(true);
    QObject::connect(&deadline, &QTimer::timeout, reply, [&] {
        isTimedOut = true;
        reply->abort();
    });
    deadline.start(timeoutMs);
    if (cancellation != nullptr && !cancellation->attach(reply))
        reply->abort();
    if (!reply->isFinished())
        loop.exec();
    if (cancellation != nullptr)
        cancellation->detach();

    Reply result;
    result.status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    // An aborted reply is closed; reading it only complains.
    if (reply->isOpen())
        result.body = reply->readAll();
    result.errorString = reply->errorString();
    if (cancellation != nullptr && cancellation->isCancelled())
        result.outcome = Reply::Outcome::cancelled;
    else if (isTimedOut)
        result.outcome = Reply::Outcome::timedOut;
    else if (result.status >= 400)
        result.outcome = Reply::Outcome::httpError;
    else if (reply->error() == QNetworkReply::NoError)
        result.outcome = Reply::Outcome::answered;
    else if (reply->error() == QNetworkReply::ConnectionRefusedError)
        result.outcome = Reply::Outcome::refused;
    else if (reply->error() == QNetworkReply::TimeoutError || reply->error() == QNetworkReply::OperationCanceledError)
        result.outcome = Reply::Outcome::timedOut;
    else
        result.outcome = Reply::Outcome::failed;
    return result;
}

QUrl endpoint(const QUrl &base, const char *path)
{
    QUrl url = base;
    QString basePath = url.path();
    while (basePath.endsWith(u'/'))
        basePath.chop(1);
    url.setPath(basePath + QLatin1StringView(path));
    return url;
}

QString serverMessage(const QByteArray &body)
{
    const QJsonValue error = QJsonDocument::fromJson(body).object().value(QLatin1StringView("error"));
    if (error.isString())
        return error.toString();
    if (const QString message = error.toObject().value(QLatin1StringView("message")).toString(); !message.isEmpty())
        return message;
    return QString::fromUtf8(body.left(200)).simplified();
}

} // namespace BlockingHttp
