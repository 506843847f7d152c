#include "platform/linux/XdgAutostartLoginItem.h"
#include "TestFiles.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <functional>

using namespace Qt::Literals::StringLiterals;

namespace {

// The tests run as root on the build machines, where permissions stop nothing; a file standing where
// a folder must go, and a folder where the file must go, fail for every user.
TEST(XdgAutostartLoginItem, EnablesAndDisables)
{
    struct Case {
        const char *name;
        std::function<void(const QString &root)> prepare;
        QString autostartFolder; // under the temporary root
        bool enable;
        bool succeeds;
        bool isEnabledAfter;
    };
    const auto entryFile = [](const QString &root) { return root + u"/autostart/sorawen.desktop"_s; };
    const Case cases[] = {
        {"enable makes the missing folders", nullptr, u"/config/autostart"_s, true, true, true},
        {"enable replaces a hidden entry",
            [&](const QString &root) {
                QDir(root).mkpath(u"autostart"_s);
                writeFile(entryFile(root), "[Desktop Entry]\nType=Application\nExec=old\nHidden=true\n");
            },
            u"/autostart"_s, true, true, true},
        {"disable removes the entry",
            [&](const QString &root) {
                QDir(root).mkpath(u"autostart"_s);
                writeFile(entryFile(root), "[Desktop Entry]\nType=Application\nExec=sorawen\n");
            },
            u"/autostart"_s, false, true, false},
        {"disable without an entry", nullptr, u"/autostart"_s, false, true, false},
        {"folder cannot be made", [](const QString &root) { writeFile(root + u"/config"_s, "a file"); },
            u"/config/autostart"_s, true, false, false},
        {"entry cannot be written",
            [&](const QString &root) { QDir(root).mkpath(u"autostart/sorawen.desktop/inside"_s); }, u"/autostart"_s,
            true, false, false},
        {"entry cannot be removed",
            [&](const QString &root) { QDir(root).mkpath(u"autostart/sorawen.desktop/inside"_s); }, u"/autostart"_s,
            false, false, false},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        QTemporaryDir root;
        ASSERT_TRUE(root.isValid());
        if (c.prepare)
            c.prepare(root.path());
        XdgAutostartLoginItem item(root.path() + c.autostartFolder, u"/usr/bin/sorawen"_s);
        const std::expected<void, QString> result = item.setEnabled(c.enable);
        EXPECT_EQ(result.has_value(), c.succeeds);
        if (!result) {
            EXPECT_FALSE(result.error().isEmpty());
        }
        EXPECT_EQ(item.isEnabled(), c.isEnabledAfter);
        if (c.enable && c.succeeds) {
            const QByteArray contents = contentsOf(item.fileName());
            EXPECT_TRUE(contents.startsWith("[Desktop Entry]\n"));
            EXPECT_TRUE(contents.contains("\nExec=/usr/bin/sorawen\n"));
            EXPECT_TRUE(contents.contains("\nType=Application\n"));
            EXPECT_FALSE(contents.contains("Hidden"));
        }
        if (!c.enable && c.succeeds) {
            EXPECT_FALSE(QFile::exists(item.fileName()));
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
