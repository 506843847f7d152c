#include "ui/OnboardingWindow.h"

#include "ui/OnboardingModel.h"
#include "ui/SettingsModel.h"
#include "ui/Wa.h"

OnboardingWindow::OnboardingWindow(OnboardingModel &model, SettingsModel &settings)
{
    setResizeMode(QQuickView::SizeViewToRootObject);
    setInitialProperties({{QStringLiteral("onboarding"), QVariant::fromValue(&model)},
        {QStringLiteral("settings"), QVariant::fromValue(&settings)}, {QStringLiteral("accent"), Wa::enji()}});
    setSource(QUrl(QStringLiteral("qrc:/sorawen/ui/OnboardingView.qml")));
    connect(this, &QWindow::visibleChanged, &model, &OnboardingModel::setActive);
}
