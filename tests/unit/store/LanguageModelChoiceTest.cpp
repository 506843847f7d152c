#include "store/LanguageModelChoice.h"
#include "MemoryDefaultsStore.h"

#include <gtest/gtest.h>

namespace {

TEST(LanguageModelChoice, OnlyEndpointsOnThisMachineAreAccepted)
{
    const struct {
        const char *text;
        bool accepted;
    } cases[]{
        {"http://127.0.0.1:11434/v1", true},
        {"http://localhost:8080/v1", true},
        {"http://127.0.0.255/v1", true},
        {"http://[::1]:1234/v1", true},
        {"http://192.168.1.20:11434/v1", false},
        {"http://127.0.0.1.example.com/v1", false},
    };
    for (const auto &c : cases)
        EXPECT_EQ(LanguageModelChoice::endpointUrl(QLatin1StringView(c.text)).has_value(), c.accepted) << c.text;
}

TEST(LanguageModelChoice, StoredChoicesRoundTripAndBadOnesMeanTheInstalledModel)
{
    MemoryDefaultsStore defaults;
    const LanguageModelChoice endpoint{QUrl(QStringLiteral("http://127.0.0.1:11434/v1")), QStringLiteral("qwen2.5:3b")};
    ASSERT_TRUE(endpoint.save(defaults));
    EXPECT_EQ(LanguageModelChoice::load(defaults), endpoint);

    // A server elsewhere is not taken from the stored form either.
    defaults.values.insert(
        DefaultsKeys::languageModel, QByteArray(R"({"endpoint": "http://example.com/v1", "model": "m"})"));
    EXPECT_FALSE(LanguageModelChoice::load(defaults).usesEndpoint());
}

} // namespace
