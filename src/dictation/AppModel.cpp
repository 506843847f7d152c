#include "dictation/AppModel.h"

#include "core/TaskPools.h"
#include "core/Unicode.h"
#include "input/AccessibilityServices.h"
#include "input/PasteService.h"
#include "platform/AccessibilityAccess.h"
#include "platform/DefaultsStore.h"
#include "platform/Keystroke.h"
#include "platform/LanguageModel.h"
#include "platform/Log.h"
#include "platform/LoginItem.h"
#include "platform/SleepMonitor.h"
#include "platform/SoundPlayer.h"
#include "store/HistoryPersistence.h"
#include "store/HistoryPolicy.h"
#include "text/PolishedTextValidator.h"
#include "text/PromptBuilder.h"
#include "text/TextPostProcessor.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QUuid>
#include <qcoro/qcorofuture.h>

// GCC 12 destroys the temporaries of a full expression that contains co_await twice (a lambda's
// captures, a QFuture), so every awaited future or task here is a named local first.

namespace {

const QString tink = QStringLiteral("Tink");
const QString pop = QStringLiteral("Pop");
const QString timing = QStringLiteral("timing");

QString localeIdentifier(RecognitionLanguage language)
{
    return language == RecognitionLanguage::english ? QStringLiteral("en_US") : QStringLiteral("ja_JP");
}

// Every user word as recognised and as written, in order, without empty ones.
QStringList contextualStrings(const RippletSettings &settings)
{
    QStringList strings;
    for (const DictionaryEntry &entry : settings.dictionary) {
        for (const QString &text : {entry.spoken, entry.replacement}) {
            if (!text.isEmpty())
                strings.append(text);
        }
    }
    return strings;
}

} // namespace

AppModel::AppModel(const Environment &given, QObject *parent)
    : QObject(parent)
    , environment(given)
    , polishing(given.languageModel, given.clock)
    , tap(given.keys)
{
    // Unreadable stored settings fall back to the defaults without a message.
    currentSettings = RippletSettings::load(environment.defaults.bytes(DefaultsKeys::settings));
    tap.onActions = [self = QPointer<AppModel>(this)](const std::vector<HotkeyAction> &actions) {
        if (self)
            self->handle(actions);
    };
    isOnboardingShown = !environment.defaults.boolean(DefaultsKeys::onboardingCompleted).value_or(false);
    loadHistory();
}

AppModel::~AppModel()
{
    tap.stop();
    for (auto &[generation, recording] : recordings) {
        recording.cancelled->store(true);
        if (recording.service) {
            recording.service->cancel();
            recording.service->release();
        }
    }
}

void AppModel::start()
{
    tap.hotkey = currentSettings.hotkey;
    tap.start();
    if (!tap.isRunning()) {
        environment.log.error(QStringLiteral("keys"), environment.keys.errorMessage());
    } else {
        environment.log.info(QStringLiteral("keys"), QStringLiteral("listening for the dictation key"));
        // fn, the default, is a key most Linux keyboards never report.
        if (!tap.canObserveHotkey())
            environment.log.error(QStringLiteral("keys"),
                QStringLiteral("no keyboard here reports the dictation key %1: choose another one in the settings")
                    .arg(currentSettings.hotkey.rawValue()));
    }
    polishing.prewarm(currentSettings.language);
    environment.recognizers.prewarm(localeIdentifier(currentSettings.language));
    // Asking for the input's format connects the audio engine to its server ahead of the first
    // recording; other applications' text can only be read with the accessibility bus on; and the
    // first read of another application's tree is slow (its connection is made then), so one is
    // made now rather than at the first press, where a read cut short would look like a change of
    // target at the paste.
    TaskPools::run(TaskPools::shortWork(),
        [&audio = environment.audio, &access = environment.access, &tree = environment.accessibility] {
            audio.inputFormat();
            if (!access.isEnabled())
                access.requestEnable();
            AccessibilityServices::captureContext(tree, false);
        });
    environment.sleep.setHandler([self = QPointer<AppModel>(this)] {
        if (self)
            self->resetAfterSystemInterruption();
    });
}

std::vector<quint64> AppModel::liveGenerations() const
{
    std::vector<quint64> generations;
    for (const auto &entry : recordings)
        generations.push_back(entry.first);
    return generations;
}

