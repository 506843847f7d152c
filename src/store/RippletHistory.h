#pragma once

#include "store/HistoryItem.h"

#include <QByteArray>
#include <QList>

#include <optional>

// The dictation history, newest first, and its stored form:
// {"items":[{"id","date","applicationName","rawText","polishedText"}, ...]}.
struct RippletHistory {
    QList<HistoryItem> items;

    // Puts `item` first and drops the oldest beyond `limit`; a limit below 1 keeps only `item`.
    void add(HistoryItem item, qint64 limit);

    // Anything that is not the stored form (missing, not JSON, one bad item) gives an empty history.
    static RippletHistory load(const std::optional<QByteArray> &bytes);
    std::optional<QByteArray> encoded() const;

    // The items whose raw text, final text or application name contains the query (trimmed),
    // ignoring case; every item for an empty query. Order is kept.
    QList<HistoryItem> search(QStringView query) const;

    friend bool operator==(const RippletHistory &, const RippletHistory &) = default;
};
