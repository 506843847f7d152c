#include "ui/ModelsModel.h"

#include "core/TaskPools.h"
#include "speech/ModelCatalogue.h"
#include "speech/SpeechAssetManager.h"
#include "store/LanguageModelChoice.h"
#include "store/RecognitionLanguage.h"
#include "store/SpeechModelChoice.h"

#include <QFileInfo>
#include <QPointer>
#include <qcoro/qcorofuture.h>

#include <array>

namespace {

constexpr std::array<RecognitionLanguage, 2> languages = {RecognitionLanguage::japanese, RecognitionLanguage::english};

std::optional<RecognitionLanguage> languageAt(int index)
{
    if (index < 0 || index >= int(languages.size()))
        return std::nullopt;
    return languages[size_t(index)];
}

QString megabytes(const std::vector<ModelFile> &files)
{
    qint64 bytes = 0;
    for (const ModelFile &file : files)
        bytes += file.approximateBytes;
    return QCoreApplication::translate("ModelsModel", "約 %1 MB").arg((bytes + 500'000) / 1'000'000);
}

} // namespace

ModelsModel::ModelsModel(SpeechAssetManager &assets, const SpeechModelStore &store, DefaultsStore &defaults,
    QObject *parent)
    : QObject(parent)
    , assets(assets)
    , store(store)
    , defaults(defaults)
{
    connect(&assets, &SpeechAssetManager::progressed, this, [this](const QString &what, double fraction) {
        if (progress.contains(what)) {
            progress.insert(what, fraction);
            Q_EMIT changed();
        }
    });
}

QVariantList ModelsModel::speechModels() const
{
    const SpeechModelChoice choice = SpeechModelChoice::load(defaults);
    QVariantList rows;
    for (RecognitionLanguage language : languages) {
        const QString locale = language.rawValue();
        const std::vector<ModelFile> files = ModelCatalogue::filesFor(locale);
        // A catalogue file is moved into place only once its checksum matched.
        const bool installed = assets.isInstalled(locale)
            || std::all_of(files.begin(), files.end(),
                [this](const ModelFile &file) { return QFileInfo::exists(store.pathOf(file)); });
        QVariantMap row {{QStringLiteral("title"),
                             language == RecognitionLanguage::japanese ? tr("日本語") : tr("英語")},
            {QStringLiteral("isInstalled"), installed}, {QStringLiteral("size"), megabytes(files)},
            {QStringLiteral("progress"), progress.value(locale, -1)},
            {QStringLiteral("problem"), problems.value(locale)}, {QStringLiteral("source"), 0}};
        const SpeechModelChoice::Source &source = choice.of(language);
        if (const auto *file = std::get_if<SpeechModelChoice::File>(&source)) {
            row.insert(QStringLiteral("source"), 1);
            row.insert(QStringLiteral("path"), file->path);
        } else if (const auto *endpoint = std::get_if<SpeechModelChoice::Endpoint>(&source)) {
            row.insert(QStringLiteral("source"), 2);
            row.insert(QStringLiteral("url"), endpoint->url.toString());
            row.insert(QStringLiteral("model"), endpoint->model);
        }
        rows.append(row);
    }
    return rows;
}

QVariantMap ModelsModel::languageModel() const
{
    const LanguageModelChoice choice = LanguageModelChoice::load(defaults);
    const QString key = SpeechAssetManager::languageModelKey;
    return {{QStringLiteral("source"), choice.usesEndpoint() ? 1 : 0},
        {QStringLiteral("isInstalled"), assets.installedLanguageModel().has_value()},
        {QStringLiteral("size"), megabytes({ModelCatalogue::languageModel()})},
        {QStringLiteral("progress"), progress.value(key, -1)}, {QStringLiteral("problem"), problems.value(key)},
        {QStringLiteral("url"), choice.endpoint.toString()}, {QStringLiteral("model"), choice.model}};
}

void ModelsModel::setProblem(const QString &key, const QString &problem)
{
    problems.insert(key, problem);
    Q_EMIT changed();
}

void ModelsModel::useCatalogueModel(int index)
{
    const std::optional<RecognitionLanguage> language = languageAt(index);
    if (!language)
        return;
    SpeechModelChoice choice = SpeechModelChoice::load(defaults);
    choice.of(*language) = SpeechModelChoice::Catalogue {};
    choice.save(defaults);
    setProblem(language->rawValue(), {});
}

void ModelsModel::useModelFile(int index, const QString &path)
{
    const std::optional<RecognitionLanguage> language = languageAt(index);
    if (!language)
        return;
    const std::expected<QString, QString> file = SpeechModelChoice::modelFile(path.trimmed());
    if (!file) {
        setProblem(language->rawValue(), file.error());
        return;
    }
    SpeechModelChoice choice = SpeechModelChoice::load(defaults);
    choice.of(*language) = SpeechModelChoice::File {*file};
    choice.save(defaults);
    setProblem(language->rawValue(), {});
}

void ModelsModel::useTranscriptionServer(int index, const QString &url, const QString &model)
{
    const std::optional<RecognitionLanguage> language = languageAt(index);
    if (!language)
        return;
    const std::expected<QUrl, QString> endpoint = LanguageModelChoice::endpointUrl(url.trimmed());
    if (!endpoint) {
        setProblem(language->rawValue(), endpoint.error());
        return;
    }
    SpeechModelChoice choice = SpeechModelChoice::load(defaults);
    choice.of(*language) = SpeechModelChoice::Endpoint {*endpoint, model.trimmed()};
    choice.save(defaults);
    setProblem(language->rawValue(), {});
}

void ModelsModel::downloadSpeechModel(int index)
{
    if (const std::optional<RecognitionLanguage> language = languageAt(index))
        download(language->rawValue());
}

void ModelsModel::useInstalledLanguageModel()
{
    LanguageModelChoice {}.save(defaults);
    setProblem(SpeechAssetManager::languageModelKey, {});
}

void ModelsModel::useLanguageModelEndpoint(const QString &url, const QString &model)
{
    const std::expected<QUrl, QString> endpoint = LanguageModelChoice::endpointUrl(url.trimmed());
    if (!endpoint) {
        setProblem(SpeechAssetManager::languageModelKey, endpoint.error());
        return;
    }
    LanguageModelChoice {*endpoint, model.trimmed()}.save(defaults);
    setProblem(SpeechAssetManager::languageModelKey, {});
}

void ModelsModel::downloadLanguageModel()
{
    download(SpeechAssetManager::languageModelKey);
}

QCoro::Task<> ModelsModel::download(QString key)
{
    if (progress.contains(key))
        co_return;
    progress.insert(key, 0);
    problems.remove(key);
    Q_EMIT changed();
    QPointer<ModelsModel> self(this);
    const QFuture<std::expected<void, QString>> downloading
        = TaskPools::run(TaskPools::longWork(), [&assets = assets, key] {
              return key == SpeechAssetManager::languageModelKey ? assets.ensureLanguageModelInstalled()
                                                                 : assets.ensureInstalled(key);
          });
    const std::expected<void, QString> downloaded = co_await downloading;
    if (!self)
        co_return;
    progress.remove(key);
    if (!downloaded)
        problems.insert(key, downloaded.error());
    Q_EMIT changed();
}
