#pragma once

#include "platform/AudioEngine.h"

#include <QByteArray>
#include <QString>

#include <expected>

// Reads RIFF/WAVE audio: 8-, 16-, 24- and 32-bit integer PCM and 32-bit float, any rate and channel
// count, into float samples. Anything else is an error with a readable message. Writes 16-bit PCM.
namespace WavFile {
std::expected<AudioBuffer, QString> decode(const QByteArray &bytes);
std::expected<AudioBuffer, QString> read(const QString &fileName);
// The buffer as a 16-bit PCM file at its own rate and channel count; samples beyond ±1 are clipped.
QByteArray encode(const AudioBuffer &buffer);
} // namespace WavFile
