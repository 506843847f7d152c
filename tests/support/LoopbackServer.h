#pragma once

#include <QHostAddress>
#include <QList>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>

#include <functional>
#include <memory>
#include <optional>

// An HTTP server on the loopback interface, served by the event loop of the thread that made it.
// Every complete request (headers, then Content-Length bytes of body) is kept and given to
// `answer`; no reply leaves the request hanging.
class LoopbackServer : public QObject
{
public:
    struct Request {
        QByteArray path;
        QByteArray headers;
        QByteArray body;
        // The value of a header, found by its lower-case name.
        QByteArray header(const QByteArray &name) const
        {
            for (const QByteArray &line : headers.split('\n')) {
                if (line.toLower().startsWith(name + ':'))
                    return line.mid(name.size() + 1).trimmed();
            }
            return {};
        }
    };
    struct Reply {
        QByteArray body;
        QByteArray status = "200 OK";
        // Sends only this many bytes of the body, then drops the connection a moment later.
        std::optional<qsizetype> cutAt = std::nullopt;
    };

    QList<Request> requests;
    std::function<std::optional<Reply>(const Request &)> answer;

    explicit LoopbackServer(std::function<std::optional<Reply>(const Request &)> answer = {})
        : answer(std::move(answer))
    {
        server.listen(QHostAddress::LocalHost);
        QObject::connect(&server, &QTcpServer::newConnection, this, [this] {
            while (QTcpSocket *socket = server.nextPendingConnection())
                serve(socket);
        });
    }
    QString url(const char *path) const
    {
        return QStringLiteral("http://127.0.0.1:%1%2").arg(server.serverPort()).arg(QLatin1StringView(path));
    }
    // A port on which nothing listens any more.
    static quint16 closedPort()
    {
        QTcpServer closed;
        closed.listen(QHostAddress::LocalHost);
        return closed.serverPort();
    }

private:
    void serve(QTcpSocket *socket)
    {
        auto received = std::make_shared<QByteArray>();
        QObject::connect(socket, &QTcpSocket::readyRead, socket, [this, socket, received] {
            received->append(socket->readAll());
            const qsizetype headerEnd = received->indexOf("\r\n\r\n");
            if (headerEnd < 0)
                return;
            const QByteArray path = received->left(received->indexOf("\r\n")).split(' ').value(1);
            Request request{path, received->left(headerEnd), {}};
            const qsizetype length = request.header("content-length").toLongLong();
            if (received->size() < headerEnd + 4 + length)
                return;
            request.body = received->mid(headerEnd + 4, length);
            requests.append(request);
            if (const std::optional<Reply> reply = answer ? answer(request) : Reply{})
                respond(socket, *reply);
        });
    }

    static void respond(QTcpSocket *socket, const Reply &reply)
    {
        socket->write("HTTP/1.1 " + reply.status + "\r\nContent-Type: application/json\r\nContent-Length: "
            + QByteArray::number(reply.body.size()) + "\r\nConnection: close\r\n\r\n");
        socket->write(reply.cutAt ? reply.body.left(*reply.cutAt) : reply.body);
        socket->flush();
        // A cut comes a moment after the data, as on a network that drops: the client has received
        // (and kept) what was sent before the connection broke.
        QTimer::singleShot(reply.cutAt ? 200 : 0, socket, [socket] { socket->disconnectFromHost(); });
    }

    QTcpServer server;
};
