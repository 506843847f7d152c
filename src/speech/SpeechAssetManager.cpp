#include "speech/SpeechAssetManager.h"

#include "platform/SpeechModelStore.h"

SpeechAssetManager::SpeechAssetManager(SpeechModelStore &store)
    : store(store)
{ }

bool SpeechAssetManager::isInstalled(const QString &localeIdentifier) const
{
    return const_cast<SerialExecutor &>(executor)
        .run([this, localeIdentifier] { return installed.contains(localeIdentifier); })
        .result();
}

std::expected<void, QString> SpeechAssetManager::ensureInstalled(const QString &localeIdentifier)
{
    return executor
        .run([this, localeIdentifier]() -> std::expected<void, QString> {
            if (installed.contains(localeIdentifier))
                return {};
            const std::expected<std::vector<ModelFile>, QString> missing
                = store.missingFiles(ModelCatalogue::filesFor(localeIdentifier));
            if (!missing)
                return std::unexpected(missing.error());
            for (size_t i = 0; i < missing->size(); ++i) {
                const auto progress = [&](double fraction) {
                    if (onProgress)
                        onProgress(localeIdentifier, (double(i) + fraction) / double(missing->size()));
                };
                if (std::expected<void, QString> downloaded = store.download((*missing)[i], progress); !downloaded)
                    return downloaded;
            }
            installed.insert(localeIdentifier);
            return {};
        })
        .result();
}
