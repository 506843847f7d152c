#include "app/EngineServices.h"

#include "engines/ChosenLanguageModel.h"
#include "engines/LlamaLanguageModel.h"
#include "engines/OpenAiChatModel.h"

namespace {

// The stored values as the file holds them at the moment of each read. Any thread (each read loads
// the file anew); read-only.
class StoredOnDisk final : public DefaultsStore
{
public:
    std::optional<QByteArray> bytes(const QString &key) const override { return FileDefaultsStore().bytes(key); }
    bool setBytes(const QString &, const QByteArray &) override { return false; }
    std::optional<bool> boolean(const QString &key) const override { return FileDefaultsStore().boolean(key); }
    bool setBoolean(const QString &, bool) override { return false; }
};

} // namespace

EngineServices::EngineServices()
    : storedOnDisk(std::make_unique<StoredOnDisk>())
    , recognizers(*storedOnDisk, assets, modelStore)
    , languageModel(std::make_unique<ChosenLanguageModel>(
          *storedOnDisk, [this](const LanguageModelChoice &choice) { return makeLanguageModel(choice, assets); }))
{ }

EngineServices::~EngineServices() = default;

std::unique_ptr<LanguageModel> EngineServices::makeLanguageModel(
    const LanguageModelChoice &choice, SpeechAssetManager &assets, const std::optional<QString> &modelFile)
{
    if (choice.usesEndpoint())
        return std::make_unique<OpenAiChatModel>(OpenAiChatModel::Options{choice.endpoint, choice.model});
    return std::make_unique<LlamaLanguageModel>(
        LlamaLanguageModel::Options{[&assets, modelFile]() -> std::expected<QString, QString> {
            return modelFile ? std::expected<QString, QString>(*modelFile) : assets.installedLanguageModel();
        }});
}
