#include "store/SpeechModelChoice.h"
#include "MemoryDefaultsStore.h"

#include <gtest/gtest.h>

namespace {

using Choice = SpeechModelChoice;

TEST(SpeechModelChoice, StoredChoicesRoundTripAndUnusableEntriesMeanTheCatalogue)
{
    MemoryDefaultsStore defaults;
    const Choice chosen{Choice::File{QStringLiteral("/home/u/ggml-ja.bin")},
        Choice::Endpoint{QUrl(QStringLiteral("http://127.0.0.1:8080/v1")), QStringLiteral("base.en")}};
    ASSERT_TRUE(chosen.save(defaults));
    EXPECT_EQ(Choice::load(defaults), chosen);

    const Choice::Source catalogue = Choice::Catalogue{};
    const Choice::Source file = Choice::File{QStringLiteral("/models/b.bin")};
    struct Case {
        const char *name;
        QByteArray stored;
        Choice::Source japanese;
        Choice::Source english;
    };
    const Case cases[] = {
        {"server elsewhere", R"({"en_US": {"endpoint": "http://192.168.1.5:8080/v1"}})", catalogue, catalogue},
        {"relative file", R"({"ja_JP": {"file": "models/b.bin"}})", catalogue, catalogue},
        {"one bad language leaves the other", R"({"en_US": "/models/a.bin", "ja_JP": {"file": "/models/b.bin"}})", file,
            catalogue},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        defaults.values.insert(DefaultsKeys::speechModel, c.stored);
        const Choice loaded = Choice::load(defaults);
        EXPECT_EQ(loaded.japanese, c.japanese);
        EXPECT_EQ(loaded.english, c.english);
    }
}

} // namespace
