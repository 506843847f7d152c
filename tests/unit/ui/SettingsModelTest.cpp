#include "ui/SettingsModel.h"

#include "WindowFixture.h"

#include <gtest/gtest.h>

namespace {

TEST(SettingsModel, AnUnobservableKeyIsMarkedAndAnotherTakesEffectAtOnce)
{
    WindowFixture f;
    f.model->start();
    SettingsModel &s = *f.settings;
    s.setHotkeyIndex(int(HotkeyChoice::function));
    const QVariantList choices = s.hotkeyChoices();
    ASSERT_EQ(choices.size(), 9);
    for (int i = 0; i < choices.size(); ++i)
        EXPECT_EQ(choices[i].toMap().value(QStringLiteral("isObservable")).toBool(), i != int(HotkeyChoice::function));
    EXPECT_FALSE(s.hotkeyNotice().isEmpty());

    s.chooseObservableHotkey();
    EXPECT_EQ(f.model->settings().hotkey, HotkeyChoice::rightControl);
    EXPECT_EQ(f.model->eventTap().hotkey, HotkeyChoice::rightControl);
    EXPECT_TRUE(f.model->eventTap().isRunning());
    EXPECT_TRUE(s.hotkeyNotice().isEmpty());
}

TEST(SettingsModel, EntriesAndStylesComeAndGoInOrderAndTheListsResetOnlyThen)
{
    WindowFixture f;
    SettingsModel &s = *f.settings;
    int resets = 0;
    QObject::connect(&s, &SettingsModel::listsChanged, [&] { ++resets; });

    s.addDictionaryEntry();
    s.addDictionaryEntry();
    const QList<DictionaryEntry> &words = f.model->settings().dictionary;
    ASSERT_EQ(words.size(), 2);
    EXPECT_NE(words[0].id, words[1].id);
    s.setDictionaryEntry(1, QStringLiteral("そらうぇん"), QStringLiteral("Sorawen"));
    EXPECT_EQ(f.model->settings().dictionary[1].replacement, QStringLiteral("Sorawen"));
    EXPECT_EQ(resets, 2);

    for (const char *name : {"Mail", "Editor", "Terminal"}) {
        s.addApplicationStyle();
        s.setApplicationStyle(int(f.model->settings().applicationStyles.size()) - 1, QString::fromUtf8(name),
            QStringLiteral("org.example.") + QString::fromUtf8(name), QString(), false);
    }
    s.removeApplicationStyle(1);
    QStringList names;
    for (const ApplicationStyle &style : f.model->settings().applicationStyles)
        names.append(style.applicationName);
    EXPECT_EQ(names, (QStringList {QStringLiteral("Mail"), QStringLiteral("Terminal")}));
    EXPECT_EQ(resets, 6);
    EXPECT_EQ(RippletSettings::load(f.defaults.bytes(DefaultsKeys::settings)), f.model->settings());
}

TEST(SettingsModel, HistorySearchInsertAgainCopyAndClear)
{
    WindowFixture f({item(QStringLiteral("Mail"), QStringLiteral("newest words"), 2000),
        item(QStringLiteral("Editor"), QStringLiteral("older words"), 1000)});
    SettingsModel &s = *f.settings;
    EXPECT_FALSE(s.isHistoryEmpty());
    // Row 0 of the filtered list is the older item. Inserting again pastes it once the focus is back in
    // the user's window; the field shows the paste, so the user's clipboard is back before the fakes go.
    s.setHistoryQuery(QStringLiteral("editor"));
    f.tree.setFocusedValue(QString());
    f.keystroke.effect = [&f] { f.tree.setFocusedValue(f.pasteboard.text()); };
    s.insertHistoryItem(0);
    f.clock.advanceSeconds(SettingsModel::focusReturnSeconds);
    EXPECT_TRUE(waitFor([&] { return f.keystroke.sentCount() == 1; }));
    EXPECT_TRUE(waitFor([&] { return f.pasteboard.text() == QStringLiteral("mine"); }));
    EXPECT_EQ(f.tree.focused->value, QStringLiteral("older words"));

    s.copyHistoryItem(0);
    EXPECT_EQ(f.pasteboard.text(), QStringLiteral("older words"));
    EXPECT_EQ(f.pasteboard.items().size(), 1);

    s.clearHistory();
    EXPECT_TRUE(s.isHistoryEmpty());
    EXPECT_TRUE(s.filteredHistory().isEmpty());
}

} // namespace
