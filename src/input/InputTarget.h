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
    // The active window as the desktop names it (0 when not known): two windows of one application
    // with the same title are still two targets.
    quint64 windowIdentifier = 0;

    // No focused element was found (the application has no accessibility, or did not answer): only
    // the application and its window identify the target.
    bool hasFocusedElement() const { return focusedElementHash != 0; }

    friend bool operator==(const InputTarget &, const InputTarget &) = default;
};

struct CaptureResult {
    DeepContext context;
    InputTarget target;

    friend bool operator==(const CaptureResult &, const CaptureResult &) = default;
};
