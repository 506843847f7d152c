#include "platform/linux/KeyboardLayout.h"

#include <xcb/xcb.h>
#include <xkbcommon/xkbcommon-x11.h>
#include <xkbcommon/xkbcommon.h>

#include <memory>

namespace {

// X key codes are Linux key codes moved up by 8.
constexpr xkb_keycode_t xKeycodeOffset = 8;

template<typename T, void (*release)(T *)>
using Owned = std::unique_ptr<T, std::integral_constant<decltype(release), release>>;

} // namespace

namespace KeyboardLayout {

std::optional<quint16> linuxKeyTyping(xkb_keymap *keymap, quint32 keysym)
{
    if (keymap == nullptr)
        return std::nullopt;
    for (xkb_keycode_t key = xkb_keymap_min_keycode(keymap); key <= xkb_keymap_max_keycode(keymap); ++key) {
        const xkb_keysym_t *symbols = nullptr;
        const int count = xkb_keymap_key_get_syms_by_level(keymap, key, 0, 0, &symbols);
        for (int i = 0; i < count; ++i) {
            if (symbols[i] == keysym && key >= xKeycodeOffset)
                return quint16(key - xKeycodeOffset);
        }
    }
    return std::nullopt;
}

std::optional<quint16> linuxKeyTypingOnDisplay(quint32 keysym)
{
    const Owned<xcb_connection_t, xcb_disconnect> connection(xcb_connect(nullptr, nullptr));
    if (!connection || xcb_connection_has_error(connection.get()))
        return std::nullopt;
    if (!xkb_x11_setup_xkb_extension(connection.get(), XKB_X11_MIN_MAJOR_XKB_VERSION, XKB_X11_MIN_MINOR_XKB_VERSION,
            XKB_X11_SETUP_XKB_EXTENSION_NO_FLAGS, nullptr, nullptr, nullptr, nullptr)) {
        return std::nullopt;
    }
    const std::int32_t device = xkb_x11_get_core_keyboard_device_id(connection.get());
    if (device < 0)
        return std::nullopt;
    const Owned<xkb_context, xkb_context_unref> context(xkb_context_new(XKB_CONTEXT_NO_FLAGS));
    if (!context)
        return std::nullopt;
    const Owned<xkb_keymap, xkb_keymap_unref> keymap(
        xkb_x11_keymap_new_from_device(context.get(), connection.get(), device, XKB_KEYMAP_COMPILE_NO_FLAGS));
    return linuxKeyTyping(keymap.get(), keysym);
}

} // namespace KeyboardLayout
