#include "speech/ModelCatalogue.h"

namespace ModelCatalogue {

// English: whisper base.en. On a 2-core machine the test models measure a real-time factor of 0.06
// for the tiny architecture and 2.0 for the large one; base has about twice tiny's encoder (6 layers
// of 512 against 4 of 384), so the last open segment is still decoded within the wait a user
// accepts, with clearly better accuracy than tiny. Parakeet TDT 0.6B v3 is far more accurate, but a
// random model of its shape takes about 4 s from the end of an 11 s recording to the text on two
// cores (against about 0.14 s for whisper tiny), too slow to be the default there.
// Japanese: whisper small, the smallest multilingual model whose Japanese is usable; the larger
// models (large-v3, kotoba-whisper, a distilled large-v3) use the large encoder, which runs slower
// than real time on two cores.
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

// Qwen2.5 1.5B Instruct, quantised to 4 bits (Q4_K_M), at a fixed revision of its publisher's
// repository. Among the small instruction-tuned models it is trained on Japanese as well as English
// (the Llama 3.2 and SmolLM models of that size are mostly English; Gemma 2 2B is larger and slower),
// and its size class is the one a 2-core machine can run within the rewrite's time limit: a random
// model of the same shape and quantisation reads about 90 prompt tokens and writes about 20 tokens a
// second there (bench_language_model --shape=1.5b), so a prepared session rewrites a sentence in
// about 3 s. The 0.5B model is three times faster but much weaker in Japanese.
ModelFile languageModel()
{
    return {QStringLiteral("qwen2.5-1.5b-instruct-q4_k_m.gguf"),
        QStringLiteral("https://huggingface.co/Qwen/Qwen2.5-1.5B-Instruct-GGUF/resolve/"
                       "91cad51170dc346986eccefdc2dd33a9da36ead9/qwen2.5-1.5b-instruct-q4_k_m.gguf"),
        1117320736, QCryptographicHash::Sha256,
        QByteArrayLiteral("6a1a2eb6d15622bf3c96857206351ba97e1af16c30d7a74ee38970e434e9407e")};
}

std::vector<ModelFile> filesFor(const QString &localeIdentifier)
{
    return {recognitionModel(localeIdentifier), voiceActivityModel()};
}

} // namespace ModelCatalogue
