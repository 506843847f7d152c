#include "app/MenuIcon.h"

namespace MenuIcon {

Symbol menuIcon(const FlowState::Value &state, bool updateWaiting)
{
    if (updateWaiting && std::holds_alternative<FlowState::Idle>(state))
        return Symbol::arrowDownCircle;
    if (std::holds_alternative<FlowState::Starting>(state) || std::holds_alternative<FlowState::Recording>(state)
        || std::holds_alternative<FlowState::Locked>(state))
        return Symbol::waveform;
    if (std::holds_alternative<FlowState::Processing>(state))
        return Symbol::ellipsisCircle;
    return Symbol::mic;
}

QString symbolName(Symbol symbol)
{
    switch (symbol) {
    case Symbol::arrowDownCircle:
        return QStringLiteral("arrow.down.circle");
    case Symbol::waveform:
        return QStringLiteral("waveform");
    case Symbol::ellipsisCircle:
        return QStringLiteral("ellipsis.circle");
    case Symbol::mic:
        break;
    }
    return QStringLiteral("mic");
}

} // namespace MenuIcon
