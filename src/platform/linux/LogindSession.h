#pragma once

#include <QObject>

// Whether the user's login session is in front and unlocked, from logind (org.freedesktop.login1,
// the "auto" session of this process), followed through its property-change signal. Without a
// reachable logind the session counts as active. Main thread.
class LogindSession final : public QObject
{
    Q_OBJECT

public:
    explicit LogindSession(QObject *parent = nullptr);

    bool isActive() const { return active && !locked; }

Q_SIGNALS:
    void activeChanged(bool isActive);

private Q_SLOTS:
    void propertiesChanged(const QString &interface, const QVariantMap &changed, const QStringList &invalidated);

private:
    void read();

    bool active = true;
    bool locked = false;
};
