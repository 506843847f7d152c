#include "platform/linux/XInputKeySource.h"

#include "platform/linux/InjectedKeys.h"
#include "platform/linux/KeyStream.h"
#include "store/HotkeyChoice.h"

#include <QCoreApplication>
#include <QSocketNotifier>
#include <QTimer>

#include <xcb/xcb.h>
#include <xcb/xinput.h>

#include <memory>

namespace {

struct FreeDeleter {
    void operator()(void *pointer) const { std::free(pointer); }
};
template<typename T>
using XcbReply = std::unique_ptr<T, FreeDeleter>;

// X key codes are the Linux key codes plus 8.
constexpr quint16 xKeycodeOffset = 8;

} // namespace

XInputKeySource::XInputKeySource(InjectedKeys &injected, const LogindSession *session, QObject *parent)
    : QObject(parent)
    , reconnectTimer(new QTimer(this))
    , injected(injected)
    , stream(new KeyStream(session, this))
{
    reconnectTimer->setInterval(2000);
    connect(reconnectTimer, &QTimer::timeout, this, [this] {
        if (connectToServer())
            reconnectTimer->stop();
    });
}

XInputKeySource::~XInputKeySource()
{
    disconnectFromServer();
}

bool XInputKeySource::start(Handler given)
{
    stop();
    stream->setHandler(std::move(given));
    if (connectToServer())
        return true;
    stream->setHandler(nullptr);
    return false;
}

void XInputKeySource::stop()
{
    reconnectTimer->stop();
    disconnectFromServer();
    stream->setHandler(nullptr);
}

void XInputKeySource::resume()
{
    if (stream->hasHandler() && connection == nullptr && !reconnectTimer->isActive())
        reconnectTimer->start();
}

bool XInputKeySource::canObserve(quint64 flagMask) const
{
    // fn is handled inside most keyboards; where Linux sees it (KEY_FN, 464) its X key code would be
    // above 255, which X11 cannot deliver.
    return flagMask != HotkeyChoice(HotkeyChoice::function).flagMask();
}

bool XInputKeySource::connectToServer()
{
    disconnectFromServer();
    int screenNumber = 0;
    connection = xcb_connect(nullptr, &screenNumber);
    if (xcb_connection_has_error(connection)) {
        error = QCoreApplication::translate("XInputKeySource", "X サーバーに接続できません。");
        disconnectFromServer();
        return false;
    }
    const xcb_query_extension_reply_t *extension = xcb_get_extension_data(connection, &xcb_input_id);
    XcbReply<xcb_input_xi_query_version_reply_t> version(
        xcb_input_xi_query_version_reply(connection, xcb_input_xi_query_version(connection, 2, 2), nullptr));
    if (extension == nullptr || !extension->present || !version || version->major_version < 2) {
        error = QCoreApplication::translate("XInputKeySource", "X サーバーが XInput2 に対応していません。");
        disconnectFromServer();
        return false;
    }
    extensionOpcode = extension->major_opcode;

    xcb_screen_iterator_t screens = xcb_setup_roots_iterator(xcb_get_setup(connection));
    for (int i = 0; i < screenNumber && screens.rem > 0; ++i)
        xcb_screen_next(&screens);
    struct {
        xcb_input_event_mask_t head;
        uint32_t mask;
    } mask{};
    mask.head.deviceid = XCB_INPUT_DEVICE_ALL;
    mask.head.mask_len = 1;
    mask.mask = XCB_INPUT_XI_EVENT_MASK_RAW_KEY_PRESS | XCB_INPUT_XI_EVENT_MASK_RAW_KEY_RELEASE;
    xcb_input_xi_select_events(connection, screens.data->root, 1, &mask.head);
    xcb_flush(connection);
    serverClock.reset();

    notifier = new QSocketNotifier(xcb_get_file_descriptor(connection), QSocketNotifier::Read, this);
    connect(notifier, &QSocketNotifier::activated, this, &XInputKeySource::readEvents);
    error.clear();
    return true;
}

void XInputKeySource::disconnectFromServer()
{
    delete notifier;
    notifier = nullptr;
    if (connection != nullptr)
        xcb_disconnect(connection);
    connection = nullptr;
}

void XInputKeySource::readEvents()
{
    while (connection != nullptr) {
        XcbReply<xcb_generic_event_t> event(xcb_poll_for_event(connection));
        if (!event)
            break;
        if ((event->response_type & 0x7f) != XCB_GE_GENERIC)
            continue;
        const auto *generic = reinterpret_cast<const xcb_ge_generic_event_t *>(event.get());
        if (generic->extension != extensionOpcode)
            continue;
        if (generic->event_type != XCB_INPUT_RAW_KEY_PRESS && generic->event_type != XCB_INPUT_RAW_KEY_RELEASE)
            continue;
        const auto *raw = reinterpret_cast<const xcb_input_raw_key_press_event_t *>(event.get());
        // Each key comes once from its own (slave) device and again through the master keyboard.
        if (raw->deviceid != raw->sourceid)
            continue;
        if (raw->detail < xKeycodeOffset)
            continue;
        const InjectedKeys::Key key{
            quint16(raw->detail - xKeycodeOffset), generic->event_type == XCB_INPUT_RAW_KEY_PRESS};
        const quint64 timestamp = serverClock.toMonotonic(raw->time, KeyEventTranslator::now());
        if (injected.consume(key, timestamp))
            continue;
        // Queued by the stream: the handler runs after this loop.
        stream->key(key.linuxKeyCode, key.isPressed, timestamp);
    }
    if (connection != nullptr && xcb_connection_has_error(connection)) {
        disconnectFromServer();
        error = QCoreApplication::translate("XInputKeySource", "X サーバーとの接続が切れました。");
        stream->startOver();
    }
}
