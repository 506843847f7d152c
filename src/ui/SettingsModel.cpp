#include "ui/SettingsModel.h"

#include "core/Clock.h"
#include "dictation/AppModel.h"
#include "platform/Pasteboard.h"
#include "store/HotkeyChoice.h"
#include "ui/UpdaterModel.h"

#include <QCoreApplication>
#include <QLocale>

#include <algorithm>
#include <cmath>

namespace {

double clamped(double value, SettingsModel::Range range)
{
    // Snapped to the step, so repeated presses never drift off the grid.
    const double steps = std::round((value - range.minimum) / range.step);
    return std::clamp(range.minimum + steps * range.step, range.minimum, range.maximum);
}

QString formatted(const QString &format, auto value)
{
    return QString::asprintf(format.toUtf8().constData(), value);
}

} // namespace

SettingsModel::SettingsModel(AppModel &model, UpdaterModel &updater, Pasteboard &pasteboard, Clock &clock,
    std::function<bool(quint64 flagMask)> canObserve, QObject *parent)
    : QObject(parent)
    , model(model)
    , updater(updater)
    , pasteboard(pasteboard)
    , clock(clock)
    , canObserve(std::move(canObserve))
{
    connect(&model, &AppModel::settingsChanged, this, [this] {
        Q_EMIT settingsChanged();
        if (QList<QUuid> ids = listIds(); ids != shownIds) {
            shownIds = std::move(ids);
            Q_EMIT listsChanged();
        }
    });
    shownIds = listIds();
    connect(&model, &AppModel::historyChanged, this, &SettingsModel::historyChanged);
    connect(&updater, &UpdaterModel::canCheckChanged, this, &SettingsModel::updaterChanged);
    connect(&updater, &UpdaterModel::automaticallyChecksChanged, this, &SettingsModel::updaterChanged);
}

void SettingsModel::change(const std::function<void(RippletSettings &)> &edit)
{
    RippletSettings settings = model.settings();
    edit(settings);
    if (settings != model.settings())
        model.setSettings(settings);
}

QList<QUuid> SettingsModel::listIds() const
{
    QList<QUuid> ids;
    for (const DictionaryEntry &entry : model.settings().dictionary)
        ids.append(entry.id);
    // A null separator: moving an identifier from one list to the other still counts as a change.
    ids.append(QUuid());
    for (const ApplicationStyle &style : model.settings().applicationStyles)
        ids.append(style.id);
    return ids;
}

bool SettingsModel::automaticallyChecks() const
{
    return updater.automaticallyChecks();
}

void SettingsModel::setAutomaticallyChecks(bool checks)
{
    updater.setAutomaticallyChecks(checks);
}

bool SettingsModel::canCheck() const
{
    return updater.canCheck();
}

void SettingsModel::checkForUpdates()
{
    updater.checkForUpdates();
}

QString SettingsModel::version() const
{
    return QCoreApplication::applicationVersion();
}

bool SettingsModel::hasUpdateFeed() const
{
    return !updater.feedHost().isEmpty();
}

QString SettingsModel::updateCaption() const
{
    const QString host = updater.feedHost();
    if (host.isEmpty())
        return tr("この版には更新の確認先が組み込まれていないため、新しい版は確認しません。");
    return tr("1日に1回、%1 "
              "に新しい版があるかを確認します。確認するときに送るのはアプリの名前と版だけで（どの接続にも含まれる IP "
              "アドレスなどは除く）、話した内容や入力した文章は送りません。新しい版があると、トレイのアイコンが下向きの"
              "矢印に変わります。")
        .arg(host);
}

QVariantList SettingsModel::hotkeyChoices() const
{
    QVariantList choices;
    for (HotkeyChoice choice : HotkeyChoice::allCases()) {
        const bool observable = canObserve(choice.flagMask());
        choices.append(QVariantMap {{QStringLiteral("label"), choice.label()},
            {QStringLiteral("isObservable"), observable},
            {QStringLiteral("text"), observable ? choice.label() : tr("%1（検知できません）").arg(choice.label())}});
    }
    return choices;
}

int SettingsModel::hotkeyIndex() const
{
    return int(model.settings().hotkey.caseValue());
}

void SettingsModel::setHotkeyIndex(int index)
{
    const auto &cases = HotkeyChoice::allCases();
    if (index < 0 || index >= int(cases.size()) || cases[size_t(index)] == model.settings().hotkey)
        return;
    change([&](RippletSettings &settings) { settings.hotkey = cases[size_t(index)]; });
    model.applyHotkey();
}

