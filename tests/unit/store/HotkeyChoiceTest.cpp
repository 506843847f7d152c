#include "store/HotkeyChoice.h"

#include <gtest/gtest.h>

#include <bit>

namespace {

// The bits themselves are checked where key events are translated; here, that the nine keys stay
// apart: one bit each, a stored name each, and a press of one is never read as another.
TEST(HotkeyChoice, EachKeyHasItsOwnBitAndName)
{
    quint64 seen = 0;
    for (const HotkeyChoice choice : HotkeyChoice::allCases()) {
        SCOPED_TRACE(choice.rawValue().toStdString());
        EXPECT_EQ(std::popcount(choice.flagMask()), 1);
        EXPECT_EQ(seen & choice.flagMask(), 0u);
        seen |= choice.flagMask();
        EXPECT_EQ(HotkeyChoice::fromRawValue(choice.rawValue()), choice);
        EXPECT_TRUE(choice.isPressed(choice.flagMask() | 0x100));
        EXPECT_FALSE(choice.isPressed(choice.otherHotkeyFlagMask()));
    }
    EXPECT_EQ(seen, HotkeyChoice::allFlagMask);
    EXPECT_FALSE(HotkeyChoice::fromRawValue(u"Function"));
}

} // namespace
