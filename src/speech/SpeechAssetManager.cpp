#include "speech/SpeechAssetManager.h"

#include "platform/SpeechModelStore.h"

#include <QCoreApplication>
#include <QFile>

SpeechAssetManager::SpeechAssetManager(SpeechModelStore &store)
    : store(store)
{ }

bool SpeechAssetManager::isInstalled(const QString &localeIdentifier) const
{
    std::scoped_lock guard(lock);
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
    if (isInstalled(key))
        return {};
    const std::expected<std::vector<ModelFile>, QString> missing = store.missingFiles(files);
    if (!missing) {
        Q_EMIT failed(key, missing.error());
        return std::unexpected(missing.error());
    }
    const double share = 1.0 / double(std::max<size_t>(missing->size(), 1));
    for (size_t i = 0; i < missing->size(); ++i) {
        if (std::expected<void, QString> fetched = fetch(key, (*missing)[i], double(i) * share, share); !fetched) {
            Q_EMIT failed(key, fetched.error());
            return fetched;
        }
    }
    std::scoped_lock guard(lock);
    installed.insert(key);
    return {};
}

std::expected<void, QString> SpeechAssetManager::fetch(
    const QString &key, const ModelFile &file, double from, double share)
{
    std::promise<std::expected<void, QString>> promise;
    {
        std::unique_lock guard(lock);
        if (placed.contains(file.name))
            return {};
        if (const auto found = running.find(file.name); found != running.end()) {
            const std::shared_future<std::expected<void, QString>> theirs = found->second;
            guard.unlock();
            return theirs.get();
        }
        running.emplace(file.name, promise.get_future().share());
    }
    const std::expected<void, QString> downloaded
        = store.download(file, [&](double fraction) { Q_EMIT progressed(key, from + fraction * share); });
    std::scoped_lock guard(lock);
    running.erase(file.name);
    if (downloaded)
        placed.insert(file.name);
    promise.set_value(downloaded);
    return downloaded;
}
