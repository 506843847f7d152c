#pragma once

#include <QString>
#include <QUrl>

#include <expected>

class DefaultsStore;

// Which language model rewrites dictations: the one installed with the application and run in the
// process, or a chat endpoint (OpenAI-compatible) served on this machine. Kept in the defaults store
// under its own key, beside the settings document.
struct LanguageModelChoice {
    // Empty: the installed model.
    QUrl endpoint;
    // The endpoint's model name; empty: the first the endpoint lists.
    QString model;

    bool usesEndpoint() const { return !endpoint.isEmpty(); }

    // The stored choice; the installed model when nothing usable is stored.
    static LanguageModelChoice load(const DefaultsStore &store);
    bool save(DefaultsStore &store) const;

    // An endpoint the user typed, when it is an http(s) address on this machine: what is dictated
    // never leaves it. Otherwise a message saying why not.
    static std::expected<QUrl, QString> endpointUrl(const QString &text);

    friend bool operator==(const LanguageModelChoice &, const LanguageModelChoice &) = default;
};
