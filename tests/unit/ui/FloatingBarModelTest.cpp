#include "ui/FloatingBarModel.h"
#include "ManualClock.h"
#include "ui/BarStyle.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

TEST(FloatingBarModel, ShowsEachStatesIndicatorMessageAndColour)
{
    const QString hundred = QStringLiteral("あいうえおかきくけこ").repeated(9) + QStringLiteral("0123456789");
    enum Indicator { bars, dots, checkmark, warning };
    struct Case {
        const char *name;
        FlowState::Value state;
        QString partialText;
        Indicator indicator;
        int width;
        QString message;
        QColor colour;
    };
    const Case cases[] = {
        {"idle", FlowState::Idle {}, {}, bars, 22, {}, BarStyle::text()},
        {"starting", FlowState::Starting {}, {}, bars, 44, QStringLiteral("準備中…"), BarStyle::subtext()},
        {"locked, nothing heard", FlowState::Locked {}, {}, bars, 44,
            QStringLiteral("話してください（もう一度押すと終了）"), BarStyle::subtext()},
        {"recording, 100 characters heard: the last 40", FlowState::Recording {}, hundred, bars, 44,
            QStringLiteral("あいうえおかきくけこ").repeated(3) + QStringLiteral("0123456789"), BarStyle::text()},
        {"processing", FlowState::Processing {}, QStringLiteral("hello"), dots, 22, QStringLiteral("清書中…"),
            BarStyle::subtext()},
        {"success", FlowState::Success {QStringLiteral("入力しました")}, {}, checkmark, 22,
            QStringLiteral("入力しました"), BarStyle::text()},
        {"failure", FlowState::Failure {QStringLiteral("マイクが使えません")}, {}, warning, 22,
            QStringLiteral("マイクが使えません"), BarStyle::failure()},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        ManualClock clock;
        FloatingBarModel model(clock);
        model.setPartialText(c.partialText);
        model.setState(c.state);
        EXPECT_EQ(model.showsLevelBars(), c.indicator == bars);
        EXPECT_EQ(model.showsDots(), c.indicator == dots);
        EXPECT_EQ(model.showsCheckmark(), c.indicator == checkmark);
        EXPECT_EQ(model.showsWarning(), c.indicator == warning);
        EXPECT_EQ(model.indicatorWidth(), c.width);
        EXPECT_EQ(model.message(), c.message);
        EXPECT_EQ(model.messageColor(), c.colour);
    }
}

TEST(FloatingBarModel, BarsFollowTheCappedLevel)
{
    ManualClock clock;
    FloatingBarModel model(clock);
    EXPECT_EQ(model.bars(), QList<qreal>(9, 0.15));

    clock.advanceSeconds(1.0);
    // Outside a recording the bars settle on their floor.
    for (const qreal bar : model.bars())
        EXPECT_NEAR(bar, 0.12, 0.005);

    model.setState(FlowState::Recording {});
    model.setLevel(3.0);
    double highest = 0;
    for (int tick = 0; tick < 90; ++tick) {
        clock.advanceSeconds(FloatingBarModel::tickSeconds);
        const QList<qreal> bars = model.bars();
        highest = std::max(highest, bars[4]);
        EXPECT_LE(bars[4] * 17 + 3, 20.0);
        // The middle bar reacts most; the outer ones target a fifth of the level.
        EXPECT_LE(bars[0], 0.2 + 1e-9);
        EXPECT_GT(bars[4], bars[0]);
    }
    // The wobble lets the middle bar reach its full height at times.
    EXPECT_GT(highest, 0.9);
}

} // namespace
