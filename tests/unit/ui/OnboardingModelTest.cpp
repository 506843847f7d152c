#include "ui/OnboardingModel.h"

#include "FakePermissions.h"
#include "QtWarnings.h"
#include "WindowFixture.h"
#include "ui/OnboardingWindow.h"

#include <QQuickItem>

#include <gtest/gtest.h>

namespace {

TEST(OnboardingModel, RowsFollowTheGrantsARequestOpensItsPageAMomentLaterAndDoneEndsTheFirstRun)
{
    WindowFixture f;
    f.defaults.setBoolean(DefaultsKeys::onboardingCompleted, false);
    f.model->setShowsOnboarding(true);
    FakePermissions permissions;
    OnboardingModel onboarding(*f.model, permissions, f.defaults, f.clock);
    onboarding.setActive(true);
    const PermissionStatus granted {.speech = true, .listen = true};
    permissions.grant(granted);
    f.clock.advanceSeconds(OnboardingModel::pollSeconds);
    EXPECT_TRUE(waitFor([&] { return onboarding.status() == granted; }));
    QList<bool> grantedRows;
    for (const QVariant &row : onboarding.rows())
        grantedRows.append(row.toMap().value(QStringLiteral("isGranted")).toBool());
    EXPECT_EQ(grantedRows, (QList<bool> {false, true, false, true}));

    onboarding.request(3);
    EXPECT_EQ(permissions.requested, std::vector {Permission::inputMonitoring});
    EXPECT_TRUE(permissions.opened.empty());
    f.clock.advanceSeconds(0.8);
    EXPECT_EQ(permissions.opened, std::vector {Permission::inputMonitoring});

    onboarding.complete();
    EXPECT_EQ(f.defaults.boolean(DefaultsKeys::onboardingCompleted), std::optional(true));
    EXPECT_FALSE(f.model->showsOnboarding());
}

TEST(OnboardingView, DrawsWithoutWarningsAndOffersAnObservableKey)
{
    QtWarnings warnings;
    {
        WindowFixture f;
        FakePermissions permissions;
        OnboardingModel onboarding(*f.model, permissions, f.defaults, f.clock);
        f.settings->setHotkeyIndex(int(HotkeyChoice::function));
        OnboardingWindow window(onboarding, *f.settings);
        ASSERT_EQ(window.status(), QQuickView::Ready);
        window.show();
        auto *notice = window.rootObject()->findChild<QQuickItem *>(QStringLiteral("hotkeyNotice"));
        ASSERT_TRUE(notice);
        EXPECT_TRUE(notice->isVisible());
        EXPECT_FALSE(window.grabWindow().isNull());
        f.settings->setHotkeyIndex(SettingsModel::rightAltIndex());
        EXPECT_FALSE(notice->isVisible());
        EXPECT_EQ(f.model->eventTap().hotkey, HotkeyChoice::rightOption);
    }
    EXPECT_EQ(warnings.messages, QStringList());
}

} // namespace
