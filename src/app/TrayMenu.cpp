#include "app/TrayMenu.h"

#include "app/WindowOpener.h"
#include "ui/UpdaterModel.h"

#include <QAction>
#include <QApplication>
#include <QBuffer>
#include <QDBusConnection>
#include <QDBusServiceWatcher>
#include <QFile>
#include <QIcon>
#include <QImageReader>
#include <QMenu>
#include <QPalette>
#include <QPixmap>
#include <QSystemTrayIcon>

namespace {

// The symbol's SVG drawn in `colour` at the sizes panels ask for.
QIcon symbolIcon(MenuIcon::Symbol symbol, const QColor &colour)
{
    QFile file(QStringLiteral(":/sorawen/tray/%1.svg").arg(MenuIcon::symbolName(symbol)));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    QByteArray svg = file.readAll();
    svg.replace("currentColor", colour.name().toLatin1());
    QIcon icon;
    for (const int size : {16, 22, 24, 32, 48, 64}) {
        QBuffer buffer(&svg);
        QImageReader reader(&buffer, "svg");
        reader.setScaledSize(QSize(size, size));
        const QImage image = reader.read();
        if (!image.isNull())
            icon.addPixmap(QPixmap::fromImage(image));
    }
    return icon;
}

} // namespace

TrayMenu::TrayMenu(WindowOpener &opener, UpdaterModel &updater, QObject *parent)
    : QObject(parent)
    , opener(opener)
    , updater(updater)
    , trayMenu(new QMenu)
    , stateLine(trayMenu->addAction(QString()))
    , hostWatcher(new QDBusServiceWatcher(QStringLiteral("org.kde.StatusNotifierWatcher"),
          QDBusConnection::sessionBus(), QDBusServiceWatcher::WatchForRegistration, this))
{
    stateLine->setEnabled(false);
    trayMenu->addSeparator();
    connect(trayMenu->addAction(tr("設定を開く")), &QAction::triggered, this, [this] { this->opener.showSettings(); });
    connect(trayMenu->addAction(tr("はじめての設定（許可）")), &QAction::triggered, this,
        [this] { this->opener.showOnboarding(); });
    trayMenu->addSeparator();
    updateWaitingItem = trayMenu->addAction(tr("新しい版があります（入れる）"));
    checkForUpdatesItem = trayMenu->addAction(tr("アップデートを確認…"));
    for (QAction *item : {updateWaitingItem, checkForUpdatesItem})
        connect(item, &QAction::triggered, &updater, &UpdaterModel::checkForUpdates);
    connect(trayMenu->addAction(tr("終了")), &QAction::triggered, qApp, &QCoreApplication::quit);
    connect(&updater, &UpdaterModel::updateWaitingChanged, this, [this] {
        updateUpdateItems();
        updateIcon();
    });
    connect(&updater, &UpdaterModel::canCheckChanged, this, &TrayMenu::updateUpdateItems);
    connect(hostWatcher, &QDBusServiceWatcher::serviceRegistered, this, &TrayMenu::createIcon);
    qApp->installEventFilter(this);
    updateUpdateItems();
    createIcon();
    showState(state);
}

TrayMenu::~TrayMenu()
{
    delete icon;
    delete trayMenu;
}

void TrayMenu::createIcon()
{
    delete icon;
    icon = new QSystemTrayIcon(this);
    icon->setContextMenu(trayMenu);
    updateIcon();
    icon->show();
}

void TrayMenu::showState(const FlowState::Value &newState)
{
    state = newState;
    stateLine->setText(FlowState::label(state));
    updateIcon();
}

void TrayMenu::updateIcon()
{
    currentSymbol = MenuIcon::menuIcon(state, updater.updateWaiting());
    if (!icon)
        return;
    icon->setIcon(symbolIcon(currentSymbol, QGuiApplication::palette().color(QPalette::WindowText)));
    icon->setToolTip(QStringLiteral("Sorawen — ") + FlowState::label(state));
}

void TrayMenu::updateUpdateItems()
{
    updateWaitingItem->setVisible(updater.updateWaiting());
    checkForUpdatesItem->setEnabled(updater.canCheck());
}

bool TrayMenu::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == qApp && event->type() == QEvent::ApplicationPaletteChange)
        updateIcon();
    return QObject::eventFilter(watched, event);
}

bool TrayMenu::isVisible() const
{
    return icon && QSystemTrayIcon::isSystemTrayAvailable() && icon->isVisible();
}
