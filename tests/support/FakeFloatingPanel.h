#pragma once

#include "ui/FloatingPanel.h"

#include <vector>

// A floating panel that only records: whether it is on screen, its alpha, and every move.
class FakeFloatingPanel final : public FloatingPanel
{
public:
    bool isOnScreen() const override { return onScreen; }
    void orderFront() override { onScreen = true; }
    void orderOut() override { onScreen = false; }
    double alpha() const override { return currentAlpha; }
    void setAlpha(double alpha) override { currentAlpha = alpha; }
    QSize size() const override { return {560, 68}; }
    void moveTo(QPoint topLeft) override { moves.push_back(topLeft); }
    ScreenLayout screenLayout() const override { return layout; }

    ScreenLayout layout {{100, 100}, {{{0, 0, 1280, 800}, {0, 0, 1280, 760}}}, 0};
    bool onScreen = false;
    double currentAlpha = 1;
    std::vector<QPoint> moves;
};
