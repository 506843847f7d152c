#include "engines/MecabTokenizer.h"
#include "text/JapaneseEditFilter.h"

#include <gtest/gtest.h>

#include <thread>

using namespace Qt::Literals::StringLiterals;

namespace {

const MecabTokenizer &tokenizer()
{
    static const MecabTokenizer shared;
    return shared;
}

class MecabTokenizerTest : public ::testing::Test
{
protected:
    void SetUp() override { ASSERT_TRUE(tokenizer().isAvailable()) << tokenizer().errorMessage().toStdString(); }
};

TEST_F(MecabTokenizerTest, PiecesWithUtf16RangesAndLatinReadings)
{
    const std::vector<JapaneseToken> expected{
        {0, 2, u"toukyou"_s},
        {2, 1, u"de"_s},
        {3, 4, u"koohii"_s},
        {7, 1, u"o"_s},
        {8, 1, std::nullopt}, // 5: digits have no reading
        {9, 1, u"ji"_s},
        {10, 2, std::nullopt}, // the two spaces MeCab skips
        {12, 3, std::nullopt}, // Git
        {15, 1, u"。"_s},
    };
    EXPECT_EQ(tokenizer().tokenize(u"東京でコーヒーを5時  Git。"), expected);
}

TEST_F(MecabTokenizerTest, PiecesAlwaysCoverTheWholeText)
{
    const QString cases[] = {
        QString(),
        u" "_s,
        u"  前後に空白  "_s,
        u"👍🏽絵文字👨‍👩‍👧と国旗🇯🇵"_s,
        u"か\u3099が"_s,
        QString(QChar(0xD800)) + u"孤立したサロゲート"_s + QChar(0xDC00),
        u"tab\tと\n改行\r\nと\u3000全角空白"_s,
        QString(QChar(0)) + u"NUL"_s,
        QString(3000, u'あ'),
    };
    for (const QString &text : cases) {
        SCOPED_TRACE(text.toStdString());
        qsizetype at = 0;
        for (const JapaneseToken &token : tokenizer().tokenize(text)) {
            EXPECT_EQ(token.location, at);
            EXPECT_GT(token.length, 0);
            at = token.location + token.length;
        }
        EXPECT_EQ(at, text.size());
    }
}

TEST_F(MecabTokenizerTest, OneModelServesManyThreads)
{
    const QString text = u"会議は3時からじゃなくて4時からです。漢字の誤字が多い"_s;
    const std::vector<JapaneseToken> expected = tokenizer().tokenize(text);
    std::vector<std::thread> threads;
    std::atomic<int> mismatches{0};
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < 200; ++i) {
                if (tokenizer().tokenize(text) != expected)
                    ++mismatches;
            }
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(mismatches.load(), 0);
}

TEST(MecabTokenizer, MissingDictionaryIsReportedAndTextStaysWhole)
{
    const MecabTokenizer missing(u"/nonexistent/dictionary"_s);
    EXPECT_FALSE(missing.isAvailable());
    EXPECT_TRUE(missing.errorMessage().startsWith(u"日本語の辞書（MeCab）を読み込めませんでした"_s));
    EXPECT_EQ(missing.tokenize(u"会議です"), (std::vector<JapaneseToken>{{0, 4, std::nullopt}}));
}

TEST_F(MecabTokenizerTest, EditFilterWithRealReadings)
{
    // The rules are the filter's own; these are the rows whose outcome hangs on MeCab's segmentation
    // and readings.
    const JapaneseEditFilter filter(tokenizer());
    struct Case {
        const char16_t *raw;
        const char16_t *polished;
        const char16_t *merged;
    };
    const Case cases[] = {
        {u"えーと会議です", u"会議です", u"会議です"},
        {u"資料を送ります", u"資料をお送りします", u"資料を送ります"},
        {u"会議は3時からじゃなくて4時からです", u"会議は4時からです。", u"会議は4時からです。"},
        {u"東京じゃなくて大阪", u"大阪", u"東京じゃなくて大阪"},
        {u"漢字の5時が多い", u"漢字の誤字が多い", u"漢字の誤字が多い"},
        {u"この5時が多い", u"誤字が多い", u"この誤字が多い"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(QString::fromUtf16(c.raw).toStdString());
        EXPECT_EQ(filter.merge(QStringView(c.raw), QStringView(c.polished)), QString::fromUtf16(c.merged));
    }
    EXPECT_EQ(filter.reading(u"5時"), filter.reading(u"誤字"));
    EXPECT_EQ(filter.reading(u"15時"), u"ichigoji"_s);
    EXPECT_EQ(filter.partialSubstitution(u"この5時", u"誤字"), u"この誤字"_s);
}

} // namespace
