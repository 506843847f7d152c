#include "speech/ModelCatalogue.h"

namespace ModelCatalogue {

// English: whisper base.en. On a 2-core machine the test models measure a real-time factor of 0.06
// for the tiny architecture and 2.0 for the large one; base has about twice tiny's encoder (6 layers
// of 512 against 4 of 384), so the last open segment is still decoded within the wait a user
// accepts, with clearly better accuracy than tiny. Japanese: whisper small, the smallest multilingual model
// whose Japanese is usable; the larger models (large-v3, kotoba-whisper, a distilled large-v3) use
// the large encoder, which runs slower than real time on two cores.
ModelFile recognitionModel(const QString &localeIdentifier)
{
    if (localeIdentifier == u"ja_JP") {
        return {QStringLiteral("ggml-small.bin"),
            QStringLiteral("https://huggingface.co/ggerganov/whisper.cpp/resolve/main/ggml-small.bin"),
            466LL * 1024 * 1024, QCryptographicHash::Sha1,
            QByteArrayLiteral("55356645c2b361a969dfd0ef2c5a50d530afd8d5")};
    }
    return {QStringLiteral("ggml-base.en.bin"),
        QStringLiteral("https://huggingface.co/ggerganov/whisper.cpp/resolve/main/ggml-base.en.bin"),
        142LL * 1024 * 1024, QCryptographicHash::Sha1, QByteArrayLiteral("137c40403d78fd54d454da0f9bd998f78703390c")};
}

ModelFile voiceActivityModel()
{
    return {QStringLiteral("ggml-silero-v6.2.0.bin"),
        QStringLiteral("https://huggingface.co/ggml-org/whisper-vad/resolve/main/ggml-silero-v6.2.0.bin"), 885098,
        QCryptographicHash::Sha256,
        QByteArrayLiteral("2aa269b785eeb53a82983a20501ddf7c1d9c48e33ab63a41391ac6c9f7fb6987")};
}

std::vector<ModelFile> filesFor(const QString &localeIdentifier)
{
    return {recognitionModel(localeIdentifier), voiceActivityModel()};
}

} // namespace ModelCatalogue
