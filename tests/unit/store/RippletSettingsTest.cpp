#include "store/RippletSettings.h"
#include "store/PreferredLanguages.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <gtest/gtest.h>

#include <functional>
#include <map>

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
        {"empty object", "{}", [](RippletSettings &) {}},
        {"not JSON", "{hotkey:", [](RippletSettings &) {}},
        {"top level is an array", R"([{"historyLimit": 5}])", [](RippletSettings &) {}},
        {"history limit 0 is raised to 1", R"({"historyLimit": 0})", [](RippletSettings &s) { s.historyLimit = 1; }},
        {"history limit 50000 is cut to 10000", R"({"historyLimit": 50000})",
            [](RippletSettings &s) { s.historyLimit = 10000; }},
        {"history limit 12.5 is not an integer", R"({"historyLimit": 12.5, "playSounds": false})",
            [](RippletSettings &s) { s.playSounds = false; }},
        {"whole-number double is an integer", R"({"historyLimit": 20.0})",
            [](RippletSettings &s) { s.historyLimit = 20; }},
        {"negative skip threshold is raised to 0", R"({"skipPolishingBelowCharacters": -3})",
            [](RippletSettings &s) { s.skipPolishingBelowCharacters = 0; }},
        {"timeout 120 is cut", R"({"polishingTimeoutSeconds": 120})",
            [](RippletSettings &s) { s.polishingTimeoutSeconds = 60.0; }},
        {"restore delay 0 is raised", R"({"pasteboardRestoreDelaySeconds": 0})",
            [](RippletSettings &s) { s.pasteboardRestoreDelaySeconds = 0.5; }},
        {"restore delay 30 is cut", R"({"pasteboardRestoreDelaySeconds": 30})",
            [](RippletSettings &s) { s.pasteboardRestoreDelaySeconds = 10.0; }},
        {"unknown hotkey keeps the default, other fields load",
            R"({"hotkey": "capsLock", "language": "ja_JP", "historyEnabled": false})",
            [](RippletSettings &s) {
                s.language = RecognitionLanguage::japanese;
                s.historyEnabled = false;
            }},
        {"known hotkey and language", R"({"hotkey": "rightCommand", "language": "en_US"})",
            [](RippletSettings &s) {
                s.hotkey = HotkeyChoice::rightCommand;
                s.language = RecognitionLanguage::english;
            }},
        {"boolean given as a number", R"({"deepContextEnabled": 0, "launchAtLogin": true})",
            [](RippletSettings &s) { s.launchAtLogin = true; }},
        {"null leaves the default", R"({"customInstructions": null, "spokenPunctuationEnabled": true})",
            [](RippletSettings &s) { s.spokenPunctuationEnabled = true; }},
        {"one dictionary entry without spoken empties the list",
            R"({"dictionary": [{"spoken": "ok", "replacement": "OK"}, {"replacement": "x"}], "customInstructions": "丁寧に"})",
            [](RippletSettings &s) { s.customInstructions = QStringLiteral("丁寧に"); }},
        {"dictionary element that is not an object", R"({"dictionary": [3]})", [](RippletSettings &) {}},
        {"full dictionary entry",
            R"({"dictionary": [{"id": "6f9619ff-8b86-d011-b42d-00c04fc964ff", "spoken": "そらわん", "replacement": "Sorawen"}]})",
            [](RippletSettings &s) {
                s.dictionary = {DictionaryEntry {firstId, QStringLiteral("そらわん"), QStringLiteral("Sorawen")}};
            }},
        {"application style without bundle identifier empties the list",
            R"({"applicationStyles": [{"applicationName": "x"}], "historyLimit": 7})",
            [](RippletSettings &s) { s.historyLimit = 7; }},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        RippletSettings expected;
        c.expected(expected);
        EXPECT_EQ(load(c.json), expected);
    }
}

TEST(RippletSettings, StyleWithOnlyBundleIdentifierFillsTheRest)
{
    const RippletSettings settings
        = load(R"({"applicationStyles": [{"bundleIdentifier": "org.kde.kate", "id": "not-a-uuid"}]})");
    ASSERT_EQ(settings.applicationStyles.size(), 1);
    const ApplicationStyle &style = settings.applicationStyles.first();
    EXPECT_FALSE(style.id.isNull());
    EXPECT_EQ(style.applicationName, QStringLiteral("org.kde.kate"));
    EXPECT_TRUE(style.instruction.isEmpty());
    EXPECT_FALSE(style.skipsPolishing);
}

