#include "app/TrayMenu.h"

#include <QAction>
#include <QApplication>
#include <QIcon>
#include <QMenu>
#include <QPainter>
#include <QPixmap>
#include <QSystemTrayIcon>

namespace {

// A microphone drawn at run time, so the icon needs no image plugin.
QIcon microphoneIcon()
{
    QIcon icon;
    for (const int size : {16, 22, 24, 32, 48, 64}) {
        QPixmap pixmap(size, size);
        pixmap.fill(Qt::transparent);
        QPainter painter(&pixmap);
        painter.setRenderHint(QPainter::Antialiasing);
        const qreal unit = size / 16.0;
        painter.setPen(QPen(QColor(0x3a, 0x6e, 0xa5), 1.4 * unit, Qt::SolidLine, Qt::RoundCap));
        painter.setBrush(QColor(0x3a, 0x6e, 0xa5));
        painter.drawRoundedRect(QRectF(5.5 * unit, 1.5 * unit, 5 * unit, 8 * unit), 2.5 * unit, 2.5 * unit);
        painter.setBrush(Qt::NoBrush);
        painter.drawArc(QRectF(3.5 * unit, 4.5 * unit, 9 * unit, 7.5 * unit), 180 * 16, 180 * 16);
        painter.drawLine(QPointF(8 * unit, 12 * unit), QPointF(8 * unit, 14.5 * unit));
        painter.end();
        icon.addPixmap(pixmap);
    }
    return icon;
}

} // namespace

TrayMenu::TrayMenu(QObject *parent)
    : QObject(parent)
    , menu(new QMenu)
    , stateLine(menu->addAction(QString()))
    , icon(new QSystemTrayIcon(microphoneIcon(), this))
{
    stateLine->setEnabled(false);
    menu->addSeparator();
    QAction *quit = menu->addAction(tr("終了"));
    connect(quit, &QAction::triggered, qApp, &QCoreApplication::quit);
    icon->setContextMenu(menu);
    icon->setToolTip(QStringLiteral("Sorawen"));
    showState(FlowState::Idle {});
    icon->show();
}

TrayMenu::~TrayMenu()
{
    delete menu;
}

void TrayMenu::showState(const FlowState::Value &state)
{
    const QString label = FlowState::label(state);
    stateLine->setText(label);
    icon->setToolTip(QStringLiteral("Sorawen — ") + label);
}

bool TrayMenu::isVisible() const
{
    return QSystemTrayIcon::isSystemTrayAvailable() && icon->isVisible();
}
