#include "text/TextPostProcessor.h"

#include <gtest/gtest.h>

namespace {

DictionaryEntry entry(const char16_t *spoken, const char16_t *replacement)
{
    return DictionaryEntry {QUuid::createUuid(), QString::fromUtf16(spoken), QString::fromUtf16(replacement)};
}

struct Case {
    const char *name;
    const char16_t *input;
    const char16_t *expected;
    RecognitionLanguage language = RecognitionLanguage::japanese;
    bool spokenPunctuation = false;
    QList<DictionaryEntry> dictionary = {};
};

TEST(TextPostProcessor, Process)
{
    const RecognitionLanguage ja = RecognitionLanguage::japanese;
    const RecognitionLanguage en = RecognitionLanguage::english;
    const Case cases[] = {
        {"later entries see earlier output", u"くらうどに保存", u"Cloudに保存", ja, false,
            {entry(u"くらうど", u"クラウド"), entry(u"クラウド", u"Cloud")}},
        {"empty replacement is skipped", u"くらうど", u"くらうど", ja, false, {entry(u"くらうど", u"")}},
        {"replacement is not searched again", u"aa", u"abab", ja, false, {entry(u"a", u"ab")}},
        {"spoken punctuation", u"今日はいい天気ですまる明日はてん雨です", u"今日はいい天気です。明日は、雨です", ja,
            true},
        {"latin letters protect the words", u"Aまる まるB てんC", u"Aまる まるB てんC", ja, true},
        {"punctuation switch off", u"ですまる", u"ですまる", ja, false},
        {"dictionary runs before punctuation", u"まる", u"丸", ja, true, {entry(u"まる", u"丸")}},
        {"filler at the start", u"えーと、会議は4時からです", u"会議は4時からです", ja},
        {"longer filler wins", u"えーっと、はい", u"はい", ja},
        {"fillers in a row", u"えーと、えーと、あのー、会議は", u"会議は", ja},
        {"comma run at the start", u"、、はい", u"はい", ja},
        {"english whitespace and capital", u"a  b \n  c  ", u"A b\nc", en},
        {"ideographic spaces trimmed at the ends only", u"\u3000会議\u3000です\u3000\n", u"会議\u3000です", ja},
        {"long fillers", u"ummm uhh ERM erm hmmm yes", u"ERM yes", en},
        {"filler must be a whole word", u"umbrella uhhuh", u"Umbrella uhhuh", en},
        {"start phrase", u"So, basically, the roof is done", u"The roof is done", en},
        {"a title-case first letter is no lower-case one", u"ǅemal", u"ǅemal", en},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(TextPostProcessor::process(QStringView(c.input), c.dictionary, c.spokenPunctuation, c.language),
            QString::fromUtf16(c.expected));
    }
}

TEST(TextPostProcessor, LongAndUnusualInputKeepsEveryCharacterWhole)
{
    const QString emoji = QStringLiteral("👍🏽");
    QString longText;
    for (int i = 0; i < 2500; ++i)
        longText += QStringLiteral("えーと、") + emoji + QStringLiteral(" か\u3099 ");
    const QString processed = TextPostProcessor::process(longText, {}, true, RecognitionLanguage::japanese);
    EXPECT_EQ(processed.count(emoji), 2500);
    EXPECT_EQ(processed.count(QStringLiteral("か\u3099")), 2500);
}

} // namespace
