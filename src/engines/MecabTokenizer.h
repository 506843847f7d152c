#pragma once

#include "platform/JapaneseTokenizer.h"

#include <memory>

namespace MeCab {
class Model;
class Tagger;
} // namespace MeCab

// Japanese word pieces from MeCab with the IPADIC dictionary. The dictionary is loaded once, when
// this object is made, and shared by every call; tokenize() may run on several threads at once
// (each call parses in a lattice of its own). If the dictionary cannot be loaded, tokenize() gives
// the whole text as one piece without a reading and errorMessage() says why.
class MecabTokenizer final : public JapaneseTokenizer
{
public:
    // An empty folder picks the UTF-8 IPADIC of the system.
    explicit MecabTokenizer(const QString &dictionaryFolder = {});
    ~MecabTokenizer() override;

    std::vector<JapaneseToken> tokenize(QStringView text) const override;

    bool isAvailable() const { return tagger != nullptr; }
    QString errorMessage() const { return error; }

private:
    std::unique_ptr<MeCab::Model> model;
    std::unique_ptr<MeCab::Tagger> tagger;
    QString error;
};
