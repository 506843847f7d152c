#include "text/PolishedTextValidator.h"
#include "FakeJapaneseTokenizer.h"

#include <gtest/gtest.h>

using namespace Qt::Literals::StringLiterals;

namespace {

const FakeJapaneseTokenizer tokenizer {{u"会議"_s, u"kaigi"_s}};

TEST(PolishedTextValidator, English)
{
    struct Case {
        const char *name;
        const char16_t *raw;
        const char16_t *polished;
        bool accepted;
    };
    const Case cases[] = {
        {"filler dropped", u"um I think the price is too high", u"I think the price is too high.", true},
        {"cue allows dropping words", u"we need five chairs I mean six chairs", u"We need six chairs.", true},
        {"reordering is allowed", u"tomorrow I leave", u"I leave tomorrow.", true},
        {"a real word dropped", u"I really like it", u"I like it.", false},
        {"a word added", u"the price is high", u"The price is very high.", false},
        {"a word used twice", u"that is it", u"That is it, it.", false},
        {"time spelled as digits", u"call me at ten thirty", u"Call me at 10:30.", true},
        {"other time", u"call me at two thirty", u"Call me at 2:30.", false},
        {"cue needs word boundaries", u"factually the red one", u"The red one.", false},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        const std::optional<QString> accepted = PolishedTextValidator::accepted(
            QStringView(c.raw), QStringView(c.polished), RecognitionLanguage::english, tokenizer);
        EXPECT_EQ(accepted, c.accepted ? std::optional(QString::fromUtf16(c.polished)) : std::nullopt);
    }
}

TEST(PolishedTextValidator, Japanese)
{
    struct Case {
        const char *name;
        const char16_t *raw;
        const char16_t *polished;
        std::optional<QString> expected;
    };
    const Case cases[] = {
        {"punctuation only", u"会議です", u"、。 ！", std::nullopt},
        {"merge gives the transcript back", u"会議です", u"会議でした", std::nullopt},
        {"punctuation added", u"会議です", u"会議です。", u"会議です。"_s},
        {"only the allowed part is taken", u"会議です", u"えー会議です。", u"会議です。"_s},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(PolishedTextValidator::accepted(
                      QStringView(c.raw), QStringView(c.polished), RecognitionLanguage::japanese, tokenizer),
            c.expected);
    }
}

} // namespace
