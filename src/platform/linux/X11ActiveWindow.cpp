#include "platform/linux/X11ActiveWindow.h"

#include <QByteArrayList>

#include <xcb/xcb.h>

#include <cstdlib>
#include <cstring>
#include <memory>

namespace {

struct FreeDeleter {
    void operator()(void *pointer) const { std::free(pointer); }
};
template<typename T>
using XcbReply = std::unique_ptr<T, FreeDeleter>;

xcb_atom_t atom(xcb_connection_t *connection, const char *name)
{
    XcbReply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(
        connection, xcb_intern_atom(connection, 1, uint16_t(std::strlen(name)), name), nullptr));
    return reply ? reply->atom : xcb_atom_t(XCB_ATOM_NONE);
}

// The property's bytes; empty when it is missing or of another type.
QByteArray property(xcb_connection_t *connection, xcb_window_t window, xcb_atom_t name, xcb_atom_t type)
{
    if (name == XCB_ATOM_NONE)
        return {};
    XcbReply<xcb_get_property_reply_t> reply(xcb_get_property_reply(
        connection, xcb_get_property(connection, 0, window, name, type, 0, 1024), nullptr));
    if (!reply || reply->type != type)
        return {};
    return QByteArray(static_cast<const char *>(xcb_get_property_value(reply.get())),
        xcb_get_property_value_length(reply.get()));
}

quint32 cardinal(const QByteArray &bytes)
{
    quint32 value = 0;
    if (bytes.size() >= qsizetype(sizeof value))
        std::memcpy(&value, bytes.constData(), sizeof value);
    return value;
}

} // namespace

X11ActiveWindow::X11ActiveWindow()
{
    int screenNumber = 0;
    connection = xcb_connect(nullptr, &screenNumber);
    if (xcb_connection_has_error(connection))
        return;
    xcb_screen_iterator_t screens = xcb_setup_roots_iterator(xcb_get_setup(connection));
    for (int i = 0; i < screenNumber && screens.rem > 0; ++i)
        xcb_screen_next(&screens);
    root = screens.data->root;
    activeWindowAtom = atom(connection, "_NET_ACTIVE_WINDOW");
    pidAtom = atom(connection, "_NET_WM_PID");
    nameAtom = atom(connection, "_NET_WM_NAME");
    utf8Atom = atom(connection, "UTF8_STRING");
}

X11ActiveWindow::~X11ActiveWindow()
{
    if (connection != nullptr)
        xcb_disconnect(connection);
}

bool X11ActiveWindow::isConnected() const
{
    return connection != nullptr && !xcb_connection_has_error(connection) && root != 0;
}

std::optional<X11ActiveWindow::Window> X11ActiveWindow::active() const
{
    std::scoped_lock lock(mutex);
    if (!isConnected())
        return std::nullopt;
    const xcb_window_t window = cardinal(property(connection, root, activeWindowAtom, XCB_ATOM_WINDOW));
    if (window == XCB_WINDOW_NONE)
        return std::nullopt;
    Window result;
    result.identifier = window;
    result.processIdentifier = qint32(cardinal(property(connection, window, pidAtom, XCB_ATOM_CARDINAL)));
    // Two strings, each ended by a zero byte.
    const QList<QByteArray> names = property(connection, window, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING).split('\0');
    result.instanceName = names.size() > 0 ? QString::fromLocal8Bit(names[0]) : QString();
    result.className = names.size() > 1 ? QString::fromLocal8Bit(names[1]) : QString();
    result.title = titleLocked(window);
    return result;
}

QString X11ActiveWindow::title(quint64 identifier) const
{
    std::scoped_lock lock(mutex);
    if (!isConnected())
        return {};
    return titleLocked(quint32(identifier));
}

QString X11ActiveWindow::titleLocked(quint32 window) const
{
    const QByteArray title = property(connection, window, nameAtom, utf8Atom);
    if (!title.isEmpty())
        return QString::fromUtf8(title);
    return QString::fromLatin1(property(connection, window, XCB_ATOM_WM_NAME, XCB_ATOM_STRING));
}
