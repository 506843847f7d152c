#pragma once

#include "platform/JapaneseTokenizer.h"

#include <QHash>
#include <QList>

#include <utility>

// Splits text by a word list the test gives: at each position the longest listed word is one piece
// with its reading; any other character is a piece of its own without a reading.
class FakeJapaneseTokenizer final : public JapaneseTokenizer
{
public:
    FakeJapaneseTokenizer(std::initializer_list<std::pair<QString, QString>> words)
    {
        for (const auto &[word, reading] : words)
            readings.insert(word, reading);
    }

    std::vector<JapaneseToken> tokenize(QStringView text) const override
    {
        std::vector<JapaneseToken> tokens;
        qsizetype at = 0;
        while (at < text.size()) {
            qsizetype length = 0;
            for (auto it = readings.cbegin(); it != readings.cend(); ++it) {
                if (it.key().size() > length && text.sliced(at).startsWith(it.key()))
                    length = it.key().size();
            }
            if (length > 0) {
                tokens.push_back({at, length, readings.value(text.sliced(at, length).toString())});
            } else {
                length = text[at].isHighSurrogate() && at + 1 < text.size() ? 2 : 1;
                tokens.push_back({at, length, std::nullopt});
            }
            at += length;
        }
        return tokens;
    }

private:
    QHash<QString, QString> readings;
};
