#pragma once

#include "store/RecognitionLanguage.h"

#include <QString>
#include <QUrl>

#include <expected>
#include <variant>

class DefaultsStore;

// Which model recognises each language: the catalogue's, which the application downloads; a model
// file of the user's own; or a transcription server (OpenAI-compatible) on this machine. Kept in the
// defaults store under its own key; a language without a usable entry uses the catalogue.
struct SpeechModelChoice {
    struct Catalogue {
        friend bool operator==(const Catalogue &, const Catalogue &) = default;
    };
    struct File {
        // Absolute.
        QString path;
        friend bool operator==(const File &, const File &) = default;
    };
    struct Endpoint {
        QUrl url;
        // Empty: the recogniser's default name.
        QString model;
        friend bool operator==(const Endpoint &, const Endpoint &) = default;
    };
    using Source = std::variant<Catalogue, File, Endpoint>;

    Source japanese;
    Source english;

    const Source &of(RecognitionLanguage language) const;
    Source &of(RecognitionLanguage language);

    // The stored choice; never fails.
    static SpeechModelChoice load(const DefaultsStore &store);
    bool save(DefaultsStore &store) const;

    // The absolute path of a model file that is there and readable; otherwise a message saying why
    // not. Endpoints are checked with LanguageModelChoice::endpointUrl.
    static std::expected<QString, QString> modelFile(const QString &path);

    friend bool operator==(const SpeechModelChoice &, const SpeechModelChoice &) = default;
};
