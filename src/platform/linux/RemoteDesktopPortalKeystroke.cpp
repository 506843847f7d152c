#include "platform/linux/RemoteDesktopPortalKeystroke.h"

#include "core/XdgPaths.h"
#include "platform/Log.h"
#include "platform/linux/ModifierRelease.h"

#include <QCoreApplication>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QFile>
#include <QFileInfo>

#include <vector>

namespace {

const QString service = QStringLiteral("org.freedesktop.portal.Desktop");
const QString desktopPath = QStringLiteral("/org/freedesktop/portal/desktop");
const QString remoteDesktop = QStringLiteral("org.freedesktop.portal.RemoteDesktop");
const QString requestInterface = QStringLiteral("org.freedesktop.portal.Request");
const QString sessionInterface = QStringLiteral("org.freedesktop.portal.Session");
const QString category = QStringLiteral("paste");

// The portal's device types and the answers of its requests.
constexpr quint32 keyboardDevice = 1;
constexpr quint32 persistUntilRevoked = 2;
constexpr uint answerCancelled = 1;

constexpr int controlLeft = 0xffe3;
constexpr int shiftLeft = 0xffe1;
constexpr int letterV = 0x0076;
constexpr int callTimeoutMs = 2000;

// What the user reads when the portal would not open a session; %1 is what it said.
QString sessionRefused()
{
    return QCoreApplication::translate(
        "RemoteDesktopPortalKeystroke", "デスクトップのリモート操作ポータルがセッションを開けませんでした: %1");
}

} // namespace

RemoteDesktopPortalKeystroke::RemoteDesktopPortalKeystroke(
    Log &log, QString tokenFile, std::function<quint64()> heldModifiers, QDBusConnection bus, QObject *parent)
    : QObject(parent)
    , log(log)
    , tokenFile(std::move(tokenFile))
    , heldModifiers(std::move(heldModifiers))
    , bus(std::move(bus))
{ }

RemoteDesktopPortalKeystroke::~RemoteDesktopPortalKeystroke()
{
    std::scoped_lock lock(mutex);
    if (!session.isEmpty())
        bus.send(QDBusMessage::createMethodCall(service, session, sessionInterface, QStringLiteral("Close")));
}

void RemoteDesktopPortalKeystroke::start()
{
    {
        std::scoped_lock lock(mutex);
        if (step != Step::notStarted)
            return;
        step = Step::creating;
    }
    if (!bus.isConnected()) {
        fail(QCoreApplication::translate("RemoteDesktopPortalKeystroke",
                 "デスクトップのリモート操作ポータルもありません（セッションバスにつながりません）。"),
            QStringLiteral("no session bus for the remote-desktop portal"));
        return;
    }
    readProperties();
}

void RemoteDesktopPortalKeystroke::readProperties()
{
    QDBusMessage call = QDBusMessage::createMethodCall(
        service, desktopPath, QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("GetAll"));
    call << remoteDesktop;
    auto *watcher = new QDBusPendingCallWatcher(bus.asyncCall(call), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this](QDBusPendingCallWatcher *watcher) {
        watcher->deleteLater();
        const QDBusPendingReply<QVariantMap> reply = *watcher;
        if (reply.isError()) {
            fail(QCoreApplication::translate("RemoteDesktopPortalKeystroke",
                     "デスクトップのリモート操作ポータル（xdg-desktop-portal の RemoteDesktop）もありません。"),
                QStringLiteral("no remote-desktop portal: %1").arg(reply.error().message()));
            return;
        }
        const QVariantMap properties = reply.value();
        version = properties.value(QStringLiteral("version")).toUInt();
        if ((properties.value(QStringLiteral("AvailableDeviceTypes")).toUInt() & keyboardDevice) == 0) {
            fail(QCoreApplication::translate("RemoteDesktopPortalKeystroke",
                     "デスクトップのリモート操作ポータルはキーボードの操作を扱えません。"),
                QStringLiteral("the remote-desktop portal offers no keyboard"));
            return;
        }
        ask(Step::creating, QStringLiteral("CreateSession"), {},
            {{QStringLiteral("session_handle_token"), QStringLiteral("sorawen")}});
    });
}