void AppModel::setState(FlowState::Value state)
{
    if (state == currentState)
        return;
    currentState = std::move(state);
    const bool records = std::holds_alternative<FlowState::Starting>(currentState)
        || std::holds_alternative<FlowState::Recording>(currentState)
        || std::holds_alternative<FlowState::Locked>(currentState);
    if (records && !recordingInBudget)
        recordingInBudget.emplace();
    else if (!records)
        recordingInBudget.reset();
    Q_EMIT stateChanged();
}

void AppModel::setPartialText(const QString &text)
{
    if (text == currentPartialText)
        return;
    currentPartialText = text;
    Q_EMIT partialTextChanged();
}

void AppModel::setLevel(double level)
{
    if (level == currentLevel)
        return;
    currentLevel = level;
    Q_EMIT levelChanged();
}

void AppModel::setShowsOnboarding(bool shows)
{
    if (shows == isOnboardingShown)
        return;
    isOnboardingShown = shows;
    Q_EMIT showsOnboardingChanged();
}

void AppModel::handle(const std::vector<HotkeyAction> &actions)
{
    for (const HotkeyAction action : actions) {
        qCDebug(keyTrace, "action %s", toString(action));
        switch (action) {
        case HotkeyAction::startRecording: requestStart(false); break;
        case HotkeyAction::startLockedRecording: requestStart(true); break;
        case HotkeyAction::cancelRecording: requestCancel(); break;
        case HotkeyAction::finishRecording:
        case HotkeyAction::finishLockedRecording: requestFinish(); break;
        }
    }
}

void AppModel::requestStart(bool locked)
{
    const std::optional<RecordingCommand::Value> command = recordingLifecycle.requestStart(locked);
    if (!command)
        return;
    const quint64 generation = std::get<RecordingCommand::Start>(*command).generation;
    setState(FlowState::Starting{});
    setPartialText({});
    setLevel(0);

    // Not a child: a service is deleted by its own release(), once its jobs have returned.
    auto *service = new SpeechService(SpeechService::Environment{environment.audio, environment.converters,
        environment.recognizers, environment.speechModels, environment.clock});
    QPointer<AppModel> self(this);
    service->onPartialText = [self](const QString &text) {
        if (self)
            self->setPartialText(text);
    };
    service->onLevel = [self](double level) {
        if (self)
            self->setLevel(level);
    };
    service->onInterruption = [self, generation] {
        if (!self || !self->recordings.contains(generation))
            return;
        self->environment.log.error(QStringLiteral("audio"), QStringLiteral("microphone lost for good"));
        self->requestCancel();
        self->showFailure(tr("マイクが切り替わったため録音を取り消しました。もう一度お試しください。"));
    };
    auto cancelled = std::make_shared<std::atomic<bool>>(false);
    recordings.insert_or_assign(generation, Recording{service, std::nullopt, cancelled, currentSettings.language});
    beginRecording(generation, service, cancelled);
}

void AppModel::requestFinish()
{
    const RecordingPhase::Value before = recordingLifecycle.phase;
    const std::optional<RecordingCommand::Value> command = recordingLifecycle.requestFinish();
    if (!command)
        return;
    const quint64 generation = std::get<RecordingCommand::Finish>(*command).generation;
    setState(FlowState::Processing{});
    // A finish while starting is picked up by the start sequence once the recogniser is ready.
    if (!std::holds_alternative<RecordingPhase::Recording>(before))
        return;
    const auto recording = recordings.find(generation);
    if (recording != recordings.end() && recording->second.service)
        finalize(generation, recording->second.service);
}

void AppModel::requestCancel()
{
    const std::optional<RecordingCommand::Value> command = recordingLifecycle.requestCancel();
    if (!command)
        return;
    dropRecording(std::get<RecordingCommand::Cancel>(*command).generation, true);
    setPartialText({});
    setLevel(0);
    setState(FlowState::Idle{});
}

void AppModel::dropRecording(quint64 generation, bool cancelsService)
{
    const auto found = recordings.find(generation);
    QPointer<SpeechService> service;
    if (found != recordings.end()) {
        found->second.cancelled->store(true);
        service = found->second.service;
        recordings.erase(found);
    }
    auto discard = [](PolishingService &polishing, QPointer<SpeechService> service, quint64 generation,
                       bool cancelsService) -> QCoro::Task<> {
        if (service && cancelsService) {
            QFuture<void> cancelled = service->cancel();
            service->release();
            co_await cancelled;
        } else if (service) {
            service->release();
        }
        polishing.discardPrepared(generation);
    };
    discard(polishing, service, generation, cancelsService);
}