QString SettingsModel::hotkeyNotice() const
{
    const HotkeyChoice hotkey = model.settings().hotkey;
    if (canObserve(hotkey.flagMask()))
        return {};
    if (hotkey == HotkeyChoice::function)
        return tr("fn "
                  "キーはキーボードの中で処理され、多くのキーボードではパソコンに届かないため、このデスクトップでは検知"
                  "できません。右 Control か右 Alt を選んでください（右 Alt は配列によっては AltGr "
                  "として文字の入力に使われます）。");
    return tr("このキーはいまのキーボードでは検知できません。右 Control か右 Alt を選んでください（右 Alt は配列によっては AltGr として文字の入力に使われます）。");
}

void SettingsModel::chooseObservableHotkey()
{
    for (HotkeyChoice choice : {HotkeyChoice::rightControl, HotkeyChoice::rightOption, HotkeyChoice::leftControl}) {
        if (canObserve(choice.flagMask())) {
            setHotkeyIndex(int(choice.caseValue()));
            return;
        }
    }
}

int SettingsModel::rightControlIndex()
{
    return int(HotkeyChoice::rightControl);
}

int SettingsModel::rightAltIndex()
{
    return int(HotkeyChoice::rightOption);
}

int SettingsModel::languageIndex() const
{
    return model.settings().language == RecognitionLanguage::japanese ? 0 : 1;
}

void SettingsModel::setLanguageIndex(int index)
{
    change([&](RippletSettings &settings) {
        settings.language = index == 0 ? RecognitionLanguage::japanese : RecognitionLanguage::english;
    });
}

bool SettingsModel::playSounds() const
{
    return model.settings().playSounds;
}

void SettingsModel::setPlaySounds(bool plays)
{
    change([&](RippletSettings &settings) { settings.playSounds = plays; });
}

bool SettingsModel::polishingEnabled() const
{
    return model.settings().polishingEnabled;
}

void SettingsModel::setPolishingEnabled(bool enabled)
{
    change([&](RippletSettings &settings) { settings.polishingEnabled = enabled; });
}

bool SettingsModel::spokenPunctuationEnabled() const
{
    return model.settings().spokenPunctuationEnabled;
}

void SettingsModel::setSpokenPunctuationEnabled(bool enabled)
{
    change([&](RippletSettings &settings) { settings.spokenPunctuationEnabled = enabled; });
}

int SettingsModel::skipPolishingBelowCharacters() const
{
    return int(model.settings().skipPolishingBelowCharacters);
}

void SettingsModel::setSkipPolishingBelowCharacters(int characters)
{
    change([&](RippletSettings &settings) {
        settings.skipPolishingBelowCharacters = qint64(clamped(characters, skipPolishingRange));
    });
}

QString SettingsModel::skipPolishingLabel() const
{
    return formatted(tr("短い発話は清書しない: %lld文字未満"), static_cast<long long>(skipPolishingBelowCharacters()));
}

double SettingsModel::polishingTimeoutSeconds() const
{
    return model.settings().polishingTimeoutSeconds;
}

void SettingsModel::setPolishingTimeoutSeconds(double seconds)
{
    change(
        [&](RippletSettings &settings) { settings.polishingTimeoutSeconds = clamped(seconds, polishingTimeoutRange); });
}

QString SettingsModel::polishingTimeoutLabel() const
{
    return formatted(tr("待ち時間の上限: %.1f秒"), polishingTimeoutSeconds());
}

bool SettingsModel::deepContextEnabled() const
{
    return model.settings().deepContextEnabled;
}

void SettingsModel::setDeepContextEnabled(bool enabled)
{
    change([&](RippletSettings &settings) { settings.deepContextEnabled = enabled; });
}

double SettingsModel::pasteboardRestoreDelaySeconds() const
{
    return model.settings().pasteboardRestoreDelaySeconds;
}

void SettingsModel::setPasteboardRestoreDelaySeconds(double seconds)
{
    change([&](RippletSettings &settings) {
        settings.pasteboardRestoreDelaySeconds = clamped(seconds, pasteboardRestoreDelayRange);
    });
}

QString SettingsModel::pasteboardRestoreDelayLabel() const
{
    return formatted(tr("貼り付け確認の待ち時間: %.1f秒"), pasteboardRestoreDelaySeconds());
}

bool SettingsModel::historyEnabled() const
{
    return model.settings().historyEnabled;
}

void SettingsModel::setHistoryEnabled(bool enabled)
{
    change([&](RippletSettings &settings) { settings.historyEnabled = enabled; });
}

bool SettingsModel::launchAtLogin() const
{
    return model.settings().launchAtLogin;
}

