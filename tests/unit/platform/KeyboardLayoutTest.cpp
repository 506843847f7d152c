#include "platform/linux/KeyboardLayout.h"

#include <linux/input-event-codes.h>
#include <xkbcommon/xkbcommon.h>

#include <gtest/gtest.h>

#include <memory>

namespace {

TEST(KeyboardLayout, FindsTheKeyThatTypesVInEachLayout)
{
    struct Case {
        const char *layout;
        const char *variant;
        std::optional<quint16> key;
    };
    const Case cases[] = {
        {"us", "", KEY_V},
        {"us", "dvorak", KEY_DOT},
        {"ru", "", std::nullopt},
    };
    const std::unique_ptr<xkb_context, void (*)(xkb_context *)> context(
        xkb_context_new(XKB_CONTEXT_NO_FLAGS), xkb_context_unref);
    ASSERT_NE(context, nullptr);
    for (const Case &c : cases) {
        SCOPED_TRACE(std::string(c.layout) + "(" + c.variant + ")");
        const xkb_rule_names names {"evdev", "pc105", c.layout, c.variant, nullptr};
        const std::unique_ptr<xkb_keymap, void (*)(xkb_keymap *)> keymap(
            xkb_keymap_new_from_names(context.get(), &names, XKB_KEYMAP_COMPILE_NO_FLAGS), xkb_keymap_unref);
        ASSERT_NE(keymap, nullptr) << "the layout is not installed (xkb-data)";
        EXPECT_EQ(KeyboardLayout::linuxKeyTyping(keymap.get(), XKB_KEY_v), c.key);
    }
}

} // namespace
