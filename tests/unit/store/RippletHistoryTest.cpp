#include "store/RippletHistory.h"

#include <gtest/gtest.h>

namespace {

HistoryItem item(const QString &text, const QString &application = QStringLiteral("テキストエディタ"))
{
    return HistoryItem {QUuid::createUuid(), 785000000.25, application, text + QStringLiteral("（生）"), text};
}

RippletHistory historyOf(int count)
{
    RippletHistory history;
    for (int i = 0; i < count; ++i)
        history.items.append(item(QString::number(i)));
    return history;
}

TEST(RippletHistory, AddKeepsTheNewestWithinTheLimit)
{
    // The limit, then how many of three earlier items stay behind the new one: a limit of 0 keeps one item.
    for (const auto &[limit, kept] : {std::pair<qint64, qsizetype>{0, 0}, {2, 1}, {10, 3}}) {
        SCOPED_TRACE(limit);
        RippletHistory history = historyOf(3);
        const QList<HistoryItem> previous = history.items;
        const HistoryItem added = item(QStringLiteral("new"));
        history.add(added, limit);
        EXPECT_EQ(history.items, QList<HistoryItem>{added} + previous.first(kept));
    }
}

TEST(RippletHistory, StoredFormRoundTrips)
{
    RippletHistory history;
    history.items
        = {HistoryItem {QUuid::fromString(QStringLiteral("0b0e6b4e-4a8b-4c4b-9c8e-2c6e1e0f9a11")), 785000000.123456,
               QStringLiteral("端末"), QStringLiteral("えーと、\"三時\"\nから"), QStringLiteral("三時から")},
            HistoryItem {QUuid::createUuid(), -12.5, QString(), QString(), QStringLiteral("👍🏽")}};
    const std::optional<QByteArray> bytes = history.encoded();
    ASSERT_TRUE(bytes);
    EXPECT_EQ(RippletHistory::load(bytes), history);
}

TEST(RippletHistory, UnreadableDataGivesAnEmptyHistory)
{
    const QByteArray good = *historyOf(2).encoded();
    struct Case {
        const char *name;
        std::optional<QByteArray> bytes;
    };
    const Case cases[] = {
        {"absent", std::nullopt},
        {"truncated", good.left(good.size() / 2)},
        // One damaged item makes the whole file unreadable, not just that item.
        {"the second of two items lacks polishedText",
            QByteArray(good).replace(good.lastIndexOf("\"polishedText\""), 2, "\"x")},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_TRUE(RippletHistory::load(c.bytes).items.isEmpty());
    }
}

TEST(RippletHistory, SearchMatchesAnyTextIgnoringCase)
{
    RippletHistory history;
    history.items = {HistoryItem {QUuid::createUuid(), 3, QStringLiteral("firefox"), QStringLiteral("会議は三時"),
                         QStringLiteral("会議は三時です")},
        HistoryItem {
            QUuid::createUuid(), 2, QStringLiteral("Kate"), QStringLiteral("Straße"), QStringLiteral("STRASSE")}};
    struct Case {
        const char *name;
        QString query;
        QList<int> expected;
    };
    const Case cases[] = {
        {"empty", QString(), {0, 1}},
        {"capitals find a lower-case application name", QStringLiteral("FIREFOX"), {0}},
        {"polished text only", QStringLiteral("です"), {0}},
        {"full case folding", QStringLiteral("strasse"), {1}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        QList<HistoryItem> expected;
        for (const int index : c.expected)
            expected.append(history.items[index]);
        EXPECT_EQ(history.search(c.query), expected);
    }
}

} // namespace
