#pragma once

#include "ui/FloatingPanel.h"

// Where the floating bar appears: centred on the screen under the pointer (the primary screen when
// the pointer is on none), its lower edge a little above the bottom of the screen's usable area.
namespace FloatingPanelPlacement {

constexpr int bottomMargin = 32;

// The panel's top-left corner; none when there is no screen to put it on.
std::optional<QPoint> origin(const ScreenLayout &layout, QSize panel);

} // namespace FloatingPanelPlacement
