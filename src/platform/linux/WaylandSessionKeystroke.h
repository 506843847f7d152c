#pragma once

#include "platform/Keystroke.h"

class X11ActiveWindow;

// The paste shortcut in a Wayland session: through the virtual keyboard, which reaches every
// window, and without it through XWayland's XTEST, which reaches only X clients. So the second is
// used only while an X window is the active one (XWayland names none while a native Wayland
// window has the focus); for a native window without the virtual keyboard nothing can be sent,
// and the reason names the device file. Any thread, one call at a time.
class WaylandSessionKeystroke final : public Keystroke
{
public:
    // All three must outlive this object.
    WaylandSessionKeystroke(Keystroke &virtualKeyboard, Keystroke &xwayland, const X11ActiveWindow &xwaylandWindows);

    bool isAvailable() const override;
    bool waitForModifierRelease() override;
    bool sendPaste(bool forTerminal) override;
    QString unavailableReason() const override;

private:
    // The injector that reaches the focused window now; null when none does.
    Keystroke *reaching() const;

    Keystroke &virtualKeyboard;
    Keystroke &xwayland;
    const X11ActiveWindow &xwaylandWindows;
};
