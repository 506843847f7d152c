#include "ui/OnboardingModel.h"

#include "FakePermissions.h"
#include "QtWarnings.h"
#include "WindowFixture.h"
#include "ui/OnboardingWindow.h"

#include <QQuickItem>

#include <gtest/gtest.h>

namespace {

QList<bool> grantedRows(const OnboardingModel &model)
{
    QList<bool> granted;
    for (const QVariant &row : model.rows())
        granted.append(row.toMap().value(QStringLiteral("isGranted")).toBool());
    return granted;
}

TEST(OnboardingModel, RowsFollowTheGrantsWithinASecondWhileActive)
{
    WindowFixture f;
    FakePermissions permissions;
    OnboardingModel onboarding(*f.model, permissions, f.defaults, f.clock);
    onboarding.setActive(true);

    struct Case {
        const char *name;
        PermissionStatus status;
        QList<bool> rows;
    };
    const Case cases[] = {
        {"nothing", {}, {false, false, false, false}},
        {"speech and keys", {.speech = true, .listen = true}, {false, true, false, true}},
        {"everything", {true, true, true, true}, {true, true, true, true}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        permissions.grant(c.status);
        f.clock.advanceSeconds(OnboardingModel::pollSeconds);
        EXPECT_TRUE(waitFor([&] { return onboarding.status() == c.status; }));
        EXPECT_EQ(grantedRows(onboarding), c.rows);
        for (const QVariant &row : onboarding.rows())
            EXPECT_EQ(row.toMap().value(QStringLiteral("help")).toString().isEmpty(), row.toMap().value(QStringLiteral("isGranted")).toBool());
    }

    // A hidden window stops asking.
    onboarding.setActive(false);
    permissions.grant({});
    f.clock.advanceSeconds(3 * OnboardingModel::pollSeconds);
    QCoreApplication::processEvents();
    EXPECT_FALSE(waitFor([&] { return !onboarding.status().mic; }, 300));
}

TEST(OnboardingModel, ARequestOpensItsPageAMomentLaterAndDoneEndsTheFirstRun)
{
    WindowFixture f;
    f.defaults.setBoolean(DefaultsKeys::onboardingCompleted, false);
    f.model->setShowsOnboarding(true);
    FakePermissions permissions;
    OnboardingModel onboarding(*f.model, permissions, f.defaults, f.clock);

    onboarding.request(3);
    EXPECT_EQ(permissions.requested, std::vector {Permission::inputMonitoring});
    f.clock.advanceSeconds(0.7);
    EXPECT_TRUE(permissions.opened.empty());
    f.clock.advanceSeconds(0.1);
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
