#include "text/Hepburn.h"

#include <array>

namespace {

constexpr char16_t firstKatakana = u'ァ'; // U+30A1
constexpr char16_t lastKatakana = u'ヶ'; // U+30F6

// Latin spelling of every katakana from ァ (U+30A1) to ヶ (U+30F6), in code point order. Small
// kana carry their vowel alone; how they combine with the kana before them is decided in fromKana.
constexpr std::array<const char *, lastKatakana - firstKatakana + 1> syllables {
    "a", "a", "i", "i", "u", "u", "e", "e", "o", "o", // ァア ィイ ゥウ ェエ ォオ
    "ka", "ga", "ki", "gi", "ku", "gu", "ke", "ge", "ko", "go", // カ … ゴ
    "sa", "za", "shi", "ji", "su", "zu", "se", "ze", "so", "zo", // サ … ゾ
    "ta", "da", "chi", "ji", "", "tsu", "zu", "te", "de", "to", "do", // タ … ド (ッ is "")
    "na", "ni", "nu", "ne", "no", // ナ … ノ
    "ha", "ba", "pa", "hi", "bi", "pi", "fu", "bu", "pu", "he", "be", "pe", "ho", "bo", "po", // ハ … ポ
    "ma", "mi", "mu", "me", "mo", // マ … モ
    "ya", "ya", "yu", "yu", "yo", "yo", // ャヤ ュユ ョヨ
    "ra", "ri", "ru", "re", "ro", // ラ … ロ
    "wa", "wa", "wi", "we", "o", "n", "vu", "ka", "ke", // ヮワ ヰ ヱ ヲ ン ヴ ヵ ヶ
};

bool isSmallYa(char16_t kana)
{
    return kana == u'ャ' || kana == u'ュ' || kana == u'ョ';
}

bool isSmallVowel(char16_t kana)
{
    return kana == u'ァ' || kana == u'ィ' || kana == u'ゥ' || kana == u'ェ' || kana == u'ォ';
}

bool isVowel(QChar letter)
{
    return QStringView(u"aeiou").contains(letter);
}

char16_t asKatakana(char16_t character)
{
    // Hiragana ぁ (U+3041) … ゖ (U+3096) sit 0x60 below their katakana.
    if (character >= u'ぁ' && character <= u'ゖ')
        return static_cast<char16_t>(character + 0x60);
    return character;
}

} // namespace

namespace Hepburn {

QString fromKana(QStringView kana)
{
    QString latin;
    latin.reserve(kana.size() * 2);
    bool doublesNextConsonant = false;
    for (const QChar original : kana) {
        const char16_t character = asKatakana(original.unicode());
        if (character == u'ー') {
            const auto lastVowel = std::find_if(latin.crbegin(), latin.crend(), isVowel);
            if (lastVowel != latin.crend())
                latin.append(*lastVowel);
            continue;
        }
        if (character < firstKatakana || character > lastKatakana) {
            doublesNextConsonant = false;
            latin.append(original);
            continue;
        }
        QString syllable = QString::fromLatin1(syllables[character - firstKatakana]);
        if (character == u'ッ') {
            doublesNextConsonant = true;
            continue;
        }
        const bool endsInI = latin.endsWith(QLatin1Char('i'));
        if (isSmallYa(character) && endsInI) {
            // キャ → kya; シャ, チャ, ジャ drop their y: sha, cha, ja.
            latin.chop(1);
            if (latin.endsWith(u"sh") || latin.endsWith(u"ch") || latin.endsWith(u"j"))
                syllable.remove(0, 1);
        } else if (isSmallVowel(character) && !latin.isEmpty() && isVowel(latin.back())) {
            // ファ → fa, ティ → ti, シェ → she; after a bare vowel: ウィ → wi, イェ → ye.
            const QChar vowel = latin.back();
            latin.chop(1);
            if (latin.isEmpty() || !latin.back().isLetter() || isVowel(latin.back()))
                latin.append(vowel == u'u' ? QLatin1Char('w') : QLatin1Char('y'));
        }
        if (doublesNextConsonant && !syllable.isEmpty() && !isVowel(syllable.front()))
            latin.append(syllable.startsWith(u"ch") ? QLatin1Char('t') : syllable.front());
        doublesNextConsonant = false;
        latin.append(syllable);
    }
    return latin;
}

} // namespace Hepburn
