#pragma once

#include <QStringList>
#include <QtGlobal>

// Collects the warnings Qt writes while this lives (a view's QML, bindings), for a test to expect
// none. The offscreen platform cannot raise windows; that says nothing about a view and is left out.
class QtWarnings
{
public:
    QStringList messages;

    QtWarnings()
        : previous(qInstallMessageHandler(collect))
    {
        collected = &messages;
    }
    ~QtWarnings()
    {
        qInstallMessageHandler(previous);
        collected = nullptr;
    }
    QtWarnings(const QtWarnings &) = delete;
    QtWarnings &operator=(const QtWarnings &) = delete;

private:
    static void collect(QtMsgType type, const QMessageLogContext &, const QString &message)
    {
        if (type != QtDebugMsg && type != QtInfoMsg && !message.contains(QStringLiteral("support raise()")))
            collected->append(message);
    }

    static inline QStringList *collected = nullptr;
    QtMessageHandler previous;
};
