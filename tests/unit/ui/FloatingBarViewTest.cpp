#include "ManualClock.h"
#include "QtWarnings.h"
#include "ui/FloatingBarModel.h"
#include "ui/FloatingPanelWindow.h"

#include <QQuickItem>

#include <gtest/gtest.h>

namespace {

TEST(FloatingBarView, DrawsEveryStateWithoutWarningsAndCutsLongTextAtItsHead)
{
    QtWarnings warnings;
    ManualClock clock;
    FloatingBarModel model(clock);
    FloatingPanelWindow window(model);
    ASSERT_EQ(window.status(), QQuickView::Ready);
    window.show();

    auto *message = window.rootObject()->findChild<QQuickItem *>(QStringLiteral("message"));
    auto *capsule = window.rootObject()->findChild<QQuickItem *>(QStringLiteral("capsule"));
    ASSERT_TRUE(message && capsule);

    struct Case {
        const char *name;
        FlowState::Value state;
        QString partialText;
        bool isCut;
    };
    const Case cases[] = {
        {"idle", FlowState::Idle {}, {}, false},
        {"starting", FlowState::Starting {}, {}, false},
        {"recording, 40 wide characters heard", FlowState::Recording {}, QStringLiteral("話").repeated(100), true},
        {"locked, nothing heard", FlowState::Locked {}, {}, false},
        {"processing", FlowState::Processing {}, {}, false},
        {"success", FlowState::Success {QStringLiteral("入力しました")}, {}, false},
        {"failure", FlowState::Failure {QStringLiteral("入力先が見つかりません")}, {}, false},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        model.setPartialText(c.partialText);
        model.setState(c.state);
        clock.advanceSeconds(0.2);
        EXPECT_FALSE(window.grabWindow().isNull());
        EXPECT_EQ(message->property("truncated").toBool(), c.isCut);
        EXPECT_LE(message->width(), 450);
        EXPECT_EQ(capsule->height(), 44);
        EXPECT_GE(capsule->width(), 180);
        EXPECT_LE(capsule->width(), 16 + 51 + 12 + 450 + 20);
        EXPECT_EQ(model.capsuleRect(), QRectF(capsule->x(), capsule->y(), capsule->width(), capsule->height()));
    }
    EXPECT_EQ(warnings.messages, QStringList());
}

} // namespace
