#include "app/DesktopServices.h"
#include "app/Localization.h"
#include "app/SingleInstance.h"
#include "app/TrayMenu.h"
#include "app/WindowOpener.h"
#include "core/TaskPools.h"
#include "dictation/AppModel.h"
#include "speech/SpeechAssetManager.h"
#include "ui/FloatingBar.h"
#include "ui/ModelsModel.h"
#include "ui/OnboardingModel.h"
#include "ui/OnboardingWindow.h"
#include "ui/SettingsModel.h"
#include "ui/SettingsWindow.h"
#include "ui/UpdaterModel.h"

#include <QApplication>
#include <QIcon>
#include <QSocketNotifier>
#include <QSystemTrayIcon>
#include <QTextStream>

#include <csignal>
#include <optional>
#include <sys/socket.h>
#include <unistd.h>

namespace {

int signalPipe[2] = {-1, -1};

// Ctrl+C in a terminal or the session's SIGTERM ends the event loop the way "終了" does. A signal
// handler may only write to a file descriptor; the event loop reads it and quits.
void quitOnTerminationSignals(QApplication &application)
{
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, signalPipe) != 0)
        return;
    auto *notifier = new QSocketNotifier(signalPipe[1], QSocketNotifier::Read, &application);
    QObject::connect(notifier, &QSocketNotifier::activated, &application, [] {
        char byte = 0;
        [[maybe_unused]] const auto ignored = ::read(signalPipe[1], &byte, 1);
        QCoreApplication::quit();
    });
    struct sigaction action {
    };
    action.sa_handler = [](int) {
        const char byte = 1;
        [[maybe_unused]] const auto ignored = ::write(signalPipe[0], &byte, 1);
    };
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    ::sigaction(SIGINT, &action, nullptr);
    ::sigaction(SIGTERM, &action, nullptr);
}

std::optional<QByteArray> environmentValue(const char *name)
{
    return qEnvironmentVariableIsSet(name) ? std::optional(qgetenv(name)) : std::nullopt;
}

void restoreEnvironment(const char *name, const std::optional<QByteArray> &value)
{
    if (value)
        qputenv(name, *value);
    else
        qunsetenv(name);
}

} // namespace

int main(int argc, char *argv[])
{
    // In a Wayland session the application runs on XWayland: the clipboard and its own windows work
    // there, and keys and the paste go through the device files (see DesktopServices).
    if (!qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY") && qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "xcb");
    // Qt's own event loop rather than GLib's: libatspi dispatches its connections on the default
    // GLib context, which the accessibility thread then iterates alone (see AtspiAccessibilityTree).
    // For the same reason no GTK in this process: the GTK platform theme would put GTK's sources on
    // that context, and GNOME desktops get Qt's own GNOME theme instead.
    // Both are read while the application is made; the programs it starts get the user's own.
    const std::optional<QByteArray> noGlib = environmentValue("QT_NO_GLIB");
    const std::optional<QByteArray> theme = environmentValue("QT_QPA_PLATFORMTHEME");
    qputenv("QT_NO_GLIB", "1");
    if (theme == "gtk3"
        || (theme.value_or("").isEmpty()
            && qEnvironmentVariable("XDG_CURRENT_DESKTOP").contains(u"GNOME", Qt::CaseInsensitive)))
        qputenv("QT_QPA_PLATFORMTHEME", "gnome");
    QApplication application(argc, argv);
    restoreEnvironment("QT_NO_GLIB", noGlib);
    restoreEnvironment("QT_QPA_PLATFORMTHEME", theme);
    QApplication::setApplicationName(QStringLiteral("Sorawen"));
    QApplication::setApplicationVersion(QStringLiteral(SORAWEN_VERSION));
    // The menu entry's name, so that a desktop groups the windows under it, and its icon.
    QGuiApplication::setDesktopFileName(QStringLiteral("sorawen"));
    QApplication::setWindowIcon(QIcon(QStringLiteral(":/sorawen/app/sorawen.svg")));
    QApplication::setQuitOnLastWindowClosed(false);
    Localization::install(application);
    quitOnTerminationSignals(application);

    // A second launch asks the running Sorawen to open its settings and ends.
    WindowOpener opener;
    SingleInstance instance;
    if (!instance.claim([&opener] { return opener.showSettings(); })) {
        const std::optional<bool> shown = SingleInstance::askRunningToShowSettings();
        QTextStream out(stdout);
        if (!shown) {
            out << QApplication::translate("main", "起動中の Sorawen から応答がありません。") << Qt::endl;
            return 1;
        }
        out << (*shown ? QApplication::translate("main", "起動中の Sorawen の設定を開きました。")
                       : QApplication::translate("main", "Sorawen はすでに起動しています。設定ウィンドウはまだありません。"))
            << Qt::endl;
        return 0;
    }

    DesktopServices services;
    const AppModel::Environment environment = services.environment();
    UpdaterModel updater(services.updateFeed(), environment.defaults, environment.clock, environment.log,
        QVersionNumber::fromString(QApplication::applicationVersion()));
    QObject::connect(&updater, &UpdaterModel::userCheckFinished, &opener, &WindowOpener::showUpdateResult);
    AppModel model(environment);
    FloatingBar bar(environment.clock);
    bar.show(model);
    model.start();

    SettingsModel settingsModel(model, updater, environment.pasteboard, environment.clock,
        [&keys = environment.keys](quint64 flagMask) { return keys.canObserve(flagMask); });
    ModelsModel models(services.assets(), services.modelStore(), environment.defaults);
    opener.setSettingsMaker(
        [&] { return std::make_unique<SettingsWindow>(settingsModel, models, opener.settingsSection()); });
    OnboardingModel onboarding(model, services.permissions(), environment.defaults, environment.clock);
    QObject::connect(&services.assets(), &SpeechAssetManager::progressed, &onboarding,
        [&](const QString &what, double fraction) {
            if (what == model.settings().language.rawValue())
                onboarding.setSpeechProgress(fraction < 1 ? fraction : -1);
        });
    QObject::connect(&services.assets(), &SpeechAssetManager::failed, &onboarding,
        [&](const QString &what, const QString &message) {
            environment.log.error(QStringLiteral("models"), QStringLiteral("%1: %2").arg(what, message));
            if (what == model.settings().language.rawValue()) {
                onboarding.setSpeechProgress(-1);
                onboarding.setSpeechProblem(message);
            }
        });
    opener.setOnboardingMaker([&] { return std::make_unique<OnboardingWindow>(onboarding, settingsModel); });

    TrayMenu tray(opener, updater);
    QObject::connect(&model, &AppModel::stateChanged, &tray, [&] { tray.showState(model.state()); });
    if (!QSystemTrayIcon::isSystemTrayAvailable()) {
        QTextStream(stderr) << QApplication::translate(
            "main", "システムトレイが見つからないため、アイコンなしで動作します。")
                            << Qt::endl;
    }
    if (model.showsOnboarding()) {
        environment.clock.schedule(secondsToDuration(0.6), &opener, [&opener] { opener.showOnboarding(); });
    }
    const int exitCode = QApplication::exec();
    opener.releaseWindows();
    services.stopDownloads();
    // Reads, keystrokes, recordings and stopped downloads still running on the pools use the services
    // above: they end (each is bounded) before those services and the program's static objects go.
    TaskPools::shortWork().waitForDone(5000);
    TaskPools::longWork().waitForDone(5000);
    return exitCode;
}
