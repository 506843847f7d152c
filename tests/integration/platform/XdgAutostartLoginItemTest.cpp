#include "platform/linux/XdgAutostartLoginItem.h"
#include "TestFiles.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace Qt::Literals::StringLiterals;

namespace {

// The tests run as root on the build machines, where permissions stop nothing; a file standing where
// a folder must go, and a folder where the file must go, fail for every user.
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
    };
    const Case cases[] = {
        {"enable makes the missing folders", nullptr, {}, "/config/autostart", true, true},
        {"enable replaces a hidden entry", "autostart/sorawen.desktop",
            "[Desktop Entry]\nType=Application\nExec=old\nHidden=true\n", "/autostart", true, true},
        {"disable removes the entry", "autostart/sorawen.desktop", "[Desktop Entry]\nType=Application\nExec=sorawen\n",
            "/autostart", false, true},
        {"disable without an entry", nullptr, {}, "/autostart", false, true},
        {"folder cannot be made", "config", "a file", "/config/autostart", true, false},
        {"entry cannot be written", "autostart/sorawen.desktop/inside", {}, "/autostart", true, false},
        {"entry cannot be removed", "autostart/sorawen.desktop/inside", {}, "/autostart", false, false},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        QTemporaryDir root;
        if (c.existing) {
            const QString existing = root.filePath(QLatin1StringView(c.existing));
            ASSERT_TRUE(c.contents.isEmpty() ? QDir().mkpath(existing) : writeFile(existing, c.contents));
        }
        XdgAutostartLoginItem item(root.path() + QLatin1StringView(c.autostartFolder), u"/usr/bin/sorawen"_s);
        const std::expected<void, QString> result = item.setEnabled(c.enable);
        EXPECT_EQ(result.has_value(), c.succeeds);
        EXPECT_TRUE(result || !result.error().isEmpty());
        EXPECT_EQ(item.isEnabled(), c.enable && c.succeeds);
        if (!c.enable && c.succeeds) {
            EXPECT_FALSE(QFile::exists(item.fileName()));
        }
        if (c.enable && c.succeeds) {
            const QByteArray contents = contentsOf(item.fileName());
            EXPECT_TRUE(contents.startsWith("[Desktop Entry]\n"));
            EXPECT_TRUE(contents.contains("\nExec=/usr/bin/sorawen\n") && contents.contains("\nType=Application\n"));
            EXPECT_FALSE(contents.contains("Hidden"));
        }
    }
}

TEST(XdgAutostartLoginItem, ExecNamesTheExecutableAsOneArgument)
{
    struct Case {
        QString executable;
        QByteArray execLine;
    };
    const Case cases[] = {
        {u"/usr/bin/sorawen"_s, "Exec=/usr/bin/sorawen"},
        {u"/opt/My Apps/sorawen"_s, "Exec=\"/opt/My Apps/sorawen\""},
        // Inside quotes $ and " take a backslash, which the string layer doubles; % is doubled.
        {u"/home/a$b/100%/so\"r"_s, "Exec=\"/home/a\\\\$b/100%%/so\\\\\"r\""},
        // Only ASCII characters are reserved; other letters need no quotes.
        {u"/home/ユーザー/sorawen"_s, "Exec=/home/ユーザー/sorawen"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.executable.toStdString());
        QTemporaryDir root;
        XdgAutostartLoginItem item(root.path(), c.executable);
        ASSERT_TRUE(item.setEnabled(true).has_value());
        const QList<QByteArray> lines = contentsOf(item.fileName()).split('\n');
        EXPECT_TRUE(lines.contains(c.execLine)) << contentsOf(item.fileName()).toStdString();
    }
}

TEST(XdgAutostartLoginItem, ReadsTheSwitchesDesktopsUse)
{
    struct Case {
        const char *name;
        QByteArray contents;
        bool isEnabled;
    };
    const Case cases[] = {
        {"plain entry", "[Desktop Entry]\nExec=sorawen\n", true},
        {"hidden", "[Desktop Entry]\nExec=sorawen\nHidden=true\n", false},
        {"hidden with spaces", "[Desktop Entry]\nHidden = true\n", false},
        {"not hidden", "[Desktop Entry]\nHidden=false\n", true},
        {"switched off in GNOME", "[Desktop Entry]\nX-GNOME-Autostart-enabled=false\n", false},
        {"hidden in another group only", "[Desktop Entry]\nExec=sorawen\n[Desktop Action x]\nHidden=true\n", true},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        QTemporaryDir root;
        XdgAutostartLoginItem item(root.path(), u"/usr/bin/sorawen"_s);
        writeFile(item.fileName(), c.contents);
        EXPECT_EQ(item.isEnabled(), c.isEnabled);
    }
}

} // namespace
