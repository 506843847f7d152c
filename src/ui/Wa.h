#pragma once

#include <QColor>

// The application's palette, named after traditional Japanese colours (sRGB, fully opaque).
namespace Wa {
inline QColor sumi() { return QColor(46, 42, 43); }
inline QColor issen() { return QColor(245, 177, 170); }
inline QColor usubeni() { return QColor(240, 144, 141); }
// The accent of the settings and first-run windows.
inline QColor enji() { return QColor(185, 64, 71); }
inline QColor wakatake() { return QColor(104, 190, 141); }
} // namespace Wa
