#include "speech/SpeechAssetManager.h"

#include "platform/SpeechModelStore.h"

#include <QCoreApplication>
#include <QFile>

SpeechAssetManager::SpeechAssetManager(SpeechModelStore &store)
    : store(store)
{ }

bool SpeechAssetManager::isInstalled(const QString &localeIdentifier) const
{
    std::scoped_lock guard(installedLock);
    return installed.contains(localeIdentifier);
}

std::expected<void, QString> SpeechAssetManager::ensureInstalled(const QString &localeIdentifier)
{
    return ensureFiles(localeIdentifier, ModelCatalogue::filesFor(localeIdentifier));
}

std::expected<void, QString> SpeechAssetManager::ensureLanguageModelInstalled()
{
    return ensureFiles(languageModelKey, {ModelCatalogue::languageModel()});
}

std::expected<QString, QString> SpeechAssetManager::installedLanguageModel() const
{
    const QString path = store.pathOf(ModelCatalogue::languageModel());
    if (!QFile::exists(path))
        return std::unexpected(
            QCoreApplication::translate("SpeechAssetManager", "言語モデルがまだインストールされていません（%1）")
                .arg(path));
    return path;
}

std::expected<void, QString> SpeechAssetManager::ensureFiles(const QString &key, const std::vector<ModelFile> &files)
{
    return executor
        .run([this, key, files]() -> std::expected<void, QString> {
            if (isInstalled(key))
                return {};
            const std::expected<std::vector<ModelFile>, QString> missing = store.missingFiles(files);
            if (!missing) {
                Q_EMIT failed(key, missing.error());
                return std::unexpected(missing.error());
            }
            for (size_t i = 0; i < missing->size(); ++i) {
                const auto progress = [&](double fraction) {
                    Q_EMIT progressed(key, (double(i) + fraction) / double(missing->size()));
                };
                if (std::expected<void, QString> downloaded = store.download((*missing)[i], progress); !downloaded) {
                    Q_EMIT failed(key, downloaded.error());
                    return downloaded;
                }
            }
            std::scoped_lock guard(installedLock);
            installed.insert(key);
            return {};
        })
        .result();
}
