#pragma once

#include "core/Clock.h"
#include "core/ThreadBudget.h"
#include "dictation/FlowState.h"
#include "dictation/HotkeyAction.h"
#include "dictation/RecordingLifecycle.h"
#include "input/EventTapController.h"
#include "input/InputTarget.h"
#include "input/PasteService.h"
#include "speech/SpeechService.h"
#include "store/RippletHistory.h"
#include "store/RippletSettings.h"
#include "text/PolishingService.h"

#include <QObject>
#include <QPointer>
#include <qcoro/qcorotask.h>

#include <atomic>
#include <map>
#include <memory>
#include <optional>
#include <vector>

class AccessibilityAccess;
class AccessibilityTree;
class DefaultsStore;
class HistoryPersistence;
class JapaneseTokenizer;
class Keystroke;
class LanguageModel;
class Log;
class LoginItem;
class Pasteboard;
class SleepMonitor;
class SoundPlayer;

// The dictation coordinator: turns the dictation key's gestures into recordings, drives each one
// from the key press to the pasted text, and owns what the user sees (the state, the running
// transcript, the level), the settings and the history. Main thread only: every wait is a
// coroutine that co_awaits work on the task pools or the services' executors and, when it
// resumes, checks that the coordinator, the recording and the phase are still the ones it started
// with; stale work ends silently. Nothing here throws; failures end as the `failure` state.
class AppModel : public QObject
{
    Q_OBJECT
    Q_PROPERTY(StateKind stateKind READ stateKind NOTIFY stateChanged)
    Q_PROPERTY(QString stateLabel READ stateLabel NOTIFY stateChanged)
    Q_PROPERTY(QString partialText READ partialText NOTIFY partialTextChanged)
    Q_PROPERTY(double level READ level NOTIFY levelChanged)
    Q_PROPERTY(bool showsOnboarding READ showsOnboarding WRITE setShowsOnboarding NOTIFY showsOnboardingChanged)

public:
    enum class StateKind { success, failure, idle, starting, recording, locked, processing };
    Q_ENUM(StateKind)

    // The services the coordinator talks to; all outlive it.
    struct Environment {
        DefaultsStore &defaults;
        Clock &clock;
        KeyEventSource &keys;
        LanguageModel &languageModel;
        AudioEngine &audio;
        AudioConverterFactory &converters;
        SpeechRecognizerFactory &recognizers;
        SpeechModels &speechModels;
        const AccessibilityTree &accessibility;
        AccessibilityAccess &access;
        Pasteboard &pasteboard;
        Keystroke &keystroke;
        const JapaneseTokenizer &tokenizer;
        HistoryPersistence &historyFile;
        Log &log;
        SoundPlayer &sounds;
        SleepMonitor &sleep;
        LoginItem &loginItem;
    };

    static constexpr double successDisplaySeconds = 1.2;
    static constexpr double failureDisplaySeconds = 2.0;
    static constexpr qint64 contextCharacterLimit = 800;

    explicit AppModel(const Environment &environment, QObject *parent = nullptr);
    ~AppModel() override;

    // Observes the dictation key, warms the engines up, asks for access, follows system sleep.
    void start();

    const FlowState::Value &state() const { return currentState; }
    StateKind stateKind() const { return StateKind(currentState.index()); }
    QString stateLabel() const { return FlowState::label(currentState); }
    const QString &partialText() const { return currentPartialText; }
    double level() const { return currentLevel; }
    bool showsOnboarding() const { return isOnboardingShown; }
    void setShowsOnboarding(bool shows);

    const RippletSettings &settings() const { return currentSettings; }
    // Saves the settings and reacts to what changed (language, history switch).
    void setSettings(const RippletSettings &settings);
    const RippletHistory &history() const { return currentHistory; }
    quint64 historyRevision() const { return revision; }
    void clearHistory();
    // Pastes an earlier dictation into the focused field; silent whatever happens.
    void pasteHistory(const HistoryItem &item);

    // The key gesture's actions, in order (the event tap hands them over).
    void handle(const std::vector<HotkeyAction> &actions);
    // Returns the key handling and any recording to rest (system sleep, another dictation key).
    void resetAfterSystemInterruption();
    // After the user chose another dictation key.
    void applyHotkey();
    void setLaunchAtLogin(bool enabled);

    EventTapController &eventTap() { return tap; }
    const RecordingLifecycle &lifecycle() const { return recordingLifecycle; }
    // The generations whose per-recording state is still held (tests check that every exit frees it).
    std::vector<quint64> liveGenerations() const;

Q_SIGNALS:
    void stateChanged();
    void partialTextChanged();
    void levelChanged();
    void showsOnboardingChanged();
    void settingsChanged();
    void historyChanged();

private:
    // Everything one recording holds while it is in flight.
    struct Recording {
        QPointer<SpeechService> service;
        std::optional<CaptureResult> target;
        // Set by a cancel: the start sequence and the paste look at it after every wait.
        std::shared_ptr<std::atomic<bool>> cancelled;
        RecognitionLanguage language;
    };

    void setState(FlowState::Value state);
    void setPartialText(const QString &text);
    void setLevel(double level);

    void requestStart(bool locked);
    void requestFinish();
    void requestCancel();
    QCoro::Task<> beginRecording(quint64 generation, QPointer<SpeechService> service,
        std::shared_ptr<std::atomic<bool>> cancelled);
    QCoro::Task<> startSequence(quint64 generation, QPointer<SpeechService> service,
        std::shared_ptr<std::atomic<bool>> cancelled,
        QFuture<std::pair<std::optional<CaptureResult>, Clock::Duration>> capture);
    QCoro::Task<> finalize(quint64 generation, QPointer<SpeechService> service);
    QCoro::Task<> pasteHistoryItem(HistoryItem item);
    QCoro::Task<> installLanguage(RecognitionLanguage language, bool wasIdle);

    void fail(quint64 generation, const QString &message);
    void showFailure(const QString &message);
    void playSound(const QString &name);
    std::optional<QString> polishingPrompt(const CaptureResult &capture, RecognitionLanguage language) const;
    RecognitionLanguage recordingLanguage(quint64 generation) const;
    bool isFinalizing(quint64 generation) const;
    // Removes the recording's state; its service is cancelled, then released, and its prepared
    // model session discarded.
    void dropRecording(quint64 generation, bool cancelsService);
    void recordDictation(const QString &applicationName, const QString &raw, const QString &finalText);
    void persistHistory();
    void persistSettings();
    void loadHistory();
    PasteService::Environment pasteEnvironment() const;
    // What the user reads when a paste fails; the injector itself names what it lacks.
    QString pasteFailureText(PasteError error) const;
    qint64 milliseconds(Clock::Duration duration) const;

    Environment environment;
    RippletSettings currentSettings;
    RippletHistory currentHistory;
    FlowState::Value currentState = FlowState::Idle{};
    // Held from the start of a recording until it is released or locked recording ends, so that
    // the language model's reading leaves recognition its threads meanwhile.
    std::optional<ThreadBudget::Recording> recordingInBudget;
    QString currentPartialText;
    double currentLevel = 0;
    bool isOnboardingShown = false;
    PolishingService polishing;
    EventTapController tap;
    RecordingLifecycle recordingLifecycle;
    std::map<quint64, Recording> recordings;
    quint64 revision = 0;
};