QCoro::Task<> AppModel::beginRecording(
    quint64 generation, QPointer<SpeechService> service, std::shared_ptr<std::atomic<bool>> cancelled)
{
    // The target is read while the microphone starts; the capture reports when it returned.
    auto capture = TaskPools::run(TaskPools::shortWork(),
        [&tree = environment.accessibility, &clock = environment.clock,
            includeText = currentSettings.deepContextEnabled] {
            std::optional<CaptureResult> result = AccessibilityServices::captureContext(tree, includeText);
            return std::pair{result, clock.now()};
        });
    const QCoro::Task<> starting = startSequence(generation, service, cancelled, capture);
    co_await starting;
    // Whatever path the start took, it ends only once the capture has returned.
    co_await capture;
}

QCoro::Task<> AppModel::startSequence(quint64 generation, QPointer<SpeechService> service,
    std::shared_ptr<std::atomic<bool>> cancelled,
    QFuture<std::pair<std::optional<CaptureResult>, Clock::Duration>> capture)
{
    QPointer<AppModel> self(this);
    // After every wait: the coordinator, and this start, are still wanted.
    auto isStale = [&] { return !self || cancelled->load() || !service; };
    Clock &clock = environment.clock;
    const Clock::Duration startedAt = clock.now();

    const QFuture<std::expected<void, SpeechServiceError>> starting = service->startCapture();
    const std::expected<void, SpeechServiceError> microphone = co_await starting;
    if (isStale())
        co_return;
    const Clock::Duration microphoneAt = clock.now();
    if (!microphone) {
        fail(generation, microphone.error().description());
        co_return;
    }
    if (const auto *starting = std::get_if<RecordingPhase::Starting>(&recordingLifecycle.phase);
        starting != nullptr && starting->generation == generation
        && std::holds_alternative<FlowState::Starting>(currentState)) {
        setState(starting->locked ? FlowState::Value(FlowState::Locked{}) : FlowState::Recording{});
        playSound(tink);
    }

    const std::pair<std::optional<CaptureResult>, Clock::Duration> captureResult = co_await capture;
    const std::optional<CaptureResult> &captured = captureResult.first;
    const Clock::Duration capturedAt = captureResult.second;
    if (isStale())
        co_return;
    const Clock::Duration afterCaptureAt = clock.now();
    if (!captured) {
        fail(generation, tr("入力先を確認できませんでした。"));
        co_return;
    }
    if (captured->target.isSecure) {
        fail(generation, tr("パスワード欄では録音しません。"));
        co_return;
    }
    recordings.at(generation).target = captured;
    const RecognitionLanguage language = recordingLanguage(generation);

    // The model session and the recogniser are prepared side by side; both wait for the audio
    // kept since the microphone started.
    QFuture<void> prepared;
    if (const std::optional<QString> instructions = polishingPrompt(*captured, language))
        prepared = polishing.prepare(*instructions, generation);
    QFuture<std::expected<void, SpeechServiceError>> analyzer
        = service->prepareAnalyzer(localeIdentifier(language), contextualStrings(currentSettings));
    if (prepared.isValid()) {
        co_await prepared;
        if (isStale()) {
            if (self)
                polishing.discardPrepared(generation);
            co_return;
        }
    }
    const std::expected<void, SpeechServiceError> recognizer = co_await analyzer;
    if (isStale())
        co_return;
    if (!recognizer) {
        fail(generation, recognizer.error().description());
        co_return;
    }

    environment.log.info(timing,
        QStringLiteral("開始 マイク %1ms 入力先 %2ms 認識の準備 %3ms")
            .arg(milliseconds(microphoneAt - startedAt))
            .arg(milliseconds(capturedAt - startedAt))
            .arg(milliseconds(clock.now() - afterCaptureAt)));

    if (const auto *starting = std::get_if<RecordingPhase::Starting>(&recordingLifecycle.phase);
        starting != nullptr && starting->generation == generation) {
        const bool locked = starting->locked;
        recordingLifecycle.didStart(generation);
        if (std::holds_alternative<FlowState::Starting>(currentState))
            playSound(tink);
        setState(locked ? FlowState::Value(FlowState::Locked{}) : FlowState::Recording{});
    } else if (isFinalizing(generation)) {
        const QCoro::Task<> finishing = finalize(generation, service);
        co_await finishing;
    } else {
        dropRecording(generation, true);
    }
}

