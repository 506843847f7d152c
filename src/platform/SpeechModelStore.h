#pragma once

#include <QByteArray>
#include <QCryptographicHash>
#include <QString>

#include <expected>
#include <functional>
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

// Model files on disk: which of a list are missing or damaged, and their download. Blocking; called
// on the model installer's own thread. Errors carry a readable message.
class SpeechModelStore
{
public:
    virtual ~SpeechModelStore() = default;

    // The files not present with the right checksum.
    virtual std::expected<std::vector<ModelFile>, QString> missingFiles(const std::vector<ModelFile> &files) = 0;
    // Downloads one file, resuming a partial one; a file is in place only after its checksum
    // matched. `progress` gets the fraction done (0…1).
    virtual std::expected<void, QString> download(const ModelFile &file, const std::function<void(double)> &progress)
        = 0;
    // Where an installed file lives.
    virtual QString pathOf(const ModelFile &file) const = 0;
};
