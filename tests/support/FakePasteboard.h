#pragma once

#include "platform/Pasteboard.h"

#include <mutex>

// The user's clipboard holds one item of two types until a test or the paste changes it. Tests read
// it after the paste's worker has finished.
class FakePasteboard final : public Pasteboard
{
public:
    QList<PasteboardItem> contents {
        PasteboardItem {{{QStringLiteral("text/html"), "<b>mine</b>"}, {QStringLiteral("text/plain"), "mine"}}}};
    quint64 changes = 7;

    QList<PasteboardItem> items() const override
    {
        std::scoped_lock guard(lock);
        return contents;
    }
    void clearContents() override { writeItems({}); }
    void setString(const QString &text) override
    {
        writeItems({PasteboardItem {{{QStringLiteral("text/plain"), text.toUtf8()}}}});
    }
    void writeItems(const QList<PasteboardItem> &items) override
    {
        std::scoped_lock guard(lock);
        contents = items;
        ++changes;
    }
    quint64 changeCount() const override
    {
        std::scoped_lock guard(lock);
        return changes;
    }
    // The dictated text while it is on the clipboard.
    QString text() const
    {
        std::scoped_lock guard(lock);
        for (const PasteboardItem &item : contents)
            for (const auto &[type, bytes] : item.representations)
                if (type == QStringLiteral("text/plain"))
                    return QString::fromUtf8(bytes);
        return {};
    }

private:
    mutable std::mutex lock;
};
