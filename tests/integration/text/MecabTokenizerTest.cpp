#include "engines/MecabTokenizer.h"

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
        u"  前後に空白\tと\n改行\r\nと\u3000全角空白  "_s,
        u"👍🏽絵文字👨‍👩‍👧と国旗🇯🇵か\u3099が"_s,
        QString(QChar(0xD800)) + u"孤立したサロゲート"_s + QChar(0xDC00),
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

} // namespace
