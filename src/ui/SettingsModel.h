#pragma once

#include <QObject>
#include <QUuid>
#include <QString>
#include <QVariantList>

#include <functional>

class AppModel;
class Clock;
class Pasteboard;
class UpdaterModel;
struct RippletSettings;

// What the settings window shows and edits: every control reads the coordinator's settings and
// writes a changed copy back at once (there is nothing to apply or revert); the history section
// searches, copies and re-inserts past dictations. Steppers clamp to their ranges here, the only
// bounds applied to values set in the window. Main thread only.
class SettingsModel : public QObject
{
    Q_OBJECT
    Q_PROPERTY(bool automaticallyChecks READ automaticallyChecks WRITE setAutomaticallyChecks NOTIFY updaterChanged)
    Q_PROPERTY(bool canCheck READ canCheck NOTIFY updaterChanged)
    // False when this build has no update feed: the update controls are then greyed out.
    Q_PROPERTY(bool hasUpdateFeed READ hasUpdateFeed CONSTANT)
    Q_PROPERTY(QString version READ version CONSTANT)
    Q_PROPERTY(QString updateCaption READ updateCaption CONSTANT)

    // [{label, isObservable}] for every dictation key, in the order of HotkeyChoice.
    Q_PROPERTY(QVariantList hotkeyChoices READ hotkeyChoices CONSTANT)
    Q_PROPERTY(int hotkeyIndex READ hotkeyIndex WRITE setHotkeyIndex NOTIFY settingsChanged)
    // Why the chosen key does nothing here and what to pick instead; empty when it can be seen.
    Q_PROPERTY(QString hotkeyNotice READ hotkeyNotice NOTIFY settingsChanged)
    Q_PROPERTY(int rightControlIndex READ rightControlIndex CONSTANT)
    Q_PROPERTY(int rightAltIndex READ rightAltIndex CONSTANT)
    Q_PROPERTY(int languageIndex READ languageIndex WRITE setLanguageIndex NOTIFY settingsChanged)
    Q_PROPERTY(bool playSounds READ playSounds WRITE setPlaySounds NOTIFY settingsChanged)
    Q_PROPERTY(bool polishingEnabled READ polishingEnabled WRITE setPolishingEnabled NOTIFY settingsChanged)
    Q_PROPERTY(bool spokenPunctuationEnabled READ spokenPunctuationEnabled WRITE setSpokenPunctuationEnabled NOTIFY
            settingsChanged)
    Q_PROPERTY(int skipPolishingBelowCharacters READ skipPolishingBelowCharacters WRITE
            setSkipPolishingBelowCharacters NOTIFY settingsChanged)
    Q_PROPERTY(QString skipPolishingLabel READ skipPolishingLabel NOTIFY settingsChanged)
    Q_PROPERTY(double polishingTimeoutSeconds READ polishingTimeoutSeconds WRITE setPolishingTimeoutSeconds NOTIFY
            settingsChanged)
    Q_PROPERTY(QString polishingTimeoutLabel READ polishingTimeoutLabel NOTIFY settingsChanged)
    Q_PROPERTY(bool deepContextEnabled READ deepContextEnabled WRITE setDeepContextEnabled NOTIFY settingsChanged)
    Q_PROPERTY(double pasteboardRestoreDelaySeconds READ pasteboardRestoreDelaySeconds WRITE
            setPasteboardRestoreDelaySeconds NOTIFY settingsChanged)
    Q_PROPERTY(QString pasteboardRestoreDelayLabel READ pasteboardRestoreDelayLabel NOTIFY settingsChanged)
    Q_PROPERTY(bool historyEnabled READ historyEnabled WRITE setHistoryEnabled NOTIFY settingsChanged)
    Q_PROPERTY(bool launchAtLogin READ launchAtLogin WRITE setLaunchAtLogin NOTIFY settingsChanged)

    // [{spoken, replacement}] and [{applicationName, bundleIdentifier, instruction, skipsPolishing}],
    // in stored order. They change only when entries come or go, so a field being typed in keeps
    // its focus; each keystroke is written through the setters.
    Q_PROPERTY(QVariantList dictionary READ dictionary NOTIFY listsChanged)
    Q_PROPERTY(QVariantList applicationStyles READ applicationStyles NOTIFY listsChanged)
    Q_PROPERTY(QString customInstructions READ customInstructions WRITE setCustomInstructions NOTIFY settingsChanged)

