#pragma once

#include <QByteArray>

#include <functional>

#include <linux/input.h>

// The reading rules of the evdev key source, apart from the device files so that recorded event
// sequences can drive them: which device nodes are keyboards to read, and how one readable
// notification is drained (autorepeat dropped, a dropped-events report followed by libevdev's
// resynchronisation, an unplugged device reported). Any thread; no state.
namespace EvdevReader {

// libevdev's read modes and statuses (checked against libevdev.h where it is included).
inline constexpr unsigned int readSync = 1;
inline constexpr unsigned int readNormal = 2;
inline constexpr int statusSuccess = 0;
inline constexpr int statusSync = 1;

// libevdev_next_event(device, flag, &event) for one device.
using NextEvent = std::function<int(unsigned int flag, input_event &event)>;
// A key going down (value 1) or up (value 0).
using KeyHandler = std::function<void(const input_event &event)>;

enum class Drained { waiting, deviceGone };

// Reads until the device has nothing more; every press and release goes to `key`, in order.
Drained drain(const NextEvent &next, const KeyHandler &key);

// A keyboard's event node, and not Sorawen's own virtual keyboard. `isKeyboard` is udev's
// ID_INPUT_KEYBOARD property; `name` the device's name (empty when not yet known).
bool isKeyboardToRead(const QByteArray &node, const QByteArray &isKeyboard, const QByteArray &name);

// The name of the virtual keyboard Sorawen types with.
inline constexpr char ownDeviceName[] = "Sorawen virtual keyboard";

} // namespace EvdevReader
