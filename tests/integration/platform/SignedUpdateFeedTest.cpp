#include "LoopbackServer.h"
#include "WaitFor.h"
#include "platform/linux/SignedUpdateFeed.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <gtest/gtest.h>

#include <optional>

namespace {

QByteArray feedJson(const char *version, const char *page)
{
    return QJsonDocument(
        QJsonObject{{QStringLiteral("version"), QLatin1StringView(version)},
            {QStringLiteral("page"), QLatin1StringView(page)}, {QStringLiteral("notes"), QStringLiteral("Faster.")}})
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
    const QByteArray good = feedJson("1.4.0", "https://example.org/sorawen");
    QByteArray tampered = SignedUpdateFeed::sign(good, keys.secretKey);
    tampered.replace(QByteArray(good.toBase64()), feedJson("9.0.0", "https://example.org/sorawen").toBase64());

    const QHash<QByteArray, QByteArray> pages{
        {"/good", SignedUpdateFeed::sign(good, keys.secretKey)},
        {"/stranger", SignedUpdateFeed::sign(good, stranger.secretKey)},
        {"/tampered", tampered},
        {"/http-page", SignedUpdateFeed::sign(feedJson("1.4.0", "http://example.org"), keys.secretKey)},
    };
    LoopbackServer server(
        [&](const LoopbackServer::Request &request) { return LoopbackServer::Reply{pages.value(request.path)}; });
    struct Case {
        const char *path;
        QString versionOrProblem;
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
        SignedUpdateFeed feed(QUrl(server.url(c.path)), keys.publicKey);
        const auto offer = fetched(feed);
        ASSERT_EQ(offer.has_value(), c.succeeds);
        if (offer) {
            EXPECT_EQ(offer->version.toString(), c.versionOrProblem);
            EXPECT_EQ(offer->page, QUrl(QStringLiteral("https://example.org/sorawen")));
        } else {
            EXPECT_EQ(offer.error(), c.versionOrProblem);
        }
    }
}

} // namespace