QCoro::Task<> AppModel::finalize(quint64 generation, QPointer<SpeechService> service)
{
    QPointer<AppModel> self(this);
    Clock &clock = environment.clock;
    setState(FlowState::Processing{});
    playSound(pop);
    const Clock::Duration stoppedAt = clock.now();
    const RecognitionLanguage language = recordingLanguage(generation);
    // A failure is shown only while this dictation is still the current one.
    auto showIfCurrent = [&](const QString &message) {
        if (isFinalizing(generation))
            showFailure(message);
    };
    auto cleanup = [&] {
        dropRecording(generation, false);
        recordingLifecycle.complete(generation);
    };

    if (!service) {
        cleanup();
        co_return;
    }
    const QFuture<std::expected<QString, SpeechServiceError>> finishing = service->finish();
    const std::expected<QString, SpeechServiceError> transcript = co_await finishing;
    if (!self)
        co_return;
    if (!transcript) {
        showIfCurrent(transcript.error().description());
        cleanup();
        co_return;
    }
    const RippletSettings settings = currentSettings;
    const QString raw
        = TextPostProcessor::process(*transcript, settings.dictionary, settings.spokenPunctuationEnabled, language);
    const Clock::Duration recognizedAt = clock.now();
    if (raw.isEmpty()) {
        showIfCurrent(tr("音声を認識できませんでした。"));
        cleanup();
        co_return;
    }
    const auto recording = recordings.find(generation);
    if (recording == recordings.end() || !recording->second.target) {
        showIfCurrent(tr("入力先が不明です。"));
        cleanup();
        co_return;
    }
    const CaptureResult target = *recording->second.target;
    const std::shared_ptr<std::atomic<bool>> cancelled = recording->second.cancelled;

    QString finalText = raw;
    std::optional<QString> note;
    const qint64 characters = Unicode::characterCount(raw);
    const std::optional<QString> instructions = settings.skipPolishingBelowCharacters <= characters
        ? polishingPrompt(target, language)
        : std::nullopt;
    if (instructions) {
        const QFuture<PolishingOutcome::Value> rewriting
            = polishing.polish(raw, *instructions, language, generation, settings.polishingTimeoutSeconds);
        const PolishingOutcome::Value outcome = co_await rewriting;
        if (!self)
            co_return;
        if (const auto *polished = std::get_if<PolishingOutcome::Polished>(&outcome)) {
            const QString cleaned = TextPostProcessor::process(
                polished->text, settings.dictionary, settings.spokenPunctuationEnabled, language);
            if (const std::optional<QString> accepted
                = PolishedTextValidator::accepted(raw, cleaned, language, environment.tokenizer)) {
                finalText = *accepted;
            } else if (!Unicode::isCanonicallyEquivalent(cleaned, raw)) {
                note = tr("清書結果が元の発話から離れたため生文字を使用");
            }
        } else if (const auto *unavailable = std::get_if<PolishingOutcome::Unavailable>(&outcome)) {
            note = tr("清書できませんでした: %1").arg(unavailable->reason);
        } else {
            note = tr("清書が時間切れのため生文字を使用");
        }
    }
    if (!isFinalizing(generation)) {
        cleanup();
        co_return;
    }

    const Clock::Duration polishedAt = clock.now();
    const QCoro::Task<std::expected<PasteOutcome, PasteError>> pasting = PasteService::paste(
        finalText, target.target, settings.pasteboardRestoreDelaySeconds, pasteEnvironment(), this, cancelled);
    const std::expected<PasteOutcome, PasteError> pasted = co_await pasting;
    if (!self)
        co_return;
    if (!pasted) {
        // A cancelled paste is the user's choice, not a failure.
        if (pasted.error() != PasteError::cancelled)
            showFailure(pasteFailureText(pasted.error()));
        cleanup();
        co_return;
    }
    const Clock::Duration pastedAt = clock.now();
    environment.log.info(timing,
        QStringLiteral("認識 %1ms 清書 %2ms 貼付 %3ms 文字数 %4")
            .arg(milliseconds(recognizedAt - stoppedAt))
            .arg(milliseconds(polishedAt - recognizedAt))
            .arg(milliseconds(pastedAt - polishedAt))
            .arg(characters));
    recordDictation(target.context.applicationName, raw, finalText);
    setPartialText(finalText);
    QString message = *pasted == PasteOutcome::confirmed ? tr("入力を確認しました")
        : *pasted == PasteOutcome::unchecked           ? tr("入力を送信しました（入力欄は確認できません）")
                                                       : tr("入力を送信しました（成否は未確認）");
    if (note)
        message = tr("%1・%2").arg(message, *note);
    // Whether the text was seen (and the clipboard given back) is in the log as the user read it.
    environment.log.info(QStringLiteral("paste"), message);
    setState(FlowState::Success{message});

    const QFuture<void> shown = clock.after(secondsToDuration(successDisplaySeconds), this);
    co_await shown;
    if (!self)
        co_return;
    if (std::holds_alternative<FlowState::Success>(currentState)) {
        setState(FlowState::Idle{});
        setPartialText({});
    }
    cleanup();
}

