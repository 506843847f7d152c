#pragma once

#include "app/MenuIcon.h"
#include "dictation/FlowState.h"

#include <QObject>
#include <QPointer>

class QAction;
class QDBusServiceWatcher;
class QMenu;
class QSystemTrayIcon;
class UpdaterModel;
class WindowOpener;

// The tray item and its menu: the state's label, the settings and first-run windows, updates, and
// "終了". The icon's symbol follows the state, drawn in the text colour of the desktop's palette
// so it reads on a light or a dark panel. The item is made again when a StatusNotifierItem host
// appears after start-up, as a panel started at login may; without any tray host the application
// runs on without an icon. Main thread only.
class TrayMenu : public QObject
{
    Q_OBJECT

public:
    TrayMenu(WindowOpener &opener, UpdaterModel &updater, QObject *parent = nullptr);
    ~TrayMenu() override;

    void showState(const FlowState::Value &state);
    bool isVisible() const;
    MenuIcon::Symbol symbol() const { return currentSymbol; }
    QMenu *menu() const { return trayMenu; }

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void createIcon();
    void updateIcon();
    void updateUpdateItems();

    WindowOpener &opener;
    UpdaterModel &updater;
    QMenu *trayMenu;
    QAction *stateLine;
    QAction *updateWaitingItem;
    QAction *checkForUpdatesItem;
    QPointer<QSystemTrayIcon> icon;
    QDBusServiceWatcher *hostWatcher;
    FlowState::Value state = FlowState::Idle {};
    MenuIcon::Symbol currentSymbol = MenuIcon::Symbol::mic;
};
