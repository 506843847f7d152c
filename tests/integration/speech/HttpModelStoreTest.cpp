#include "engines/HttpModelStore.h"
#include "LoopbackServer.h"
#include "TestFiles.h"
#include "WaitFor.h"

#include <QFile>
#include <QTemporaryDir>

#include <future>

#include <gtest/gtest.h>

namespace {

// What the model server answers depends on the path: /file serves the body (honouring a Range
// request), /cut stops half way the first time it is asked and serves the rest (with Range) the next
// time, /corrupt serves the body with one byte changed, /error answers 500, /stall never answers.
std::optional<LoopbackServer::Reply> modelServer(const QByteArray &body, const LoopbackServer::Request &request)
{
    const qint64 from = request.header("range").mid(6).split('-').first().toLongLong();
    LoopbackServer::Reply reply{body.mid(from), from > 0 ? "206 Partial Content" : "200 OK", std::nullopt};
    if (request.path == "/error")
        reply = {"broken", "500 Internal Server Error", std::nullopt};
    else if (request.path == "/corrupt")
        reply.body[reply.body.size() / 2] = char(reply.body[reply.body.size() / 2] ^ 0x5a);
    else if (request.path == "/cut" && from == 0)
        reply.cutAt = reply.body.size() / 2;
    else if (request.path == "/stall")
        return std::nullopt;
    return reply;
}

struct Fixture {
    QTemporaryDir folder;
    QByteArray body = QByteArray("ggml model bytes ").repeated(20000);
    ModelFile file{QStringLiteral("model.bin"), QString(), body.size(), QCryptographicHash::Sha1,
        QCryptographicHash::hash(body, QCryptographicHash::Sha1).toHex()};
    LoopbackServer server{[this](const LoopbackServer::Request &request) { return modelServer(body, request); }};
    HttpModelStore store{folder.filePath(QStringLiteral("models"))};

    std::expected<void, QString> download(const char *path)
    {
        store.setUrlOverride([this, path](const ModelFile &) { return server.url(path); });
        return store.download(file, [](double) {});
    }
};

TEST(HttpModelStore, DownloadsVerifiesAndPlacesTheFileAndNoticesDamage)
{
    Fixture f;
    EXPECT_EQ(f.store.missingFiles({f.file}).value(), std::vector<ModelFile>{f.file});
    ASSERT_TRUE(f.download("/file"));
    EXPECT_EQ(contentsOf(f.store.pathOf(f.file)), f.body);
    EXPECT_FALSE(QFile::exists(f.store.pathOf(f.file) + QStringLiteral(".part")));
    EXPECT_TRUE(f.store.missingFiles({f.file}).value().empty());

    // Verified once, then remembered: a damaged file is still seen.
    QFile installed(f.store.pathOf(f.file));
    ASSERT_TRUE(installed.open(QIODevice::ReadWrite));
    installed.resize(installed.size() / 2);
    installed.close();
    EXPECT_EQ(f.store.missingFiles({f.file}).value(), std::vector<ModelFile>{f.file});
}

TEST(HttpModelStore, AnInterruptedDownloadResumes)
{
    Fixture f;
    EXPECT_FALSE(f.download("/cut"));
    // Half of it waits aside; nothing is in place.
    EXPECT_EQ(contentsOf(f.store.pathOf(f.file) + QStringLiteral(".part")).size(), f.body.size() / 2);
    EXPECT_FALSE(QFile::exists(f.store.pathOf(f.file)));
    ASSERT_TRUE(f.download("/cut"));
    // Qt's network layer may itself send the cut request once more; the resuming one comes last.
    EXPECT_EQ(f.server.requests.last().header("range"), "bytes=" + QByteArray::number(f.body.size() / 2) + '-');
    EXPECT_EQ(contentsOf(f.store.pathOf(f.file)), f.body);
}

TEST(HttpModelStore, FailuresNeverLeaveAFileInPlace)
{
    for (const char *path : {"/corrupt", "/error"}) {
        SCOPED_TRACE(path);
        Fixture f;
        EXPECT_FALSE(f.download(path));
        EXPECT_FALSE(QFile::exists(f.store.pathOf(f.file)));
        EXPECT_EQ(f.store.missingFiles({f.file}).value().size(), 1u);
    }
}

TEST(HttpModelStore, StoppingEndsAStalledDownloadAndRefusesNewOnes)
{
    Fixture f;
    std::future<std::expected<void, QString>> stalled
        = std::async(std::launch::async, [&f] { return f.download("/stall"); });
    ASSERT_TRUE(waitFor([&] { return !f.server.requests.isEmpty(); }));
    f.store.stopDownloads();
    ASSERT_TRUE(waitFor(stalled));
    EXPECT_FALSE(stalled.get());
    EXPECT_FALSE(f.download("/file"));
    EXPECT_FALSE(QFile::exists(f.store.pathOf(f.file)));
}

} // namespace
