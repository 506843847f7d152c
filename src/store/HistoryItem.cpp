#include "store/HistoryItem.h"

#include <QTimeZone>

QDateTime HistoryItem::referenceDate()
{
    return QDateTime(QDate(2001, 1, 1), QTime(0, 0), QTimeZone::utc());
}

double HistoryItem::secondsSinceReferenceDate(const QDateTime &moment)
{
    return static_cast<double>(referenceDate().msecsTo(moment)) / 1000.0;
}

QDateTime HistoryItem::dateTime() const
{
    return referenceDate().addMSecs(static_cast<qint64>(date * 1000.0));
}
