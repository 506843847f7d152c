#pragma once

#include <QString>

// The errors of the speech subsystem, each with the message the user sees.
struct SpeechServiceError {
    enum Kind {
        modelInstallationFailed,
        noInput,
        unsupportedFormat,
        // The session was stopped or cancelled; never shown.
        cancelled,
        // The audio system or the recogniser failed; `detail` says how.
        engineFailed,
    };

    Kind kind;
    QString detail;

    QString description() const;
    friend bool operator==(const SpeechServiceError &, const SpeechServiceError &) = default;
};
