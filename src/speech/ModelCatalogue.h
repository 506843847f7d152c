#pragma once

#include <QByteArray>
#include <QCryptographicHash>
#include <QString>

#include <vector>

// A model file that can be downloaded: where from, about how big, and the checksum its publisher
// lists, which a downloaded file must match before it is used.
struct ModelFile {
    QString name;
    QString url;
    qint64 approximateBytes = 0;
    QCryptographicHash::Algorithm algorithm = QCryptographicHash::Sha256;
    QByteArray checksum; // lower-case hexadecimal

    friend bool operator==(const ModelFile &, const ModelFile &) = default;
};

// The files each recognition language needs: its recognition model and the voice-activity model;
// and the language model that rewrites dictations in both languages.
namespace ModelCatalogue {
std::vector<ModelFile> filesFor(const QString &localeIdentifier);
ModelFile voiceActivityModel();
ModelFile recognitionModel(const QString &localeIdentifier);
ModelFile languageModel();
} // namespace ModelCatalogue
