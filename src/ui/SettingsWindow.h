#pragma once

#include <QQuickView>

class ModelsModel;
class SettingsModel;
class SettingsSectionSelection;

// The settings window drawing qml/SettingsView.qml; never smaller than the form needs. Main
// thread only.
class SettingsWindow : public QQuickView
{
    Q_OBJECT

public:
    static constexpr int minimumWidth = 760;
    static constexpr int minimumHeight = 520;

    SettingsWindow(SettingsModel &model, ModelsModel &models, SettingsSectionSelection &selection);
};
