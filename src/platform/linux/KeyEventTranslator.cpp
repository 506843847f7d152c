#include "platform/linux/KeyEventTranslator.h"

#include "store/HotkeyChoice.h"

#include <chrono>

namespace {

// linux/input-event-codes.h, which the core library does not include.
namespace LinuxKey {
constexpr quint16 escape = 1;
constexpr quint16 leftControl = 29;
constexpr quint16 leftShift = 42;
constexpr quint16 rightShift = 54;
constexpr quint16 leftAlt = 56;
constexpr quint16 capsLock = 58;
constexpr quint16 numLock = 69;
constexpr quint16 scrollLock = 70;
constexpr quint16 rightControl = 97;
constexpr quint16 rightAlt = 100;
constexpr quint16 leftMeta = 125;
constexpr quint16 rightMeta = 126;
constexpr quint16 compose = 127;
constexpr quint16 fn = 0x1d0;
} // namespace LinuxKey

} // namespace

quint64 KeyEventTranslator::now()
{
    return quint64(
        std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now().time_since_epoch())
            .count());
}

quint64 KeyEventTranslator::flagBit(quint16 linuxKeyCode)
{
    switch (linuxKeyCode) {
    case LinuxKey::fn: return HotkeyChoice(HotkeyChoice::function).flagMask();
    case LinuxKey::rightAlt: return HotkeyChoice(HotkeyChoice::rightOption).flagMask();
    case LinuxKey::leftAlt: return HotkeyChoice(HotkeyChoice::leftOption).flagMask();
    case LinuxKey::rightMeta: return HotkeyChoice(HotkeyChoice::rightCommand).flagMask();
    case LinuxKey::leftMeta: return HotkeyChoice(HotkeyChoice::leftCommand).flagMask();
    case LinuxKey::rightControl: return HotkeyChoice(HotkeyChoice::rightControl).flagMask();
    case LinuxKey::leftControl: return HotkeyChoice(HotkeyChoice::leftControl).flagMask();
    case LinuxKey::rightShift: return HotkeyChoice(HotkeyChoice::rightShift).flagMask();
    case LinuxKey::leftShift: return HotkeyChoice(HotkeyChoice::leftShift).flagMask();
    default: return 0;
    }
}

bool KeyEventTranslator::isSystemKey(quint16 linuxKeyCode)
{
    // Mute, volume, power (113–116), media keys (163–166), brightness (224–225), microphone mute (248).
    return (linuxKeyCode >= 113 && linuxKeyCode <= 116) || (linuxKeyCode >= 163 && linuxKeyCode <= 166)
        || linuxKeyCode == 224 || linuxKeyCode == 225 || linuxKeyCode == 248;
}

bool KeyEventTranslator::isLockOrCompose(quint16 linuxKeyCode)
{
    return linuxKeyCode == LinuxKey::capsLock || linuxKeyCode == LinuxKey::numLock
        || linuxKeyCode == LinuxKey::scrollLock || linuxKeyCode == LinuxKey::compose;
}

std::optional<KeyEvent> KeyEventTranslator::translate(quint16 linuxKeyCode, bool isPressed, quint64 timestamp)
{
    // A lock key changes a lock state and Compose starts a compose sequence: neither is another key
    // pressed with the dictation key, and neither has a dictation bit, so the flag word stays as it is.
    if (isLockOrCompose(linuxKeyCode))
        return KeyEvent{KeyEventType::flagsChanged, 0, flags, timestamp};
    if (const quint64 bit = flagBit(linuxKeyCode)) {
        const quint64 updated = isPressed ? (flags | bit) : (flags & ~bit);
        if (updated == flags)
            return std::nullopt;
        flags = updated;
        return KeyEvent{KeyEventType::flagsChanged, 0, flags, timestamp};
    }
    if (isSystemKey(linuxKeyCode)) {
        if (!isPressed)
            return std::nullopt;
        return KeyEvent{KeyEventType::systemDefined, 0, flags, timestamp};
    }
    const quint16 code = linuxKeyCode == LinuxKey::escape ? escapeKeyCode : quint16(linuxKeyCode + reportedCodeOffset);
    return KeyEvent{isPressed ? KeyEventType::keyDown : KeyEventType::keyUp, code, flags, timestamp};
}
