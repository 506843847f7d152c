#include "engines/SoxrConverter.h"

#include <soxr.h>

namespace {

class SoxrConverter final : public AudioConverter
{
public:
    SoxrConverter(const AudioFormat &from, const AudioFormat &to, soxr_t resampler)
        : from(from)
        , to(to)
        , resampler(resampler)
    { }
    ~SoxrConverter() override
    {
        if (resampler != nullptr)
            soxr_delete(resampler);
    }
    SoxrConverter(const SoxrConverter &) = delete;
    SoxrConverter &operator=(const SoxrConverter &) = delete;

    AudioFormat inputFormat() const override { return from; }

    std::optional<AudioBuffer> convert(const AudioBuffer &input, qint64 capacityFrames) override
    {
        if (input.format != from)
            return std::nullopt;
        const qint64 frames = input.frameLength();
        // Mix to the output's channel count (mono: the mean of all channels).
        std::vector<float> mixed(size_t(frames * to.channelCount));
        for (qint64 frame = 0; frame < frames; ++frame) {
            const float *source = input.samples.data() + frame * from.channelCount;
            for (int channel = 0; channel < to.channelCount; ++channel) {
                float value = 0;
                if (to.channelCount == 1) {
                    for (int c = 0; c < from.channelCount; ++c)
                        value += source[c];
                    value /= float(from.channelCount);
                } else {
                    value = source[std::min(channel, from.channelCount - 1)];
                }
                mixed[size_t(frame * to.channelCount + channel)] = value;
            }
        }
        if (resampler == nullptr)
            return AudioBuffer{to, std::move(mixed)};
        AudioBuffer output{to, std::vector<float>(size_t(capacityFrames * to.channelCount))};
        size_t consumed = 0;
        size_t produced = 0;
        if (soxr_process(resampler, mixed.data(), size_t(frames), &consumed, output.samples.data(),
                size_t(capacityFrames), &produced)
            != nullptr)
            return std::nullopt;
        output.samples.resize(produced * size_t(to.channelCount));
        return output;
    }

    AudioBuffer flush() override
    {
        AudioBuffer tail{to, {}};
        if (resampler == nullptr)
            return tail;
        // Without input soxr gives out what its filter still holds, a block at a time.
        std::vector<float> block(size_t(1024 * to.channelCount));
        for (;;) {
            size_t produced = 0;
            if (soxr_process(resampler, nullptr, 0, nullptr, block.data(), 1024, &produced) != nullptr || produced == 0)
                return tail;
            tail.samples.insert(
                tail.samples.end(), block.begin(), block.begin() + std::ptrdiff_t(produced * size_t(to.channelCount)));
        }
    }

private:
    AudioFormat from;
    AudioFormat to;
    soxr_t resampler;
};

} // namespace

std::unique_ptr<AudioConverter> SoxrConverterFactory::make(const AudioFormat &from, const AudioFormat &to)
{
    if (!from.isUsable() || !to.isUsable())
        return nullptr;
    if (from.sampleRate == to.sampleRate)
        return std::make_unique<SoxrConverter>(from, to, nullptr);
    soxr_error_t error = nullptr;
    const soxr_io_spec_t io = soxr_io_spec(SOXR_FLOAT32_I, SOXR_FLOAT32_I);
    const soxr_quality_spec_t quality = soxr_quality_spec(SOXR_HQ, 0);
    soxr_t resampler
        = soxr_create(from.sampleRate, to.sampleRate, unsigned(to.channelCount), &error, &io, &quality, nullptr);
    if (error != nullptr || resampler == nullptr)
        return nullptr;
    return std::make_unique<SoxrConverter>(from, to, resampler);
}
