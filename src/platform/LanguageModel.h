#pragma once

#include <QCoreApplication>
#include <QString>

#include <expected>
#include <functional>
#include <memory>

// One conversation with a language model, made from an instructions text. `respond` blocks its
// worker thread until the answer (greedy decoding) or a failure with a readable message; `cancel`,
// from any thread, makes a running `respond` return soon.
class LanguageModelSession
{
public:
    virtual ~LanguageModelSession() = default;

    // Reads the instructions ahead of time, so a later answer starts at once.
    virtual std::expected<void, QString> prewarm() = 0;
    virtual std::expected<QString, QString> respond(const QString &prompt) = 0;
    virtual void cancel() = 0;

    // For timing: called on the answering thread once the first token of an answer is known.
    std::function<void()> onFirstToken;
};

class LanguageModel
{
public:
    virtual ~LanguageModel() = default;

    // The longest answer, in tokens, for a prompt of this many tokens: about twice the prompt and a
    // margin. A rewrite longer than that would be refused anyway, so every engine stops there and
    // says so with `cutMessage`.
    static int answerCap(int promptTokens) { return 2 * promptTokens + 16; }
    static QString cutMessage(int cap)
    {
        return QCoreApplication::translate("LanguageModel", "清書が長くなりすぎたため打ち切りました（%1 トークン）")
            .arg(cap);
    }
    // What a session answers once cancelled.
    static QString cancelledMessage() { return QCoreApplication::translate("LanguageModel", "清書を取り消しました"); }

    virtual std::shared_ptr<LanguageModelSession> makeSession(const QString &instructions) = 0;
};
