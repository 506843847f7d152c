#pragma once

#include "platform/Pasteboard.h"

#include <QObject>

#include <atomic>

// The desktop clipboard through QClipboard. Lives on the main thread (the toolkit's clipboard is
// only usable there); calls from other threads wait for the main thread to do them. Every format
// of the current item is copied except the X11 selection bookkeeping targets, up to a size cap.
class QtClipboardPasteboard final : public QObject, public Pasteboard
{
    Q_OBJECT

public:
    explicit QtClipboardPasteboard(QObject *parent = nullptr);

    QList<PasteboardItem> items() const override;
    void clearContents() override;
    void setString(const QString &text) override;
    void writeItems(const QList<PasteboardItem> &items) override;
    quint64 changeCount() const override { return changes.load(); }

    // Formats larger than this (all together) are not copied; a snapshot keeps what fits.
    static constexpr qsizetype sizeCap = 64 * 1024 * 1024;

private:
    template<typename Work>
    void onMainThread(Work work) const;
    void writeOwn(class QMimeData *data);

    std::atomic<quint64> changes {0};
};
