#pragma once

#include "platform/SpeechRecognizer.h"

#include <QStringList>

#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>
#include <vector>

inline const AudioFormat recognizerFormat{16000, 1};

// A recogniser whose results the test scripts; it records the first sample of every buffer.
class ScriptedRecognizer final : public SpeechRecognizer
{
public:
    std::optional<QString> failure;

    std::expected<void, QString> prepare(const QStringList &strings) override
    {
        contextualStrings = strings;
        return {};
    }
    std::optional<AudioFormat> bestAudioFormat(const AudioFormat &) const override { return recognizerFormat; }
    void append(const AudioBuffer &buffer) override
    {
        std::scoped_lock guard(mutex);
        heard.push_back(buffer.samples.front());
    }
    void finishInput() override { end(false); }
    void cancel() override { end(true); }
    std::expected<void, QString> run(const std::function<void(const Result &)> &onResult) override
    {
        std::unique_lock guard(mutex);
        for (;;) {
            changed.wait(guard, [&] { return !script.empty() || finished; });
            if (cancelled || script.empty())
                break;
            const Result next = script.front();
            script.erase(script.begin());
            guard.unlock();
            onResult(next);
            guard.lock();
        }
        if (failure && !cancelled)
            return std::unexpected(*failure);
        return {};
    }

    void say(std::vector<Result> results)
    {
        std::scoped_lock guard(mutex);
        script.insert(script.end(), results.begin(), results.end());
        changed.notify_all();
    }
    std::vector<float> heardSoFar()
    {
        std::scoped_lock guard(mutex);
        return heard;
    }

    QStringList contextualStrings;

private:
    void end(bool isCancel)
    {
        std::scoped_lock guard(mutex);
        finished = true;
        cancelled = cancelled || isCancel;
        changed.notify_all();
    }

    std::mutex mutex;
    std::condition_variable changed;
    std::vector<Result> script;
    std::vector<float> heard;
    bool finished = false;
    bool cancelled = false;
};

class ScriptedRecognizers final : public SpeechRecognizerFactory, public SpeechModels
{
public:
    std::atomic<ScriptedRecognizer *> last = nullptr;
    // What every recogniser made from now on says before its input ends.
    std::vector<SpeechRecognizer::Result> script;
    std::optional<QString> installFailure;
    std::function<void()> whileInstalling;

    std::unique_ptr<SpeechRecognizer> make(const QString &) override
    {
        auto made = std::make_unique<ScriptedRecognizer>();
        made->say(script);
        last = made.get();
        return made;
    }
    void prewarm(const QString &) override { }
    std::expected<void, QString> ensureInstalled(const QString &) override
    {
        if (whileInstalling)
            whileInstalling();
        if (installFailure)
            return std::unexpected(*installFailure);
        return {};
    }
};
