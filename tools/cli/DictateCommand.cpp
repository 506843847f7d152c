#include "CliCommand.h"

#include "FileAudioEngine.h"
#include "app/EngineServices.h"
#include "core/TaskPools.h"
#include "dictation/AppModel.h"
#include "platform/AccessibilityAccess.h"
#include "platform/AccessibilityTree.h"
#include "platform/Keystroke.h"
#include "platform/LoginItem.h"
#include "platform/Pasteboard.h"
#include "platform/SleepMonitor.h"
#include "platform/SoundPlayer.h"
#include "speech/WavFile.h"
#include "store/RippletSettings.h"

#include <QCoreApplication>
#include <QTemporaryDir>
#include <QTextStream>

#include <mutex>

namespace {

// The stored values with the command's own settings laid over them; nothing is written back.
class SessionDefaults final : public DefaultsStore
{
public:
    SessionDefaults(const DefaultsStore &stored, const QByteArray &settings)
        : stored(stored)
        , settings(settings)
    { }
    std::optional<QByteArray> bytes(const QString &key) const override
    {
        return key == DefaultsKeys::settings ? std::optional(settings) : stored.bytes(key);
    }
    bool setBytes(const QString &key, const QByteArray &value) override
    {
        if (key == DefaultsKeys::settings)
            settings = value;
        return true;
    }
    std::optional<bool> boolean(const QString &key) const override { return stored.boolean(key); }
    bool setBoolean(const QString &, bool) override { return true; }

private:
    const DefaultsStore &stored;
    QByteArray settings;
};

// The field a file's dictation lands in: the focused text field of a pretend application that
// never loses the focus. The clipboard is its own, and the paste shortcut moves the clipboard's
// text into the field, so the coordinator's paste runs unchanged and confirms what it sees.
class PretendField final : public AccessibilityTree, public AccessibilityAccess, public Pasteboard, public Keystroke
{
public:
    QString text() const
    {
        std::scoped_lock guard(lock);
        return value;
    }

    std::optional<Application> frontmostApplication() const override
    {
        return Application{qint32(QCoreApplication::applicationPid()), QStringLiteral("sorawen-cli"),
            QStringLiteral("sorawen-cli")};
    }
    std::unique_ptr<AccessibleElement> focusedWindow(const Application &) const override
    {
        return std::make_unique<Element>(*this, QStringLiteral("window"));
    }
    std::unique_ptr<AccessibleElement> focusedElement(const Application &) const override
    {
        return std::make_unique<Element>(*this, QStringLiteral("text"));
    }

    bool isEnabled() const override { return true; }
    void requestEnable() override { }

    QList<PasteboardItem> items() const override
    {
        std::scoped_lock guard(lock);
        return clipboard;
    }
    void clearContents() override
    {
        std::scoped_lock guard(lock);
        clipboard.clear();
        ++changes;
    }
    void setString(const QString &text) override
    {
        std::scoped_lock guard(lock);
        clipboard = {PasteboardItem{{{QStringLiteral("text/plain"), text.toUtf8()}}}};
        ++changes;
    }
    void writeItems(const QList<PasteboardItem> &items) override
    {
        std::scoped_lock guard(lock);
        clipboard = items;
        ++changes;
    }
    quint64 changeCount() const override
    {
        std::scoped_lock guard(lock);
        return changes;
    }

    bool isAvailable() const override { return true; }
    bool waitForModifierRelease() override { return true; }
    bool sendPaste(bool) override
    {
        std::scoped_lock guard(lock);
        for (const PasteboardItem &item : clipboard) {
            for (const auto &[type, bytes] : item.representations) {
                if (type == u"text/plain")
                    value += QString::fromUtf8(bytes);
            }
        }
        return true;
    }

private:
    class Element final : public AccessibleElement
    {
    public:
        Element(const PretendField &field, QString role)
            : field(field)
            , kind(std::move(role))
        { }
        std::optional<QString> title() const override { return QStringLiteral("standard output"); }
        std::optional<QString> role() const override { return kind; }
        std::optional<QString> subrole() const override { return std::nullopt; }
        std::optional<QString> identifier() const override { return std::nullopt; }
        std::optional<QString> selectedText() const override { return std::nullopt; }
        std::optional<Range> selectedTextRange() const override { return std::nullopt; }
        std::optional<QString> stringForRange(Range) const override { return std::nullopt; }
        std::optional<qint64> numberOfCharacters() const override { return field.text().size(); }
        std::optional<QString> value() const override
        {
            return kind == u"text" ? std::optional(field.text()) : std::nullopt;
        }
        qint64 hash() const override { return kind == u"text" ? 2 : 1; }

