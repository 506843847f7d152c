#pragma once

#include "platform/AudioEngine.h"

// Sample-rate and channel conversion with libsoxr: channels are mixed down (or the first is
// repeated) first, then the rate is changed. Each converter keeps its resampler state between
// buffers of one stream. Not thread-safe; the speech service uses it under its lock.
class SoxrConverterFactory final : public AudioConverterFactory
{
public:
    std::unique_ptr<AudioConverter> make(const AudioFormat &from, const AudioFormat &to) override;
};
