#include "app/MenuIcon.h"
#include "app/TrayMenu.h"
#include "app/WindowOpener.h"
#include "FakeUpdateFeed.h"
#include "ManualClock.h"
#include "MemoryDefaultsStore.h"
#include "RecordingLog.h"
#include "ui/UpdaterModel.h"

#include <QAction>
#include <QMenu>

#include <gtest/gtest.h>

namespace {

TEST(MenuIcon, FirstRuleThatApplies)
{
    using MenuIcon::Symbol;
    struct Case {
        FlowState::Value state;
        bool updateWaiting;
        Symbol symbol;
    };
    const Case cases[] = {
        {FlowState::Idle {}, true, Symbol::arrowDownCircle},
        {FlowState::Idle {}, false, Symbol::mic},
        {FlowState::Recording {}, false, Symbol::waveform},
        {FlowState::Processing {}, true, Symbol::ellipsisCircle},
        {FlowState::Success {QStringLiteral("x")}, true, Symbol::mic},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(FlowState::label(c.state).toStdString() + (c.updateWaiting ? " with an update" : ""));
        EXPECT_EQ(MenuIcon::menuIcon(c.state, c.updateWaiting), c.symbol);
    }
}

TEST(TrayMenu, ListsTheItemsInOrderAndOpensOneSettingsWindow)
{
    WindowOpener opener;
    opener.setSettingsMaker([] { return std::make_unique<QWindow>(); });
    // A build without an update feed.
    FakeUpdateFeed feed;
    feed.feedHost.clear();
    MemoryDefaultsStore defaults;
    ManualClock clock;
    RecordingLog log;
    UpdaterModel updater(feed, defaults, clock, log, QVersionNumber(1));
    TrayMenu tray(opener, updater);
    tray.showState(FlowState::Recording {});
    EXPECT_EQ(tray.symbol(), MenuIcon::Symbol::waveform);

    QStringList items;
    for (const QAction *action : tray.menu()->actions()) {
        if (action->isSeparator())
            items.append(QStringLiteral("-"));
        else if (action->isVisible())
            items.append(action->text() + (action->isEnabled() ? QString() : QStringLiteral(" (disabled)")));
    }
    // Nothing can check for updates: no update waits, and the check is greyed out.
    EXPECT_EQ(items,
        QStringList({QStringLiteral("録音中 (disabled)"), QStringLiteral("-"), QStringLiteral("設定を開く"),
            QStringLiteral("はじめての設定（許可）"), QStringLiteral("-"), QStringLiteral("アップデートを確認… (disabled)"),
            QStringLiteral("終了")}));

    const QList<QAction *> actions = tray.menu()->actions();
    actions[2]->trigger();
    QWindow *settings = opener.settings();
    ASSERT_NE(settings, nullptr);
    EXPECT_TRUE(settings->isVisible());
    EXPECT_EQ(settings->title(), QStringLiteral("Sorawen 設定"));
    settings->close();
    actions[2]->trigger();
    EXPECT_EQ(opener.settings(), settings);
    EXPECT_TRUE(settings->isVisible());

    // The first-run window does not exist yet.
    EXPECT_FALSE(opener.showOnboarding());
}

} // namespace
