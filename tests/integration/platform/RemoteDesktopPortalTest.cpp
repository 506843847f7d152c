#include "platform/linux/RemoteDesktopPortalKeystroke.h"

#include "PrivateBus.h"
#include "RecordingLog.h"
#include "TestFiles.h"
#include "WaitFor.h"

#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QTemporaryDir>
#include <QTimer>

#include <future>

using namespace Qt::Literals::StringLiterals;

namespace {

const QString desktopPath = u"/org/freedesktop/portal/desktop"_s;

// Stands in for the desktop's portal: answers each request with a Response signal on the object
// the caller named, as the portal does once the user answered its dialog.
class FakePortal : public QObject, protected QDBusContext
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.portal.RemoteDesktop")
    Q_PROPERTY(uint AvailableDeviceTypes MEMBER deviceTypes)
    Q_PROPERTY(uint version MEMBER portalVersion)

public:
    explicit FakePortal(QDBusConnection bus)
        : bus(std::move(bus))
    {
        this->bus.registerObject(
            desktopPath, this, QDBusConnection::ExportScriptableSlots | QDBusConnection::ExportAllProperties);
        this->bus.registerService(u"org.freedesktop.portal.Desktop"_s);
    }

    void closeSession()
    {
        bus.send(QDBusMessage::createSignal(sessionPath, u"org.freedesktop.portal.Session"_s, u"Closed"_s));
    }

    uint deviceTypes = 3;
    uint portalVersion = 2;
    uint startAnswer = 0;
    uint grantedDevices = 1;
    QString newToken = u"token-1"_s;
    int refusedKeysym = 0;
    int sessions = 0;
    QVariantMap selected;
    std::vector<std::pair<int, uint>> keys;

public Q_SLOTS:
    Q_SCRIPTABLE QDBusObjectPath CreateSession(const QVariantMap &options)
    {
        sessionPath = objectPath(u"/session/"_s, options.value(u"session_handle_token"_s));
        // Every other session is named by an object path, as the interface's description has it.
        const QVariant handle = ++sessions % 2 == 0 ? QVariant::fromValue(QDBusObjectPath(sessionPath)) : sessionPath;
        return answer(options, 0, {{u"session_handle"_s, handle}});
    }
    Q_SCRIPTABLE QDBusObjectPath SelectDevices(const QDBusObjectPath &, const QVariantMap &options)
    {
        selected = options;
        return answer(options, 0, {});
    }
    Q_SCRIPTABLE QDBusObjectPath Start(const QDBusObjectPath &, const QString &, const QVariantMap &options)
    {
        return answer(options, startAnswer, {{u"devices"_s, grantedDevices}, {u"restore_token"_s, newToken}});
    }
    Q_SCRIPTABLE void NotifyKeyboardKeysym(const QDBusObjectPath &session, const QVariantMap &, int keysym, uint state)
    {
        if (keysym == refusedKeysym && state == 1)
            sendErrorReply(QDBusError::Failed, u"refused"_s);
        else if (session.path() == sessionPath)
            keys.emplace_back(keysym, state);
    }

private:
    // Where the portal puts a request or session the caller named by `token`.
    QString objectPath(const QString &kind, const QVariant &token) const
    {
        return desktopPath + kind + message().service().mid(1).replace(u'.', u'_') + u'/' + token.toString();
    }

    QDBusObjectPath answer(const QVariantMap &options, uint response, const QVariantMap &results)
    {
        const QString request = objectPath(u"/request/"_s, options.value(u"handle_token"_s));
        QTimer::singleShot(0, this, [this, request, response, results] {
            QDBusMessage signal
                = QDBusMessage::createSignal(request, u"org.freedesktop.portal.Request"_s, u"Response"_s);
            signal << response << results;
            bus.send(signal);
        });
        return QDBusObjectPath(request);
    }

    QDBusConnection bus;
    QString sessionPath;
};

// The paste from a worker thread, as the dictation sends it, while this thread serves the portal.
bool paste(RemoteDesktopPortalKeystroke &keystroke, bool forTerminal)
{
    std::future<bool> sent = std::async(std::launch::async, [&] { return keystroke.sendPaste(forTerminal); });
    waitFor(sent);
    return sent.get();
}

constexpr int control = 0xffe3, shift = 0xffe1, letterV = 0x76;

using RemoteDesktopPortal = PrivateBus;

