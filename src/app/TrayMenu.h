#pragma once

#include "dictation/FlowState.h"

#include <QObject>

class QAction;
class QMenu;
class QSystemTrayIcon;

// The tray icon and its menu: the state's label, then "終了". Without a tray host (a bare window
// manager) the application keeps running without an icon. Main thread only.
class TrayMenu : public QObject
{
    Q_OBJECT

public:
    explicit TrayMenu(QObject *parent = nullptr);
    ~TrayMenu() override;

    void showState(const FlowState::Value &state);
    bool isVisible() const;

private:
    QMenu *menu;
    QAction *stateLine;
    QSystemTrayIcon *icon;
};
