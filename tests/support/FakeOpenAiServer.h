#pragma once

#include "LoopbackServer.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QMap>
#include <QUrl>

// An OpenAI-compatible server of transcriptions and chat answers on the loopback interface. The first
// path segment picks its behaviour: /good answers `text` (as a transcription or as a finished chat
// answer), /length answers a chat answer cut at its limit, /error fails with 500 and a message,
// /hang never answers. Every path lists one model at /…/v1/models. Every other request is kept with
// its multipart fields or its JSON body.
class FakeOpenAiServer
{
public:
    struct Request {
        QMap<QByteArray, QByteArray> fields;
        QJsonObject json;
    };

    QList<Request> requests;
    QByteArray text = "We meet at noon.";

    QUrl base(const char *mode) const { return QUrl(server.url("/") + QLatin1StringView(mode) + QLatin1String("/v1")); }

private:
    static Request formOf(const LoopbackServer::Request &received)
    {
        Request request{{}, QJsonDocument::fromJson(received.body).object()};
        const QByteArray type = received.header("content-type");
        if (!type.contains("boundary="))
            return request;
        const QByteArray delimiter = "--" + type.mid(type.indexOf("boundary=") + 9).replace('"', QByteArray());
        for (qsizetype at = received.body.indexOf(delimiter); at >= 0;) {
            const qsizetype start = at + delimiter.size();
            at = received.body.indexOf(delimiter, start);
            // A part is a line break, its headers, an empty line, its value and a line break; the closing
            // delimiter's "--" has no empty line.
            const QByteArray part = received.body.mid(start, at < 0 ? -1 : at - start);
            const qsizetype split = part.indexOf("\r\n\r\n");
            if (split < 0)
                continue;
            // " name" with its space, so that "filename" does not match.
            const qsizetype from = part.indexOf(" name=\"") + 7;
            request.fields.insert(part.mid(from, part.indexOf('"', from) - from), part.mid(split + 4).chopped(2));
        }
        return request;
    }

    std::optional<LoopbackServer::Reply> reply(const LoopbackServer::Request &received)
    {
        if (received.path.endsWith("/models"))
            return LoopbackServer::Reply{R"({"object":"list","data":[{"id":"listed-model","object":"model"}]})"};
        requests.append(formOf(received));
        const QByteArray mode = received.path.split('/').value(1);
        if (mode == "hang")
            return std::nullopt;
        if (mode == "error")
            return LoopbackServer::Reply{R"({"error":{"message":"the model failed","type":"server_error"}})",
                "500 Internal Server Error"};
        if (received.path.endsWith("/chat/completions"))
            return LoopbackServer::Reply{R"({"choices":[{"index":0,"message":{"role":"assistant","content":")" + text
                + R"("},"finish_reason":")" + (mode == "length" ? "length" : "stop") + R"("}]})"};
        return LoopbackServer::Reply{R"({"text":")" + text + R"("})"};
    }

    LoopbackServer server{[this](const LoopbackServer::Request &request) { return reply(request); }};
};
