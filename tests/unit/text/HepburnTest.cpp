#include "text/Hepburn.h"

#include <gtest/gtest.h>

namespace {

TEST(Hepburn, SpellsKanaReadings)
{
    struct Case {
        const char16_t *kana;
        const char16_t *latin;
    };
    const Case cases[] = {
        {u"トウキョウ", u"toukyou"},
        {u"コーヒー", u"koohii"},
        {u"ジ", u"ji"},
        {u"シャシン", u"shashin"},
        {u"チョット", u"chotto"},
        {u"ジュウ", u"juu"},
        {u"マッチ", u"matchi"},
        {u"ツヅク", u"tsuzuku"},
        {u"ヴァイオリン", u"vaiorin"},
        {u"ティー", u"tii"},
        {u"シェフ", u"shefu"},
        {u"ファイル", u"fairu"},
        {u"ウィンドウ", u"windou"},
        {u"ヲ", u"o"},
        {u"ヂ", u"ji"},
        {u"ひらがな", u"hiragana"},
        {u"ー", u""},
        {u"ッ", u""},
        {u"ABC", u"ABC"},
        {u"カ。", u"ka。"},
        {u"ピャ", u"pya"},
        {u"ヶ", u"ke"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(QString::fromUtf16(c.kana).toStdString());
        EXPECT_EQ(Hepburn::fromKana(QStringView(c.kana)), QString::fromUtf16(c.latin));
    }
}

} // namespace
