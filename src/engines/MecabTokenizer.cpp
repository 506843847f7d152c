#include "engines/MecabTokenizer.h"

#include "text/Hepburn.h"

#include <QCoreApplication>
#include <QFileInfo>

#include <mecab.h>

namespace {

const QString systemDictionary = QStringLiteral("/var/lib/mecab/dic/ipadic-utf8");

// The UTF-8 form that MeCab parses, with the UTF-16 offset of every byte that starts a code point
// (and of the end). Unpaired surrogates become U+FFFD, so the bytes are always valid UTF-8.
struct Utf8Text {
    std::string bytes;
    std::vector<qsizetype> utf16Offset;

    explicit Utf8Text(QStringView text)
    {
        bytes.reserve(static_cast<size_t>(text.size()) * 3);
        utf16Offset.reserve(static_cast<size_t>(text.size()) * 3 + 1);
        for (qsizetype i = 0; i < text.size();) {
            char32_t codePoint = text[i].unicode();
            qsizetype units = 1;
            if (text[i].isHighSurrogate() && i + 1 < text.size() && text[i + 1].isLowSurrogate()) {
                codePoint = QChar::surrogateToUcs4(text[i], text[i + 1]);
                units = 2;
            } else if (text[i].isSurrogate()) {
                codePoint = 0xFFFD;
            }
            append(codePoint, i);
            i += units;
        }
        utf16Offset.push_back(text.size());
    }

    void append(char32_t codePoint, qsizetype offset)
    {
        char encoded[4];
        size_t count = 0;
        if (codePoint < 0x80) {
            encoded[count++] = static_cast<char>(codePoint);
        } else if (codePoint < 0x800) {
            encoded[count++] = static_cast<char>(0xC0 | (codePoint >> 6));
            encoded[count++] = static_cast<char>(0x80 | (codePoint & 0x3F));
        } else if (codePoint < 0x10000) {
            encoded[count++] = static_cast<char>(0xE0 | (codePoint >> 12));
            encoded[count++] = static_cast<char>(0x80 | ((codePoint >> 6) & 0x3F));
            encoded[count++] = static_cast<char>(0x80 | (codePoint & 0x3F));
        } else {
            encoded[count++] = static_cast<char>(0xF0 | (codePoint >> 18));
            encoded[count++] = static_cast<char>(0x80 | ((codePoint >> 12) & 0x3F));
            encoded[count++] = static_cast<char>(0x80 | ((codePoint >> 6) & 0x3F));
            encoded[count++] = static_cast<char>(0x80 | (codePoint & 0x3F));
        }
        bytes.append(encoded, count);
        utf16Offset.push_back(offset);
        // Continuation bytes map to nothing; MeCab never ends a piece on one.
        for (size_t k = 1; k < count; ++k)
            utf16Offset.push_back(-1);
    }
};

// The reading is the eighth field of an IPADIC feature (品詞,…,原形,読み,発音), in katakana; unknown
// words have only seven fields.
std::optional<QString> readingOf(const char *feature)
{
    const QString fields = QString::fromUtf8(feature);
    const QString kana = fields.section(QLatin1Char(','), 7, 7);
    if (kana.isEmpty() || kana == u"*")
        return std::nullopt;
    return Hepburn::fromKana(kana).toLower();
}

} // namespace

MecabTokenizer::MecabTokenizer(const QString &dictionaryFolder)
{
    QString folder = dictionaryFolder;
    if (folder.isEmpty() && QFileInfo(systemDictionary).isDir())
        folder = systemDictionary;
    const QByteArray arguments = folder.isEmpty() ? QByteArray() : "-d " + QFile::encodeName(folder);
    model.reset(MeCab::createModel(arguments.constData()));
    if (model)
        tagger.reset(model->createTagger());
    if (!tagger) {
        error = QCoreApplication::translate("MecabTokenizer", "日本語の辞書（MeCab）を読み込めませんでした: %1")
                    .arg(QString::fromUtf8(MeCab::getLastError()));
    }
}

MecabTokenizer::~MecabTokenizer() = default;

std::vector<JapaneseToken> MecabTokenizer::tokenize(QStringView text) const
{
    if (text.isEmpty())
        return {};
    if (!tagger)
        return {JapaneseToken{0, text.size(), std::nullopt}};

    const Utf8Text utf8(text);
    std::unique_ptr<MeCab::Lattice> lattice(model->createLattice());
    lattice->set_sentence(utf8.bytes.data(), utf8.bytes.size());
    if (!tagger->parse(lattice.get()))
        return {JapaneseToken{0, text.size(), std::nullopt}};

    std::vector<JapaneseToken> tokens;
    auto addPiece = [&](size_t fromByte, size_t toByte, std::optional<QString> reading) {
        const qsizetype from = utf8.utf16Offset[fromByte];
        const qsizetype to = utf8.utf16Offset[toByte];
        if (to > from)
            tokens.push_back({from, to - from, std::move(reading)});
    };
    size_t cursor = 0;
    for (const MeCab::Node *node = lattice->bos_node(); node != nullptr; node = node->next) {
        if (node->stat == MECAB_BOS_NODE || node->stat == MECAB_EOS_NODE || node->length == 0)
            continue;
        const auto start = static_cast<size_t>(node->surface - utf8.bytes.data());
        const size_t end = start + node->length;
        if (start < cursor || end > utf8.bytes.size() || utf8.utf16Offset[start] < 0 || utf8.utf16Offset[end] < 0)
            continue;
        // What MeCab skipped (spaces) is a piece of its own.
        if (start > cursor)
            addPiece(cursor, start, std::nullopt);
        addPiece(start, end, readingOf(node->feature));
        cursor = end;
    }
    if (cursor < utf8.bytes.size())
        addPiece(cursor, utf8.bytes.size(), std::nullopt);
    return tokens;
}
