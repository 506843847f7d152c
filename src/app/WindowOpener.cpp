#include "app/WindowOpener.h"

#include <QDesktopServices>
#include <QGuiApplication>
#include <QPushButton>
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

void WindowOpener::showUpdateResult(const QString &message, const QUrl &page)
{
    delete updateResult;
    updateResult = new QMessageBox(QMessageBox::Information,
        tr("Sorawen のアップデート"), message, QMessageBox::NoButton);
    updateResult->setAttribute(Qt::WA_DeleteOnClose);
    if (!page.isEmpty()) {
        const QPushButton *open = updateResult->addButton(tr("ダウンロードページを開く"), QMessageBox::AcceptRole);
        connect(open, &QPushButton::clicked, this, [page] { QDesktopServices::openUrl(page); });
    }
    updateResult->addButton(tr("閉じる"), QMessageBox::RejectRole);
    updateResult->open();
    updateResult->raise();
    updateResult->activateWindow();
}

void WindowOpener::releaseWindows()
{
    delete updateResult;
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
