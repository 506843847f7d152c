#pragma once

#include "input/DeepContext.h"
#include "store/RippletSettings.h"

#include <QString>

#include <optional>

// The two texts the language model gets for one dictation: the instructions (base text, the user's
// additions, the application's style, preferred spellings, fenced context) and the wrapped
// utterance. Pure; any thread.
namespace PromptBuilder {

extern const QString baseInstruction;
extern const QString englishBaseInstruction;

QString build(const RippletSettings &settings, const std::optional<QString> &bundleIdentifier,
    const std::optional<DeepContext> &context, qint64 contextCharacterLimit);
QString wrapUtterance(QStringView utterance, RecognitionLanguage language);

} // namespace PromptBuilder
