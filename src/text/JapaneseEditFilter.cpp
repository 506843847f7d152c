#include "text/JapaneseEditFilter.h"

#include "platform/JapaneseTokenizer.h"
#include "core/Unicode.h"

#include <QHash>

#include <algorithm>
#include <array>

namespace {

constexpr qsizetype maximumComparedCells = 4'000'000;
constexpr qsizetype maximumReadingCharacters = 8;
constexpr double minimumContentAfterCorrection = 0.4;

const std::array<const char16_t *, 16> fillerWords {u"えーっと", u"えーと", u"ええと", u"えっと", u"えー", u"あのー",
    u"あのう", u"あの", u"うーん", u"んー", u"その", u"なんか", u"ですね", u"まあ", u"まぁ", u"ええ"};
const std::array<const char16_t *, 7> correctionCues {
    u"じゃなくて", u"ではなくて", u"じゃなく", u"ではなく", u"いや、", u"間違えた", u"訂正"};
const std::array<const char *, 10> digitReadings {
    "zero", "ichi", "ni", "san", "yon", "go", "roku", "nana", "hachi", "kyuu"};
const std::array<std::pair<const char16_t *, const char16_t *>, 7> longVowels {
    {{u"ō", u"ou"}, {u"ū", u"uu"}, {u"ā", u"aa"}, {u"ē", u"ee"}, {u"ī", u"ii"}, {u"ô", u"ou"}, {u"û", u"uu"}}};

bool isFiller(QStringView content)
{
    static const QList<QString> canonicalFillers = [] {
        QList<QString> forms;
        for (const char16_t *word : fillerWords)
            forms.append(Unicode::canonicalForm(QStringView(word)));
        return forms;
    }();
    return canonicalFillers.contains(Unicode::canonicalForm(content));
}

bool hasQuestionMark(QStringView text)
{
    return text.contains(u'？') || text.contains(u'?');
}

std::optional<int> digitValue(QStringView character)
{
    if (character.size() != 1)
        return std::nullopt;
    const char16_t unit = character[0].unicode();
    if (unit >= u'0' && unit <= u'9')
        return unit - u'0';
    if (unit >= u'０' && unit <= u'９')
        return unit - u'０';
    return std::nullopt;
}

// A text split into characters, with each character's canonical form interned as a number so that
// equivalent characters compare equal cheaply.
struct Characters {
    QStringView text;
    std::vector<qsizetype> bounds;

    explicit Characters(QStringView text)
        : text(text)
        , bounds(Unicode::characterBoundaries(text))
    { }
    qsizetype count() const { return static_cast<qsizetype>(bounds.size()) - 1; }
    QStringView at(qsizetype index) const { return slice(index, index + 1); }
    QStringView slice(qsizetype from, qsizetype to) const
    {
        return text.sliced(bounds[size_t(from)], bounds[size_t(to)] - bounds[size_t(from)]);
    }
    std::vector<int> ids(QHash<QString, int> &interned) const
    {
        std::vector<int> result;
        result.reserve(size_t(count()));
        for (qsizetype i = 0; i < count(); ++i) {
            const QString form = Unicode::canonicalForm(at(i));
            auto found = interned.constFind(form);
            if (found == interned.cend())
                found = interned.insert(form, int(interned.size()));
            result.push_back(found.value());
        }
        return result;
    }
};

QString keepingLettersAndNumbers(QStringView text, bool keepsLongVowelMark)
{
    const Characters characters(text);
    QString kept;
    kept.reserve(text.size());
    for (qsizetype i = 0; i < characters.count(); ++i) {
        const QStringView character = characters.at(i);
        if (Unicode::isLetterOrNumberCharacter(character) || (keepsLongVowelMark && character == u"ー"))
            kept.append(character);
    }
    return kept;
}

} // namespace

JapaneseEditFilter::JapaneseEditFilter(const JapaneseTokenizer &tokenizer)
    : tokenizer(tokenizer)
{ }

