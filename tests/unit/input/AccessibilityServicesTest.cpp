#include "input/AccessibilityServices.h"
#include "FakeAccessibilityTree.h"

#include <gtest/gtest.h>

using namespace Qt::Literals::StringLiterals;

namespace {

QString numbered(int count)
{
    QString text;
    for (int i = 0; i < count; ++i)
        text += QChar(u'a' + i % 26);
    return text;
}

// The texts go to the language model: only when the user shares them.
TEST(AccessibilityServices, ReadsTheTextsOnlyWhenAsked)
{
    FakeAccessibilityTree tree;
    tree.focused->selectedText = u"選択"_s;
    tree.focused->value = u"前の文。選択"_s;
    tree.focused->selectedTextRange = AccessibleElement::Range {4, 2};
    EXPECT_EQ(AccessibilityServices::captureContext(tree, true)->context,
        (DeepContext {u"gedit"_s, u"notes.txt — gedit"_s, u"選択"_s, u"前の文。選択"_s}));
    EXPECT_EQ(AccessibilityServices::captureContext(tree, false)->context,
        (DeepContext {u"gedit"_s, u"notes.txt — gedit"_s, {}, {}}));
}

TEST(AccessibilityServices, PasswordFieldsAreNeverRead)
{
    struct Case {
        const char *name;
        std::optional<QString> role, subrole;
    };
    const Case cases[] = {
        {"role", AccessibilityServices::secureFieldRole, std::nullopt},
        {"subrole", u"text"_s, AccessibilityServices::secureFieldRole},
        {"role that could not be read", std::nullopt, std::nullopt},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        FakeAccessibilityTree tree;
        tree.focused->role = c.role;
        tree.focused->subrole = c.subrole;
        tree.focused->value = u"hunter2"_s;
        tree.focused->selectedText = u"hunter2"_s;
        const CaptureResult result = *AccessibilityServices::captureContext(tree, true);
        EXPECT_TRUE(result.target.isSecure);
        EXPECT_TRUE(result.context.selectedText.isEmpty());
        EXPECT_TRUE(result.context.focusedText.isEmpty());
        EXPECT_EQ(AccessibilityServices::focusedValue(tree), std::nullopt);
    }
}

TEST(AccessibilityServices, SurroundingText)
{
    struct Case {
        const char *name;
        int characters;
        std::optional<AccessibleElement::Range> selection;
        bool answersRanges;
        std::optional<std::pair<qint64, qint64>> askedRange;
        QString expected;
    };
    const QString thousand = numbered(1000);
    const Case cases[] = {
        {"caret near the start", 1000, AccessibleElement::Range {50, 0}, true, std::pair(0, 400), thousand.first(400)},
        {"selection in the middle", 1000, AccessibleElement::Range {500, 10}, true, std::pair(300, 410),
            thousand.mid(300, 400)},
        {"no ranges, short field", 1500, AccessibleElement::Range {10, 0}, false, std::pair(0, 400),
            numbered(1500).first(400)},
        {"no ranges, field at the limit", 2000, std::nullopt, false, std::nullopt, numbered(400)},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        FakeAccessibilityTree tree;
        tree.focused->value = numbered(c.characters);
        tree.focused->numberOfCharacters = c.characters;
        tree.focused->selectedTextRange = c.selection;
        tree.focused->answersRanges = c.answersRanges;
        EXPECT_EQ(AccessibilityServices::captureContext(tree, true)->context.focusedText, c.expected);
        EXPECT_EQ(tree.askedRange, c.askedRange);
    }
}

} // namespace
