#include "dictation/AppModel.h"
#include "CoordinatorFakes.h"
#include "WaitFor.h"
#include "core/TaskPools.h"
#include "store/HistoryPersistence.h"

#include <gtest/gtest.h>

#include <future>

using namespace std::chrono_literals;
using Kind = AppModel::StateKind;

namespace {

const QString confirmed = QStringLiteral("入力を確認しました");

struct Fixture : CoordinatorFakes {
    HistoryPersistence historyFile{folder.filePath(QStringLiteral("history.json"))};
    std::unique_ptr<AppModel> model;

    explicit Fixture(const std::function<void(RippletSettings &)> &adjust = {})
    {
        storeSettings(adjust);
        recognizers.script = {{QStringLiteral("um hello world"), true}};
        tree.setFocusedValue(QString());
        // The target application shows what was pasted.
        keystroke.effect = [this] { tree.setFocusedValue(pasteboard.text()); };
        model = std::make_unique<AppModel>(environment(historyFile));
        model->start();
    }

    ~Fixture()
    {
        model.reset();
        // Workers of a failed case may still wait on the clock; the services go once they return.
        waitFor([&] {
            clock.advance(100ms);
            QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
            return TaskPools::shortWork().activeThreadCount() == 0 && TaskPools::longWork().activeThreadCount() == 0;
        });
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }

