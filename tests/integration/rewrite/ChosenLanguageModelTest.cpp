#include "MemoryDefaultsStore.h"
#include "engines/ChosenLanguageModel.h"

#include <gtest/gtest.h>

namespace {

// A model that answers with the endpoint it was made for and notes when it goes.
class LabelledModel final : public LanguageModel
{
public:
    LabelledModel(QString label, QStringList &gone)
        : label(std::move(label))
        , gone(gone)
    { }
    ~LabelledModel() override { gone << label; }

    class Session final : public LanguageModelSession
    {
    public:
        explicit Session(QString label)
            : label(std::move(label))
        { }
        std::expected<void, QString> prewarm() override { return {}; }
        std::expected<QString, QString> respond(const QString &) override { return label; }
        void cancel() override { }
        const QString label;
    };

    std::shared_ptr<LanguageModelSession> makeSession(const QString &) override
    {
        return std::make_shared<Session>(label);
    }
    void release() override { ++releases; }

    const QString label;
    QStringList &gone;
    int releases = 0;
};

TEST(ChosenLanguageModel, FollowsTheStoredChoiceAndKeepsAnEarlierModelForItsSession)
{
    MemoryDefaultsStore defaults;
    QStringList made;
    QStringList gone;
    LabelledModel *latest = nullptr;
    ChosenLanguageModel chosen(defaults, [&](const LanguageModelChoice &choice) {
        made << choice.endpoint.toString();
        auto model = std::make_unique<LabelledModel>(choice.endpoint.toString(), gone);
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
