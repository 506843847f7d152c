#include "platform/linux/FreedesktopSoundPlayer.h"

#include "RecordingLog.h"
#include "ScopedEnvironment.h"
#include "WaitFor.h"

#include <QFileInfo>
#include <QProcess>
#include <QScopeGuard>
#include <QStandardPaths>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <cmath>

using namespace Qt::Literals::StringLiterals;

namespace {

bool hasTheme()
{
    return QFileInfo::exists(u"/usr/share/sounds/freedesktop/stereo"_s);
}

TEST(FreedesktopSoundPlayer, FindsTheThemesSoundsAndWithoutServerIsSilentAndLogsOnce)
{
    QTemporaryDir empty;
    struct Case {
        const char *name;
        QByteArray dataFolders;
        bool hasSounds;
    };
    const Case cases[] = {
        {"theme present, no server", "/usr/local/share:/usr/share", hasTheme()},
        {"no theme, no server", empty.path().toUtf8(), false},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        ScopedEnvironment environment;
        environment.set("PULSE_SERVER", "unix:/nonexistent/pulse/native");
        environment.set("XDG_DATA_HOME", empty.path().toUtf8());
        environment.set("XDG_DATA_DIRS", c.dataFolders);
        RecordingLog log;
        {
            FreedesktopSoundPlayer player(log);
            EXPECT_EQ(player.hasSound(u"Tink"_s) && player.hasSound(u"Pop"_s), c.hasSounds);
            EXPECT_FALSE(player.hasSound(u"Glass"_s));
            for (int i = 0; i < 5; ++i) {
                player.play(u"Tink"_s);
                player.play(u"Pop"_s);
                player.play(u"Glass"_s);
                waitFor([] { return false; }, 20);
            }
            EXPECT_TRUE(waitFor([&] { return !log.lines().isEmpty(); }));
        }
        EXPECT_EQ(log.lines().size(), 1) << log.lines().join(u'\n').toStdString();
    }
}

// Peak of 32-bit float samples.
float peakOf(const QByteArray &bytes)
{
    float peak = 0;
    const auto *samples = reinterpret_cast<const float *>(bytes.constData());
    for (qsizetype i = 0; i < bytes.size() / qsizetype(sizeof(float)); ++i)
        peak = std::max(peak, std::abs(samples[i]));
    return peak;
}

// With a private PulseAudio server whose only sink is a null sink, the sound arrives at that sink's
// monitor.
TEST(FreedesktopSoundPlayer, PlaysThroughTheSoundServer)
{
    if (!hasTheme() || QStandardPaths::findExecutable(u"pulseaudio"_s).isEmpty()
        || QStandardPaths::findExecutable(u"parec"_s).isEmpty())
        GTEST_SKIP() << "needs sound-theme-freedesktop, pulseaudio and parec";
    QTemporaryDir runtime;
    ASSERT_TRUE(QFile::setPermissions(
        runtime.path(), QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner));
    ScopedEnvironment environment;
    environment.set("XDG_RUNTIME_DIR", runtime.path().toUtf8());
    environment.set("PULSE_RUNTIME_PATH", runtime.path().toUtf8() + "/pulse");
    environment.unset("PULSE_SERVER");

    QProcess server;
    server.start(u"pulseaudio"_s,
        {u"-n"_s, u"--daemonize=no"_s, u"--exit-idle-time=-1"_s, u"--disable-shm=yes"_s, u"-L"_s,
            u"module-native-protocol-unix"_s, u"-L"_s, u"module-null-sink sink_name=speaker"_s});
    ASSERT_TRUE(server.waitForStarted());
    const auto stopServer = qScopeGuard([&] {
        server.terminate();
        server.waitForFinished(3000);
    });
    const auto isServing = [] {
        QProcess info;
        info.start(u"pactl"_s, {u"info"_s});
        return info.waitForFinished() && info.exitStatus() == QProcess::NormalExit && info.exitCode() == 0;
    };
    ASSERT_TRUE(waitFor(isServing, 10000));

    QProcess recorder;
    recorder.start(u"parec"_s,
        {u"-d"_s, u"speaker.monitor"_s, u"--raw"_s, u"--format=float32le"_s, u"--channels=1"_s, u"--rate=8000"_s});
    ASSERT_TRUE(recorder.waitForStarted());
    const auto stopRecorder = qScopeGuard([&] {
        recorder.kill();
        recorder.waitForFinished();
    });

    RecordingLog log;
    FreedesktopSoundPlayer player(log);
    QByteArray recorded;
    // A sound asked for before the connection is up is dropped, so ask again until one is heard.
    const bool isHeard = waitFor(
        [&] {
            player.play(u"Pop"_s);
            waitFor([] { return false; }, 200);
            recorded += recorder.readAllStandardOutput();
            return peakOf(recorded) > 0.05F;
        },
        10000);
    EXPECT_TRUE(isHeard) << "recorded " << recorded.size() << " bytes, peak " << peakOf(recorded);
    EXPECT_TRUE(log.lines().isEmpty()) << log.lines().join(u'\n').toStdString();
}

} // namespace