    Q_PROPERTY(QString historyQuery READ historyQuery WRITE setHistoryQuery NOTIFY historyChanged)
    // [{text, caption}] of the items matching the query, newest first.
    Q_PROPERTY(QVariantList filteredHistory READ filteredHistory NOTIFY historyChanged)
    Q_PROPERTY(bool isHistoryEmpty READ isHistoryEmpty NOTIFY historyChanged)

public:
    struct Range {
        double minimum;
        double maximum;
        double step;
    };
    static constexpr Range skipPolishingRange {0, 100, 1};
    static constexpr Range polishingTimeoutRange {0.5, 15.0, 0.5};
    static constexpr Range pasteboardRestoreDelayRange {0.5, 10.0, 0.5};

    // How long the window waits, once it stepped aside, before a history item is inserted: the
    // window manager needs a moment to give the focus back to the window the user came from.
    static constexpr double focusReturnSeconds = 0.4;

    // `canObserve` tells whether the session sees a key with the given flag bit.
    SettingsModel(AppModel &model, UpdaterModel &updater, Pasteboard &pasteboard, Clock &clock,
        std::function<bool(quint64 flagMask)> canObserve, QObject *parent = nullptr);

    bool automaticallyChecks() const;
    void setAutomaticallyChecks(bool checks);
    bool canCheck() const;
    bool hasUpdateFeed() const;
    Q_INVOKABLE void checkForUpdates();
    QString version() const;
    QString updateCaption() const;

    QVariantList hotkeyChoices() const;
    int hotkeyIndex() const;
    void setHotkeyIndex(int index);
    QString hotkeyNotice() const;
    // Picks the first key the session can observe among the ones that suit most keyboards.
    Q_INVOKABLE void chooseObservableHotkey();
    static int rightControlIndex();
    static int rightAltIndex();
    int languageIndex() const;
    void setLanguageIndex(int index);
    bool playSounds() const;
    void setPlaySounds(bool plays);
    bool polishingEnabled() const;
    void setPolishingEnabled(bool enabled);
    bool spokenPunctuationEnabled() const;
    void setSpokenPunctuationEnabled(bool enabled);
    int skipPolishingBelowCharacters() const;
    void setSkipPolishingBelowCharacters(int characters);
    QString skipPolishingLabel() const;
    double polishingTimeoutSeconds() const;
    void setPolishingTimeoutSeconds(double seconds);
    QString polishingTimeoutLabel() const;
    bool deepContextEnabled() const;
    void setDeepContextEnabled(bool enabled);
    double pasteboardRestoreDelaySeconds() const;
    void setPasteboardRestoreDelaySeconds(double seconds);
    QString pasteboardRestoreDelayLabel() const;
    bool historyEnabled() const;
    void setHistoryEnabled(bool enabled);
    bool launchAtLogin() const;
    void setLaunchAtLogin(bool enabled);

    QVariantList dictionary() const;
    Q_INVOKABLE void addDictionaryEntry();
    Q_INVOKABLE void setDictionaryEntry(int index, const QString &spoken, const QString &replacement);
    Q_INVOKABLE void removeDictionaryEntry(int index);
    QVariantList applicationStyles() const;
    Q_INVOKABLE void addApplicationStyle();
    Q_INVOKABLE void setApplicationStyle(int index, const QString &applicationName, const QString &bundleIdentifier,
        const QString &instruction, bool skipsPolishing);
    Q_INVOKABLE void removeApplicationStyle(int index);
    QString customInstructions() const;
    void setCustomInstructions(const QString &instructions);

    const QString &historyQuery() const { return query; }
    void setHistoryQuery(const QString &query);
    QVariantList filteredHistory() const;
    bool isHistoryEmpty() const;
    Q_INVOKABLE void clearHistory();
    // `index` counts in filteredHistory.
    Q_INVOKABLE void copyHistoryItem(int index);
    Q_INVOKABLE void insertHistoryItem(int index);

Q_SIGNALS:
    void updaterChanged();
    void settingsChanged();
    void historyChanged();
    void listsChanged();
    // The window should get out of the way, so that the focus returns to the user's application.
    void stepAsideRequested();

private:
    void change(const std::function<void(RippletSettings &)> &edit);
    QList<QUuid> listIds() const;

    AppModel &model;
    UpdaterModel &updater;
    Pasteboard &pasteboard;
    Clock &clock;
    std::function<bool(quint64)> canObserve;
    QString query;
    QList<QUuid> shownIds;
};
