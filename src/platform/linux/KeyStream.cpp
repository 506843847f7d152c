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
    forget();
}

void KeyStream::key(quint16 linuxKeyCode, bool isPressed, quint64 timestamp)
{
    const std::optional<KeyEvent> translated = translator.translate(linuxKeyCode, isPressed, timestamp);
    if (!translated)
        return;
    held = translated->flags;
    if (handler && (session == nullptr || session->isActive()))
        handler(*translated);
}

void KeyStream::startOver()
{
    forget();
    if (handler)
        handler(KeyEventTranslator::tapDisabledNotice());
}

void KeyStream::forget()
{
    translator.reset();
    held = 0;
}
