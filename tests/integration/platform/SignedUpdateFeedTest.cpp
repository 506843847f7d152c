#include "LoopbackServer.h"
#include "WaitFor.h"
#include "platform/linux/SignedUpdateFeed.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <gtest/gtest.h>

#include <optional>

namespace {

// Serves `pages` by path on the loopback interface.
struct PageServer {
    QHash<QByteArray, QByteArray> pages;
    LoopbackServer server{[this](const LoopbackServer::Request &request) {
        return LoopbackServer::Reply{pages.value(request.path)};
    }};
    QUrl url(const char *path) const { return QUrl(server.url(path)); }
};

QByteArray feedJson(const QString &version, const QString &page)
{
    return QJsonDocument(QJsonObject {{QStringLiteral("version"), version}, {QStringLiteral("page"), page},
                             {QStringLiteral("notes"), QStringLiteral("Faster.")}})
        .toJson(QJsonDocument::Compact);
}

std::expected<UpdateOffer, QString> fetched(SignedUpdateFeed &feed)
{
    std::optional<std::expected<UpdateOffer, QString>> result;
    [](SignedUpdateFeed &feed, auto &result) -> QCoro::Task<> {
        auto fetching = feed.fetch();
        result = co_await fetching;
    }(feed, result);
    EXPECT_TRUE(waitFor([&] { return result.has_value(); }, 20000));
    return result.value_or(std::unexpected(QStringLiteral("no answer")));
}

TEST(SignedUpdateFeed, AcceptsOnlyWhatItsKeySigned)
{
    const SignedUpdateFeed::Keys keys = SignedUpdateFeed::generateKeys();
    const SignedUpdateFeed::Keys stranger = SignedUpdateFeed::generateKeys();
    const QByteArray good = feedJson(QStringLiteral("1.4.0"), QStringLiteral("https://example.org/sorawen"));
    QByteArray tampered = SignedUpdateFeed::sign(good, keys.secretKey);
    tampered.replace(QByteArray(good.toBase64()), feedJson(QStringLiteral("9.0.0"), QStringLiteral("https://example.org/sorawen")).toBase64());

    PageServer server;
    server.pages = {
        {"/good", SignedUpdateFeed::sign(good, keys.secretKey)},
        {"/stranger", SignedUpdateFeed::sign(good, stranger.secretKey)},
        {"/tampered", tampered},
        {"/http-page", SignedUpdateFeed::sign(feedJson(QStringLiteral("1.4.0"), QStringLiteral("http://example.org")), keys.secretKey)},
    };
    struct Case {
        const char *path;
        std::optional<QString> versionOrProblem;
        bool succeeds;
    };
    const Case cases[] = {
        {"/good", QStringLiteral("1.4.0"), true},
        {"/stranger", QStringLiteral("更新情報の署名が正しくありません。"), false},
        {"/tampered", QStringLiteral("更新情報の署名が正しくありません。"), false},
        {"/http-page", QStringLiteral("更新情報を読み取れませんでした。"), false},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.path);
        SignedUpdateFeed feed(server.url(c.path), keys.publicKey);
        const auto offer = fetched(feed);
        ASSERT_EQ(offer.has_value(), c.succeeds);
        if (offer) {
            EXPECT_EQ(offer->version.toString(), *c.versionOrProblem);
            EXPECT_EQ(offer->page, QUrl(QStringLiteral("https://example.org/sorawen")));
        } else {
            EXPECT_EQ(offer.error(), *c.versionOrProblem);
        }
    }
}

} // namespace
