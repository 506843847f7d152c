#pragma once

#include "platform/Pasteboard.h"

#include <QObject>

// The desktop clipboard through QClipboard, on the main thread (the toolkit's clipboard is only
// usable there). Every format of the current item is copied except the X11 selection bookkeeping
// targets, up to a size cap.
class QtClipboardPasteboard final : public QObject, public Pasteboard
{
    Q_OBJECT

public:
    explicit QtClipboardPasteboard(QObject *parent = nullptr);

    QList<PasteboardItem> items() const override;
    void clearContents() override;
    void setString(const QString &text) override;
    void writeItems(const QList<PasteboardItem> &items) override;
    quint64 changeCount() const override { return changes; }

    // Formats larger than this (all together) are not copied; a snapshot keeps what fits.
    static constexpr qsizetype sizeCap = 64 * 1024 * 1024;

private:
    void writeOwn(class QMimeData *data);

    quint64 changes = 0;
};
