#include "platform/linux/XdgAutostartLoginItem.h"
#include "TestFiles.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace Qt::Literals::StringLiterals;

namespace {

// The tests run as root on the build machines, where permissions stop nothing; a folder standing
// where the file must go fails for every user.
TEST(XdgAutostartLoginItem, EnablesAndDisables)
{
    struct Case {
        const char *name;
        // Made under the temporary root before the switch: a file with `contents`, or without
        // contents a folder.
        const char *existing;
        QByteArray contents;
        const char *autostartFolder;
        bool enable;
        bool succeeds;
        QString executable = u"/usr/bin/sorawen"_s;
        // The Exec line names the executable as one argument.
        QByteArray execLine = "Exec=/usr/bin/sorawen";
    };
    const Case cases[] = {
        {"enable makes the missing folders", nullptr, {}, "/config/autostart", true, true},
        {"enable replaces a hidden entry", "autostart/sorawen.desktop",
            "[Desktop Entry]\nType=Application\nExec=old\nHidden=true\n", "/autostart", true, true},
        {"disable removes the entry", "autostart/sorawen.desktop", "[Desktop Entry]\nType=Application\nExec=sorawen\n",
            "/autostart", false, true},
        {"entry cannot be written", "autostart/sorawen.desktop/inside", {}, "/autostart", true, false},
        // Inside quotes $ and " take a backslash, which the string layer doubles; % is doubled.
        {"reserved characters in the path", nullptr, {}, "/autostart", true, true, u"/home/a$b/100%/so\"r"_s,
            "Exec=\"/home/a\\\\$b/100%%/so\\\\\"r\""},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        QTemporaryDir root;
        if (c.existing) {
            const QString existing = root.filePath(QLatin1StringView(c.existing));
            ASSERT_TRUE(c.contents.isEmpty() ? QDir().mkpath(existing) : writeFile(existing, c.contents));
        }
        XdgAutostartLoginItem item(root.path() + QLatin1StringView(c.autostartFolder), c.executable);
        const std::expected<void, QString> result = item.setEnabled(c.enable);
        EXPECT_EQ(result.has_value(), c.succeeds);
        EXPECT_EQ(item.isEnabled(), c.enable && c.succeeds);
        if (!c.enable && c.succeeds) {
            EXPECT_FALSE(QFile::exists(item.fileName()));
        }
        if (c.enable && c.succeeds) {
            const QByteArray contents = contentsOf(item.fileName());
            EXPECT_TRUE(contents.startsWith("[Desktop Entry]\n"));
            const QList<QByteArray> lines = contents.split('\n');
            EXPECT_TRUE(lines.contains(c.execLine) && lines.contains("Type=Application")) << contents.toStdString();
            EXPECT_FALSE(contents.contains("Hidden"));
        }
    }
}

TEST(XdgAutostartLoginItem, ReadsTheSwitchesDesktopsUse)
{
    const std::pair<QByteArray, bool> cases[] = {
        {"[Desktop Entry]\nExec=sorawen\nHidden=true\n", false},
        {"[Desktop Entry]\nX-GNOME-Autostart-enabled=false\n", false},
        // Hidden in a group other than the entry's own leaves the entry on.
        {"[Desktop Entry]\nExec=sorawen\n[Desktop Action x]\nHidden=true\n", true},
    };
    for (const auto &[contents, isEnabled] : cases) {
        SCOPED_TRACE(contents.toStdString());
        QTemporaryDir root;
        XdgAutostartLoginItem item(root.path(), u"/usr/bin/sorawen"_s);
        ASSERT_TRUE(writeFile(item.fileName(), contents));
        EXPECT_EQ(item.isEnabled(), isEnabled);
    }
}

} // namespace
