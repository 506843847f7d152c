#include "store/HotkeyChoice.h"

#include <QCoreApplication>

namespace {

struct Properties {
    const char16_t *rawValue;
    quint16 keyCode;
    quint64 flagMask;
    const char *label;
};

// In the order of HotkeyChoice::Case.
constexpr std::array<Properties, 9> table {{
    {u"function", 0x3F, 0x800000, QT_TRANSLATE_NOOP("HotkeyChoice", "fn（地球儀）キー")},
    {u"rightOption", 0x3D, 0x40, QT_TRANSLATE_NOOP("HotkeyChoice", "右 Option")},
    {u"leftOption", 0x3A, 0x20, QT_TRANSLATE_NOOP("HotkeyChoice", "左 Option")},
    {u"rightCommand", 0x36, 0x10, QT_TRANSLATE_NOOP("HotkeyChoice", "右 Command")},
    {u"leftCommand", 0x37, 0x08, QT_TRANSLATE_NOOP("HotkeyChoice", "左 Command")},
    {u"rightControl", 0x3E, 0x2000, QT_TRANSLATE_NOOP("HotkeyChoice", "右 Control")},
    {u"leftControl", 0x3B, 0x01, QT_TRANSLATE_NOOP("HotkeyChoice", "左 Control")},
    {u"rightShift", 0x3C, 0x04, QT_TRANSLATE_NOOP("HotkeyChoice", "右 Shift")},
    {u"leftShift", 0x38, 0x02, QT_TRANSLATE_NOOP("HotkeyChoice", "左 Shift")},
}};

const Properties &propertiesOf(HotkeyChoice choice)
{
    return table[choice.caseValue()];
}

} // namespace

const std::array<HotkeyChoice, 9> &HotkeyChoice::allCases()
{
    static const std::array<HotkeyChoice, 9> cases {
        function, rightOption, leftOption, rightCommand, leftCommand, rightControl, leftControl, rightShift, leftShift};
    return cases;
}

std::optional<HotkeyChoice> HotkeyChoice::fromRawValue(QStringView rawValue)
{
    for (const HotkeyChoice choice : allCases()) {
        if (rawValue == QStringView(propertiesOf(choice).rawValue))
            return choice;
    }
    return std::nullopt;
}

QString HotkeyChoice::rawValue() const
{
    return QString::fromUtf16(propertiesOf(*this).rawValue);
}

quint16 HotkeyChoice::keyCode() const
{
    return propertiesOf(*this).keyCode;
}

quint64 HotkeyChoice::flagMask() const
{
    return propertiesOf(*this).flagMask;
}

QString HotkeyChoice::label() const
{
    return QCoreApplication::translate("HotkeyChoice", propertiesOf(*this).label);
}
