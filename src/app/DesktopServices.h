#pragma once

#include "app/DesktopPermissions.h"
#include "app/EngineServices.h"
#include "dictation/AppModel.h"
#include "platform/linux/AtspiAccess.h"
#include "platform/linux/AtspiAccessibilityTree.h"
#include "platform/linux/FreedesktopSoundPlayer.h"
#include "platform/linux/InjectedKeys.h"
#include "platform/linux/LogindSession.h"
#include "platform/linux/LogindSleepMonitor.h"
#include "platform/linux/PulseAudioEngine.h"
#include "platform/linux/QtClipboardPasteboard.h"
#include "platform/linux/RemoteDesktopPortalKeystroke.h"
#include "platform/linux/SignedUpdateFeed.h"
#include "platform/linux/WindowManagerTree.h"
#include "platform/linux/X11ActiveWindow.h"
#include "platform/linux/XdgAutostartLoginItem.h"

#include <memory>

// Every real service of the running application, built in one place: the engine services, and the
// desktop adapters the session allows. In an X11 session keys come from XInput2 and the paste goes
// through XTest; in a Wayland session (the application itself runs on XWayland there, where XInput2
// sees only X clients' keys) keys come from the keyboards' device files and the paste from a
// virtual keyboard (without one, the desktop's remote-desktop portal, and XWayland's XTest for X
// windows). In an X11 session the window manager completes the accessibility tree, so applications
// without accessibility have a frontmost window. Main thread; built after the QGuiApplication.
class DesktopServices
{
public:
    DesktopServices();
    ~DesktopServices();
    DesktopServices(const DesktopServices &) = delete;
    DesktopServices &operator=(const DesktopServices &) = delete;

    // What the coordinator is built from; everything lives as long as this object.
    AppModel::Environment environment();
    Log &log() { return engines.log; }
    Permissions &permissions() { return grants; }
    // Reports the progress of model downloads.
    SpeechAssetManager &assets() { return engines.assets; }
    const SpeechModelStore &modelStore() const { return engines.modelStore; }
    void stopDownloads() { engines.modelStore.stopDownloads(); }
    UpdateFeed &updateFeed() { return feed; }

    // True in a Wayland session (the key source and the injector then use device files).
    static bool isWaylandSession();

private:
    EngineServices engines;
    LogindSession session;
    InjectedKeys injected;
    std::unique_ptr<KeyEventSource> keys;
    // In a Wayland session: the virtual keyboard; without it the portal's, and XWayland's XTEST
    // for X windows.
    std::unique_ptr<Keystroke> virtualKeyboard;
    std::unique_ptr<RemoteDesktopPortalKeystroke> portalKeystroke;
    std::unique_ptr<Keystroke> xwaylandKeystroke;
    std::unique_ptr<X11ActiveWindow> xwaylandWindows;
    std::unique_ptr<Keystroke> keystroke;
    AtspiAccessibilityTree accessibleTree;
    // In an X11 session only: under Wayland, XWayland's active window says nothing of native windows.
    std::unique_ptr<X11ActiveWindow> activeWindow;
    std::unique_ptr<WindowManagerTree> tree;
    AtspiAccess access;
    QtClipboardPasteboard pasteboard;
    PulseAudioEngine audio;
    FreedesktopSoundPlayer sounds{engines.log};
    LogindSleepMonitor sleep{engines.log};
    XdgAutostartLoginItem loginItem;
    SignedUpdateFeed feed;
    DesktopPermissions grants{audio, engines.assets, engines.modelStore, *engines.storedOnDisk, isWaylandSession()};
};
