#include "platform/linux/LogindSleepMonitor.h"

#include "PrivateBus.h"
#include "RecordingLog.h"
#include "WaitFor.h"

#include <QDBusMessage>
#include <QDBusUnixFileDescriptor>

#include <gtest/gtest.h>

#include <poll.h>
#include <unistd.h>

using namespace Qt::Literals::StringLiterals;

namespace {

// Stands in for logind's manager object. Each inhibitor handed out is the write end of a pipe; the
// read end, kept here, reports a hang-up once every copy of the write end is closed.
class FakeLogind : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.login1.Manager")

public:
    explicit FakeLogind(QDBusConnection bus)
        : bus(std::move(bus))
    {
        this->bus.registerObject(u"/org/freedesktop/login1"_s, this, QDBusConnection::ExportScriptableSlots);
        this->bus.registerService(u"org.freedesktop.login1"_s);
    }
    ~FakeLogind() override
    {
        for (const int fd : readEnds)
            close(fd);
    }

    void prepareForSleep(bool isStarting)
    {
        QDBusMessage signal = QDBusMessage::createSignal(
            u"/org/freedesktop/login1"_s, u"org.freedesktop.login1.Manager"_s, u"PrepareForSleep"_s);
        signal << isStarting;
        bus.send(signal);
    }

    int inhibitorCount() const { return int(readEnds.size()); }

    bool isReleased(int inhibitor) const
    {
        pollfd polled{readEnds.at(inhibitor), POLLIN, 0};
        return poll(&polled, 1, 0) == 1 && (polled.revents & POLLHUP) != 0;
    }

    QStringList lastArguments;

public Q_SLOTS:
    Q_SCRIPTABLE QDBusUnixFileDescriptor Inhibit(
        const QString &what, const QString &who, const QString &why, const QString &mode)
    {
        lastArguments = {what, who, why, mode};
        int ends[2];
        if (pipe(ends) != 0)
            return {};
        readEnds.push_back(ends[0]);
        QDBusUnixFileDescriptor writeEnd(ends[1]);
        close(ends[1]);
        return writeEnd;
    }

private:
    QDBusConnection bus;
    std::vector<int> readEnds;
};

TEST_F(PrivateBus, HoldsADelayInhibitorReleasedAfterTheHandlerAndFollowsLogind)
{
    FakeLogind logind(connect(u"logind"_s));
    FakeLogind stranger(connect(u"stranger"_s));
    RecordingLog log;
    LogindSleepMonitor monitor(log, connect(u"monitor"_s));
    int handlerCalls = 0;
    bool wasHeldDuringHandler = false;
    monitor.setHandler([&] {
        ++handlerCalls;
        wasHeldDuringHandler = !logind.isReleased(0);
    });

    ASSERT_TRUE(waitFor([&] { return logind.inhibitorCount() == 1; }));
    EXPECT_EQ(logind.lastArguments.value(0), u"sleep"_s);
    EXPECT_EQ(logind.lastArguments.value(3), u"delay"_s);
    // Only logind's signal counts.
    stranger.prepareForSleep(true);
    waitFor([] { return false; }, 300);
    EXPECT_EQ(handlerCalls, 0);
    EXPECT_FALSE(logind.isReleased(0));

    logind.prepareForSleep(true);
    ASSERT_TRUE(waitFor([&] { return handlerCalls == 1; }));
    EXPECT_TRUE(wasHeldDuringHandler);
    EXPECT_TRUE(waitFor([&] { return logind.isReleased(0); }));

    logind.prepareForSleep(false);
    ASSERT_TRUE(waitFor([&] { return logind.inhibitorCount() == 2; }));
    waitFor([] { return false; }, 100);
    EXPECT_FALSE(logind.isReleased(1));
    EXPECT_EQ(handlerCalls, 1);
}

} // namespace

#include "LogindSleepMonitorTest.moc"