    Kind kind() const { return model->stateKind(); }
    QString label() const { return model->stateLabel(); }
    void press() { model->handle({HotkeyAction::startRecording}); }
    void release() { model->handle({HotkeyAction::finishRecording}); }
    void cancel() { model->handle({HotkeyAction::cancelRecording}); }
    bool recognizerReady()
    {
        return waitFor([&] { return std::holds_alternative<RecordingPhase::Recording>(model->lifecycle().phase); });
    }
    bool reaches(Kind wanted) { return waitFor([&] { return kind() == wanted; }); }
    // Holds the key until the recogniser is ready, then lets go.
    void dictate()
    {
        press();
        ASSERT_TRUE(recognizerReady());
        release();
    }
    // Runs the clock until the state leaves `kind`, as a waiting worker needs it.
    bool advanceWhile(Kind waiting)
    {
        return waitFor([&] {
            clock.advance(50ms);
            return kind() != waiting;
        });
    }
    QString field()
    {
        std::scoped_lock guard(tree.mutex);
        return tree.focused->value.value_or(QString());
    }
};

// Opens once; installs wait for it, so a test can act while the recogniser is still being prepared.
struct Gate {
    std::promise<void> opened;
    explicit Gate(Fixture &f)
    {
        f.recognizers.whileInstalling = [isOpen = opened.get_future().share()] { isOpen.wait(); };
    }
    void open() { opened.set_value(); }
};

TEST(AppModel, Dictations)
{
    struct Case {
        const char *name;
        std::function<void(RippletSettings &)> settings;
        std::function<void(Fixture &)> run;
        Kind kind;
        QString label;
        QString field;
        int historyItems;
        QStringList sounds;
    };
    const QString raw = QStringLiteral("Hello world");
    const QStringList both{QStringLiteral("Tink"), QStringLiteral("Pop")};
    const auto rewritingFrom = [](qint64 characters) {
        return [characters](RippletSettings &s) {
            s.polishingEnabled = true;
            s.skipPolishingBelowCharacters = characters;
        };
    };
    const auto rewriting = rewritingFrom(0);
    const Case cases[] = {
        {"hold, speak, release", {}, [](Fixture &f) { f.dictate(); }, Kind::success, confirmed, raw, 1, both},
        {"released before the recogniser is ready: finishing waits for it", {},
            [](Fixture &f) {
                Gate gate(f);
                f.press();
                ASSERT_TRUE(f.reaches(Kind::recording));
                f.release();
                EXPECT_EQ(f.kind(), Kind::processing);
                gate.open();
            },
            Kind::success, confirmed, raw, 1, both},
        {"no microphone", {},
            [](Fixture &f) {
                f.engine.format = AudioFormat{0, 0};
                f.press();
            },
            Kind::failure, QStringLiteral("利用できるマイクがありません。"), {}, 0, {}},
        {"a rewrite that runs out of time", rewriting,
            [](Fixture &f) {
                f.dictate();
                ASSERT_TRUE(waitFor([&] { return f.languageModel.asked() == 1; }));
                // The limit is set on the service's own thread; the clock runs until it strikes.
                ASSERT_TRUE(f.advanceWhile(Kind::processing));
            },
            Kind::success, confirmed + QStringLiteral("・清書が時間切れのため生文字を使用"), raw, 1, both},
        // "Hello world" has 11 characters: a threshold of exactly its length still offers it for rewriting.
        {"an accepted rewrite is pasted", rewritingFrom(11),
            [](Fixture &f) {
                f.languageModel.answer = QStringLiteral("Hello, world.");
                f.dictate();
            },
            Kind::success, confirmed, QStringLiteral("Hello, world."), 1, both},
        {"a tap while the rewrite runs cancels the dictation", rewriting,
            [](Fixture &f) {
                f.dictate();
                ASSERT_TRUE(waitFor([&] { return f.languageModel.asked() == 1; }));
                f.cancel();
                EXPECT_EQ(f.kind(), Kind::idle);
                f.languageModel.last()->give(QStringLiteral("Hello, world."));
            },
            Kind::idle, QStringLiteral("待機中"), {}, 0, both},
        {"sleep during a recording cancels it", {},
            [](Fixture &f) {
                f.press();
                ASSERT_TRUE(f.recognizerReady());
                f.sleep.sleepNow();
            },
            Kind::idle, QStringLiteral("待機中"), {}, 0, {QStringLiteral("Tink")}},
        {"an unconfirmed paste", {},
            [](Fixture &f) {
                f.keystroke.effect = nullptr;
                f.dictate();
                ASSERT_TRUE(f.advanceWhile(Kind::processing));
            },
            Kind::success, QStringLiteral("入力を送信しました（成否は未確認）"), {}, 1, both},
        {"no injector reaches the window: its own reason", {},
            [](Fixture &f) {
                f.keystroke.missing = QStringLiteral("/dev/uinput がありません");
                f.dictate();
            },
            Kind::failure, QStringLiteral("/dev/uinput がありません"), {}, 0, both},
        {"history off", [](RippletSettings &s) { s.historyEnabled = false; }, [](Fixture &f) { f.dictate(); },
            Kind::success, confirmed, raw, 0, both},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        Fixture f(c.settings);
        const QList<PasteboardItem> usersClipboard = f.pasteboard.items();
        c.run(f);
        EXPECT_TRUE(waitFor([&] { return f.kind() == c.kind && f.model->liveGenerations().size() <= 1; }))
            << "state " << f.label().toStdString();
        EXPECT_EQ(f.label(), c.label);
        EXPECT_EQ(f.field(), c.field);
        EXPECT_EQ(f.model->history().items.size(), c.historyItems);
        EXPECT_EQ(f.sounds.played, c.sounds);
        // Whatever happened, the user's clipboard is theirs again; only a paste that was never seen
        // leaves the dictated text there.
        if (c.label != QStringLiteral("入力を送信しました（成否は未確認）")) {
            EXPECT_EQ(f.pasteboard.items(), usersClipboard);
        }
        // The success or failure display ends, and every exit frees the recording's state.
        f.clock.advanceSeconds(2.0);
        EXPECT_TRUE(waitFor([&] { return f.kind() == Kind::idle && f.model->liveGenerations().empty(); }));
        EXPECT_FALSE(f.model->lifecycle().isBusy());
    }
}

TEST(AppModel, LateStepsOfAnAbandonedRecordingChangeNothing)
{
    Fixture f;
    Gate gate(f);
    f.press();
    ASSERT_TRUE(f.reaches(Kind::recording));
    f.model->handle({HotkeyAction::cancelRecording, HotkeyAction::startRecording});
    const quint64 second = *RecordingPhase::generationOf(f.model->lifecycle().phase);
    EXPECT_EQ(second, 2u);
    gate.open();
    ASSERT_TRUE(f.recognizerReady());
    f.release();
    ASSERT_TRUE(f.reaches(Kind::success));
    EXPECT_EQ(f.keystroke.sentCount(), 1u);
    EXPECT_EQ(f.model->history().items.size(), 1);
}

TEST(AppModel, ClearDuringTheLaunchLoadWins)
{
    Fixture f;
    const QString file = f.folder.filePath(QStringLiteral("stored.json"));
    RippletHistory stored;
    stored.add(
        HistoryItem{QUuid::createUuid(), 1, QStringLiteral("gedit"), QStringLiteral("a"), QStringLiteral("a")}, 10);
    HistoryPersistence(file).persist(stored).waitForFinished();
    HistoryPersistence slow(file);
    // A fresh model loads the file unless the history changed first.
    AppModel loaded(f.environment(slow));
    EXPECT_TRUE(waitFor([&] { return loaded.history() == stored; }));
    AppModel cleared(f.environment(slow));
    cleared.clearHistory();
    slow.load().waitForFinished();
    QCoreApplication::processEvents();
    EXPECT_TRUE(cleared.history().items.isEmpty());
    EXPECT_EQ(slow.load().result().items.size(), 0);
}

TEST(AppModel, SettingsChanges)
{
    Fixture f;
    RippletSettings changed = f.model->settings();
    // A new language shows `starting` until its model is installed.
    Gate gate(f);
    changed.language = RecognitionLanguage::japanese;
    f.model->setSettings(changed);
    EXPECT_EQ(f.kind(), Kind::starting);
    EXPECT_EQ(RippletSettings::load(f.defaults.bytes(DefaultsKeys::settings)), changed);
    gate.open();
    EXPECT_TRUE(f.reaches(Kind::idle));

    f.loginItem.refuses = true;
    f.model->setLaunchAtLogin(true);
    EXPECT_FALSE(f.model->settings().launchAtLogin);
    f.loginItem.refuses = false;
    f.model->setLaunchAtLogin(true);
    EXPECT_TRUE(f.model->settings().launchAtLogin);
    EXPECT_TRUE(f.loginItem.enabled);
}

} // namespace