// The portal answers each request with a Response signal on an object named after our unique name
// and the token we chose; that object is listened to before the call, so no answer comes too early.
void RemoteDesktopPortalKeystroke::ask(
    Step next, const QString &method, const QVariantList &arguments, QVariantMap options)
{
    const QString token = QStringLiteral("sorawen%1").arg(++requests);
    options.insert(QStringLiteral("handle_token"), token);
    QString sender = bus.baseService().mid(1);
    sender.replace(QLatin1Char('.'), QLatin1Char('_'));
    listenForAnswer(desktopPath + QStringLiteral("/request/") + sender + QLatin1Char('/') + token);
    {
        std::scoped_lock lock(mutex);
        step = next;
    }
    QDBusMessage call = QDBusMessage::createMethodCall(service, desktopPath, remoteDesktop, method);
    call.setArguments(arguments + QVariantList{options});
    auto *watcher = new QDBusPendingCallWatcher(bus.asyncCall(call), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, method](QDBusPendingCallWatcher *watcher) {
        watcher->deleteLater();
        const QDBusPendingReply<QDBusObjectPath> reply = *watcher;
        if (reply.isError()) {
            listenForAnswer(QString());
            fail(sessionRefused().arg(reply.error().message()),
                QStringLiteral("remote-desktop portal %1 failed: %2").arg(method, reply.error().message()));
            return;
        }
        // Portals older than the naming rule answer on an object of their own choosing.
        const QString answeredOn = reply.value().path();
        if (answeredOn != requestPath)
            listenForAnswer(answeredOn);
    });
}

// Moves the one subscription to Response signals to the request object `path` (none when empty).
void RemoteDesktopPortalKeystroke::listenForAnswer(const QString &path)
{
    if (!requestPath.isEmpty())
        bus.disconnect(QString(), requestPath, requestInterface, QStringLiteral("Response"), this,
            SLOT(requestAnswered(uint, QVariantMap)));
    requestPath = path;
    if (!requestPath.isEmpty())
        bus.connect(QString(), requestPath, requestInterface, QStringLiteral("Response"), this,
            SLOT(requestAnswered(uint, QVariantMap)));
}

void RemoteDesktopPortalKeystroke::requestAnswered(uint response, const QVariantMap &results)
{
    if (message().path() != requestPath)
        return;
    listenForAnswer(QString());
    Step answered;
    QString sessionPath;
    {
        std::scoped_lock lock(mutex);
        answered = step;
        sessionPath = session;
    }
    if (response != 0) {
        if (response == answerCancelled)
            fail(QCoreApplication::translate("RemoteDesktopPortalKeystroke",
                     "デスクトップのリモート操作が許可されませんでした。Sorawen を起動し直すと、もう一度たずねます。"),
                QStringLiteral("the remote-desktop portal was refused"));
        else
            fail(sessionRefused().arg(
                     QCoreApplication::translate("RemoteDesktopPortalKeystroke", "要求が打ち切られました（応答 %1）")
                         .arg(response)),
                QStringLiteral("the remote-desktop portal ended a request with %1").arg(response));
        return;
    }
    switch (answered) {
    case Step::creating: {
        // A string in the portals seen so far; an object path by the letter of the interface.
        const QVariant handle = results.value(QStringLiteral("session_handle"));
        sessionPath = handle.metaType() == QMetaType::fromType<QDBusObjectPath>()
            ? handle.value<QDBusObjectPath>().path()
            : handle.toString();
        if (sessionPath.isEmpty()) {
            fail(sessionRefused().arg(QCoreApplication::translate(
                     "RemoteDesktopPortalKeystroke", "セッションの名前が返されませんでした")),
                QStringLiteral("the remote-desktop portal named no session"));
            return;
        }
        {
            std::scoped_lock lock(mutex);
            session = sessionPath;
        }
        bus.connect(QString(), sessionPath, sessionInterface, QStringLiteral("Closed"), this, SLOT(sessionClosed()));
        QVariantMap options{{QStringLiteral("types"), keyboardDevice}};
        QFile stored(tokenFile);
        // Persistence and its token came with the second version of the portal.
        if (version >= 2) {
            options.insert(QStringLiteral("persist_mode"), persistUntilRevoked);
            if (stored.open(QIODevice::ReadOnly))
                options.insert(QStringLiteral("restore_token"), QString::fromUtf8(stored.readAll().trimmed()));
        }
        ask(Step::selecting, QStringLiteral("SelectDevices"), {QVariant::fromValue(QDBusObjectPath(sessionPath))},
            options);
        return;
    }
    case Step::selecting:
        ask(Step::starting, QStringLiteral("Start"), {QVariant::fromValue(QDBusObjectPath(sessionPath)), QString()},
            {});
        return;
    case Step::starting: {
        if ((results.value(QStringLiteral("devices")).toUInt() & keyboardDevice) == 0) {
            fail(QCoreApplication::translate("RemoteDesktopPortalKeystroke",
                     "デスクトップのリモート操作でキーボードが許可されませんでした。Sorawen "
                     "を起動し直すと、もう一度たずねます。"),
                QStringLiteral("the remote-desktop portal granted no keyboard"));
            return;
        }
        const QString token = results.value(QStringLiteral("restore_token")).toString();
        if (!token.isEmpty()
            && !(XdgPaths::makePrivateFolder(QFileInfo(tokenFile).path())
                && XdgPaths::writePrivateFile(tokenFile, token.toUtf8())))
            log.error(category, QStringLiteral("the remote-desktop permission could not be kept in %1").arg(tokenFile));
        {
            std::scoped_lock lock(mutex);
            step = Step::ready;
        }
        log.info(category, QStringLiteral("the paste goes through the remote-desktop portal"));
        return;
    }
    case Step::notStarted:
    case Step::ready:
    case Step::failed: return;
    }
}

