#include "dictation/FlowState.h"

#include <QCoreApplication>

namespace FlowState {

QString label(const Value &state)
{
    struct Labels {
        QString operator()(const Success &success) const { return success.message; }
        QString operator()(const Failure &failure) const { return failure.message; }
        QString operator()(Idle) const { return QCoreApplication::translate("FlowState", "待機中"); }
        QString operator()(Starting) const { return QCoreApplication::translate("FlowState", "録音を開始中"); }
        QString operator()(Recording) const { return QCoreApplication::translate("FlowState", "録音中"); }
        QString operator()(Locked) const { return QCoreApplication::translate("FlowState", "固定録音中"); }
        QString operator()(Processing) const { return QCoreApplication::translate("FlowState", "確定処理中"); }
    };
    return std::visit(Labels {}, state);
}

} // namespace FlowState
