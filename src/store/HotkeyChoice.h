#pragma once

#include <QString>

#include <array>
#include <optional>

// The nine keys that can start dictation. Each carries the key code and the flag bit that the key
// event source reports for it (one bit per physical modifier key) and a label for the settings
// window. On Linux, Option is Alt and Command is Super; the fn bit is set only by keyboards that
// report KEY_FN. The stored raw value is the case name.
class HotkeyChoice
{
public:
    enum Case : quint8 {
        function,
        rightOption,
        leftOption,
        rightCommand,
        leftCommand,
        rightControl,
        leftControl,
        rightShift,
        leftShift,
    };

    // The union of every case's flag bit.
    static constexpr quint64 allFlagMask = 0x80207F;

    constexpr HotkeyChoice(Case value) // NOLINT(google-explicit-constructor): reads like the enum it wraps
        : value(value)
    { }

    static const std::array<HotkeyChoice, 9> &allCases();
    static std::optional<HotkeyChoice> fromRawValue(QStringView rawValue);

    QString rawValue() const;
    quint16 keyCode() const;
    quint64 flagMask() const;
    // allFlagMask without this key's own bit: tells whether another dictation-capable key is held.
    quint64 otherHotkeyFlagMask() const { return allFlagMask & ~flagMask(); }
    // Localised through the label itself as the key.
    QString label() const;
    bool isPressed(quint64 flags) const { return (flags & flagMask()) != 0; }

    constexpr Case caseValue() const { return value; }
    friend constexpr bool operator==(HotkeyChoice, HotkeyChoice) = default;

private:
    Case value;
};
