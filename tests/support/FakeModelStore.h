#pragma once

#include "platform/SpeechModelStore.h"

#include <QFile>
#include <QSet>
#include <QStringList>
#include <QTemporaryDir>

#include <condition_variable>
#include <functional>
#include <mutex>

// Model files in a folder of their own: a download reports half of the file, then all of it, and leaves an empty
// file in place. Downloads fail with `failure`; those of the files in `holds` wait for `release`.
class FakeModelStore final : public SpeechModelStore
{
public:
    std::optional<QString> failure;
    QSet<QString> holds;
    int checks = 0;
    QStringList downloads;

    void release(const QString &name)
    {
        std::scoped_lock guard(mutex);
        holds.remove(name);
        held.notify_all();
    }
    int downloadsOf(const QString &name)
    {
        std::scoped_lock guard(mutex);
        return int(downloads.count(name));
    }

    std::expected<std::vector<ModelFile>, QString> missingFiles(const std::vector<ModelFile> &files) override
    {
        std::scoped_lock guard(mutex);
        ++checks;
        std::vector<ModelFile> missing;
        for (const ModelFile &file : files)
            if (!QFile::exists(pathOf(file)))
                missing.push_back(file);
        return missing;
    }
    std::expected<void, QString> download(const ModelFile &file, const std::function<void(double)> &progress) override
    {
        {
            std::unique_lock guard(mutex);
            downloads.append(file.name);
            held.wait(guard, [&] { return !holds.contains(file.name); });
        }
        if (failure)
            return std::unexpected(*failure);
        progress(0.5);
        QFile placed(pathOf(file));
        if (!placed.open(QIODevice::WriteOnly))
            return std::unexpected(placed.errorString());
        progress(1.0);
        return {};
    }
    QString pathOf(const ModelFile &file) const override { return folder.filePath(file.name); }

private:
    QTemporaryDir folder;
    std::mutex mutex;
    std::condition_variable held;
};
