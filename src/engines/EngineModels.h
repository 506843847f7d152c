#pragma once

#include "core/ThreadBudget.h"

#include <QHash>
#include <QString>

#include <algorithm>
#include <expected>
#include <functional>
#include <memory>
#include <mutex>

// What the in-process engines (whisper.cpp, Parakeet, llama.cpp) share: how many threads they
// compute with, and one loaded model per file.
namespace EngineModels {

// `requested` when positive, else recognition's share of the thread budget.
inline int threadCount(int requested)
{
    if (requested > 0)
        return requested;
    return ThreadBudget::recognition();
}

// The model loaded from this file, shared while anyone holds it. `load` runs (under the cache's
// lock, so a file is never loaded twice at once) only when no holder is left.
template<typename Model>
std::expected<std::shared_ptr<Model>, QString> sharedPerFile(
    const QString &fileName, const std::function<std::expected<std::shared_ptr<Model>, QString>()> &load)
{
    static std::mutex mutex;
    static QHash<QString, std::weak_ptr<Model>> loaded;
    std::scoped_lock guard(mutex);
    if (std::shared_ptr<Model> model = loaded.value(fileName).lock())
        return model;
    std::expected<std::shared_ptr<Model>, QString> model = load();
    if (model)
        loaded.insert(fileName, *model);
    return model;
}

} // namespace EngineModels
