#pragma once

#include <QDBusConnection>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QStringList>
#include <QTemporaryDir>

#include <gtest/gtest.h>

// A message bus of one test's own (dbus-daemon), stopped with it; connect() opens named connections
// to it, each one more peer on the bus. It starts no services on demand: a name is owned only by what
// the test put there, never by a real service installed on the machine.
class PrivateBus : public ::testing::Test
{
protected:
    void SetUp() override
    {
        if (QStandardPaths::findExecutable(QStringLiteral("dbus-daemon")).isEmpty())
            GTEST_SKIP() << "dbus-daemon is not installed";
        ASSERT_TRUE(folder.isValid());
        QFile config(folder.filePath(QStringLiteral("bus.conf")));
        ASSERT_TRUE(config.open(QIODevice::WriteOnly));
        config.write("<busconfig><type>session</type><listen>unix:dir=" + folder.path().toUtf8()
            + "</listen><policy context=\"default\"><allow send_destination=\"*\"/><allow receive_sender=\"*\"/>"
              "<allow own=\"*\"/></policy></busconfig>");
        config.close();
        daemon.start(QStringLiteral("dbus-daemon"),
            {QStringLiteral("--config-file=") + config.fileName(), QStringLiteral("--nofork"),
                QStringLiteral("--print-address")});
        ASSERT_TRUE(daemon.waitForReadyRead(5000)) << daemon.readAllStandardError().toStdString();
        address = QString::fromUtf8(daemon.readLine().trimmed());
    }
    void TearDown() override
    {
        for (const QString &name : names)
            QDBusConnection::disconnectFromBus(name);
        daemon.kill();
        daemon.waitForFinished();
    }

    QDBusConnection connect(const QString &name)
    {
        names << name;
        return QDBusConnection::connectToBus(address, name);
    }

    QTemporaryDir folder;
    QProcess daemon;
    QString address;
    QStringList names;
};