QString JapaneseEditFilter::merge(QStringView raw, QStringView polished) const
{
    const Characters x(raw);
    const Characters y(polished);
    const qsizetype n = x.count();
    const qsizetype m = y.count();
    if (n * m > maximumComparedCells)
        return raw.toString();

    const bool hasCue = std::any_of(correctionCues.begin(), correctionCues.end(),
        [&](const char16_t *cue) { return raw.contains(QStringView(cue)); });
    QHash<QString, int> interned;
    std::vector<Hunk> hunks = diff(x.ids(interned), y.ids(interned));
    expand(hunks, n, m, tokenBoundaries(raw), tokenBoundaries(polished));

    QString merged;
    merged.reserve(raw.size() + polished.size());
    qsizetype p = 0;
    for (const Hunk &hunk : hunks) {
        merged.append(x.slice(p, hunk.aLower));
        p = hunk.aUpper;
        const QStringView removed = x.slice(hunk.aLower, hunk.aUpper);
        const QStringView inserted = y.slice(hunk.bLower, hunk.bUpper);
        if (isAllowed(removed, inserted, hasCue))
            merged.append(inserted);
        else
            merged.append(partialSubstitution(removed, inserted).value_or(removed.toString()));
    }
    merged.append(x.slice(p, n));

    if (hasCue
        && Unicode::characterCount(content(raw)) * minimumContentAfterCorrection
            > double(Unicode::characterCount(content(merged))))
        return raw.toString();
    return merged;
}

std::vector<qsizetype> JapaneseEditFilter::tokenBoundaries(QStringView text) const
{
    const std::vector<qsizetype> utf16Bounds = Unicode::characterBoundaries(text);
    std::vector<qsizetype> bounds {0, static_cast<qsizetype>(utf16Bounds.size()) - 1};
    // An offset inside a character adds nothing.
    auto addOffset = [&](qsizetype offset) {
        const auto found = std::lower_bound(utf16Bounds.begin(), utf16Bounds.end(), offset);
        if (found != utf16Bounds.end() && *found == offset)
            bounds.push_back(found - utf16Bounds.begin());
    };
    for (const JapaneseToken &token : tokenizer.tokenize(text)) {
        addOffset(token.location);
        addOffset(token.location + token.length);
    }
    std::sort(bounds.begin(), bounds.end());
    bounds.erase(std::unique(bounds.begin(), bounds.end()), bounds.end());
    return bounds;
}

std::vector<JapaneseEditFilter::Hunk> JapaneseEditFilter::diff(const std::vector<int> &x, const std::vector<int> &y)
{
    const size_t n = x.size();
    const size_t m = y.size();
    const size_t width = m + 1;
    std::vector<quint32> lengths((n + 1) * width, 0);
    auto at = [&](size_t i, size_t j) -> quint32 & { return lengths[i * width + j]; };
    for (size_t i = n; i-- > 0;) {
        for (size_t j = m; j-- > 0;)
            at(i, j) = x[i] == y[j] ? at(i + 1, j + 1) + 1 : std::max(at(i + 1, j), at(i, j + 1));
    }

    std::vector<Hunk> hunks;
    std::optional<std::pair<size_t, size_t>> open;
    size_t i = 0;
    size_t j = 0;
    auto close = [&] {
        if (open)
            hunks.push_back({qsizetype(open->first), qsizetype(i), qsizetype(open->second), qsizetype(j)});
        open.reset();
    };
    while (i < n || j < m) {
        if (i < n && j < m && x[i] == y[j]) {
            close();
            ++i;
            ++j;
            continue;
        }
        if (!open)
            open.emplace(i, j);
        // On a tie the rewrite's character counts as inserted first.
        if (j < m && (i == n || at(i, j + 1) >= at(i + 1, j)))
            ++j;
        else
            ++i;
    }
    close();
    return hunks;
}

