#pragma once

#include "platform/Keystroke.h"

#include <QDBusConnection>
#include <QDBusContext>
#include <QObject>
#include <QVariantMap>

#include <functional>
#include <mutex>

class Log;

// The paste shortcut through the desktop's remote-desktop portal (org.freedesktop.portal.RemoteDesktop),
// for Wayland sessions where the virtual keyboard is not permitted. start() asks for a session with a
// keyboard only; the desktop asks the user once, and the permission is kept (the token that restores
// it is stored in `tokenFile`, so later starts ask nothing). The keys go as key symbols, which the
// compositor types in whatever layout the user has. `heldModifiers` tells which modifier keys the
// user holds (0 when nothing can tell). The portal's answers arrive on the main thread; the other
// calls may come from any thread, one call at a time.
class RemoteDesktopPortalKeystroke final : public QObject, public Keystroke, protected QDBusContext
{
    Q_OBJECT

public:
    RemoteDesktopPortalKeystroke(Log &log, QString tokenFile, std::function<quint64()> heldModifiers,
        QDBusConnection bus = QDBusConnection::sessionBus(), QObject *parent = nullptr);
    // Ends the session, so the desktop stops showing that the keyboard is in use.
    ~RemoteDesktopPortalKeystroke() override;

    // Main thread, once. Nothing blocks: every step is an asynchronous call and its answer.
    void start();

    bool isAvailable() const override;
    bool waitForModifierRelease() override;
    bool sendPaste(bool forTerminal) override;
    QString unavailableReason() const override;

private Q_SLOTS:
    void requestAnswered(uint response, const QVariantMap &results);
    void sessionClosed();

private:
    enum class Step { notStarted, creating, selecting, starting, ready, failed };

    void readProperties();
    void listenForAnswer(const QString &path);
    void ask(Step step, const QString &method, const QVariantList &arguments, QVariantMap options);
    void fail(const QString &reason, const QString &logLine);
    bool sendKey(const QString &session, int keysym, bool isPressed);

    Log &log;
    const QString tokenFile;
    std::function<quint64()> heldModifiers;
    QDBusConnection bus;
    quint32 version = 0;
    // The request whose answer is awaited; its Response signal is the only one listened to.
    QString requestPath;
    int requests = 0;

    mutable std::mutex mutex;
    Step step = Step::notStarted;
    QString session;
    QString failure;
};