void SettingsModel::setLaunchAtLogin(bool enabled)
{
    if (enabled == launchAtLogin())
        return;
    model.setLaunchAtLogin(enabled);
    // A refused change leaves the setting as it was; the switch must show that again.
    Q_EMIT settingsChanged();
}

QVariantList SettingsModel::dictionary() const
{
    QVariantList entries;
    for (const DictionaryEntry &entry : model.settings().dictionary)
        entries.append(
            QVariantMap{{QStringLiteral("spoken"), entry.spoken}, {QStringLiteral("replacement"), entry.replacement}});
    return entries;
}

void SettingsModel::addDictionaryEntry()
{
    change([](RippletSettings &settings) { settings.dictionary.append(DictionaryEntry {}); });
}

void SettingsModel::setDictionaryEntry(int index, const QString &spoken, const QString &replacement)
{
    change([&](RippletSettings &settings) {
        if (index >= 0 && index < settings.dictionary.size()) {
            settings.dictionary[index].spoken = spoken;
            settings.dictionary[index].replacement = replacement;
        }
    });
}

void SettingsModel::removeDictionaryEntry(int index)
{
    change([&](RippletSettings &settings) {
        if (index >= 0 && index < settings.dictionary.size())
            settings.dictionary.removeAt(index);
    });
}

QVariantList SettingsModel::applicationStyles() const
{
    QVariantList styles;
    for (const ApplicationStyle &style : model.settings().applicationStyles) {
        styles.append(QVariantMap{{QStringLiteral("applicationName"), style.applicationName},
            {QStringLiteral("bundleIdentifier"), style.bundleIdentifier},
            {QStringLiteral("instruction"), style.instruction},
            {QStringLiteral("skipsPolishing"), style.skipsPolishing}});
    }
    return styles;
}

void SettingsModel::addApplicationStyle()
{
    change([](RippletSettings &settings) { settings.applicationStyles.append(ApplicationStyle {}); });
}

void SettingsModel::setApplicationStyle(int index, const QString &applicationName, const QString &bundleIdentifier,
    const QString &instruction, bool skipsPolishing)
{
    change([&](RippletSettings &settings) {
        if (index < 0 || index >= settings.applicationStyles.size())
            return;
        ApplicationStyle &style = settings.applicationStyles[index];
        style.applicationName = applicationName;
        style.bundleIdentifier = bundleIdentifier;
        style.instruction = instruction;
        style.skipsPolishing = skipsPolishing;
    });
}

void SettingsModel::removeApplicationStyle(int index)
{
    change([&](RippletSettings &settings) {
        if (index >= 0 && index < settings.applicationStyles.size())
            settings.applicationStyles.removeAt(index);
    });
}

QString SettingsModel::customInstructions() const
{
    return model.settings().customInstructions;
}

void SettingsModel::setCustomInstructions(const QString &instructions)
{
    change([&](RippletSettings &settings) { settings.customInstructions = instructions; });
}

void SettingsModel::setHistoryQuery(const QString &text)
{
    if (text == query)
        return;
    query = text;
    Q_EMIT historyChanged();
}

QVariantList SettingsModel::filteredHistory() const
{
    QVariantList items;
    const QLocale locale;
    for (const HistoryItem &item : model.history().search(query)) {
        items.append(QVariantMap {{QStringLiteral("text"), item.polishedText},
            {QStringLiteral("caption"),
                item.applicationName + QStringLiteral("  ")
                    + locale.toString(item.dateTime().toLocalTime(), QLocale::ShortFormat)}});
    }
    return items;
}

bool SettingsModel::isHistoryEmpty() const
{
    return model.history().items.isEmpty();
}

void SettingsModel::clearHistory()
{
    model.clearHistory();
}

void SettingsModel::copyHistoryItem(int index)
{
    const QList<HistoryItem> items = model.history().search(query);
    if (index < 0 || index >= items.size())
        return;
    pasteboard.clearContents();
    pasteboard.writeItems(
        {PasteboardItem{{{QStringLiteral("text/plain;charset=utf-8"), items[index].polishedText.toUtf8()},
            {QStringLiteral("text/plain"), items[index].polishedText.toUtf8()}}}});
}

void SettingsModel::insertHistoryItem(int index)
{
    const QList<HistoryItem> items = model.history().search(query);
    if (index < 0 || index >= items.size())
        return;
    // The click made this window the focused one; the text belongs where the user was before.
    Q_EMIT stepAsideRequested();
    clock.schedule(secondsToDuration(focusReturnSeconds), this,
        [this, item = items[index]] { model.pasteHistory(item); });
}
