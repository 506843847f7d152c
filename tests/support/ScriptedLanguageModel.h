#pragma once

#include "platform/LanguageModel.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>
#include <vector>

// A session whose answer the test gives; respond waits for it or for a cancel. A slow session's
// prewarm, too, runs until it is cancelled.
class ScriptedSession final : public LanguageModelSession
{
public:
    explicit ScriptedSession(QString instructions, bool isSlow = false)
        : instructions(std::move(instructions))
        , isSlow(isSlow)
    { }
    std::expected<void, QString> prewarm() override
    {
        ++prewarms;
        std::unique_lock guard(mutex);
        changed.wait(guard, [this] { return !isSlow || isCancelled; });
        return {};
    }
    std::expected<QString, QString> respond(const QString &prompt) override
    {
        std::unique_lock guard(mutex);
        prompts.push_back(prompt);
        changed.wait(guard, [this] { return answer.has_value() || isCancelled; });
        if (answer)
            return *answer;
        return std::unexpected(QStringLiteral("cancelled"));
    }
    void cancel() override
    {
        std::scoped_lock guard(mutex);
        isCancelled = true;
        changed.notify_all();
    }
    void give(std::expected<QString, QString> given)
    {
        std::scoped_lock guard(mutex);
        answer = std::move(given);
        changed.notify_all();
    }
    bool wasCancelled()
    {
        std::scoped_lock guard(mutex);
        return isCancelled;
    }
    bool hasPrompt()
    {
        std::scoped_lock guard(mutex);
        return !prompts.empty();
    }

    const QString instructions;
    const bool isSlow;
    std::atomic<int> prewarms{0};
    std::vector<QString> prompts;

private:
    std::mutex mutex;
    std::condition_variable changed;
    std::optional<std::expected<QString, QString>> answer;
    bool isCancelled = false;
};

class ScriptedModel final : public LanguageModel
{
public:
    std::mutex mutex;
    std::vector<std::shared_ptr<ScriptedSession>> made;
    // The answer every session made from now on gives at once.
    std::optional<std::expected<QString, QString>> answer;
    // Sessions made from now on read their instructions until cancelled.
    bool isSlow = false;
    int releases = 0;
    std::function<void()> whenGone;

    ~ScriptedModel() override
    {
        if (whenGone)
            whenGone();
    }
    bool isAvailable() const override { return true; }
    void release() override { ++releases; }
    std::shared_ptr<LanguageModelSession> makeSession(const QString &instructions) override
    {
        std::scoped_lock guard(mutex);
        made.push_back(std::make_shared<ScriptedSession>(instructions, isSlow));
        if (answer)
            made.back()->give(*answer);
        return made.back();
    }
    std::shared_ptr<ScriptedSession> last()
    {
        std::scoped_lock guard(mutex);
        return made.empty() ? nullptr : made.back();
    }
    size_t count()
    {
        std::scoped_lock guard(mutex);
        return made.size();
    }
    // Sessions that were asked for a rewrite.
    size_t asked()
    {
        std::scoped_lock guard(mutex);
        return size_t(std::ranges::count_if(made, [](const auto &session) { return session->hasPrompt(); }));
    }
};
