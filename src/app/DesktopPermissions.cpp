#include "app/DesktopPermissions.h"

#include "core/TaskPools.h"
#include "platform/AudioEngine.h"
#include "speech/ModelCatalogue.h"
#include "speech/SpeechAssetManager.h"
#include "store/SpeechModelChoice.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>

#include <unistd.h>

namespace {

const QString a11yService = QStringLiteral("org.a11y.Bus");
const QString a11yPath = QStringLiteral("/org/a11y/bus");
const QString propertiesInterface = QStringLiteral("org.freedesktop.DBus.Properties");
const QString statusInterface = QStringLiteral("org.a11y.Status");
const QString enabledProperty = QStringLiteral("IsEnabled");
constexpr int busTimeoutMilliseconds = 500;

bool isAccessibilityBusEnabled()
{
    QDBusMessage get
        = QDBusMessage::createMethodCall(a11yService, a11yPath, propertiesInterface, QStringLiteral("Get"));
    get << statusInterface << enabledProperty;
    const QDBusMessage reply = QDBusConnection::sessionBus().call(get, QDBus::Block, busTimeoutMilliseconds);
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty())
        return false;
    return reply.arguments().constFirst().value<QDBusVariant>().variant().toBool();
}

bool canReadKeyboardDevices()
{
    const QDir devices(QStringLiteral("/dev/input"));
    for (const QString &name : devices.entryList({QStringLiteral("event*")}, QDir::System))
        if (::access(devices.filePath(name).toLocal8Bit().constData(), R_OK) == 0)
            return true;
    return false;
}

// Starts the first settings program found with its page; false when none is installed.
bool startFirst(const QList<std::pair<QString, QStringList>> &programs)
{
    for (const auto &[program, arguments] : programs) {
        const QString path = QStandardPaths::findExecutable(program);
        if (!path.isEmpty() && QProcess::startDetached(path, arguments))
            return true;
    }
    return false;
}

} // namespace

DesktopPermissions::DesktopPermissions(AudioEngine &audio, SpeechAssetManager &assets,
    const SpeechModelStore &modelStore, const DefaultsStore &storedOnDisk, bool isWaylandSession)
    : audio(audio)
    , assets(assets)
    , modelStore(modelStore)
    , storedOnDisk(storedOnDisk)
    , isWaylandSession(isWaylandSession)
{
}

PermissionStatus DesktopPermissions::status(RecognitionLanguage language) const
{
    return PermissionStatus {
        .mic = audio.inputFormat().isUsable(),
        .speech = hasSpeechModel(language),
        .ax = isAccessibilityBusEnabled(),
        .listen = !isWaylandSession || canReadKeyboardDevices(),
    };
}

bool DesktopPermissions::hasSpeechModel(RecognitionLanguage language) const
{
    const SpeechModelChoice choice = SpeechModelChoice::load(storedOnDisk);
    const SpeechModelChoice::Source &source = choice.of(language);
    if (const auto *file = std::get_if<SpeechModelChoice::File>(&source))
        return SpeechModelChoice::modelFile(file->path).has_value();
    if (std::holds_alternative<SpeechModelChoice::Endpoint>(source))
        return true;
    const QString locale = language.rawValue();
    if (assets.isInstalled(locale))
        return true;
    // A catalogue file is moved into place only once its checksum matched, so being there is enough.
    const std::vector<ModelFile> files = ModelCatalogue::filesFor(locale);
    return !files.empty() && std::all_of(files.begin(), files.end(), [this](const ModelFile &file) {
        return QFileInfo::exists(modelStore.pathOf(file));
    });
}

void DesktopPermissions::request(Permission permission, RecognitionLanguage language)
{
    switch (permission) {
    case Permission::speechRecognition:
        // Progress reaches the window through the installer's own signal; a failure shows as a row
        // still waiting for its grant.
        TaskPools::run(TaskPools::longWork(), [&assets = assets, locale = language.rawValue()] {
            return assets.ensureInstalled(locale).has_value();
        });
        return;
    case Permission::accessibility: {
        QDBusMessage set
            = QDBusMessage::createMethodCall(a11yService, a11yPath, propertiesInterface, QStringLiteral("Set"));
        set << statusInterface << enabledProperty << QVariant::fromValue(QDBusVariant(true));
        QDBusConnection::sessionBus().send(set);
        return;
    }
    case Permission::microphone:
    case Permission::inputMonitoring:
        return;
    }
}

void DesktopPermissions::openPage(Permission permission)
{
    switch (permission) {
    case Permission::microphone:
        startFirst({{QStringLiteral("gnome-control-center"), {QStringLiteral("sound")}},
            {QStringLiteral("systemsettings"), {QStringLiteral("kcm_pulseaudio")}},
            {QStringLiteral("pavucontrol"), {QStringLiteral("--tab=4")}}});
        return;
    case Permission::accessibility:
        startFirst({{QStringLiteral("gnome-control-center"), {QStringLiteral("universal-access")}},
            {QStringLiteral("systemsettings"), {QStringLiteral("kcm_access")}}});
        return;
    case Permission::speechRecognition:
    case Permission::inputMonitoring:
        return;
    }
}
