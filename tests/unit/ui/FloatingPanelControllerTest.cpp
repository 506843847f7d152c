#include "ui/FloatingPanelController.h"
#include "FakeFloatingPanel.h"
#include "ManualClock.h"
#include "ui/FloatingPanelPlacement.h"

#include <gtest/gtest.h>

namespace {

using Value = FlowState::Value;

const Value idle = FlowState::Idle {};
const Value starting = FlowState::Starting {};
const Value processing = FlowState::Processing {};
const Value done = FlowState::Success {QStringLiteral("入力しました")};
const Value failedX = FlowState::Failure {QStringLiteral("マイクが使えません")};

struct Step {
    double at;
    Value state;
};
struct Expectation {
    double at;
    bool onScreen;
    double alpha;
};
struct Case {
    const char *name;
    std::vector<Step> steps;
    std::vector<Expectation> expectations;
    std::size_t moves;
};

TEST(FloatingPanelController, FadesAndHidesOnTheClock)
{
    const Case cases[] = {
        {"a success shows, and leaves 1.0 s later with a 0.25 s fade", {{0, starting}, {1, processing}, {2, done}},
            {{0.1, true, 0.667}, {2.99, true, 1}, {3.1, true, 0.6}, {3.25, false, 0}}, 1},
        {"a failure stays 2.5 s", {{0, failedX}}, {{2.49, true, 1}, {2.75, false, 0}}, 1},
        {"starting during the success display cancels the hide and does not re-place", {{0, done}, {0.5, starting}},
            {{5, true, 1}}, 1},
        {"idle hides at once with a 0.25 s fade", {{0, starting}, {1, idle}}, {{1.24, true, 0.07}, {1.25, false, 0}},
            1},
        {"the bar is placed again each time it appears", {{0, done}, {3, starting}}, {{3.2, true, 1}}, 2},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        ManualClock clock;
        FakeFloatingPanel panel;
        FloatingPanelController controller(panel, clock);
        EXPECT_EQ(panel.alpha(), 0);
        auto advanceTo = [&](double seconds) {
            clock.advance(std::chrono::round<Clock::Duration>(std::chrono::duration<double>(seconds)) - clock.now());
        };
        std::size_t step = 0;
        for (const Expectation &expected : c.expectations) {
            for (; step < c.steps.size() && c.steps[step].at <= expected.at; ++step) {
                advanceTo(c.steps[step].at);
                controller.show(c.steps[step].state);
            }
            advanceTo(expected.at);
            SCOPED_TRACE(testing::Message() << "at " << expected.at << " s");
            EXPECT_EQ(panel.isOnScreen(), expected.onScreen);
            EXPECT_NEAR(panel.alpha(), expected.alpha, 0.03);
        }
        EXPECT_EQ(panel.moves.size(), c.moves);
    }
}

TEST(FloatingPanelPlacement, CentresOnTheScreenUnderThePointer)
{
    const ScreenLayout::Screen left {{0, 0, 1920, 1080}, {0, 0, 1920, 1040}};
    const ScreenLayout::Screen right {{1920, 0, 1280, 1024}, {1920, 30, 1280, 994}};
    struct Placement {
        const char *name;
        ScreenLayout layout;
        std::optional<QPoint> origin;
    };
    const Placement cases[] = {
        {"pointer on the second screen", {{2000, 500}, {left, right}, 0}, QPoint(1920 + 640 - 280, 1024 - 32 - 68)},
        {"pointer on the first screen, above its panel", {{10, 10}, {left, right}, 1},
            QPoint(960 - 280, 1040 - 32 - 68)},
    };
    for (const Placement &c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(FloatingPanelPlacement::origin(c.layout, {560, 68}), c.origin);
    }
}

} // namespace