TEST_F(RemoteDesktopPortal, TheAllowedKeyboardPastesAndIsRestoredNextTimeWithoutAsking)
{
    FakePortal portal(connect(u"portal"_s));
    QTemporaryDir folder;
    const QString tokenFile = folder.filePath(u"sorawen/token"_s);
    RecordingLog log;
    {
        RemoteDesktopPortalKeystroke keystroke(log, tokenFile, {}, connect(u"first"_s));
        keystroke.start();
        ASSERT_TRUE(waitFor([&] { return keystroke.isAvailable(); })) << log.lines().join(u'\n').toStdString();
        EXPECT_EQ(portal.selected.value(u"types"_s).toUInt(), 1U);
        EXPECT_EQ(portal.selected.value(u"persist_mode"_s).toUInt(), 2U);
        EXPECT_FALSE(portal.selected.contains(u"restore_token"_s));
        EXPECT_EQ(contentsOf(tokenFile), "token-1");

        EXPECT_TRUE(paste(keystroke, false));
        EXPECT_TRUE(paste(keystroke, true));
        const std::vector<std::pair<int, uint>> typed{{control, 1}, {letterV, 1}, {letterV, 0}, {control, 0},
            {control, 1}, {shift, 1}, {letterV, 1}, {letterV, 0}, {shift, 0}, {control, 0}};
        EXPECT_EQ(portal.keys, typed);

        // A press that fails still lets go of the keys pressed before it.
        portal.keys.clear();
        portal.refusedKeysym = letterV;
        EXPECT_FALSE(paste(keystroke, false));
        EXPECT_EQ(portal.keys.back(), std::make_pair(control, 0U));
    }

    // The next start hands the kept permission back; the desktop's new token replaces it.
    portal.newToken = u"token-2"_s;
    RemoteDesktopPortalKeystroke again(log, tokenFile, {}, connect(u"second"_s));
    again.start();
    ASSERT_TRUE(waitFor([&] { return again.isAvailable(); }));
    EXPECT_EQ(portal.selected.value(u"restore_token"_s).toString(), u"token-1"_s);
    EXPECT_EQ(contentsOf(tokenFile), "token-2");

    // The user ends the remote control from the desktop: nothing more is sent, and the user is told.
    portal.keys.clear();
    portal.closeSession();
    ASSERT_TRUE(waitFor([&] { return !again.isAvailable(); }));
    EXPECT_FALSE(paste(again, false));
    EXPECT_TRUE(portal.keys.empty());
    EXPECT_TRUE(again.unavailableReason().contains(u"終わらせました"_s));
}

TEST_F(RemoteDesktopPortal, WithoutAKeyboardFromThePortalNothingIsSentAndTheReasonNamesWhy)
{
    struct Case {
        const char *name;
        std::function<void(FakePortal &)> portal;
        const char *reason;
    };
    const Case cases[] = {
        {"no portal on the bus", {}, "ポータル（xdg-desktop-portal の RemoteDesktop）もありません"},
        {"a portal without keyboards", [](FakePortal &p) { p.deviceTypes = 2; }, "キーボードの操作を扱えません"},
        {"the user says no", [](FakePortal &p) { p.startAnswer = 1; }, "許可されませんでした"},
        {"the pointer allowed, not the keyboard", [](FakePortal &p) { p.grantedDevices = 2; },
            "キーボードが許可されませんでした"},
    };
    int round = 0;
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        const QString suffix = QString::number(++round);
        std::unique_ptr<FakePortal> portal;
        if (c.portal) {
            portal = std::make_unique<FakePortal>(connect(u"portal"_s + suffix));
            c.portal(*portal);
        }
        QTemporaryDir folder;
        RecordingLog log;
        RemoteDesktopPortalKeystroke keystroke(log, folder.filePath(u"token"_s), {}, connect(u"app"_s + suffix));
        keystroke.start();
        ASSERT_TRUE(waitFor([&] { return !log.lines().isEmpty(); }));
        EXPECT_FALSE(keystroke.isAvailable());
        EXPECT_FALSE(paste(keystroke, false));
        EXPECT_TRUE(keystroke.unavailableReason().contains(QString::fromUtf8(c.reason)))
            << log.lines().join(u'\n').toStdString();
        if (portal) {
            EXPECT_TRUE(portal->keys.empty());
            portal.reset();
            QDBusConnection::disconnectFromBus(u"portal"_s + suffix);
        }
    }
}

} // namespace

#include "RemoteDesktopPortalTest.moc"
