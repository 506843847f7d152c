#include "ui/SettingsWindow.h"

#include "ui/ModelsModel.h"
#include "ui/SettingsModel.h"
#include "ui/SettingsSection.h"
#include "ui/Wa.h"

SettingsWindow::SettingsWindow(SettingsModel &model, ModelsModel &models, SettingsSectionSelection &selection)
{
    setResizeMode(QQuickView::SizeRootObjectToView);
    setMinimumSize(QSize(minimumWidth, minimumHeight));
    resize(minimumWidth + 80, minimumHeight + 160);
    setInitialProperties({{QStringLiteral("settings"), QVariant::fromValue(&model)},
        {QStringLiteral("selection"), QVariant::fromValue(&selection)},
        {QStringLiteral("models"), QVariant::fromValue(&models)},
        {QStringLiteral("accent"), Wa::enji()}});
    setSource(QUrl(QStringLiteral("qrc:/sorawen/ui/SettingsView.qml")));
    connect(&model, &SettingsModel::stepAsideRequested, this, &QWindow::showMinimized);
}
