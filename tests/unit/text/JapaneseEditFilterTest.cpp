#include "text/JapaneseEditFilter.h"
#include "FakeJapaneseTokenizer.h"

#include <gtest/gtest.h>

using namespace Qt::Literals::StringLiterals;

namespace {

using Hunk = JapaneseEditFilter::Hunk;
using Hunks = std::vector<Hunk>;

// Readings as a morphological analyser gives them; the digits have none (the filter reads them).
const FakeJapaneseTokenizer tokenizer {
    {u"会議"_s, u"kaigi"_s}, {u"時"_s, u"ji"_s}, {u"誤字"_s, u"goji"_s}, {u"漢字"_s, u"kanji"_s},
    {u"この"_s, u"kono"_s}, {u"えーと"_s, u"eeto"_s}, {u"その"_s, u"sono"_s}, {u"です"_s, u"desu"_s},
    {u"から"_s, u"kara"_s}, {u"東京"_s, u"tōkyō"_s}, {u"大阪"_s, u"oosaka"_s}, {u"じゃなくて"_s, u"janakute"_s},
    // Homophones.
    {u"橋"_s, u"hashi"_s}, {u"箸"_s, u"hashi"_s},
    {u"資料"_s, u"shiryou"_s}, {u"送ります"_s, u"okurimasu"_s}, {u"お送りします"_s, u"ookurishimasu"_s},
};
const JapaneseEditFilter filter(tokenizer);

std::vector<int> codes(std::string_view text)
{
    return {text.begin(), text.end()};
}

Hunks expanded(Hunks hunks, qsizetype n, qsizetype m, const std::vector<qsizetype> &rawBounds,
    const std::vector<qsizetype> &polishedBounds)
{
    JapaneseEditFilter::expand(hunks, n, m, rawBounds, polishedBounds);
    return hunks;
}

TEST(JapaneseEditFilter, DiffTakesInsertionsFirstOnATie)
{
    EXPECT_EQ(JapaneseEditFilter::diff(codes("ab"), codes("ba")), (Hunks{{0, 0, 0, 1}, {1, 2, 2, 2}}));
    EXPECT_EQ(JapaneseEditFilter::diff(codes("abcde"), codes("aXcdY")), (Hunks{{1, 2, 1, 2}, {4, 5, 4, 5}}));
}

TEST(JapaneseEditFilter, ExpandWidensToSharedBoundariesAndJoins)
{
    EXPECT_EQ(expanded({{3, 4, 3, 4}}, 8, 8, {0, 2, 5, 8}, {0, 2, 5, 8}), (Hunks{{2, 5, 2, 5}}));
    // The first hunk's start cannot reach a boundary both texts share.
    EXPECT_EQ(expanded({{0, 1, 0, 1}, {3, 4, 3, 4}}, 8, 8, {0, 1, 5, 8}, {0, 2, 5, 8}),
        (Hunks{{0, 1, 0, 1}, {3, 5, 3, 5}}));
    // Hunks that meet are joined.
    EXPECT_EQ(expanded({{1, 2, 1, 2}, {3, 4, 3, 4}}, 5, 5, {0, 3, 5}, {0, 3, 5}), (Hunks{{0, 5, 0, 5}}));
}

TEST(JapaneseEditFilter, BoundariesAreCharacterIndices)
{
    // "👍🏽" is one character of four UTF-16 units; the fake splits it into two pieces inside it.
    EXPECT_EQ(filter.tokenBoundaries(u"会議👍🏽です"), (std::vector<qsizetype> {0, 2, 3, 5}));
}

TEST(JapaneseEditFilter, ContentAndReading)
{
    EXPECT_EQ(JapaneseEditFilter::content(u"えー、会議 は？ A-1！"), u"えー会議はA1"_s);
    EXPECT_EQ(filter.reading(u"15時"), u"ichigoji"_s);
    EXPECT_EQ(filter.reading(u"東京"), u"toukyou"_s);
}

TEST(JapaneseEditFilter, IsAllowed)
{
    struct Case {
        const char *name;
        const char16_t *removed;
        const char16_t *inserted;
        bool allowed;
    };
    const Case cases[] = {
        {"punctuation added", u"", u"。", true},
        {"content added where there was none", u"", u"お", false},
        {"question mark dropped", u"？", u"。", false},
        {"question mark swapped for its other form", u"?", u"？", true},
        {"one filler deleted", u"えーと、", u"", true},
        {"content deleted without a cue", u"会議", u"", false},
        {"same reading", u"5時", u"誤字", true},
        {"other reading", u"橋", u"大阪", false},
        {"long words are never swapped", u"箸箸箸箸箸箸箸箸箸", u"橋橋橋橋橋橋橋橋橋", false},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(filter.isAllowed(QStringView(c.removed), QStringView(c.inserted), /*hasCue=*/false), c.allowed);
    }
}

TEST(JapaneseEditFilter, PartialSubstitution)
{
    EXPECT_EQ(filter.partialSubstitution(u"この5時", u"誤字"), u"この誤字"_s);
    // The same word again is no correction.
    EXPECT_EQ(filter.partialSubstitution(u"この誤字", u"誤字"), std::nullopt);
}

TEST(JapaneseEditFilter, Merge)
{
    struct Case {
        const char *name;
        const char16_t *raw;
        const char16_t *polished;
        const char16_t *merged;
    };
    const Case cases[] = {
        {"two fillers in one hunk kept", u"えーとその会議です", u"会議です", u"えーとその会議です"},
        {"honorific refused", u"資料を送ります", u"資料をお送りします", u"資料を送ります"},
        {"correction kept when enough remains", u"会議は3時からじゃなくて4時からです", u"会議は4時からです。",
            u"会議は4時からです。"},
        {"less than 40% left", u"あいじゃなくてかきく", u"かきく", u"あいじゃなくてかきく"},
        {"homophone corrected", u"漢字の5時が多い", u"漢字の誤字が多い", u"漢字の誤字が多い"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(filter.merge(QStringView(c.raw), QStringView(c.polished)), QString::fromUtf16(c.merged));
    }
}

} // namespace
