#pragma once

#include <QPoint>
#include <QRect>
#include <QSize>

#include <optional>
#include <vector>

// The screens as the bar's placement sees them, in global coordinates (y grows downwards).
struct ScreenLayout {
    struct Screen {
        QRect frame;
        // The frame less the panels and docks.
        QRect available;
    };
    QPoint pointer;
    std::vector<Screen> screens;
    std::optional<std::size_t> primary;
};

// The window the floating bar lives in, as FloatingPanelController drives it. An implementation
// never takes the focus and lets clicks through. Main thread only.
class FloatingPanel
{
public:
    virtual ~FloatingPanel() = default;

    virtual bool isOnScreen() const = 0;
    // Shows the panel above other windows without activating it.
    virtual void orderFront() = 0;
    virtual void orderOut() = 0;
    // 0 (transparent) to 1 (opaque).
    virtual double alpha() const = 0;
    virtual void setAlpha(double alpha) = 0;
    virtual QSize size() const = 0;
    virtual void moveTo(QPoint topLeft) = 0;
    virtual ScreenLayout screenLayout() const = 0;
};
