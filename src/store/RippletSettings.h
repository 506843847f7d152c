#pragma once

#include "store/ApplicationStyle.h"
#include "store/DictionaryEntry.h"
#include "store/HotkeyChoice.h"
#include "store/RecognitionLanguage.h"

#include <QByteArray>
#include <QList>
#include <QString>

#include <optional>

// Everything the user can adjust, as one value. Its stored form is one JSON document; loading never
// fails: a bad document gives the defaults, a bad value under one key gives that field's default,
// and out-of-range numbers are clamped.
struct RippletSettings {
    HotkeyChoice hotkey = HotkeyChoice::function;
    QList<DictionaryEntry> dictionary;
    QString customInstructions;
    QList<ApplicationStyle> applicationStyles;
    bool deepContextEnabled = true;
    RecognitionLanguage language = RecognitionLanguage::systemDefault();
    bool polishingEnabled = true;
    qint64 skipPolishingBelowCharacters = 15;
    double polishingTimeoutSeconds = 4.0;
    double pasteboardRestoreDelaySeconds = 1.0;
    bool historyEnabled = true;
    qint64 historyLimit = 200;
    bool launchAtLogin = false;
    bool playSounds = true;
    bool spokenPunctuationEnabled = false;

    // `bytes` is nothing when no document is stored.
    static RippletSettings load(const std::optional<QByteArray> &bytes);
    // Every field under its name, in declaration order; nothing when a duration is not finite.
    std::optional<QByteArray> encoded() const;
    // A copy with the load-time limits applied.
    RippletSettings sanitized() const;
    // The first style whose bundle identifier equals `bundleIdentifier` exactly.
    std::optional<ApplicationStyle> style(const std::optional<QString> &bundleIdentifier) const;

    friend bool operator==(const RippletSettings &, const RippletSettings &) = default;
};
