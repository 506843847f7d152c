#pragma once

#include "dictation/FlowState.h"

#include <QString>

// The tray icon's symbol: what the user glances at to see whether Sorawen listens or works.
namespace MenuIcon {

enum class Symbol { arrowDownCircle, waveform, ellipsisCircle, mic };

// The first rule that applies: a waiting update while idle, then listening, then working, else
// the microphone.
Symbol menuIcon(const FlowState::Value &state, bool updateWaiting);

// The icon file's name without its folder and extension ("arrow.down.circle").
QString symbolName(Symbol symbol);

} // namespace MenuIcon
