#pragma once

#include <QString>
#include <QStringView>

// Kana to Latin letters in Hepburn style, the way a reading is spelled for comparison: ウ stays
// "u" (トウキョウ → "toukyou"), the long-vowel mark doubles the vowel before it (コーヒー →
// "koohii"), ッ doubles the next consonant, small kana form digraphs (シャ → "sha", ファ → "fa").
// Hiragana is read like katakana; any other character is passed through unchanged.
namespace Hepburn {
QString fromKana(QStringView kana);
} // namespace Hepburn
