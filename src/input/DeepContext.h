#pragma once

#include <QString>

// What the target field and its surroundings showed when the recording started; each text is at
// most 400 characters.
struct DeepContext {
    QString applicationName;
    QString windowTitle;
    QString selectedText;
    QString focusedText;

    friend bool operator==(const DeepContext &, const DeepContext &) = default;
};
