#pragma once

#include "platform/Keystroke.h"

#include <mutex>

class InjectedKeys;
struct xcb_connection_t;
struct _XCBKeySymbols;

// The paste shortcut through the XTEST extension of an X11 session. The keys are recorded in
// `injected` just before they are sent, so that the key source drops them. Its own X connection, so
// any thread may call it, one call at a time; false when the keys could not be sent.
class XTestKeystroke final : public Keystroke
{
public:
    // `injected` is shared with the key source and must outlive this injector.
    explicit XTestKeystroke(InjectedKeys &injected);
    ~XTestKeystroke() override;
    XTestKeystroke(const XTestKeystroke &) = delete;
    XTestKeystroke &operator=(const XTestKeystroke &) = delete;

    bool isAvailable() const override;
    bool waitForModifierRelease() override;
    bool sendPaste(bool forTerminal) override;
    QString unavailableReason() const override;

private:
    bool isModifierHeld() const;

    InjectedKeys &injected;
    mutable std::mutex mutex;
    xcb_connection_t *connection = nullptr;
    _XCBKeySymbols *symbols = nullptr;
    bool hasExtension = false;
};
