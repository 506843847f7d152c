#pragma once

#include "platform/KeyEventSource.h"
#include "platform/linux/XServerClock.h"

#include <QObject>

class InjectedKeys;
class KeyStream;
class LogindSession;
class QSocketNotifier;
class QTimer;
struct xcb_connection_t;

// Key events of an X11 session from XInput2 raw events on the root window: listen-only, nothing is
// grabbed. One copy of each event is taken (the master keyboard's duplicates are dropped); the keys
// Sorawen's own paste injector recorded in `injected` are dropped, while every other sender's keys
// (xdotool, remote desktops, software KVMs through the XTEST device) are delivered. Events carry the
// server's time of the key, on the monotonic clock. Lives on the main thread and delivers there. When
// the X server goes away it sends a tap-disabled notice and tries to reconnect every two seconds.
class XInputKeySource final : public QObject, public KeyEventSource
{
    Q_OBJECT

public:
    // Events are dropped while `session` (when given) is inactive or locked. `injected` is shared with
    // the paste injector and must outlive this source.
    explicit XInputKeySource(InjectedKeys &injected, const LogindSession *session = nullptr, QObject *parent = nullptr);
    ~XInputKeySource() override;

    bool start(Handler handler) override;
    void stop() override;
    void resume() override;
    bool canObserve(quint64 flagMask) const override;
    QString errorMessage() const override { return error; }

private:
    bool connectToServer();
    void disconnectFromServer();
    void readEvents();

    xcb_connection_t *connection = nullptr;
    QSocketNotifier *notifier = nullptr;
    QTimer *reconnectTimer;
    quint8 extensionOpcode = 0;
    InjectedKeys &injected;
    XServerClock serverClock;
    KeyStream *stream;
    QString error;
};
