#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

#include <utility>

// One clipboard item: its data under each of its types (MIME types), in order.
struct PasteboardItem {
    QList<std::pair<QString, QByteArray>> representations;
    friend bool operator==(const PasteboardItem &, const PasteboardItem &) = default;
};

// The clipboard with multi-type items and a change counter. Main thread only (where the toolkit's
// clipboard lives); every call returns when its effect is visible.
class Pasteboard
{
public:
    virtual ~Pasteboard() = default;

    // Deep copies of the current items.
    virtual QList<PasteboardItem> items() const = 0;
    virtual void clearContents() = 0;
    // The dictated text as the only item, marked so clipboard managers keep it out of their history.
    virtual void setString(const QString &text) = 0;
    virtual void writeItems(const QList<PasteboardItem> &items) = 0;
    // Grows with every change of the clipboard, by anyone.
    virtual quint64 changeCount() const = 0;
};
