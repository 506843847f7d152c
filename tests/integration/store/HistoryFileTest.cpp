#include "store/HistoryPersistence.h"
#include "store/HistoryStore.h"

#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

constexpr auto ownerOnlyFile
    = QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ReadUser | QFileDevice::WriteUser;
constexpr auto ownerOnlyFolder = ownerOnlyFile | QFileDevice::ExeOwner | QFileDevice::ExeUser;

RippletHistory historyWith(std::initializer_list<const char *> texts)
{
    RippletHistory history;
    for (const char *text : texts)
        history.items.append(HistoryItem{QUuid::createUuid(), 800000000.5, QStringLiteral("gedit"),
            QString::fromUtf8(text), QString::fromUtf8(text)});
    return history;
}

class HistoryFileTest : public ::testing::Test
{
protected:
    QTemporaryDir root;
    QString fileName() const { return root.filePath(QStringLiteral("data/Ripplet/history.json")); }
};

TEST_F(HistoryFileTest, WritesOwnerOnlyFilesInAnOwnerOnlyFolder)
{
    ASSERT_TRUE(root.isValid());
    HistoryPersistence persistence(fileName());
    const RippletHistory history = historyWith({"会議は四時からです", "hello"});
    persistence.persist(history).waitForFinished();

    EXPECT_EQ(QFileInfo(fileName()).permissions(), ownerOnlyFile);
    EXPECT_EQ(QFileInfo(QFileInfo(fileName()).path()).permissions(), ownerOnlyFolder);
    EXPECT_EQ(QFileInfo(root.filePath(QStringLiteral("data"))).permissions(), ownerOnlyFolder);
    EXPECT_EQ(persistence.load().result(), history);
}

TEST_F(HistoryFileTest, WritesRunInOrderAndTheLastOneWins)
{
    HistoryPersistence persistence(fileName());
    for (int i = 0; i < 20; ++i)
        persistence.persist(historyWith({"a", "b", "c"}));
    const RippletHistory last = historyWith({"last"});
    persistence.persist(last);
    EXPECT_EQ(persistence.load().result(), last);
}

TEST_F(HistoryFileTest, EmptyHistoryIsAnEmptyListAndNoSnapshotDeletes)
{
    HistoryPersistence persistence(fileName());
    persistence.persist(RippletHistory()).waitForFinished();
    EXPECT_EQ(HistoryStore::read(fileName()), QByteArray(R"({"items":[]})"));
    persistence.persist(std::nullopt).waitForFinished();
    EXPECT_FALSE(QFile::exists(fileName()));
    // Deleting what is not there is fine too.
    persistence.persist(std::nullopt).waitForFinished();
    EXPECT_FALSE(QFile::exists(fileName()));
}

TEST_F(HistoryFileTest, UnreadableFileLoadsEmptyAndStaysUntilTheNextWrite)
{
    HistoryPersistence persistence(fileName());
    persistence.persist(historyWith({"x"})).waitForFinished();
    const QByteArray truncated = HistoryStore::read(fileName())->chopped(5);
    {
        QFile file(fileName());
        ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        file.write(truncated);
    }
    EXPECT_TRUE(persistence.load().result().items.isEmpty());
    EXPECT_EQ(HistoryStore::read(fileName()), truncated);

    const RippletHistory next = historyWith({"y"});
    persistence.persist(next).waitForFinished();
    EXPECT_EQ(persistence.load().result(), next);
}

TEST_F(HistoryFileTest, MissingFileLoadsEmpty)
{
    HistoryPersistence persistence(fileName());
    EXPECT_TRUE(persistence.load().result().items.isEmpty());
}

TEST_F(HistoryFileTest, FolderThatCannotBeCreatedLosesNothingInMemory)
{
    // A plain file where the folder should be: no user, root included, can create the folder.
    QFile blocker(root.filePath(QStringLiteral("data")));
    ASSERT_TRUE(blocker.open(QIODevice::WriteOnly));
    blocker.close();
    HistoryPersistence persistence(fileName());
    const RippletHistory history = historyWith({"残る"});
    persistence.persist(history).waitForFinished();
    EXPECT_FALSE(QFile::exists(fileName()));

    // Once the obstacle is gone, the next save writes the whole list.
    ASSERT_TRUE(QFile::remove(blocker.fileName()));
    persistence.persist(history).waitForFinished();
    EXPECT_EQ(persistence.load().result(), history);
}

TEST(HistoryStore, FileLivesUnderTheDataHome)
{
    const QByteArray saved = qgetenv("XDG_DATA_HOME");
    qputenv("XDG_DATA_HOME", "/tmp/sorawen-data");
    EXPECT_EQ(HistoryStore::url(), QStringLiteral("/tmp/sorawen-data/Ripplet/history.json"));
    // A relative value is invalid and falls back to the default under the home folder.
    qputenv("XDG_DATA_HOME", "relative/data");
    EXPECT_TRUE(HistoryStore::url().endsWith(QStringLiteral("/.local/share/Ripplet/history.json")));
    qputenv("XDG_DATA_HOME", saved);
}

} // namespace
