#include "platform/linux/WaylandSessionKeystroke.h"

#include "platform/linux/X11ActiveWindow.h"

WaylandSessionKeystroke::WaylandSessionKeystroke(
    Keystroke &virtualKeyboard, Keystroke &xwayland, const X11ActiveWindow &xwaylandWindows, Keystroke *portal)
    : virtualKeyboard(virtualKeyboard)
    , xwayland(xwayland)
    , xwaylandWindows(xwaylandWindows)
    , portal(portal)
{
}

Keystroke *WaylandSessionKeystroke::reaching() const
{
    if (virtualKeyboard.isAvailable())
        return &virtualKeyboard;
    if (portal != nullptr && portal->isAvailable())
        return portal;
    if (xwaylandWindows.active() && xwayland.isAvailable())
        return &xwayland;
    return nullptr;
}

bool WaylandSessionKeystroke::isAvailable() const
{
    return reaching() != nullptr;
}

bool WaylandSessionKeystroke::waitForModifierRelease()
{
    Keystroke *injector = reaching();
    return injector == nullptr || injector->waitForModifierRelease();
}

bool WaylandSessionKeystroke::sendPaste(bool forTerminal)
{
    Keystroke *injector = reaching();
    return injector != nullptr && injector->sendPaste(forTerminal);
}

QString WaylandSessionKeystroke::unavailableReason() const
{
    const QString reason = virtualKeyboard.unavailableReason();
    if (portal == nullptr || portal->isAvailable())
        return reason;
    return reason + QLatin1Char(' ') + portal->unavailableReason();
}
