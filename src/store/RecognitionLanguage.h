#pragma once

#include <QString>

#include <array>
#include <optional>

// The two recognition languages. The raw value is the locale identifier that is stored in the
// settings and handed to the recogniser.
class RecognitionLanguage
{
public:
    enum Case : quint8 { japanese, english };

    constexpr RecognitionLanguage(Case value) // NOLINT(google-explicit-constructor): reads like the enum it wraps
        : value(value)
    { }

    static const std::array<RecognitionLanguage, 2> &allCases();
    static std::optional<RecognitionLanguage> fromRawValue(QStringView rawValue);

    // Japanese when the user's first preferred language is Japanese, else English (also when the
    // user has no preference at all).
    static RecognitionLanguage defaultFor(const std::optional<QString> &firstPreferredLanguage);
    // defaultFor the preferences of this process's environment.
    static RecognitionLanguage systemDefault();

    QString rawValue() const;
    QString label() const;

    constexpr Case caseValue() const { return value; }
    friend constexpr bool operator==(RecognitionLanguage, RecognitionLanguage) = default;

private:
    Case value;
};