void AppModel::fail(quint64 generation, const QString &message)
{
    if (!recordingLifecycle.fail(generation))
        return;
    dropRecording(generation, true);
    showFailure(message);
}

void AppModel::showFailure(const QString &message)
{
    // The bar shows it for two seconds; the log keeps it.
    environment.log.error(QStringLiteral("dictation"), message);
    setState(FlowState::Failure{message});
    auto endDisplay = [](AppModel *model, Clock &clock) -> QCoro::Task<> {
        QPointer<AppModel> self(model);
        const QFuture<void> shown = clock.after(secondsToDuration(failureDisplaySeconds), model);
        co_await shown;
        if (self && std::holds_alternative<FlowState::Failure>(self->currentState))
            self->setState(FlowState::Idle{});
    };
    endDisplay(this, environment.clock);
}

void AppModel::playSound(const QString &name)
{
    if (currentSettings.playSounds)
        environment.sounds.play(name);
}

std::optional<QString> AppModel::polishingPrompt(const CaptureResult &capture, RecognitionLanguage language) const
{
    if (!currentSettings.polishingEnabled)
        return std::nullopt;
    if (const std::optional<ApplicationStyle> style = currentSettings.style(capture.target.bundleIdentifier);
        style && style->skipsPolishing)
        return std::nullopt;
    RippletSettings settings = currentSettings;
    settings.language = language;
    return PromptBuilder::build(settings, capture.target.bundleIdentifier,
        currentSettings.deepContextEnabled ? std::optional(capture.context) : std::nullopt, contextCharacterLimit);
}

RecognitionLanguage AppModel::recordingLanguage(quint64 generation) const
{
    const auto found = recordings.find(generation);
    return found != recordings.end() ? found->second.language : currentSettings.language;
}

bool AppModel::isFinalizing(quint64 generation) const
{
    const auto *finalizing = std::get_if<RecordingPhase::Finalizing>(&recordingLifecycle.phase);
    return finalizing != nullptr && finalizing->generation == generation;
}

QString AppModel::pasteFailureText(PasteError error) const
{
    if (error == PasteError::noKeystroke) {
        const QString reason = environment.keystroke.unavailableReason();
        if (!reason.isEmpty())
            return reason;
    }
    return description(error);
}

PasteService::Environment AppModel::pasteEnvironment() const
{
    return PasteService::Environment{environment.accessibility, environment.access, environment.pasteboard,
        environment.keystroke, environment.clock};
}

qint64 AppModel::milliseconds(Clock::Duration duration) const
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(duration).count();
}

void AppModel::resetAfterSystemInterruption()
{
    tap.machine.reset();
    tap.hotkeyPressed = false;
    tap.lastFlags = 0;
    tap.otherKeys.clear();
    requestCancel();
}

void AppModel::applyHotkey()
{
    resetAfterSystemInterruption();
    tap.hotkey = currentSettings.hotkey;
    tap.start();
}

void AppModel::setLaunchAtLogin(bool enabled)
{
    if (const std::expected<void, QString> changed = environment.loginItem.setEnabled(enabled); !changed) {
        environment.log.error(QStringLiteral("login"), changed.error());
        showFailure(tr("ログイン時の起動を変更できませんでした。"));
        return;
    }
    RippletSettings changed = currentSettings;
    changed.launchAtLogin = enabled;
    setSettings(changed);
}

