#pragma once

#include "core/Clock.h"
#include "platform/Permissions.h"

#include <QObject>
#include <QVariantList>
#include <qcoro/qcorotask.h>

class AppModel;
class DefaultsStore;

// The first-run window's content: the four grants, re-read every second while the window shows,
// a request for each followed shortly by the matching settings page, and the completion of the
// first run. Main thread only; the grants are read on a worker, one read at a time.
class OnboardingModel : public QObject
{
    Q_OBJECT
    // [{title, description, isGranted, help}] in the order microphone, speech recognition,
    // accessibility, input monitoring.
    Q_PROPERTY(QVariantList rows READ rows NOTIFY statusChanged)
    // The fraction of the speech model downloaded, or -1 while none downloads.
    Q_PROPERTY(double speechProgress READ speechProgress NOTIFY speechProgressChanged)
    // Why the last installation of the speech model failed; empty after a new request.
    Q_PROPERTY(QString speechProblem READ speechProblem NOTIFY speechProgressChanged)

public:
    static constexpr double pollSeconds = 1.0;
    static constexpr double settingsPageDelaySeconds = 0.8;

    OnboardingModel(AppModel &model, Permissions &permissions, DefaultsStore &defaults, Clock &clock,
        QObject *parent = nullptr);
    ~OnboardingModel() override;

    const PermissionStatus &status() const { return current; }
    QVariantList rows() const;
    double speechProgress() const { return progress; }
    void setSpeechProgress(double fraction);
    const QString &speechProblem() const { return problem; }
    void setSpeechProblem(const QString &message);

    // Polls while active: from the moment the window shows until it hides.
    void setActive(bool active);
    // Asks for the grant of a row, then opens its settings page a moment later.
    Q_INVOKABLE void request(int row);
    // Asks for accessibility without leaving the window.
    Q_INVOKABLE void checkAccessibility();
    Q_INVOKABLE void openAccessibilitySettings();
    // Ends the first run for good, whatever was granted.
    Q_INVOKABLE void complete();

Q_SIGNALS:
    void statusChanged();
    void speechProgressChanged();

private:
    void tick();
    QCoro::Task<> read();

    AppModel &model;
    Permissions &permissions;
    DefaultsStore &defaults;
    Clock &clock;
    PermissionStatus current;
    QString problem;
    double progress = -1;
    bool isActive = false;
    bool isReading = false;
    TimerHandle poll;
};
