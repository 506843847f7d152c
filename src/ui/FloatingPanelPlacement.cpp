#include "ui/FloatingPanelPlacement.h"

#include <cmath>

namespace FloatingPanelPlacement {

std::optional<QPoint> origin(const ScreenLayout &layout, QSize panel)
{
    const ScreenLayout::Screen *chosen = nullptr;
    for (const auto &screen : layout.screens) {
        if (screen.frame.contains(layout.pointer)) {
            chosen = &screen;
            break;
        }
    }
    if (!chosen && layout.primary && *layout.primary < layout.screens.size())
        chosen = &layout.screens[*layout.primary];
    if (!chosen)
        return std::nullopt;
    const QRect &area = chosen->available;
    const double middle = area.x() + area.width() / 2.0;
    const int x = int(std::lround(middle - panel.width() * 0.5));
    const int y = area.y() + area.height() - bottomMargin - panel.height();
    return QPoint(x, y);
}

} // namespace FloatingPanelPlacement
