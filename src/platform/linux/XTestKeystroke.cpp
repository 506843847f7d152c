#include "platform/linux/XTestKeystroke.h"

#include "platform/linux/InjectedKeys.h"
#include "platform/linux/KeyEventTranslator.h"
#include "platform/linux/ModifierRelease.h"

#include <QCoreApplication>

#include <xcb/xcb.h>
#include <xcb/xcb_keysyms.h>
#include <xcb/xtest.h>

#include <cstdlib>
#include <memory>
#include <vector>

namespace {

constexpr xcb_keysym_t controlLeft = 0xffe3;
constexpr xcb_keysym_t shiftLeft = 0xffe1;
constexpr xcb_keysym_t letterV = 0x0076;
// X key codes are the Linux key codes plus 8.
constexpr xcb_keycode_t xKeycodeOffset = 8;
// Shift, Control, Alt, Super (left and right) and AltGr: a held one would change the shortcut.
constexpr xcb_keysym_t modifiers[] = {0xffe1, 0xffe2, 0xffe3, 0xffe4, 0xffe9, 0xffea, 0xffeb, 0xffec, 0xfe03};

} // namespace

XTestKeystroke::XTestKeystroke(InjectedKeys &injected)
    : injected(injected)
{
    connection = xcb_connect(nullptr, nullptr);
    if (xcb_connection_has_error(connection))
        return;
    const xcb_query_extension_reply_t *extension = xcb_get_extension_data(connection, &xcb_test_id);
    hasExtension = extension != nullptr && extension->present;
    symbols = xcb_key_symbols_alloc(connection);
}

XTestKeystroke::~XTestKeystroke()
{
    if (symbols != nullptr)
        xcb_key_symbols_free(symbols);
    if (connection != nullptr)
        xcb_disconnect(connection);
}

bool XTestKeystroke::isAvailable() const
{
    std::scoped_lock lock(mutex);
    return hasExtension && symbols != nullptr && !xcb_connection_has_error(connection);
}

// Without the lock: what it reads is set at construction, and xcb answers for errors on any thread.
QString XTestKeystroke::unavailableReason() const
{
    if (hasExtension && symbols != nullptr && !xcb_connection_has_error(connection))
        return {};
    return QCoreApplication::translate(
        "XTestKeystroke", "貼り付けのキーを送れません。X サーバーに XTest 拡張がないか、X サーバーにつながりません。");
}

bool XTestKeystroke::isModifierHeld() const
{
    std::unique_ptr<xcb_query_keymap_reply_t, decltype(&std::free)> keymap(
        xcb_query_keymap_reply(connection, xcb_query_keymap(connection), nullptr), &std::free);
    if (!keymap)
        return false;
    for (const xcb_keysym_t modifier : modifiers) {
        std::unique_ptr<xcb_keycode_t, decltype(&std::free)> codes(
            xcb_key_symbols_get_keycode(symbols, modifier), &std::free);
        for (const xcb_keycode_t *code = codes.get(); code != nullptr && *code != XCB_NO_SYMBOL; ++code) {
            if ((keymap->keys[*code / 8] & (1 << (*code % 8))) != 0)
                return true;
        }
    }
    return false;
}

bool XTestKeystroke::waitForModifierRelease()
{
    if (!isAvailable())
        return true;
    std::scoped_lock lock(mutex);
    return ModifierRelease::waitFor([this] { return isModifierHeld(); });
}

bool XTestKeystroke::sendPaste(bool forTerminal)
{
    if (!isAvailable())
        return false;
    std::scoped_lock lock(mutex);

    auto firstCode = [this](xcb_keysym_t symbol) -> xcb_keycode_t {
        std::unique_ptr<xcb_keycode_t, decltype(&std::free)> codes(
            xcb_key_symbols_get_keycode(symbols, symbol), &std::free);
        return codes ? codes.get()[0] : XCB_NO_SYMBOL;
    };
    std::vector<xcb_keycode_t> chord{firstCode(controlLeft)};
    if (forTerminal)
        chord.push_back(firstCode(shiftLeft));
    chord.push_back(firstCode(letterV));
    std::vector<InjectedKeys::Key> sent;
    for (const xcb_keycode_t code : chord) {
        // Also catches XCB_NO_SYMBOL (0), a key missing from the keymap.
        if (code < xKeycodeOffset)
            return false;
        sent.push_back({quint16(code - xKeycodeOffset), true});
    }
    for (auto code = chord.rbegin(); code != chord.rend(); ++code)
        sent.push_back({quint16(*code - xKeycodeOffset), false});
    injected.record(sent, KeyEventTranslator::now());
    for (const xcb_keycode_t code : chord)
        xcb_test_fake_input(connection, XCB_KEY_PRESS, code, XCB_CURRENT_TIME, XCB_NONE, 0, 0, 0);
    for (auto code = chord.rbegin(); code != chord.rend(); ++code)
        xcb_test_fake_input(connection, XCB_KEY_RELEASE, *code, XCB_CURRENT_TIME, XCB_NONE, 0, 0, 0);
    // A round trip makes sure the server has taken the keys before we report them sent.
    std::free(xcb_get_input_focus_reply(connection, xcb_get_input_focus(connection), nullptr));
    return !xcb_connection_has_error(connection);
}