TEST(RippletSettings, EncodingRoundTripsAndKeepsDeclarationOrder)
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

    const QByteArray expectedOrder[] = {"hotkey", "dictionary", "customInstructions", "applicationStyles",
        "deepContextEnabled", "language", "polishingEnabled", "skipPolishingBelowCharacters", "polishingTimeoutSeconds",
        "pasteboardRestoreDelaySeconds", "historyEnabled", "historyLimit", "launchAtLogin", "playSounds",
        "spokenPunctuationEnabled"};
    qsizetype previous = -1;
    for (const QByteArray &key : expectedOrder) {
        SCOPED_TRACE(key.toStdString());
        const qsizetype at = bytes->indexOf("\"" + key + "\":");
        EXPECT_GT(at, previous);
        previous = at;
    }
    EXPECT_TRUE(bytes->contains(R"("hotkey":"leftShift")"));
    EXPECT_TRUE(bytes->contains(R"("language":"ja_JP")"));
    EXPECT_TRUE(bytes->contains(R"("id":"6F9619FF-8B86-D011-B42D-00C04FC964FF","spoken")"));
    EXPECT_FALSE(bytes->contains(' ')) << "the stored form is compact";
}

TEST(RippletSettings, EncodingFailsOnlyForNonFiniteDurations)
{
    RippletSettings settings;
    settings.polishingTimeoutSeconds = std::numeric_limits<double>::infinity();
    EXPECT_FALSE(settings.encoded());
    settings.polishingTimeoutSeconds = 4.0;
    settings.pasteboardRestoreDelaySeconds = std::numeric_limits<double>::quiet_NaN();
    EXPECT_FALSE(settings.encoded());
}

TEST(RippletSettings, StyleIsTheFirstExactMatch)
{
    RippletSettings settings;
    settings.applicationStyles = {ApplicationStyle {firstId, QStringLiteral("org.gnome.gedit"), QStringLiteral("gedit"),
                                      QStringLiteral("first"), false},
        ApplicationStyle {
            secondId, QStringLiteral("org.gnome.gedit"), QStringLiteral("gedit"), QStringLiteral("second"), true}};
    EXPECT_EQ(settings.style(QStringLiteral("org.gnome.gedit"))->instruction, QStringLiteral("first"));
    EXPECT_FALSE(settings.style(QStringLiteral("org.gnome.Gedit")));
    EXPECT_FALSE(settings.style(std::nullopt));
}

TEST(RecognitionLanguage, DefaultFollowsTheFirstPreferredLanguage)
{
    struct Case {
        const char *name;
        std::map<std::string, QString> environment;
        RecognitionLanguage expected;
    };
    const Case cases[] = {
        {"ja then en", {{"LANGUAGE", QStringLiteral("ja_JP:en_US")}}, RecognitionLanguage::japanese},
        {"JA alone", {{"LANGUAGE", QStringLiteral("JA")}}, RecognitionLanguage::japanese},
        {"nothing set", {}, RecognitionLanguage::english},
        {"LANGUAGE wins over LC_ALL", {{"LANGUAGE", QStringLiteral("en")}, {"LC_ALL", QStringLiteral("ja_JP.UTF-8")}},
            RecognitionLanguage::english},
        {"LC_ALL before LC_MESSAGES",
            {{"LC_ALL", QStringLiteral("ja_JP.UTF-8")}, {"LC_MESSAGES", QStringLiteral("en_US.UTF-8")}},
            RecognitionLanguage::japanese},
        {"LC_MESSAGES before LANG",
            {{"LC_MESSAGES", QStringLiteral("ja_JP.eucJP")}, {"LANG", QStringLiteral("en_US.UTF-8")}},
            RecognitionLanguage::japanese},
        {"C is no preference", {{"LC_ALL", QStringLiteral("C")}, {"LANG", QStringLiteral("ja_JP.UTF-8")}},
            RecognitionLanguage::japanese},
        {"empty LANGUAGE entries are skipped", {{"LANGUAGE", QStringLiteral("::ja")}}, RecognitionLanguage::japanese},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        const auto first = PreferredLanguages::first([&](const char *variable) {
            const auto found = c.environment.find(variable);
            return found == c.environment.end() ? QString() : found->second;
        });
        EXPECT_EQ(RecognitionLanguage::defaultFor(first), c.expected);
    }
}

} // namespace
