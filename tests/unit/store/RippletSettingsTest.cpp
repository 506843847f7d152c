#include "store/RippletSettings.h"

#include <gtest/gtest.h>

#include <functional>

namespace {

const QUuid firstId = QUuid::fromString(QStringLiteral("6F9619FF-8B86-D011-B42D-00C04FC964FF"));
const QUuid secondId = QUuid::fromString(QStringLiteral("0B0E6B4E-4A8B-4C4B-9C8E-2C6E1E0F9A11"));

RippletSettings load(const char *json)
{
    return RippletSettings::load(QByteArray(json));
}

TEST(RippletSettings, LoadingAppliesDefaultsAndLimitsFieldByField)
{
    struct Case {
        const char *name;
        const char *json;
        // Applied to a default record to give the expected one.
        std::function<void(RippletSettings &)> expected;
    };
    const Case cases[] = {
        {"not JSON", "{hotkey:", [](RippletSettings &) {}},
        {"history limit 0 is raised to 1", R"({"historyLimit": 0})", [](RippletSettings &s) { s.historyLimit = 1; }},
        {"restore delay 30 is cut", R"({"pasteboardRestoreDelaySeconds": 30})",
            [](RippletSettings &s) { s.pasteboardRestoreDelaySeconds = 10.0; }},
        {"unknown hotkey keeps the default, other fields load",
            R"({"hotkey": "capsLock", "language": "ja_JP", "historyEnabled": false})",
            [](RippletSettings &s) {
                s.language = RecognitionLanguage::japanese;
                s.historyEnabled = false;
            }},
        {"one dictionary entry without spoken empties the list",
            R"({"dictionary": [{"spoken": "ok", "replacement": "OK"}, {"replacement": "x"}], "customInstructions": "丁寧に"})",
            [](RippletSettings &s) { s.customInstructions = QStringLiteral("丁寧に"); }},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        RippletSettings expected;
        c.expected(expected);
        EXPECT_EQ(load(c.json), expected);
    }
}

TEST(RippletSettings, EncodingRoundTrips)
{
    RippletSettings settings;
    settings.hotkey = HotkeyChoice::leftShift;
    settings.dictionary = {DictionaryEntry {firstId, QStringLiteral("くーべ"), QStringLiteral("Kube\"\n")},
        DictionaryEntry {secondId, QStringLiteral("x"), QString()}};
    settings.customInstructions = QStringLiteral("です・ます調で\t書く");
    settings.applicationStyles
        = {ApplicationStyle {secondId, QStringLiteral("org.gnome.Terminal"), QStringLiteral("端末"), QString(), true}};
    settings.language = RecognitionLanguage::japanese;
    settings.polishingTimeoutSeconds = 2.75;
    settings.pasteboardRestoreDelaySeconds = 0.5;
    settings.historyLimit = 10000;
    settings.playSounds = false;

    const std::optional<QByteArray> bytes = settings.encoded();
    ASSERT_TRUE(bytes);
    EXPECT_EQ(RippletSettings::load(bytes), settings);
}

} // namespace
