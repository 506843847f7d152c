#include "ui/UpdaterModel.h"

void UpdaterModel::setAutomaticallyChecks(bool checks)
{
    if (checks == checksAutomatically)
        return;
    checksAutomatically = checks;
    Q_EMIT automaticallyChecksChanged();
}

void UpdaterModel::checkForUpdates() { }