void RemoteDesktopPortalKeystroke::sessionClosed()
{
    {
        std::scoped_lock lock(mutex);
        if (message().path() != session)
            return;
        session.clear();
    }
    fail(QCoreApplication::translate("RemoteDesktopPortalKeystroke",
             "デスクトップがリモート操作を終わらせました。Sorawen を起動し直すと、もう一度たずねます。"),
        QStringLiteral("the desktop closed the remote-desktop session"));
}

void RemoteDesktopPortalKeystroke::fail(const QString &reason, const QString &logLine)
{
    QString opened;
    {
        std::scoped_lock lock(mutex);
        step = Step::failed;
        failure = reason;
        opened = std::exchange(session, QString());
    }
    if (!opened.isEmpty())
        bus.send(QDBusMessage::createMethodCall(service, opened, sessionInterface, QStringLiteral("Close")));
    log.error(category, logLine);
}

bool RemoteDesktopPortalKeystroke::isAvailable() const
{
    std::scoped_lock lock(mutex);
    return step == Step::ready;
}

bool RemoteDesktopPortalKeystroke::waitForModifierRelease()
{
    return !heldModifiers || ModifierRelease::waitFor([this] { return heldModifiers() != 0; });
}

bool RemoteDesktopPortalKeystroke::sendKey(const QString &sessionPath, int keysym, bool isPressed)
{
    QDBusMessage call
        = QDBusMessage::createMethodCall(service, desktopPath, remoteDesktop, QStringLiteral("NotifyKeyboardKeysym"));
    call << QVariant::fromValue(QDBusObjectPath(sessionPath)) << QVariantMap{} << keysym << uint(isPressed ? 1 : 0);
    return bus.call(call, QDBus::Block, callTimeoutMs).type() == QDBusMessage::ReplyMessage;
}

bool RemoteDesktopPortalKeystroke::sendPaste(bool forTerminal)
{
    QString sessionPath;
    {
        std::scoped_lock lock(mutex);
        if (step != Step::ready)
            return false;
        sessionPath = session;
    }
    std::vector<int> chord{controlLeft};
    if (forTerminal)
        chord.push_back(shiftLeft);
    chord.push_back(letterV);
    bool isSent = true;
    for (const int keysym : chord)
        isSent = isSent && sendKey(sessionPath, keysym, true);
    // Every key goes up again, even after a failed press, so none stays held.
    for (auto keysym = chord.rbegin(); keysym != chord.rend(); ++keysym)
        isSent = sendKey(sessionPath, *keysym, false) && isSent;
    return isSent;
}

QString RemoteDesktopPortalKeystroke::unavailableReason() const
{
    std::scoped_lock lock(mutex);
    switch (step) {
    case Step::ready: return {};
    case Step::failed: return failure;
    case Step::notStarted:
    case Step::creating:
    case Step::selecting:
    case Step::starting: break;
    }
    return QCoreApplication::translate("RemoteDesktopPortalKeystroke",
        "デスクトップのリモート操作の許可を待っています。表示された確認で許可してください。");
}
