#include "platform/linux/DesktopIdentity.h"

#include <gtest/gtest.h>

using namespace Qt::Literals::StringLiterals;

namespace {

TEST(DesktopIdentity, DesktopIdFromTheSystemdUnit)
{
    struct Case {
        QString cgroup;
        std::optional<QString> id;
    };
    const Case cases[] = {
        {u"0::/user.slice/user-1000.slice/user@1000.service/app.slice/app-gnome-org.gnome.TextEditor-4242.scope\n"_s,
            u"org.gnome.TextEditor"_s},
        {u"0::/user.slice/user-1000.slice/user@1000.service/app.slice/app-org.kde.kate-12ab34.scope"_s,
            u"org.kde.kate"_s},
        {u"0::/user.slice/user@1000.service/app.slice/app-org.gnome.Terminal.service"_s, u"org.gnome.Terminal"_s},
        {u"0::/user.slice/user-1000.slice/session-2.scope"_s, std::nullopt},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.cgroup.toStdString());
        EXPECT_EQ(DesktopIdentity::desktopIdFromCgroup(c.cgroup), c.id);
    }
}

} // namespace
