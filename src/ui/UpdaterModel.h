#pragma once

#include <QObject>

// The update state the menu and the settings window show. Nothing checks for updates yet: the
// values keep their initial state (no check possible, nothing waiting) and a check request does
// nothing. Main thread only.
class UpdaterModel : public QObject
{
    Q_OBJECT
    Q_PROPERTY(bool canCheck READ canCheck NOTIFY canCheckChanged)
    Q_PROPERTY(bool updateWaiting READ updateWaiting NOTIFY updateWaitingChanged)
    Q_PROPERTY(bool automaticallyChecks READ automaticallyChecks WRITE setAutomaticallyChecks NOTIFY
            automaticallyChecksChanged)

public:
    using QObject::QObject;

    bool canCheck() const { return isCheckPossible; }
    bool updateWaiting() const { return isUpdateWaiting; }
    bool automaticallyChecks() const { return checksAutomatically; }
    void setAutomaticallyChecks(bool checks);

    void checkForUpdates();

Q_SIGNALS:
    void canCheckChanged();
    void updateWaitingChanged();
    void automaticallyChecksChanged();

private:
    bool isCheckPossible = false;
    bool isUpdateWaiting = false;
    bool checksAutomatically = true;
};
