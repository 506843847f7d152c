#pragma once

#include "platform/SpeechModelStore.h"

#include <QString>

#include <vector>

// The files each recognition language needs: its recognition model and the voice-activity model;
// and the language model that rewrites dictations in both languages.
namespace ModelCatalogue {
std::vector<ModelFile> filesFor(const QString &localeIdentifier);
ModelFile voiceActivityModel();
ModelFile recognitionModel(const QString &localeIdentifier);
ModelFile languageModel();
} // namespace ModelCatalogue
