#include "platform/linux/EvdevKeySource.h"

#include "platform/linux/EvdevReader.h"
#include "platform/linux/KeyStream.h"
#include "store/HotkeyChoice.h"

#include <QCoreApplication>
#include <QSocketNotifier>

#include <libevdev/libevdev.h>
#include <libudev.h>

#include <cerrno>
#include <ctime>
#include <fcntl.h>
#include <unistd.h>

namespace {

quint64 monotonicNanoseconds(const input_event &event)
{
    return quint64(event.input_event_sec) * 1'000'000'000 + quint64(event.input_event_usec) * 1'000;
}

bool isKeyboardNode(udev_device *device)
{
    // The name is checked once the device is open.
    return EvdevReader::isKeyboardToRead(QByteArray(udev_device_get_devnode(device)),
        QByteArray(udev_device_get_property_value(device, "ID_INPUT_KEYBOARD")), QByteArray());
}

} // namespace

struct EvdevKeySource::Keyboard {
    QByteArray path;
    int descriptor = -1;
    libevdev *device = nullptr;
    std::unique_ptr<QSocketNotifier> notifier;
    bool hasMonotonicStamps = false;

    ~Keyboard()
    {
        notifier.reset();
        if (device != nullptr)
            libevdev_free(device);
        if (descriptor >= 0)
            ::close(descriptor);
    }
};

EvdevKeySource::EvdevKeySource(const LogindSession *session, QObject *parent)
    : QObject(parent)
    , stream(new KeyStream(session, this))
{ }

EvdevKeySource::~EvdevKeySource()
{
    stop();
}

bool EvdevKeySource::start(Handler given)
{
    stop();
    stream->setHandler(std::move(given));
    context = udev_new();
    if (context == nullptr) {
        error = QCoreApplication::translate("EvdevKeySource", "キーボードの一覧を取得できません（udev）。");
        return false;
    }
    monitor = udev_monitor_new_from_netlink(context, "udev");
    if (monitor != nullptr) {
        udev_monitor_filter_add_match_subsystem_devtype(monitor, "input", nullptr);
        udev_monitor_enable_receiving(monitor);
        monitorNotifier = new QSocketNotifier(udev_monitor_get_fd(monitor), QSocketNotifier::Read, this);
        connect(monitorNotifier, &QSocketNotifier::activated, this, &EvdevKeySource::readHotplug);
    }

    isAccessDenied = false;
    udev_enumerate *enumerate = udev_enumerate_new(context);
    udev_enumerate_add_match_subsystem(enumerate, "input");
    udev_enumerate_add_match_property(enumerate, "ID_INPUT_KEYBOARD", "1");
    udev_enumerate_scan_devices(enumerate);
    udev_list_entry *entry = nullptr;
    udev_list_entry_foreach(entry, udev_enumerate_get_list_entry(enumerate))
    {
        udev_device *device = udev_device_new_from_syspath(context, udev_list_entry_get_name(entry));
        if (device != nullptr && isKeyboardNode(device))
            addKeyboard(udev_device_get_devnode(device));
        if (device != nullptr)
            udev_device_unref(device);
    }
    udev_enumerate_unref(enumerate);

    if (!keyboards.empty()) {
        error.clear();
        return true;
    }
    error = isAccessDenied ? QCoreApplication::translate("EvdevKeySource",
                "キーボードを読み取る権限がありません。「sudo usermod -aG input $USER」で input "
                "グループに参加し、ログインし直してください。")
                           : QCoreApplication::translate("EvdevKeySource", "キーボードが見つかりません。");
    // Keep listening: a keyboard plugged in later starts the stream.
    return monitor != nullptr && !isAccessDenied;
}

void EvdevKeySource::stop()
{
    keyboards.clear();
    delete monitorNotifier;
    monitorNotifier = nullptr;
    if (monitor != nullptr)
        udev_monitor_unref(monitor);
    monitor = nullptr;
    if (context != nullptr)
        udev_unref(context);
    context = nullptr;
    stream->setHandler(nullptr);
}

quint64 EvdevKeySource::heldModifiers() const
{
    return stream->heldModifiers();
}

bool EvdevKeySource::canObserve(quint64 flagMask) const
{
    if (flagMask != HotkeyChoice(HotkeyChoice::function).flagMask())
        return !keyboards.empty();
    for (const auto &[path, keyboard] : keyboards) {
        if (libevdev_has_event_code(keyboard->device, EV_KEY, KEY_FN))
            return true;
    }
    return false;
}

void EvdevKeySource::addKeyboard(const QByteArray &path)
{
    if (keyboards.contains(path))
        return;
    auto keyboard = std::make_unique<Keyboard>();
    keyboard->path = path;
    keyboard->descriptor = ::open(path.constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (keyboard->descriptor < 0) {
        isAccessDenied = isAccessDenied || errno == EACCES || errno == EPERM;
        return;
    }
    if (libevdev_new_from_fd(keyboard->descriptor, &keyboard->device) < 0)
        return;
    if (!EvdevReader::isKeyboardToRead(path, "1", QByteArray(libevdev_get_name(keyboard->device))))
        return;
    // The kernel stamps events with the wall clock unless asked for the monotonic one; without it
    // the stamp of the read stands in.
    keyboard->hasMonotonicStamps = libevdev_set_clock_id(keyboard->device, CLOCK_MONOTONIC) == 0;
    Keyboard *raw = keyboard.get();
    keyboard->notifier = std::make_unique<QSocketNotifier>(keyboard->descriptor, QSocketNotifier::Read);
    connect(keyboard->notifier.get(), &QSocketNotifier::activated, this, [this, raw] { readKeyboard(*raw); });
    keyboards.emplace(path, std::move(keyboard));
}

void EvdevKeySource::removeKeyboard(const QByteArray &path)
{
    if (keyboards.erase(path) == 0)
        return;
    // Keys held on the keyboard that went away will never be released.
    stream->startOver();
}

void EvdevKeySource::readHotplug()
{
    udev_device *device = udev_monitor_receive_device(monitor);
    if (device == nullptr)
        return;
    const QByteArray action(udev_device_get_action(device));
    const QByteArray node(udev_device_get_devnode(device) != nullptr ? udev_device_get_devnode(device) : "");
    if (action == "add" && isKeyboardNode(device))
        addKeyboard(node);
    else if (action == "remove" && !node.isEmpty())
        removeKeyboard(node);
    udev_device_unref(device);
}

void EvdevKeySource::readKeyboard(Keyboard &keyboard)
{
    const EvdevReader::Drained drained = EvdevReader::drain(
        [&keyboard](
            unsigned int flag, input_event &event) { return libevdev_next_event(keyboard.device, flag, &event); },
        [this, &keyboard](const input_event &event) {
            const quint64 timestamp
                = keyboard.hasMonotonicStamps ? monotonicNanoseconds(event) : KeyEventTranslator::now();
            // Queued by the stream: the handler runs after this read.
            stream->key(event.code, event.value == 1, timestamp);
        });
    if (drained == EvdevReader::Drained::deviceGone) {
        // An unplugged device stays readable (with an error) until closed: stop listening now, and
        // forget it once this notification is over, whether or not udev reports the removal.
        keyboard.notifier->setEnabled(false);
        QMetaObject::invokeMethod(
            this, [this, path = keyboard.path] { removeKeyboard(path); }, Qt::QueuedConnection);
    }
}
