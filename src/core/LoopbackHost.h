#pragma once

#include <QString>
#include <QStringList>

#include <algorithm>

// Whether a URL's host names this machine: localhost, ::1 or an address in 127.0.0.0/8.
inline bool isLoopbackHost(const QString &host)
{
    if (host.compare(u"localhost", Qt::CaseInsensitive) == 0 || host == u"::1")
        return true;
    const QStringList parts = host.split(u'.');
    if (parts.size() != 4 || parts.first() != u"127")
        return false;
    return std::ranges::all_of(parts, [](const QString &part) {
        bool isNumber = false;
        const uint value = part.toUInt(&isNumber);
        return isNumber && value <= 255;
    });
}
