#include "engines/HttpModelStore.h"
#include "LoopbackServer.h"
#include "TestFiles.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <csignal>
#include <sys/resource.h>

namespace {

// What the model server answers depends on the path: /file serves the body (honouring a Range
// request), /cut stops half way the first time it is asked and serves the rest (with Range) the next
// time, /corrupt serves the body with one byte changed, /error answers 500.
LoopbackServer::Reply modelServer(const QByteArray &body, const LoopbackServer::Request &request)
{
    const qint64 from = request.header("range").mid(6).split('-').first().toLongLong();
    LoopbackServer::Reply reply{body.mid(from), from > 0 ? "206 Partial Content" : "200 OK", std::nullopt};
    if (request.path == "/error")
        reply = {"broken", "500 Internal Server Error", std::nullopt};
    else if (request.path == "/corrupt")
        reply.body[reply.body.size() / 2] = char(reply.body[reply.body.size() / 2] ^ 0x5a);
    else if (request.path == "/cut" && from == 0)
        reply.cutAt = reply.body.size() / 2;
    return reply;
}

ModelFile fileFor(const QByteArray &body, const char *name = "model.bin")
{
    return ModelFile{QLatin1StringView(name), QString(), body.size(), QCryptographicHash::Sha1,
        QCryptographicHash::hash(body, QCryptographicHash::Sha1).toHex()};
}

struct Fixture {
    QTemporaryDir folder;
    QByteArray body = QByteArray("ggml model bytes ").repeated(20000);
    LoopbackServer server{[this](const LoopbackServer::Request &request) { return modelServer(body, request); }};
    HttpModelStore store{folder.filePath(QStringLiteral("models"))};
    std::vector<double> progress;

