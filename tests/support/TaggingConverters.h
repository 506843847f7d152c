#pragma once

#include "platform/AudioEngine.h"

#include <vector>

// Converts by tagging: the output's first sample is the input's first sample, so order shows.
class TaggingConverters final : public AudioConverterFactory
{
public:
    int made = 0;
    std::vector<qint64> capacities;

    std::unique_ptr<AudioConverter> make(const AudioFormat &from, const AudioFormat &to) override
    {
        ++made;
        class Converter final : public AudioConverter
        {
        public:
            Converter(TaggingConverters &owner, AudioFormat from, AudioFormat to)
                : owner(owner)
                , from(from)
                , to(to)
            { }
            AudioFormat inputFormat() const override { return from; }
            std::optional<AudioBuffer> convert(const AudioBuffer &input, qint64 capacityFrames) override
            {
                owner.capacities.push_back(capacityFrames);
                return AudioBuffer{to, {input.samples.empty() ? 0.0F : input.samples.front()}};
            }
            // The tail is tagged -1.
            AudioBuffer flush() override { return AudioBuffer{to, {-1.0F}}; }

        private:
            TaggingConverters &owner;
            AudioFormat from;
            AudioFormat to;
        };
        return std::make_unique<Converter>(*this, from, to);
    }
};
