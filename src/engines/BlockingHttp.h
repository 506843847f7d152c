#pragma once

#include <QByteArray>
#include <QString>
#include <QUrl>

#include <functional>
#include <mutex>

class QNetworkAccessManager;
class QNetworkReply;

// One HTTP request to a server on this machine, run to its end on the calling (worker) thread with
// a network manager and an event loop of its own, so no Qt network object crosses threads. Ends
// early on a cancel from any thread or at a time limit; the outcome says which, and the caller words
// the message.
namespace BlockingHttp {

// Where a running request can be reached from another thread, to abort it. Once cancelled, every
// later request through it ends at once.
class Cancellation
{
public:
    void cancel();
    bool isCancelled();
    // False when cancelled already.
    bool attach(QNetworkReply *reply);
    void detach();

private:
    std::mutex lock;
    bool cancelled = false;
    QNetworkReply *active = nullptr;
};

struct Reply {
    enum class Outcome { answered, cancelled, httpError, refused, timedOut, failed };
    Outcome outcome = Outcome::failed;
    int status = 0;
    QByteArray body;
    // Qt's words for a failure of the connection.
    QString errorString;
};

// `send` starts the request on the manager it is given. `timeoutMs` bounds the whole exchange.
Reply exchange(
    const std::function<QNetworkReply *(QNetworkAccessManager &)> &send, int timeoutMs, Cancellation *cancellation);

// <base>/<path> with one slash between, e.g. http://127.0.0.1:8080/v1 + "/models".
QUrl endpoint(const QUrl &base, const char *path);
// The server's own words for a failure, when its body carries them (an OpenAI-style "error").
QString serverMessage(const QByteArray &body);

} // namespace BlockingHttp
