#pragma once

#include "platform/SpeechModelStore.h"

#include <atomic>

// Model files in a folder ($XDG_DATA_HOME/Ripplet/models by default), downloaded over HTTP(S) with
// Qt Network. A download goes to "<name>.part" and resumes from there with a Range request; only a
// file whose checksum matches is renamed into place, so a partial or corrupt file is never used.
// Blocking: each call runs its own event loop on the calling thread.
class HttpModelStore final : public SpeechModelStore
{
public:
    explicit HttpModelStore(QString folder = defaultFolder());

    static QString defaultFolder();

    std::expected<std::vector<ModelFile>, QString> missingFiles(const std::vector<ModelFile> &files) override;
    std::expected<void, QString> download(const ModelFile &file, const std::function<void(double)> &progress) override;
    QString pathOf(const ModelFile &file) const override;

    // Ends the downloads under way within a tenth of a second, keeping what arrived for the next
    // start, and refuses new ones: the program's end must not wait for a large file. Any thread.
    void stopDownloads() { isStopping = true; }

    // The URL a file is fetched from; tests point it at a local server.
    void setUrlOverride(std::function<QString(const ModelFile &)> override) { urlFor = std::move(override); }

private:
    QString folder;
    std::function<QString(const ModelFile &)> urlFor;
    std::atomic<bool> isStopping = false;
};