    std::expected<void, QString> download(const ModelFile &file, const char *path)
    {
        store.setUrlOverride([this, path](const ModelFile &) { return server.url(path); });
        return store.download(file, [this](double fraction) { progress.push_back(fraction); });
    }
};

TEST(HttpModelStore, DownloadsVerifiesAndPlacesTheFileAndNoticesDamage)
{
    Fixture f;
    const ModelFile file = fileFor(f.body);
    EXPECT_EQ(f.store.missingFiles({file}).value(), std::vector<ModelFile>{file});
    ASSERT_TRUE(f.download(file, "/file"));
    EXPECT_EQ(contentsOf(f.store.pathOf(file)), f.body);
    EXPECT_FALSE(QFile::exists(f.store.pathOf(file) + QStringLiteral(".part")));
    EXPECT_TRUE(f.store.missingFiles({file}).value().empty());
    ASSERT_FALSE(f.progress.empty());
    EXPECT_TRUE(std::is_sorted(f.progress.begin(), f.progress.end()));
    EXPECT_EQ(f.progress.back(), 1.0);

    QFile installed(f.store.pathOf(file));
    ASSERT_TRUE(installed.open(QIODevice::ReadWrite));
    installed.resize(installed.size() / 2);
    installed.close();
    EXPECT_EQ(f.store.missingFiles({file}).value(), std::vector<ModelFile>{file});
    // Verified once, then remembered: a change of the same size is still seen by its time.
    ASSERT_TRUE(f.download(file, "/file"));
    EXPECT_TRUE(f.store.missingFiles({file}).value().empty());
    ASSERT_TRUE(installed.open(QIODevice::ReadWrite));
    installed.write("x");
    installed.setFileTime(QDateTime::currentDateTime().addSecs(10), QFileDevice::FileModificationTime);
    installed.close();
    EXPECT_EQ(f.store.missingFiles({file}).value(), std::vector<ModelFile>{file});
}

TEST(HttpModelStore, AnInterruptedDownloadResumes)
{
    Fixture f;
    const ModelFile file = fileFor(f.body);
    EXPECT_FALSE(f.download(file, "/cut"));
    // Half of it waits aside; nothing is in place.
    EXPECT_EQ(contentsOf(f.store.pathOf(file) + QStringLiteral(".part")).size(), f.body.size() / 2);
    EXPECT_FALSE(QFile::exists(f.store.pathOf(file)));
    ASSERT_TRUE(f.download(file, "/cut"));
    QList<QByteArray> ranges;
    for (const LoopbackServer::Request &request : f.server.requests) {
        if (!request.header("range").isEmpty())
            ranges.append(request.header("range"));
    }
    EXPECT_EQ(ranges, QList<QByteArray>{"bytes=" + QByteArray::number(f.body.size() / 2) + '-'});
    EXPECT_EQ(contentsOf(f.store.pathOf(file)), f.body);
}

TEST(HttpModelStore, AWholePartLeftBehindIsVerifiedAndPlaced)
{
    Fixture f;
    const ModelFile file = fileFor(f.body);
    const QString part = f.store.pathOf(file) + QStringLiteral(".part");
    ASSERT_TRUE(writeFile(part, f.body));
    ASSERT_TRUE(f.download(file, "/file"));
    EXPECT_TRUE(f.server.requests.isEmpty());
    EXPECT_EQ(contentsOf(f.store.pathOf(file)), f.body);
    EXPECT_FALSE(QFile::exists(part));
}

TEST(HttpModelStore, FailuresNeverLeaveAFileInPlace)
{
    struct Case {
        const char *name;
        const char *path;
        const char *reason;
    };
    const Case cases[] = {
        {"corrupt", "/corrupt", "チェックサムが一致しません"},
        {"server error", "/error", "HTTP 500"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        Fixture f;
        const ModelFile file = fileFor(f.body);
        const std::expected<void, QString> result = f.download(file, c.path);
        ASSERT_FALSE(result);
        EXPECT_TRUE(result.error().startsWith(QStringLiteral("model.bin をダウンロードできませんでした: ")));
        EXPECT_TRUE(result.error().contains(QString::fromUtf8(c.reason))) << result.error().toStdString();
        EXPECT_FALSE(QFile::exists(f.store.pathOf(file)));
        EXPECT_EQ(f.store.missingFiles({file}).value().size(), 1u);
    }

    // Nothing listens on the port any more: no network.
    Fixture f;
    const ModelFile file = fileFor(f.body);
    const quint16 port = LoopbackServer::closedPort();
    f.store.setUrlOverride([port](const ModelFile &) { return QStringLiteral("http://127.0.0.1:%1/file").arg(port); });
    const std::expected<void, QString> refused = f.store.download(file, {});
    ASSERT_FALSE(refused);
    EXPECT_FALSE(QFile::exists(f.store.pathOf(file)));
}

// A disk that fills up during the download, made with a file-size limit on this process: the write
// fails (EFBIG instead of the signal), the part written so far waits, and once there is room again
// the download resumes and completes.
TEST(HttpModelStore, ADiskThatFillsUpFailsTheDownloadAndKeepsThePart)
{
    Fixture f;
    const ModelFile file = fileFor(f.body);
    rlimit original{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &original), 0);
    const auto previousHandler = std::signal(SIGXFSZ, SIG_IGN);
    rlimit small = original;
    small.rlim_cur = rlim_t(f.body.size() / 3);
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
    const std::expected<void, QString> full = f.download(file, "/file");
    setrlimit(RLIMIT_FSIZE, &original);
    std::signal(SIGXFSZ, previousHandler);

    ASSERT_FALSE(full);
    EXPECT_TRUE(full.error().startsWith(QStringLiteral("model.bin をダウンロードできませんでした: ")))
        << full.error().toStdString();
    EXPECT_FALSE(QFile::exists(f.store.pathOf(file)));
    const qint64 kept = QFile(f.store.pathOf(file) + QStringLiteral(".part")).size();
    EXPECT_GT(kept, 0);
    EXPECT_LE(kept, f.body.size() / 3);

    ASSERT_TRUE(f.download(file, "/file"));
    EXPECT_EQ(contentsOf(f.store.pathOf(file)), f.body);
}

} // namespace
