#include "engines/ChosenLanguageModel.h"

ChosenLanguageModel::ChosenLanguageModel(const DefaultsStore &defaults, Maker make)
    : defaults(defaults)
    , make(std::move(make))
{ }

std::shared_ptr<LanguageModel> ChosenLanguageModel::current() const
{
    const LanguageModelChoice stored = LanguageModelChoice::load(defaults);
    std::scoped_lock guard(lock);
    if (!model || stored != choice) {
        choice = stored;
        model = make(stored);
    }
    return model;
}

std::shared_ptr<LanguageModelSession> ChosenLanguageModel::makeSession(const QString &instructions)
{
    // The session keeps its model: the two are owned together, the caller sees the session.
    struct Owned {
        std::shared_ptr<LanguageModel> model;
        std::shared_ptr<LanguageModelSession> session;
    };
    std::shared_ptr<LanguageModel> chosen = current();
    auto owned = std::make_shared<Owned>(Owned {chosen, chosen->makeSession(instructions)});
    if (!owned->session)
        return nullptr;
    return std::shared_ptr<LanguageModelSession>(owned, owned->session.get());
}

bool ChosenLanguageModel::isAvailable() const
{
    return current()->isAvailable();
}

void ChosenLanguageModel::release()
{
    std::scoped_lock guard(lock);
    if (model)
        model->release();
}
