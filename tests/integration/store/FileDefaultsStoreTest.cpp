#include "platform/linux/FileDefaultsStore.h"
#include "TestFiles.h"

#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

class FileDefaultsStoreTest : public ::testing::Test
{
protected:
    QTemporaryDir root;
    QString fileName() const { return root.filePath(QStringLiteral("config/sorawen/defaults.json")); }
};

TEST_F(FileDefaultsStoreTest, ValuesSurviveARestart)
{
    const QByteArray settings = R"({"hotkey":"rightOption","customInstructions":"敬語で\n"})";
    {
        FileDefaultsStore store(fileName());
        EXPECT_TRUE(store.setBytes(DefaultsKeys::settings, settings));
        EXPECT_TRUE(store.setBoolean(DefaultsKeys::onboardingCompleted, true));
    }
    FileDefaultsStore reopened(fileName());
    EXPECT_EQ(reopened.bytes(DefaultsKeys::settings), settings);
    EXPECT_EQ(reopened.boolean(DefaultsKeys::onboardingCompleted), true);

    EXPECT_EQ(QFileInfo(fileName()).permissions(),
        QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ReadUser | QFileDevice::WriteUser);
}

TEST_F(FileDefaultsStoreTest, UnreadableFileIsMovedAsideNotOverwritten)
{
    const QByteArray broken = R"({"settings": "{\"hotkey\"": )";
    ASSERT_TRUE(writeFile(fileName(), broken));
    FileDefaultsStore store(fileName());
    EXPECT_FALSE(store.bytes(DefaultsKeys::settings));
    EXPECT_TRUE(store.setBoolean(DefaultsKeys::onboardingCompleted, true));

    EXPECT_EQ(contentsOf(fileName() + QStringLiteral(".unreadable")), broken);
    EXPECT_EQ(FileDefaultsStore(fileName()).boolean(DefaultsKeys::onboardingCompleted), true);
}

TEST_F(FileDefaultsStoreTest, FailedWriteKeepsTheValueInMemory)
{
    const QString blocker = root.filePath(QStringLiteral("config"));
    ASSERT_TRUE(writeFile(blocker, {}));
    FileDefaultsStore store(fileName());
    EXPECT_FALSE(store.setBytes(DefaultsKeys::settings, "{}"));
    EXPECT_EQ(store.bytes(DefaultsKeys::settings), QByteArray("{}"));

    ASSERT_TRUE(QFile::remove(blocker));
    EXPECT_TRUE(store.setBoolean(DefaultsKeys::onboardingCompleted, false));
    EXPECT_EQ(FileDefaultsStore(fileName()).bytes(DefaultsKeys::settings), QByteArray("{}"));
}

} // namespace
