#include "core/Unicode.h"

#include <gtest/gtest.h>

namespace {

const QString thumbsUp = QStringLiteral("👍🏽"); // emoji + skin tone
const QString family = QStringLiteral("👨\u200D👩\u200D👧"); // zero-width joiner sequence
const QString decomposedGa = QStringLiteral("か\u3099"); // か + combining voiced mark
const QString eAcute = QStringLiteral("e\u0301");

TEST(Unicode, CountsUserPerceivedCharacters)
{
    struct Case {
        const char *name;
        QString text;
        qsizetype characters;
    };
    const Case cases[] = {
        {"emoji with modifier", thumbsUp, 1},
        {"joined family", family, 1},
        {"combining mark", decomposedGa + eAcute, 2},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(Unicode::characterCount(c.text), c.characters);
        const auto boundaries = Unicode::characterBoundaries(c.text);
        EXPECT_EQ(boundaries.front(), 0);
        EXPECT_EQ(boundaries.back(), c.text.size());
    }
}

TEST(Unicode, CutsNeverSplitACharacter)
{
    const QString text = QStringLiteral("a") + thumbsUp + decomposedGa + family + QStringLiteral("z");
    struct Case {
        qsizetype count;
        QString prefix;
        QString suffix;
    };
    const Case cases[] = {
        {2, QStringLiteral("a") + thumbsUp, family + QStringLiteral("z")},
        {3, QStringLiteral("a") + thumbsUp + decomposedGa, decomposedGa + family + QStringLiteral("z")},
        {5, text, text},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.count);
        EXPECT_EQ(Unicode::prefix(text, c.count), c.prefix);
        EXPECT_EQ(Unicode::suffix(text, c.count), c.suffix);
    }
}

TEST(Unicode, CanonicalEquivalence)
{
    EXPECT_TRUE(Unicode::isCanonicallyEquivalent(QStringLiteral("が"), decomposedGa));
    // Compatibility forms are different text.
    EXPECT_FALSE(Unicode::isCanonicallyEquivalent(QStringLiteral("ｶ"), QStringLiteral("カ")));
}

TEST(Unicode, FullCaseMapping)
{
    EXPECT_EQ(Unicode::uppercased(u"straße"), QStringLiteral("STRASSE"));
    // The user's locale never changes the mapping: I lower-cases to i, not dotless ı.
    EXPECT_EQ(Unicode::lowercased(u"INFO"), QStringLiteral("info"));
}

} // namespace
