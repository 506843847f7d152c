#pragma once

#include "ui/FloatingPanel.h"

#include <QQuickView>

class FloatingBarModel;

// The floating bar's window: a frameless window above the others that never takes the focus and
// lets clicks through, shown on every desktop. Where no compositing manager runs, translucent
// windows would show black corners, so the window is cut to the capsule's shape and the model
// draws the capsule opaque. Main thread only.
class FloatingPanelWindow : public QQuickView, public FloatingPanel
{
    Q_OBJECT

public:
    static constexpr int panelWidth = 560;
    static constexpr int panelHeight = 68;

    explicit FloatingPanelWindow(FloatingBarModel &model);

    // Draws one frame off-screen and hides again: the first frame sets the graphics up, which takes
    // a fifth of a second and more, and would otherwise hold up the main thread at the first press.
    void prepareGraphics();

    bool isOnScreen() const override;
    void orderFront() override;
    void orderOut() override;
    double alpha() const override;
    void setAlpha(double alpha) override;
    QSize size() const override;
    void moveTo(QPoint topLeft) override;
    ScreenLayout screenLayout() const override;

private:
    void updateShape();

    FloatingBarModel &model;
    bool isPreparing = false;
};
