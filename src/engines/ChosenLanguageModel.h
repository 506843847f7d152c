#pragma once

#include "platform/LanguageModel.h"
#include "store/LanguageModelChoice.h"

#include <functional>
#include <memory>
#include <mutex>

class DefaultsStore;

// The language model as the user chose it (LanguageModelChoice), read from the defaults store for
// every session, so a choice made in the settings window or with sorawen-cli applies from the next
// dictation. A model of an earlier choice lives on until its last session ends, and goes on the
// thread that drops that session. Thread-safe; `defaults` must be readable from any thread.
class ChosenLanguageModel final : public LanguageModel
{
public:
    using Maker = std::function<std::unique_ptr<LanguageModel>(const LanguageModelChoice &)>;

    ChosenLanguageModel(const DefaultsStore &defaults, Maker make);

    std::shared_ptr<LanguageModelSession> makeSession(const QString &instructions) override;
    bool isAvailable() const override;
    void release() override;

private:
    std::shared_ptr<LanguageModel> current() const;

    const DefaultsStore &defaults;
    const Maker make;
    mutable std::mutex lock;
    mutable LanguageModelChoice choice;
    mutable std::shared_ptr<LanguageModel> model;
};
