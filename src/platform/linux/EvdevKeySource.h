#pragma once

#include "platform/KeyEventSource.h"

#include <QObject>

#include <atomic>
#include <map>
#include <memory>

class KeyStream;
class LogindSession;
class QSocketNotifier;
struct libevdev;
struct udev;
struct udev_monitor;

// Key events read straight from the keyboards (/dev/input/event*), for sessions without X11.
// Keyboards are found and followed as they come and go through udev. Nothing is grabbed: the
// desktop still gets every key. Autorepeat is ignored, a dropped-events report is resynchronised,
// and Sorawen's own virtual keyboard is skipped (so its paste keys never arrive). Events carry the
// kernel's stamp, on the monotonic clock. The device files are readable only by members of
// the "input" group; without access start() fails with a message that says so. A keyboard that is
// unplugged sends the tap-disabled notice (its held keys are forgotten). Main thread.
class EvdevKeySource final : public QObject, public KeyEventSource
{
    Q_OBJECT

public:
    // Events are dropped while `session` (when given) is inactive or locked.
    explicit EvdevKeySource(const LogindSession *session = nullptr, QObject *parent = nullptr);
    ~EvdevKeySource() override;

    bool start(Handler handler) override;
    void stop() override;
    void resume() override { }
    bool canObserve(quint64 flagMask) const override;
    QString errorMessage() const override { return error; }

    // The modifier bits held right now on any keyboard; any thread may ask.
    quint64 heldModifiers() const;

private:
    struct Keyboard;

    void addKeyboard(const QByteArray &path);
    void removeKeyboard(const QByteArray &path);
    void readKeyboard(Keyboard &keyboard);
    void readHotplug();

    udev *context = nullptr;
    udev_monitor *monitor = nullptr;
    QSocketNotifier *monitorNotifier = nullptr;
    std::map<QByteArray, std::unique_ptr<Keyboard>> keyboards;
    KeyStream *stream;
    bool isAccessDenied = false;
    QString error;
};
