#pragma once

#include <QtGlobal>

#include <optional>

struct xkb_keymap;

// Which physical key types a letter in the user's keyboard layout, so that a shortcut sent through
// a virtual keyboard means the same on Dvorak, AZERTY or QWERTZ as on QWERTY.
namespace KeyboardLayout {

// The Linux key code of the key that types `keysym` with no modifier in the keymap's first layout;
// nothing when no key does (a layout without Latin letters).
std::optional<quint16> linuxKeyTyping(xkb_keymap *keymap, quint32 keysym);

// The same in the X server's current keymap (XWayland follows the compositor's layout); nothing
// when there is no X server or it has no keyboard extension. Any thread; asks the server each time,
// so a layout switched since the last call counts.
std::optional<quint16> linuxKeyTypingOnDisplay(quint32 keysym);

} // namespace KeyboardLayout
