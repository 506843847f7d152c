#pragma once

#include <QString>

#include <mutex>
#include <optional>

struct xcb_connection_t;

// The window that the window manager says is active (_NET_ACTIVE_WINDOW), with its process
// (_NET_WM_PID), class (WM_CLASS) and title (_NET_WM_NAME, else WM_NAME): what is known of an
// application without accessibility. Its own X connection, so any thread may ask, one call at a time;
// nothing without an X server or a window manager that names the active window.
class X11ActiveWindow
{
public:
    struct Window {
        quint64 identifier = 0;
        // 0 when the window does not say.
        qint32 processIdentifier = 0;
        // WM_CLASS: the instance ("xterm") and the class ("XTerm").
        QString instanceName;
        QString className;
        QString title;
    };

    X11ActiveWindow();
    ~X11ActiveWindow();
    X11ActiveWindow(const X11ActiveWindow &) = delete;
    X11ActiveWindow &operator=(const X11ActiveWindow &) = delete;

    std::optional<Window> active() const;
    // The title of a window, empty when it has none or is gone.
    QString title(quint64 identifier) const;

private:
    bool isConnected() const;
    QString titleLocked(quint32 window) const;

    mutable std::mutex mutex;
    xcb_connection_t *connection = nullptr; // guarded by mutex
    quint32 root = 0;
    quint32 activeWindowAtom = 0, pidAtom = 0, nameAtom = 0, utf8Atom = 0;
};
