#pragma once

#include <QDateTime>
#include <QString>
#include <QUuid>

// One finished dictation. `date` is seconds since 2001-01-01 00:00:00 UTC, the form in which the
// history file stores it, so a stored item reads back equal to the one written.
struct HistoryItem {
    QUuid id;
    double date = 0;
    QString applicationName;
    QString rawText;
    QString polishedText;

    static QDateTime referenceDate();
    static double secondsSinceReferenceDate(const QDateTime &moment);
    QDateTime dateTime() const;

    friend bool operator==(const HistoryItem &, const HistoryItem &) = default;
};
