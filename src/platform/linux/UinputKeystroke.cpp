#include "platform/linux/UinputKeystroke.h"

#include "platform/linux/EvdevReader.h"
#include "platform/linux/InjectedKeys.h"
#include "platform/linux/KeyEventTranslator.h"
#include "platform/linux/KeyboardLayout.h"
#include "platform/linux/ModifierRelease.h"

#include <QCoreApplication>

#include <xkbcommon/xkbcommon-keysyms.h>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <linux/uinput.h>
#include <sys/ioctl.h>
#include <unistd.h>
#include <vector>

namespace {
// The keys the virtual keyboard can press: the main block, where every layout keeps its letters.
constexpr quint16 lastKey = 127;
} // namespace

UinputKeystroke::UinputKeystroke(std::function<quint64()> heldModifiers, InjectedKeys &injected)
    : heldModifiers(std::move(heldModifiers))
    , injected(injected)
{
    descriptor = ::open("/dev/uinput", O_WRONLY | O_NONBLOCK | O_CLOEXEC);
    if (descriptor < 0) {
        openError = errno;
        return;
    }
    uinput_setup setup{};
    setup.id.bustype = BUS_VIRTUAL;
    setup.id.vendor = 0x5357;
    setup.id.product = 0x0001;
    std::strncpy(setup.name, EvdevReader::ownDeviceName, UINPUT_MAX_NAME_SIZE - 1);
    bool isCreated = ::ioctl(descriptor, UI_SET_EVBIT, EV_KEY) == 0;
    for (quint16 key = KEY_ESC; key <= lastKey && isCreated; ++key)
        isCreated = ::ioctl(descriptor, UI_SET_KEYBIT, key) == 0;
    isCreated = isCreated && ::ioctl(descriptor, UI_DEV_SETUP, &setup) == 0 && ::ioctl(descriptor, UI_DEV_CREATE) == 0;
    if (!isCreated) {
        openError = errno;
        ::close(descriptor);
        descriptor = -1;
    }
}

UinputKeystroke::~UinputKeystroke()
{
    if (descriptor >= 0) {
        ::ioctl(descriptor, UI_DEV_DESTROY);
        ::close(descriptor);
    }
}

bool UinputKeystroke::write(quint16 type, quint16 code, qint32 value)
{
    input_event event{};
    event.type = type;
    event.code = code;
    event.value = value;
    return ::write(descriptor, &event, sizeof(event)) == ssize_t(sizeof(event));
}

bool UinputKeystroke::waitForModifierRelease()
{
    return !heldModifiers || ModifierRelease::waitFor([this] { return heldModifiers() != 0; });
}

bool UinputKeystroke::sendPaste(bool forTerminal)
{
    if (!isAvailable())
        return false;
    std::scoped_lock lock(mutex);
    std::vector<quint16> chord{KEY_LEFTCTRL};
    if (forTerminal)
        chord.push_back(KEY_LEFTSHIFT);
    // The key that types "v" in the user's layout (the compositor reads our key codes through it);
    // the physical V key where no layout can be read or none of its keys types a Latin v.
    const std::optional<quint16> typingV = KeyboardLayout::linuxKeyTypingOnDisplay(XKB_KEY_v);
    chord.push_back(typingV && *typingV <= lastKey ? *typingV : quint16(KEY_V));
    std::vector<InjectedKeys::Key> sent;
    for (const quint16 key : chord)
        sent.push_back({key, true});
    for (auto key = chord.rbegin(); key != chord.rend(); ++key)
        sent.push_back({*key, false});
    injected.record(sent, KeyEventTranslator::now());
    bool isSent = true;
    for (const quint16 key : chord)
        isSent = write(EV_KEY, key, 1) && write(EV_SYN, SYN_REPORT, 0) && isSent;
    for (auto key = chord.rbegin(); key != chord.rend(); ++key)
        isSent = write(EV_KEY, *key, 0) && write(EV_SYN, SYN_REPORT, 0) && isSent;
    return isSent;
}

QString UinputKeystroke::unavailableReason() const
{
    if (isAvailable())
        return {};
    if (openError == ENOENT)
        return QCoreApplication::translate("UinputKeystroke",
            "貼り付けのキーを送れません。仮想キーボードの装置 /dev/uinput がありません（uinput モジュールを読み込んでください）。");
    return QCoreApplication::translate("UinputKeystroke",
        "貼り付けのキーを送れません。/dev/uinput への書き込みが許可されていません。Sorawen のパッケージの udev 規則を入れてから、ログインし直してください。");
}