    private:
        const PretendField &field;
        QString kind;
    };

    mutable std::mutex lock;
    QString value;
    QList<PasteboardItem> clipboard;
    quint64 changes = 0;
};

// No key is observed (the command starts and ends the recording itself), no sound is played,
// sleep is not followed and nothing starts at login.
class Quiet final : public KeyEventSource, public SoundPlayer, public SleepMonitor, public LoginItem
{
public:
    bool start(Handler) override { return true; }
    void stop() override { }
    void resume() override { }
    bool canObserve(quint64) const override { return true; }
    QString errorMessage() const override { return {}; }
    void play(const QString &) override { }
    void setHandler(std::function<void()>) override { }
    bool isEnabled() const override { return false; }
    std::expected<void, QString> setEnabled(bool) override { return {}; }
};

} // namespace

// dictate: a WAV file through the whole dictation, from the key press to the pasted text, with the
// file as the microphone and standard output as the field. The recording ends when the file has
// been played. The history goes to a folder that is removed afterwards.
int runDictateCommand(const QStringList &arguments)
{
    QStringList rest = arguments;
    if (rest.isEmpty() || rest.first().startsWith(u"--"))
        return Cli::usageError(QStringLiteral("dictate needs a WAV file"));
    const QString file = rest.takeFirst();
    const auto options = Cli::parse(rest, {QStringLiteral("language")}, {QStringLiteral("fast")});
    if (!options)
        return 2;
    std::expected<AudioBuffer, QString> audio = WavFile::read(file);
    if (!audio)
        return Cli::usageError(audio.error());

    EngineServices engines;
    RippletSettings settings = RippletSettings::load(engines.defaults.bytes(DefaultsKeys::settings));
    if (options->value("language")) {
        const std::optional<RecognitionLanguage> language = Cli::language(*options);
        if (!language)
            return 2;
        settings.language = *language;
    }
    SessionDefaults defaults(engines.defaults, settings.encoded().value_or(QByteArray()));
    FileAudioEngine microphone(std::move(*audio), !options->has("fast"));
    PretendField field;
    Quiet quiet;
    JournalLog log(QString{});
    QTemporaryDir historyFolder;
    HistoryPersistence history(historyFolder.filePath(QStringLiteral("history.json")));
    AppModel model(AppModel::Environment{defaults, engines.clock, quiet, *engines.languageModel, microphone,
        engines.converters, engines.recognizers, engines.recognizers, field, field, field, field, engines.tokenizer,
        history, log, quiet, quiet, quiet});

    QTextStream errors(stderr);
    bool isFinishing = false;
    QObject::connect(&model, &AppModel::stateChanged, &model, [&] {
        const FlowState::Value &state = model.state();
        if (std::holds_alternative<FlowState::Recording>(state) && !isFinishing) {
            isFinishing = true;
            // The file stops delivering once it has been played or the recording stopped it.
            TaskPools::run(TaskPools::shortWork(), [&microphone] { microphone.waitUntilPlayed(); })
                .then(&model, [&model] { model.handle({HotkeyAction::finishRecording}); });
        } else if (const auto *success = std::get_if<FlowState::Success>(&state)) {
            Cli::writeStandardOutput(field.text().toUtf8() + '\n');
            errors << success->message << Qt::endl;
            QCoreApplication::exit(0);
        } else if (std::holds_alternative<FlowState::Failure>(state)) {
            // The log, on standard error here, has already printed the message.
            QCoreApplication::exit(1);
        }
    });
    model.start();
    model.handle({HotkeyAction::startRecording});
    const int status = QCoreApplication::exec();
    microphone.stop();
    return status;
}
