#pragma once

#include <QObject>

#include <functional>
#include <optional>

// One Sorawen per session: the first one holds a name on the session bus and answers a later
// launch, which asks it to open its settings and then ends. Main thread only; without a session
// bus every launch runs on its own.
class SingleInstance : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.kestrelwood.ripplet.Application")

public:
    static inline const QString serviceName = QStringLiteral("com.kestrelwood.ripplet");

    using QObject::QObject;

    // Takes the name; false when another instance holds it.
    bool claim(std::function<bool()> showSettings);

    // Asks the running instance to open its settings: whether its settings window now shows, or
    // none when it could not be asked.
    static std::optional<bool> askRunningToShowSettings();

public Q_SLOTS:
    bool ShowSettings();

private:
    std::function<bool()> showSettings;
};