void AppModel::setSettings(const RippletSettings &settings)
{
    const RippletSettings old = currentSettings;
    currentSettings = settings;
    persistSettings();
    Q_EMIT settingsChanged();
    if (settings.language != old.language) {
        const bool wasIdle = !recordingLifecycle.isBusy();
        if (wasIdle)
            setState(FlowState::Starting{});
        installLanguage(settings.language, wasIdle);
    }
    // The model stays loaded only while rewriting is on.
    if (old.polishingEnabled && !settings.polishingEnabled)
        polishing.releaseModel();
    else if (!old.polishingEnabled && settings.polishingEnabled && settings.language == old.language)
        polishing.prewarm(settings.language);
    if (HistoryPolicy::shouldDeleteStoredHistory(old.historyEnabled, settings.historyEnabled)) {
        ++revision;
        currentHistory = {};
        Q_EMIT historyChanged();
        environment.historyFile.persist(std::nullopt);
    }
}

QCoro::Task<> AppModel::installLanguage(RecognitionLanguage language, bool wasIdle)
{
    QPointer<AppModel> self(this);
    const QFuture<std::expected<void, QString>> installing = TaskPools::run(TaskPools::longWork(),
        [&models = environment.speechModels, locale = localeIdentifier(language)] {
            return models.ensureInstalled(locale);
        });
    const std::expected<void, QString> installed = co_await installing;
    if (!self)
        co_return;
    if (!installed) {
        if (currentSettings.language == language && !recordingLifecycle.isBusy())
            showFailure(installed.error());
        co_return;
    }
    environment.recognizers.prewarm(localeIdentifier(language));
    const QFuture<void> prewarmed = polishing.prewarm(language);
    co_await prewarmed;
    if (self && currentSettings.language == language && wasIdle && !recordingLifecycle.isBusy()
        && std::holds_alternative<FlowState::Starting>(currentState))
        setState(FlowState::Idle{});
}

void AppModel::persistSettings()
{
    const std::optional<QByteArray> encoded = currentSettings.encoded();
    // A document that cannot be encoded is not kept: the defaults are better than a stale one.
    if (!environment.defaults.setBytes(DefaultsKeys::settings, encoded.value_or(QByteArray())))
        environment.log.error(QStringLiteral("settings"), QStringLiteral("the settings could not be saved"));
}

void AppModel::loadHistory()
{
    if (!HistoryPolicy::shouldLoadStoredHistory(currentSettings.historyEnabled)) {
        environment.historyFile.persist(std::nullopt);
        return;
    }
    auto load = [](AppModel *model, HistoryPersistence &file, quint64 revisionAtStart) -> QCoro::Task<> {
        QPointer<AppModel> self(model);
        const QFuture<RippletHistory> loading = file.load();
        RippletHistory loaded = co_await loading;
        // A dictation recorded, or a clear, while the file was read wins over the file.
        if (!self || !self->currentSettings.historyEnabled || self->revision != revisionAtStart)
            co_return;
        self->currentHistory = std::move(loaded);
        Q_EMIT self->historyChanged();
    };
    load(this, environment.historyFile, revision);
}

void AppModel::recordDictation(const QString &applicationName, const QString &raw, const QString &finalText)
{
    if (!currentSettings.historyEnabled)
        return;
    ++revision;
    currentHistory.add(HistoryItem{QUuid::createUuid(), HistoryItem::secondsSinceReferenceDate(
                                                            QDateTime::currentDateTimeUtc()),
                           applicationName, raw, finalText},
        currentSettings.historyLimit);
    Q_EMIT historyChanged();
    persistHistory();
}

void AppModel::persistHistory()
{
    environment.historyFile.persist(
        currentSettings.historyEnabled ? std::optional(currentHistory) : std::nullopt);
}

void AppModel::clearHistory()
{
    ++revision;
    currentHistory = {};
    Q_EMIT historyChanged();
    persistHistory();
}

void AppModel::pasteHistory(const HistoryItem &item)
{
    pasteHistoryItem(item);
}

QCoro::Task<> AppModel::pasteHistoryItem(HistoryItem item)
{
    QPointer<AppModel> self(this);
    const QFuture<std::optional<CaptureResult>> capturing = TaskPools::run(TaskPools::shortWork(),
        [&tree = environment.accessibility] { return AccessibilityServices::captureContext(tree, false); });
    const std::optional<CaptureResult> captured = co_await capturing;
    if (!self || !captured)
        co_return;
    const QCoro::Task<std::expected<PasteOutcome, PasteError>> pasting = PasteService::paste(
        item.polishedText, captured->target, currentSettings.pasteboardRestoreDelaySeconds, pasteEnvironment(), this);
    const std::expected<PasteOutcome, PasteError> pasted = co_await pasting;
    if (self && !pasted)
        environment.log.error(QStringLiteral("paste"), pasteFailureText(pasted.error()));
}