void JapaneseEditFilter::expand(std::vector<Hunk> &hunks, qsizetype n, qsizetype m,
    const std::vector<qsizetype> &rawBounds, const std::vector<qsizetype> &polishedBounds)
{
    std::vector<bool> isRawBound(size_t(n) + 1, false);
    std::vector<bool> isPolishedBound(size_t(m) + 1, false);
    for (const qsizetype bound : rawBounds)
        isRawBound[size_t(bound)] = true;
    for (const qsizetype bound : polishedBounds)
        isPolishedBound[size_t(bound)] = true;
    auto bothAreBounds = [&](qsizetype i, qsizetype j) { return isRawBound[size_t(i)] && isPolishedBound[size_t(j)]; };

    // The text between two hunks is the same in both texts, so both sides can step together.
    const std::vector<Hunk> input = hunks;
    hunks.clear();
    for (size_t k = 0; k < input.size(); ++k) {
        const Hunk &hunk = input[k];
        const qsizetype previousA = hunks.empty() ? 0 : hunks.back().aUpper;
        const qsizetype previousB = hunks.empty() ? 0 : hunks.back().bUpper;
        const qsizetype nextA = k + 1 < input.size() ? input[k + 1].aLower : n;
        const qsizetype nextB = k + 1 < input.size() ? input[k + 1].bLower : m;

        qsizetype i = hunk.aLower;
        qsizetype j = hunk.bLower;
        while (!bothAreBounds(i, j) && i > previousA && j > previousB) {
            --i;
            --j;
        }
        const auto [startA, startB] = bothAreBounds(i, j) ? std::pair(i, j) : std::pair(hunk.aLower, hunk.bLower);

        i = hunk.aUpper;
        j = hunk.bUpper;
        while (!bothAreBounds(i, j) && i < nextA && j < nextB) {
            ++i;
            ++j;
        }
        const auto [endA, endB] = bothAreBounds(i, j) ? std::pair(i, j) : std::pair(hunk.aUpper, hunk.bUpper);

        if (!hunks.empty() && hunks.back().aUpper == startA && hunks.back().bUpper == startB) {
            hunks.back().aUpper = endA;
            hunks.back().bUpper = endB;
        } else {
            hunks.push_back({startA, endA, startB, endB});
        }
    }
}

QString JapaneseEditFilter::content(QStringView text)
{
    return keepingLettersAndNumbers(text, true);
}

QString JapaneseEditFilter::reading(QStringView text) const
{
    QString latin;
    for (const JapaneseToken &token : tokenizer.tokenize(text)) {
        const QStringView piece = text.sliced(token.location, token.length);
        const Characters characters(piece);
        bool isAllDigits = characters.count() > 0;
        QString digits;
        for (qsizetype i = 0; i < characters.count() && isAllDigits; ++i) {
            const std::optional<int> digit = digitValue(characters.at(i));
            isAllDigits = digit.has_value();
            if (digit)
                digits += QLatin1StringView(digitReadings[size_t(*digit)]);
        }
        if (isAllDigits)
            latin += digits;
        else
            latin += token.reading.value_or(piece.toString());
    }
    latin = Unicode::lowercased(latin);
    for (const auto &[accented, doubled] : longVowels)
        latin.replace(QString::fromUtf16(accented), QString::fromUtf16(doubled));
    return keepingLettersAndNumbers(latin, false);
}

bool JapaneseEditFilter::isAllowed(QStringView removed, QStringView inserted, bool hasCue) const
{
    if (hasQuestionMark(removed) && !hasQuestionMark(inserted))
        return false;
    const QString removedContent = content(removed);
    const QString insertedContent = content(inserted);
    // No content may be added where there was none.
    if (removedContent.isEmpty())
        return insertedContent.isEmpty();
    if (insertedContent.isEmpty())
        return isFiller(removedContent) || hasCue;
    if (Unicode::isCanonicallyEquivalent(removedContent, insertedContent))
        return true;
    if (Unicode::characterCount(removedContent) > maximumReadingCharacters
        || Unicode::characterCount(insertedContent) > maximumReadingCharacters)
        return false;
    const QString removedReading = reading(removedContent);
    return !removedReading.isEmpty() && removedReading == reading(insertedContent);
}

std::optional<QString> JapaneseEditFilter::partialSubstitution(QStringView removed, QStringView inserted) const
{
    const QString insertedContent = content(inserted);
    if (insertedContent.isEmpty() || Unicode::characterCount(insertedContent) > maximumReadingCharacters)
        return std::nullopt;
    const QString insertedReading = reading(insertedContent);
    if (insertedReading.isEmpty())
        return std::nullopt;

    // Only the part of the removed text that reads like the inserted word is replaced.
    auto readsAsInserted = [&](QStringView part) {
        const QString partContent = content(part);
        return Unicode::characterCount(partContent) <= maximumReadingCharacters
            && reading(partContent) == insertedReading
            && !Unicode::isCanonicallyEquivalent(partContent, insertedContent);
    };
    const Characters r(removed);
    const qsizetype k = r.count();
    for (const qsizetype t : tokenBoundaries(removed)) {
        if (t < 1 || t >= k)
            continue;
        const QStringView head = r.slice(0, t);
        const QStringView tail = r.slice(t, k);
        if (readsAsInserted(head))
            return inserted.toString().append(tail);
        if (readsAsInserted(tail))
            return head.toString().append(inserted);
    }
    return std::nullopt;
}
