#pragma once

#include "ui/SettingsSection.h"

#include <QMessageBox>
#include <QObject>
#include <QPointer>
#include <QUrl>
#include <QWindow>

#include <functional>
#include <memory>
#include <optional>

// Opens the settings and first-run windows, and the result of an update check: each is created on first request, kept
// when the user closes it, and raised again on the next request with its state intact. A window whose maker is not set
// cannot be opened yet; the request says so on standard output. Main thread only.
class WindowOpener : public QObject
{
    Q_OBJECT

public:
    using WindowMaker = std::function<std::unique_ptr<QWindow>()>;

    using QObject::QObject;
    ~WindowOpener() override;

    void setSettingsMaker(WindowMaker maker) { settingsMaker = std::move(maker); }
    void setOnboardingMaker(WindowMaker maker) { onboardingMaker = std::move(maker); }

    // True when the window now shows. A given section is selected first; without one the window
    // shows the section last chosen.
    bool showSettings(std::optional<SettingsSection> section = std::nullopt);
    bool showOnboarding();
    // A small window with what an update check found, and a button to the download page when
    // there is one; a newer result replaces one still open.
    void showUpdateResult(const QString &message, const QUrl &page);

    QWindow *settings() const { return settingsWindow.get(); }
    QWindow *onboarding() const { return onboardingWindow.get(); }
    SettingsSectionSelection &settingsSection() { return selection; }
    // Closes both windows for good, before what they show goes away.
    void releaseWindows();

private:
    bool show(std::unique_ptr<QWindow> &window, const WindowMaker &maker, const QString &title,
        const QString &missing);

    WindowMaker settingsMaker;
    WindowMaker onboardingMaker;
    std::unique_ptr<QWindow> settingsWindow;
    std::unique_ptr<QWindow> onboardingWindow;
    QPointer<QMessageBox> updateResult;
    SettingsSectionSelection selection;
};
