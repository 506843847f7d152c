#include "store/HotkeyChoice.h"

#include <gtest/gtest.h>

namespace {

TEST(HotkeyChoice, TableOfTheNineKeys)
{
    struct Row {
        const char16_t *rawValue;
        quint16 keyCode;
        quint64 flagMask;
        quint64 otherMask;
        const char16_t *label;
    };
    // In the order the settings window offers them.
    const Row rows[] = {
        {u"function", 63, 0x800000, 0x207F, u"fn（地球儀）キー"},
        {u"rightOption", 61, 0x40, 0x80203F, u"右 Option"},
        {u"leftOption", 58, 0x20, 0x80205F, u"左 Option"},
        {u"rightCommand", 54, 0x10, 0x80206F, u"右 Command"},
        {u"leftCommand", 55, 0x08, 0x802077, u"左 Command"},
        {u"rightControl", 62, 0x2000, 0x80007F, u"右 Control"},
        {u"leftControl", 59, 0x01, 0x80207E, u"左 Control"},
        {u"rightShift", 60, 0x04, 0x80207B, u"右 Shift"},
        {u"leftShift", 56, 0x02, 0x80207D, u"左 Shift"},
    };
    ASSERT_EQ(HotkeyChoice::allCases().size(), std::size(rows));
    quint64 union_ = 0;
    for (size_t i = 0; i < std::size(rows); ++i) {
        const Row &row = rows[i];
        const HotkeyChoice choice = HotkeyChoice::allCases()[i];
        SCOPED_TRACE(QString::fromUtf16(row.rawValue).toStdString());
        EXPECT_EQ(choice.rawValue(), QString::fromUtf16(row.rawValue));
        EXPECT_EQ(HotkeyChoice::fromRawValue(QStringView(row.rawValue)), choice);
        EXPECT_EQ(choice.keyCode(), row.keyCode);
        EXPECT_EQ(choice.flagMask(), row.flagMask);
        EXPECT_EQ(choice.otherHotkeyFlagMask(), row.otherMask);
        EXPECT_EQ(choice.label(), QString::fromUtf16(row.label));
        EXPECT_TRUE(choice.isPressed(row.flagMask | 0x100));
        EXPECT_FALSE(choice.isPressed(row.otherMask));
        union_ |= row.flagMask;
    }
    EXPECT_EQ(union_, HotkeyChoice::allFlagMask);
    EXPECT_FALSE(HotkeyChoice::fromRawValue(u"Function"));
    EXPECT_FALSE(HotkeyChoice::fromRawValue(u""));
}

} // namespace
