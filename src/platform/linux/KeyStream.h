#pragma once

#include "platform/linux/KeyEventTranslator.h"
#include "platform/KeyEventSource.h"

#include <QObject>

#include <atomic>
#include <deque>

class LogindSession;

// What both key sources share: Linux key codes in, key events out to the handler, nothing while
// logind says the session is away, and a fresh start (held keys forgotten, the tap-disabled notice)
// when the session goes away or the source loses track of the keyboard. The handler never runs inside
// a source's read loop: the events read are queued and handed over, in order, by a task posted to the
// event loop, so a slow handler neither stalls nor re-enters the reading. Main thread.
class KeyStream final : public QObject
{
    Q_OBJECT

public:
    // Events are dropped while `session` (when given) is inactive or locked.
    explicit KeyStream(const LogindSession *session, QObject *parent = nullptr);

    // Nothing is delivered without a handler; setting one forgets what was held and what was not yet
    // handed to the previous handler.
    void setHandler(KeyEventSource::Handler given);
    bool hasHandler() const { return bool(handler); }

    // `timestamp`: when the key went down or up, on the monotonic clock in nanoseconds.
    void key(quint16 linuxKeyCode, bool isPressed, quint64 timestamp);
    // Forgets the held keys and tells the handler (after the events already read), whose key state
    // is now stale too.
    void startOver();

    // The modifier bits held right now; any thread may ask.
    quint64 heldModifiers() const { return held.load(); }

private:
    void forget();
    void enqueue(const KeyEvent &event);
    void deliverQueued();

    const LogindSession *session;
    KeyEventSource::Handler handler;
    // Bumped with every new handler, so a delivery under way stops handing out the old handler's events.
    quint64 handlerGeneration = 0;
    std::deque<KeyEvent> queued;
    bool isDeliveryPosted = false;
    KeyEventTranslator translator;
    std::atomic<quint64> held{0};
};
