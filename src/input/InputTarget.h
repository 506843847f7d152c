#pragma once

#include "input/DeepContext.h"

#include <QString>

#include <optional>

// Who had the focus when the recording started. Two targets are the same only when every field is.
struct InputTarget {
    qint32 processIdentifier = 0;
    std::optional<QString> bundleIdentifier;
    QString windowTitle;
    QString focusedRole;
    QString focusedIdentifier;
    qint64 focusedElementHash = 0;
    bool isSecure = false;

    friend bool operator==(const InputTarget &, const InputTarget &) = default;
};

struct CaptureResult {
    DeepContext context;
    InputTarget target;

    friend bool operator==(const CaptureResult &, const CaptureResult &) = default;
};
