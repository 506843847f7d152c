#include "platform/linux/KeyEventTranslator.h"

#include <gtest/gtest.h>

#include <optional>

namespace {

constexpr quint32 down = KeyEventType::keyDown;
constexpr quint32 up = KeyEventType::keyUp;
constexpr quint32 flags = KeyEventType::flagsChanged;
constexpr quint32 system = KeyEventType::systemDefined;

TEST(KeyEventTranslator, MapsLinuxKeys)
{
    KeyEventTranslator translator;
    struct Step {
        quint16 linuxCode;
        bool isPressed;
        std::optional<KeyEvent> expected;
    };
    const Step steps[] = {
        {100, true, KeyEvent {flags, 0, 0x40, 7}}, // right Alt
        {100, true, std::nullopt}, // autorepeat of a held modifier
        {42, true, KeyEvent {flags, 0, 0x42, 7}}, // left Shift joins
        {1, true, KeyEvent {down, escapeKeyCode, 0x42, 7}}, // Escape is 53
        {45, true, KeyEvent {down, 45 + 0x100, 0x42, 7}}, // X
        {53, false, KeyEvent {up, 53 + 0x100, 0x42, 7}}, // KEY_SLASH (53) never reads as Escape
        {113, true, KeyEvent {system, 0, 0x42, 7}}, // mute, the first of the volume keys
        {113, false, std::nullopt}, {100, false, KeyEvent {flags, 0, 0x02, 7}},
        {0x1d0, true, KeyEvent {flags, 0, 0x800002, 7}}, // fn
        {125, true, KeyEvent {flags, 0, 0x80000A, 7}}, // left Super
        {97, true, KeyEvent {flags, 0, 0x80200A, 7}}, // right Control
        {29, true, KeyEvent {flags, 0, 0x80200B, 7}}, // left Control
        {54, true, KeyEvent {flags, 0, 0x80200F, 7}}, // right Shift
        {56, true, KeyEvent {flags, 0, 0x80202F, 7}}, // left Alt
        {58, true, KeyEvent {flags, 0, 0x80202F, 7}}, // CapsLock: a flags change of no dictation bit
        {58, false, KeyEvent {flags, 0, 0x80202F, 7}},
        {69, true, KeyEvent {flags, 0, 0x80202F, 7}}, // NumLock
        {70, false, KeyEvent {flags, 0, 0x80202F, 7}}, // ScrollLock
        {127, true, KeyEvent {flags, 0, 0x80202F, 7}}, // Compose
        {57, true, KeyEvent {down, 57 + 0x100, 0x80202F, 7}}, // Space stays a key
    };
    for (const Step &step : steps) {
        SCOPED_TRACE(step.linuxCode);
        EXPECT_EQ(translator.translate(step.linuxCode, step.isPressed, 7), step.expected);
    }
    translator.reset();
    EXPECT_EQ(translator.translate(30, true, 8), (KeyEvent {down, 30 + 0x100, 0, 8}));
}

} // namespace
