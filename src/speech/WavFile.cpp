#include "speech/WavFile.h"

#include <QCoreApplication>
#include <QFile>
#include <QtEndian>

#include <algorithm>
#include <cmath>
#include <cstring>

namespace {

QString notWav()
{
    return QCoreApplication::translate("WavFile", "WAV ファイルではありません。");
}

} // namespace

namespace WavFile {

std::expected<AudioBuffer, QString> decode(const QByteArray &bytes)
{
    if (bytes.size() < 12 || !bytes.startsWith("RIFF") || bytes.mid(8, 4) != "WAVE")
        return std::unexpected(notWav());
    const auto *data = reinterpret_cast<const uchar *>(bytes.constData());
    quint16 formatTag = 0;
    quint16 channels = 0;
    quint32 rate = 0;
    quint16 bits = 0;
    qsizetype at = 12;
    while (at + 8 <= bytes.size()) {
        const QByteArray id = bytes.mid(at, 4);
        const quint32 size = qFromLittleEndian<quint32>(data + at + 4);
        const qsizetype body = at + 8;
        const qsizetype available = std::min<qsizetype>(size, bytes.size() - body);
        if (id == "fmt " && available >= 16) {
            formatTag = qFromLittleEndian<quint16>(data + body);
            channels = qFromLittleEndian<quint16>(data + body + 2);
            rate = qFromLittleEndian<quint32>(data + body + 4);
            bits = qFromLittleEndian<quint16>(data + body + 14);
            // WAVE_FORMAT_EXTENSIBLE keeps the real tag in its sub-format.
            if (formatTag == 0xFFFE && available >= 26)
                formatTag = qFromLittleEndian<quint16>(data + body + 24);
        } else if (id == "data") {
            if (channels == 0 || rate == 0)
                return std::unexpected(notWav());
            const bool isFloat = formatTag == 3 && bits == 32;
            const bool isInteger = formatTag == 1 && (bits == 8 || bits == 16 || bits == 24 || bits == 32);
            if (!isFloat && !isInteger)
                return std::unexpected(
                    QCoreApplication::translate("WavFile", "対応していない WAV 形式です（%1 ビット、形式 %2）。")
                        .arg(bits)
                        .arg(formatTag));
            const int width = bits / 8;
            const qsizetype count = available / width / channels * channels;
            AudioBuffer buffer{AudioFormat{double(rate), int(channels)}, std::vector<float>(size_t(count))};
            const uchar *sample = data + body;
            for (qsizetype i = 0; i < count; ++i, sample += width) {
                float value = 0;
                if (isFloat) {
                    std::memcpy(&value, sample, 4);
                } else if (bits == 8) {
                    value = (float(*sample) - 128.0F) / 128.0F;
                } else if (bits == 16) {
                    value = float(qFromLittleEndian<qint16>(sample)) / 32768.0F;
                } else if (bits == 24) {
                    const qint32 raw
                        = qint32(quint32(sample[0]) << 8 | quint32(sample[1]) << 16 | quint32(sample[2]) << 24);
                    value = float(raw) / 2147483648.0F;
                } else {
                    value = float(qFromLittleEndian<qint32>(sample)) / 2147483648.0F;
                }
                buffer.samples[size_t(i)] = value;
            }
            return buffer;
        }
        // Chunks are padded to an even size.
        at = body + qsizetype(size) + (size % 2);
    }
    return std::unexpected(notWav());
}

std::expected<AudioBuffer, QString> read(const QString &fileName)
{
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly))
        return std::unexpected(
            QCoreApplication::translate("WavFile", "%1 を開けません: %2").arg(fileName, file.errorString()));
    return decode(file.readAll());
}

QByteArray encode(const AudioBuffer &buffer)
{
    const auto channels = quint16(std::max(buffer.format.channelCount, 1));
    const auto rate = quint32(buffer.format.sampleRate);
    const auto dataBytes = quint32(buffer.samples.size() * 2);
    QByteArray bytes(44 + qsizetype(dataBytes), Qt::Uninitialized);
    auto *out = reinterpret_cast<uchar *>(bytes.data());
    std::memcpy(out, "RIFF", 4);
    qToLittleEndian<quint32>(36 + dataBytes, out + 4);
    std::memcpy(out + 8, "WAVEfmt ", 8);
    qToLittleEndian<quint32>(16, out + 16);
    qToLittleEndian<quint16>(1, out + 20);
    qToLittleEndian<quint16>(channels, out + 22);
    qToLittleEndian<quint32>(rate, out + 24);
    qToLittleEndian<quint32>(rate * channels * 2, out + 28);
    qToLittleEndian<quint16>(channels * 2, out + 32);
    qToLittleEndian<quint16>(16, out + 34);
    std::memcpy(out + 36, "data", 4);
    qToLittleEndian<quint32>(dataBytes, out + 40);
    uchar *sample = out + 44;
    for (const float value : buffer.samples) {
        qToLittleEndian<qint16>(qint16(std::lround(std::clamp(value, -1.0F, 1.0F) * 32767.0F)), sample);
        sample += 2;
    }
    return bytes;
}

} // namespace WavFile
