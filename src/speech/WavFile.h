#pragma once

#include "platform/AudioEngine.h"

#include <QByteArray>
#include <QString>

#include <expected>

// Reads RIFF/WAVE audio: 8-, 16-, 24- and 32-bit integer PCM and 32-bit float, any rate and channel
// count, into float samples. Anything else is an error with a readable message.
namespace WavFile {
std::expected<AudioBuffer, QString> decode(const QByteArray &bytes);
std::expected<AudioBuffer, QString> read(const QString &fileName);
} // namespace WavFile
