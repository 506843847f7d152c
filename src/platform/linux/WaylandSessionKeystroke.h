#pragma once

#include "platform/Keystroke.h"

class X11ActiveWindow;

// The paste shortcut in a Wayland session: through the virtual keyboard, which reaches every
// window; without it through the desktop's remote-desktop portal, which does too once the user
// allowed it; without either through XWayland's XTEST, which reaches only X clients. So the last is
// used only while an X window is the active one (XWayland names none while a native Wayland
// window has the focus); for a native window nothing can then be sent, and the reason names the
// device file and what the portal said. Any thread, one call at a time.
class WaylandSessionKeystroke final : public Keystroke
{
public:
    // All must outlive this object; `portal` may be null (not asked for while the virtual keyboard works).
    WaylandSessionKeystroke(Keystroke &virtualKeyboard, Keystroke &xwayland, const X11ActiveWindow &xwaylandWindows,
        Keystroke *portal = nullptr);

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
    Keystroke *portal;
};
