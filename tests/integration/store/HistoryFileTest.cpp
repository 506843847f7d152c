#include "TestFiles.h"
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

TEST(HistoryFile, OwnerOnlyWritesInOrderAndUnreadableOrMissingFilesLoadEmpty)
{
    QTemporaryDir root;
    const QString fileName = root.filePath(QStringLiteral("data/Ripplet/history.json"));
    HistoryPersistence persistence(fileName);
    EXPECT_TRUE(persistence.load().result().items.isEmpty());
    const RippletHistory history = historyWith({"会議は四時からです", "hello"});
    persistence.persist(history).waitForFinished();
    EXPECT_EQ(QFileInfo(fileName).permissions(), ownerOnlyFile);
    EXPECT_EQ(QFileInfo(QFileInfo(fileName).path()).permissions(), ownerOnlyFolder);
    EXPECT_EQ(persistence.load().result(), history);

    for (int i = 0; i < 20; ++i)
        persistence.persist(historyWith({"a", "b", "c"}));
    persistence.persist(RippletHistory());
    EXPECT_TRUE(persistence.load().result().items.isEmpty()) << "the last write wins";
    // No snapshot deletes the file.
    persistence.persist(std::nullopt).waitForFinished();
    EXPECT_FALSE(QFile::exists(fileName));

    // A damaged file loads empty and stays until the next write.
    persistence.persist(history).waitForFinished();
    const QByteArray truncated = HistoryStore::read(fileName)->chopped(5);
    ASSERT_TRUE(writeFile(fileName, truncated));
    EXPECT_TRUE(persistence.load().result().items.isEmpty());
    EXPECT_EQ(HistoryStore::read(fileName), truncated);
    persistence.persist(history).waitForFinished();
    EXPECT_EQ(persistence.load().result(), history);
}

TEST(HistoryFile, AFolderThatCannotBeCreatedLosesNothingInMemory)
{
    QTemporaryDir root;
    const QString fileName = root.filePath(QStringLiteral("data/Ripplet/history.json"));
    // A plain file where the folder should be: no user, root included, can create the folder.
    const QString blocker = root.filePath(QStringLiteral("data"));
    ASSERT_TRUE(writeFile(blocker, {}));
    HistoryPersistence persistence(fileName);
    const RippletHistory history = historyWith({"残る"});
    persistence.persist(history).waitForFinished();
    EXPECT_FALSE(QFile::exists(fileName));

    // Once the obstacle is gone, the next save writes the whole list.
    ASSERT_TRUE(QFile::remove(blocker));
    persistence.persist(history).waitForFinished();
    EXPECT_EQ(persistence.load().result(), history);
}

} // namespace
