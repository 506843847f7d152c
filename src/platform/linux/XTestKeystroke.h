#pragma once

#include "platform/Keystroke.h"

#include <mutex>

struct xcb_connection_t;
struct _XCBKeySymbols;

// The paste shortcut through the XTEST extension of an X11 session (the key source drops these
// events). Its own X connection, so any thread may call it, one call at a time.
class XTestKeystroke final : public Keystroke
{
public:
    XTestKeystroke();
    ~XTestKeystroke() override;
    XTestKeystroke(const XTestKeystroke &) = delete;
    XTestKeystroke &operator=(const XTestKeystroke &) = delete;

    bool isAvailable() const override;
    bool sendPaste(bool forTerminal) override;

private:
    bool isModifierHeld() const;

    mutable std::mutex mutex;
    xcb_connection_t *connection = nullptr;
    _XCBKeySymbols *symbols = nullptr;
    bool hasExtension = false;
};
