#pragma once

#include "ui/Wa.h"

// The floating bar's colours.
namespace BarStyle {

inline QColor withOpacity(QColor colour, double opacity)
{
    colour.setAlphaF(float(opacity));
    return colour;
}

inline QColor background() { return withOpacity(Wa::sumi(), 0.92); }
inline QColor border() { return withOpacity(Wa::issen(), 0.18); }
inline QColor text() { return withOpacity(Qt::white, 0.92); }
inline QColor subtext() { return withOpacity(Qt::white, 0.62); }
inline QColor wave() { return Wa::issen(); }
inline QColor success() { return Wa::wakatake(); }
inline QColor failure() { return Wa::usubeni(); }

} // namespace BarStyle
