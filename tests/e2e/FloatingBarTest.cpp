#include "core/SystemClock.h"
#include "ui/FloatingBarModel.h"
#include "ui/FloatingPanelController.h"
#include "ui/FloatingPanelWindow.h"

#include <QFile>
#include <QGuiApplication>
#include <QImage>
#include <QJsonDocument>
#include <QJsonObject>
#include <QPixmap>
#include <QProcess>
#include <QScreen>

#include "WaitFor.h"

#include <gtest/gtest.h>

// Runs inside tests/e2e/with-desktop: the GTK target window is active with its text entry focused.
// With SORAWEN_SCREENSHOTS set to a folder, a picture of the whole screen is kept there for each
// state of the bar.
namespace {

using namespace Qt::Literals::StringLiterals;

QString run(const QString &program, const QStringList &arguments)
{
    QProcess process;
    process.start(program, arguments);
    process.waitForFinished(10000);
    return QString::fromUtf8(process.readAllStandardOutput()).trimmed();
}

QString focusedEntry()
{
    QFile file(qEnvironmentVariable("SORAWEN_TARGET_STATE"));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QJsonDocument::fromJson(file.readAll()).object().value("focused"_L1).toString();
}

void screenshot(const QString &name)
{
    const QString folder = qEnvironmentVariable("SORAWEN_SCREENSHOTS");
    if (!folder.isEmpty())
        run(u"import"_s, {u"-window"_s, u"root"_s, folder + u"/bar-"_s + name + u".png"_s});
}

struct Bar {
    SystemClock clock;
    FloatingBarModel model {clock};
    FloatingPanelWindow window {model};
    FloatingPanelController controller {window, clock};

    void show(const FlowState::Value &state, const QString &partialText = {})
    {
        model.setPartialText(partialText);
        model.setLevel(0.6);
        model.setState(state);
        controller.show(state);
        // The fade in, and a few ticks of the level bars.
        waitFor([] { return false; }, 400);
    }
};

TEST(FloatingBar, ShowsEveryStateWithoutTakingTheFocusAndLetsClicksThrough)
{
    ASSERT_TRUE(waitFor([] { return focusedEntry() == "plain"_L1; }));
    Bar bar;
    const struct {
        const char *name;
        FlowState::Value state;
        QString partialText;
    } states[] = {
        {"starting", FlowState::Starting {}, {}},
        {"recording", FlowState::Recording {}, {}},
        {"recording-text", FlowState::Recording {}, u"今日の会議は午後三時から第二会議室で行います。資料は前日までに共有してください"_s},
        {"locked", FlowState::Locked {}, {}},
        {"processing", FlowState::Processing {}, {}},
        {"success", FlowState::Success {u"入力しました"_s}, {}},
        {"failure", FlowState::Failure {u"入力先のフィールドが見つかりません"_s}, {}},
    };
    for (const auto &each : states) {
        SCOPED_TRACE(each.name);
        bar.show(each.state, each.partialText);
        EXPECT_TRUE(bar.window.isVisible());
        EXPECT_EQ(focusedEntry(), "plain"_L1);
        screenshot(QString::fromLatin1(each.name));
    }

    bar.show(FlowState::Recording {}, u"どのデスクトップにも"_s);
    // The capsule is drawn where the controller placed the window, and stays there on every desktop.
    const QRectF capsule = bar.model.capsuleRect().translated(bar.window.position());
    const QPoint middle = capsule.center().toPoint();
    for (const char *desktop : {"0", "1", "0"}) {
        SCOPED_TRACE(desktop);
        run(u"xdotool"_s, {u"set_desktop"_s, QString::fromLatin1(desktop)});
        waitFor([] { return false; }, 300);
        const QColor drawn =
            QGuiApplication::primaryScreen()->grabWindow(0, middle.x(), middle.y(), 1, 1).toImage().pixelColor(0, 0);
        EXPECT_NEAR(drawn.red(), 46, 12);
        EXPECT_NEAR(drawn.green(), 42, 12);
    }
    ASSERT_TRUE(waitFor([] { return focusedEntry() == "plain"_L1; }));

    // A click on the capsule lands on the other window, below the bar.
    const QString other = run(u"xdotool"_s, {u"search"_s, u"--name"_s, u"^Sorawen other$"_s});
    ASSERT_FALSE(other.isEmpty());
    const QPoint entryOffset(60, 45);
    run(u"xdotool"_s, {u"windowmove"_s, u"--sync"_s, other, QString::number(middle.x() - entryOffset.x()),
                          QString::number(middle.y() - entryOffset.y())});
    waitFor([] { return false; }, 300);
    ASSERT_EQ(focusedEntry(), "plain"_L1);
    run(u"xdotool"_s, {u"mousemove"_s, u"--sync"_s, QString::number(middle.x()), QString::number(middle.y())});
    screenshot(u"click"_s);
    run(u"xdotool"_s, {u"click"_s, u"1"_s});
    EXPECT_TRUE(waitFor([] { return focusedEntry() == "other"_L1; }, 3000)) << focusedEntry().toStdString();
    EXPECT_TRUE(bar.window.isVisible());
}

} // namespace

int main(int argc, char **argv)
{
    QGuiApplication application(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
