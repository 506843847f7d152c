#include "app/DesktopServices.h"

#include "core/XdgPaths.h"
#include "platform/linux/EvdevKeySource.h"
#include "platform/linux/RemoteDesktopPortalKeystroke.h"
#include "platform/linux/UinputKeystroke.h"
#include "platform/linux/WaylandSessionKeystroke.h"
#include "platform/linux/XInputKeySource.h"
#include "platform/linux/XTestKeystroke.h"

#include <QGuiApplication>

DesktopServices::DesktopServices()
    : feed(QUrl(QStringLiteral(SORAWEN_UPDATE_FEED_URL)),
          QByteArray::fromBase64(QByteArrayLiteral(SORAWEN_UPDATE_PUBLIC_KEY)))
{
    if (isWaylandSession()) {
        auto *evdev = new EvdevKeySource(&session);
        keys.reset(evdev);
        const auto heldModifiers = [evdev] { return evdev->heldModifiers(); };
        virtualKeyboard = std::make_unique<UinputKeystroke>(heldModifiers, injected);
        xwaylandKeystroke = std::make_unique<XTestKeystroke>(injected);
        xwaylandWindows = std::make_unique<X11ActiveWindow>();
        // The desktop asks the user before the portal's keyboard works: asked only when it is needed.
        if (!virtualKeyboard->isAvailable()) {
            portalKeystroke = std::make_unique<RemoteDesktopPortalKeystroke>(engines.log,
                XdgPaths::configHome() + QStringLiteral("/sorawen/remote-desktop-token"), heldModifiers);
            portalKeystroke->start();
        }
        keystroke = std::make_unique<WaylandSessionKeystroke>(
            *virtualKeyboard, *xwaylandKeystroke, *xwaylandWindows, portalKeystroke.get());
    } else {
        keys = std::make_unique<XInputKeySource>(injected, &session);
        keystroke = std::make_unique<XTestKeystroke>(injected);
        activeWindow = std::make_unique<X11ActiveWindow>();
    }
    tree = std::make_unique<WindowManagerTree>(accessibleTree, activeWindow.get());
}

// The injector goes first: the virtual keyboard asks the key source which modifiers are held.
DesktopServices::~DesktopServices() = default;

bool DesktopServices::isWaylandSession()
{
    return qEnvironmentVariable("XDG_SESSION_TYPE") == QStringLiteral("wayland")
        || !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY") || QGuiApplication::platformName() != QStringLiteral("xcb");
}

AppModel::Environment DesktopServices::environment()
{
    return AppModel::Environment{engines.defaults, engines.clock, *keys, *engines.languageModel, audio,
        engines.converters, engines.recognizers, engines.recognizers, *tree, access, pasteboard, *keystroke,
        engines.tokenizer, engines.history, engines.log, sounds, sleep, loginItem};
}
