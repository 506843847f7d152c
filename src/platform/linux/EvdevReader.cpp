#include "platform/linux/EvdevReader.h"

#include <libevdev/libevdev.h>

#include <cerrno>

namespace EvdevReader {

static_assert(readSync == LIBEVDEV_READ_FLAG_SYNC && readNormal == LIBEVDEV_READ_FLAG_NORMAL);
static_assert(statusSuccess == LIBEVDEV_READ_STATUS_SUCCESS && statusSync == LIBEVDEV_READ_STATUS_SYNC);

Drained drain(const NextEvent &next, const KeyHandler &key)
{
    input_event event{};
    unsigned int flag = LIBEVDEV_READ_FLAG_NORMAL;
    for (;;) {
        const int status = next(flag, event);
        if (status == LIBEVDEV_READ_STATUS_SYNC) {
            // Events were dropped: libevdev replays the differences that bring the key state up to
            // date (the first answer is the drop report itself), then says -EAGAIN.
            flag = LIBEVDEV_READ_FLAG_SYNC;
        } else if (status == -EAGAIN && flag == LIBEVDEV_READ_FLAG_SYNC) {
            flag = LIBEVDEV_READ_FLAG_NORMAL;
            continue;
        } else if (status == -ENODEV) {
            return Drained::deviceGone;
        } else if (status != LIBEVDEV_READ_STATUS_SUCCESS) {
            return Drained::waiting;
        }
        // 2 is autorepeat.
        if (event.type == EV_KEY && (event.value == 0 || event.value == 1))
            key(event);
    }
}

bool isKeyboardToRead(const QByteArray &node, const QByteArray &isKeyboard, const QByteArray &name)
{
    return node.startsWith("/dev/input/event") && isKeyboard == "1" && name != ownDeviceName;
}

} // namespace EvdevReader
