#pragma once

#include "platform/Keystroke.h"

#include <QtGlobal>

#include <functional>
#include <mutex>

class InjectedKeys;

// The paste shortcut through a virtual keyboard (/dev/uinput), for sessions without X11. The
// keyboard is created once, at construction, because compositors take a moment to notice a new
// device. `heldModifiers` tells which modifier keys the user holds (from the evdev key source), so
// the shortcut waits for their release. The keys are recorded in `injected` before they are sent, for
// an X11 key source, which sees this keyboard as one more device; the evdev source skips the device
// instead. Any thread, one call at a time.
class UinputKeystroke final : public Keystroke
{
public:
    // `injected` is shared with the key source and must outlive this injector.
    UinputKeystroke(std::function<quint64()> heldModifiers, InjectedKeys &injected);
    ~UinputKeystroke() override;
    UinputKeystroke(const UinputKeystroke &) = delete;
    UinputKeystroke &operator=(const UinputKeystroke &) = delete;

    bool isAvailable() const override { return descriptor >= 0; }
    bool waitForModifierRelease() override;
    bool sendPaste(bool forTerminal) override;
    QString unavailableReason() const override;

private:
    bool write(quint16 type, quint16 code, qint32 value);

    std::function<quint64()> heldModifiers;
    InjectedKeys &injected;
    std::mutex mutex;
    int descriptor = -1;
    // Why the keyboard could not be made (an errno value), 0 when it was.
    int openError = 0;
};
