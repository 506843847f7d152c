#include "platform/linux/QtClipboardPasteboard.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QMimeData>

namespace {

bool isBookkeeping(const QString &format)
{
    static const QStringList targets{QStringLiteral("TARGETS"), QStringLiteral("MULTIPLE"), QStringLiteral("TIMESTAMP"),
        QStringLiteral("SAVE_TARGETS"), QStringLiteral("DELETE"), QStringLiteral("INSERT_SELECTION"),
        QStringLiteral("INSERT_PROPERTY")};
    return targets.contains(format) || format.startsWith(u"application/x-qt-windows-mime");
}

} // namespace

QtClipboardPasteboard::QtClipboardPasteboard(QObject *parent)
    : QObject(parent)
{
    connect(QGuiApplication::clipboard(), &QClipboard::changed, this, [this](QClipboard::Mode mode) {
        // Our own writes are counted when made; a change while we own the clipboard is one of them.
        if (mode == QClipboard::Clipboard && !QGuiApplication::clipboard()->ownsClipboard())
            ++changes;
    });
}

QList<PasteboardItem> QtClipboardPasteboard::items() const
{
    const QMimeData *data = QGuiApplication::clipboard()->mimeData(QClipboard::Clipboard);
    if (data == nullptr || data->formats().isEmpty())
        return {};
    PasteboardItem item;
    qsizetype total = 0;
    for (const QString &format : data->formats()) {
        if (isBookkeeping(format))
            continue;
        const QByteArray bytes = data->data(format);
        if (total + bytes.size() > sizeCap)
            continue;
        total += bytes.size();
        item.representations.append({format, bytes});
    }
    if (item.representations.isEmpty())
        return {};
    return {item};
}

void QtClipboardPasteboard::writeOwn(QMimeData *data)
{
    ++changes;
    QGuiApplication::clipboard()->setMimeData(data, QClipboard::Clipboard);
}

// An empty item of our own rather than no owner at all: a compositor that bridges the X clipboard
// to its native clients (XWayland's window manager) answers an ownerless clipboard by taking it
// back with its own last offer, which then won over the item written right after.
void QtClipboardPasteboard::clearContents()
{
    writeOwn(new QMimeData);
}

void QtClipboardPasteboard::setString(const QString &text)
{
    auto *data = new QMimeData;
    data->setText(text);
    // Clipboard managers (Klipper and those that follow it) keep such items out of their history.
    data->setData(QStringLiteral("x-kde-passwordManagerHint"), "secret");
    writeOwn(data);
}

void QtClipboardPasteboard::writeItems(const QList<PasteboardItem> &items)
{
    // The desktop clipboard holds one item; the first one is restored.
    if (items.isEmpty())
        return;
    auto *data = new QMimeData;
    for (const auto &[format, bytes] : items.first().representations)
        data->setData(format, bytes);
    writeOwn(data);
}
