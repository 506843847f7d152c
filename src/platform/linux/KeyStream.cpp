#include "platform/linux/KeyStream.h"

#include "platform/linux/LogindSession.h"

KeyStream::KeyStream(const LogindSession *session, QObject *parent)
    : QObject(parent)
    , session(session)
{
    if (session != nullptr) {
        // Keys released while the session was away were never seen.
        connect(session, &LogindSession::activeChanged, this, [this](bool isActive) {
            if (!isActive)
                startOver();
        });
    }
}

void KeyStream::setHandler(KeyEventSource::Handler given)
{
    handler = std::move(given);
    ++handlerGeneration;
    queued.clear();
    forget();
}

void KeyStream::key(quint16 linuxKeyCode, bool isPressed, quint64 timestamp)
{
    const std::optional<KeyEvent> translated = translator.translate(linuxKeyCode, isPressed, timestamp);
    if (!translated)
        return;
    held = translated->flags;
    if (session == nullptr || session->isActive())
        enqueue(*translated);
}

void KeyStream::startOver()
{
    forget();
    enqueue(KeyEventTranslator::tapDisabledNotice());
}

void KeyStream::forget()
{
    translator.reset();
    held = 0;
}

void KeyStream::enqueue(const KeyEvent &event)
{
    if (!handler)
        return;
    queued.push_back(event);
    if (isDeliveryPosted)
        return;
    isDeliveryPosted = true;
    QMetaObject::invokeMethod(this, &KeyStream::deliverQueued, Qt::QueuedConnection);
}

void KeyStream::deliverQueued()
{
    isDeliveryPosted = false;
    // The handler may stop or restart the source, which replaces `handler`: call a copy, and stop
    // handing out events once another handler took over.
    const KeyEventSource::Handler current = handler;
    const quint64 generation = handlerGeneration;
    // One at a time from the front, so that events read meanwhile still come in order.
    while (!queued.empty() && handlerGeneration == generation) {
        const KeyEvent event = queued.front();
        queued.pop_front();
        current(event);
    }
}
