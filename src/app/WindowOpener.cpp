#include "app/WindowOpener.h"

#include <QGuiApplication>
#include <QScreen>
#include <QTextStream>
#include <QWindow>

WindowOpener::~WindowOpener() = default;

bool WindowOpener::showSettings(std::optional<SettingsSection> section)
{
    if (section)
        selection.setValue(*section);
    return show(settingsWindow, settingsMaker, tr("Sorawen 設定"), tr("設定ウィンドウはまだありません。"));
}

bool WindowOpener::showOnboarding()
{
    return show(onboardingWindow, onboardingMaker, tr("Sorawen を使い始める"),
        tr("はじめての設定のウィンドウはまだありません。"));
}

void WindowOpener::releaseWindows()
{
    settingsWindow.reset();
    onboardingWindow.reset();
}

bool WindowOpener::show(std::unique_ptr<QWindow> &window, const WindowMaker &maker, const QString &title,
    const QString &missing)
{
    if (!window && maker) {
        window = maker();
        if (window) {
            window->setTitle(title);
            if (const QScreen *screen = window->screen()) {
                QRect frame = window->geometry();
                frame.moveCenter(screen->availableGeometry().center());
                window->setGeometry(frame);
            }
        }
    }
    if (!window) {
        QTextStream(stdout) << missing << Qt::endl;
        return false;
    }
    window->show();
    window->raise();
    window->requestActivate();
    return true;
}
