#pragma once

#include <QCoreApplication>
#include <QString>

#include <expected>
#include <functional>
#include <memory>

// One conversation with a language model, made from an instructions text. `prewarm` and `respond`
// block their worker thread; `respond` gives the answer (greedy decoding) or a failure with a
// readable message. `cancel`, from any thread, makes a running `prewarm` or `respond` return soon.
// A `respond` called while a `prewarm` runs on another thread takes over its reading.
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
    // What a rewrite answers when no model is installed: what to do about it, never where a file is.
    static QString notInstalledMessage()
    {
        return QCoreApplication::translate("LanguageModel", "言語モデルが未インストールです（設定から追加できます）");
    }

    // Cheap; makes no session. Sessions are made only for an available model.
    virtual std::shared_ptr<LanguageModelSession> makeSession(const QString &instructions) = 0;
    // Whether a model is there to be asked (a file installed, a server configured). Cheap: looks at
    // no more than a file's presence. Any thread.
    virtual bool isAvailable() const { return true; }
    // Frees what the model keeps loaded between sessions; the next session loads it again. Any
    // thread; sessions still running keep what they use until they end.
    virtual void release() { }
};
