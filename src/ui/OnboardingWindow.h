#pragma once

#include <QQuickView>

class OnboardingModel;
class SettingsModel;

// The first-run window drawing qml/OnboardingView.qml: as wide as the view, as high as its
// content. Its model polls the grants only while the window shows. Main thread only.
class OnboardingWindow : public QQuickView
{
    Q_OBJECT

public:
    OnboardingWindow(OnboardingModel &model, SettingsModel &settings);
};
