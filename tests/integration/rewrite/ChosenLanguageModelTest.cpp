#include "MemoryDefaultsStore.h"
#include "ScriptedLanguageModel.h"
#include "engines/ChosenLanguageModel.h"

#include <gtest/gtest.h>

namespace {

TEST(ChosenLanguageModel, FollowsTheStoredChoiceAndKeepsAnEarlierModelForItsSession)
{
    MemoryDefaultsStore defaults;
    QStringList made;
    QStringList gone;
    ScriptedModel *latest = nullptr;
    // Each model answers with the endpoint it was made for and notes when it goes.
    ChosenLanguageModel chosen(defaults, [&](const LanguageModelChoice &choice) {
        const QString label = choice.endpoint.toString();
        made << label;
        auto model = std::make_unique<ScriptedModel>();
        model->answer = label;
        model->whenGone = [&gone, label] { gone << label; };
        latest = model.get();
        return model;
    });

    std::shared_ptr<LanguageModelSession> first = chosen.makeSession(QStringLiteral("a"));
    EXPECT_TRUE(chosen.isAvailable());
    chosen.makeSession(QStringLiteral("b"));
    EXPECT_EQ(made, QStringList({QString()}));

    LanguageModelChoice {QUrl(QStringLiteral("http://127.0.0.1:11434/v1")), QStringLiteral("m")}.save(defaults);
    const std::shared_ptr<LanguageModelSession> second = chosen.makeSession(QStringLiteral("c"));
    EXPECT_EQ(made, QStringList({QString(), QStringLiteral("http://127.0.0.1:11434/v1")}));
    EXPECT_EQ(second->respond({}), QStringLiteral("http://127.0.0.1:11434/v1"));
    chosen.release();
    EXPECT_EQ(latest->releases, 1);

    // The installed model's session still runs on its own model, which goes with it.
    EXPECT_TRUE(gone.isEmpty());
    EXPECT_EQ(first->respond({}), QString());
    std::weak_ptr<LanguageModelSession> watched = first;
    first.reset();
    EXPECT_TRUE(watched.expired());
    EXPECT_EQ(gone, QStringList({QString()}));
}

} // namespace
