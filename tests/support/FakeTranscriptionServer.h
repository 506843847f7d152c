#pragma once

#include <QHostAddress>
#include <QList>
#include <QMap>
#include <QTcpServer>
#include <QTcpSocket>
#include <QUrl>

#include <memory>

// An OpenAI-compatible transcription server on the loopback interface, served by the event loop of
// the thread that made it. The first path segment picks its behaviour: /good answers {"text": text},
// /error fails with 500 and a message, /garbage answers something that is not JSON, /notext answers
// JSON without "text", /hang never answers. Every request is kept with its multipart fields.
class FakeTranscriptionServer : public QObject
{
public:
    struct Request {
        QByteArray method;
        QByteArray path;
        QMap<QByteArray, QByteArray> fields;
        // The filename given with each field that has one.
        QMap<QByteArray, QByteArray> fileNames;
    };

    QList<Request> requests;
    QByteArray text = "We meet at noon.";

    FakeTranscriptionServer()
    {
        server.listen(QHostAddress::LocalHost);
        QObject::connect(&server, &QTcpServer::newConnection, this, [this] {
            while (QTcpSocket *socket = server.nextPendingConnection())
                serve(socket);
        });
    }
    QUrl base(const char *mode) const
    {
        return QUrl(QStringLiteral("http://127.0.0.1:%1/%2/v1").arg(server.serverPort()).arg(QLatin1StringView(mode)));
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
            qsizetype length = 0;
            QByteArray boundary;
            for (const QByteArray &line : received->left(headerEnd).split('\n')) {
                const QByteArray lower = line.trimmed().toLower();
                if (lower.startsWith("content-length:"))
                    length = line.mid(15).trimmed().toLongLong();
                if (lower.startsWith("content-type:") && lower.contains("boundary="))
                    boundary = line.mid(line.indexOf("boundary=") + 9).trimmed().replace('"', QByteArray());
            }
            if (received->size() < headerEnd + 4 + length)
                return;
            const QList<QByteArray> requestLine = received->left(received->indexOf("\r\n")).split(' ');
            Request request{requestLine.value(0), requestLine.value(1), {}, {}};
            readForm(received->mid(headerEnd + 4, length), boundary, request);
            requests.append(request);
            respond(socket, request.path.split('/').value(1));
        });
    }

    static void readForm(const QByteArray &body, const QByteArray &boundary, Request &request)
    {
        if (boundary.isEmpty())
            return;
        const QByteArray delimiter = "--" + boundary;
        for (qsizetype at = body.indexOf(delimiter); at >= 0;) {
            const qsizetype start = at + delimiter.size();
            const qsizetype next = body.indexOf(delimiter, start);
            QByteArray part = body.mid(start, next < 0 ? -1 : next - start);
            at = next;
            if (part.startsWith("\r\n"))
                part.remove(0, 2);
            if (part.endsWith("\r\n"))
                part.chop(2);
            const qsizetype split = part.indexOf("\r\n\r\n");
            if (split < 0)
                continue;
            const QByteArray headers = part.left(split);
            auto quoted = [&](const QByteArray &key) -> std::optional<QByteArray> {
                const qsizetype at = headers.indexOf(key + "=\"");
                if (at < 0)
                    return std::nullopt;
                const qsizetype start = at + key.size() + 2;
                return headers.mid(start, headers.indexOf('"', start) - start);
            };
            // " name" with its space, so that "filename" does not match.
            const QByteArray name = quoted(" name").value_or(QByteArray());
            request.fields.insert(name, part.mid(split + 4));
            if (const std::optional<QByteArray> fileName = quoted("filename"))
                request.fileNames.insert(name, *fileName);
        }
    }

    void respond(QTcpSocket *socket, const QByteArray &mode)
    {
        QByteArray status = "200 OK";
        QByteArray content = R"({"text":")" + text + R"("})";
        if (mode == "hang")
            return;
        if (mode == "error") {
            status = "500 Internal Server Error";
            content = R"({"error":{"message":"failed to read audio","type":"server_error"}})";
        } else if (mode == "garbage") {
            content = "<html>not what you asked for</html>";
        } else if (mode == "notext") {
            content = R"({"segments":[]})";
        }
        socket->write("HTTP/1.1 " + status + "\r\nContent-Type: application/json\r\nContent-Length: "
            + QByteArray::number(content.size()) + "\r\nConnection: close\r\n\r\n" + content);
        socket->flush();
        socket->disconnectFromHost();
    }

    QTcpServer server;
};
