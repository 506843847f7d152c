#include "platform/linux/LogindSession.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>

#include <gtest/gtest.h>

// The session on a machine without logind (such as the test machines).
namespace {

// The evdev keys are dropped while the session is away; without logind none may be.
TEST(MissingDevices, SessionWithoutLogindCountsAsActive)
{
    const QDBusConnection bus = QDBusConnection::systemBus();
    if (bus.isConnected() && bus.interface()->isServiceRegistered(QStringLiteral("org.freedesktop.login1")))
        GTEST_SKIP() << "logind runs here; its answer depends on the session";
    EXPECT_TRUE(LogindSession().isActive());
}

} // namespace
