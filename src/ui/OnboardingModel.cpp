#include "ui/OnboardingModel.h"

#include "core/TaskPools.h"
#include "dictation/AppModel.h"
#include "platform/DefaultsStore.h"

#include <QPointer>
#include <qcoro/qcorofuture.h>

#include <array>

namespace {

constexpr std::array<Permission, 4> rowPermissions = {
    Permission::microphone, Permission::speechRecognition, Permission::accessibility, Permission::inputMonitoring};

} // namespace

OnboardingModel::OnboardingModel(
    AppModel &model, Permissions &permissions, DefaultsStore &defaults, Clock &clock, QObject *parent)
    : QObject(parent)
    , model(model)
    , permissions(permissions)
    , defaults(defaults)
    , clock(clock)
{
}

OnboardingModel::~OnboardingModel()
{
    poll.cancel();
}

QVariantList OnboardingModel::rows() const
{
    const auto row = [](const QString &title, const QString &description, bool granted, const QString &help) {
        return QVariantMap {{QStringLiteral("title"), title}, {QStringLiteral("description"), description},
            {QStringLiteral("isGranted"), granted}, {QStringLiteral("help"), granted ? QString() : help}};
    };
    return {
        row(tr("マイク"), tr("話した内容を録音します。"), current.mic,
            tr("マイクが見つかりません。マイクをつなぎ、サウンドの設定で入力に選んでください。")),
        row(tr("音声認識"), tr("この端末の上で音声を文字にします。"), current.speech,
            tr("「許可する」で、いまの言語の音声認識モデルを入れます。自分のモデルファイルやこの端末の文字起こしサーバーは、設定の「一般」で選べます。")),
        row(tr("アクセシビリティ"), tr("入力先の文脈を読み、Ctrl＋Vを送ります。"), current.ax,
            tr("「許可する」でアクセシビリティを有効にします。すでに起動していたアプリは、再起動すると読めるようになります。")),
        row(tr("入力監視"), tr("どのアプリを使用中でも録音キーを検知します。"), current.listen,
            tr("キーボードを読むには input グループに入る必要があります。端末で「sudo usermod -aG input $USER」を実行し、ログインし直してください。")),
    };
}

void OnboardingModel::setSpeechProgress(double fraction)
{
    if (fraction == progress)
        return;
    progress = fraction;
    Q_EMIT speechProgressChanged();
}

void OnboardingModel::setSpeechProblem(const QString &message)
{
    if (message == problem)
        return;
    problem = message;
    Q_EMIT speechProgressChanged();
}

void OnboardingModel::setActive(bool active)
{
    if (active == isActive)
        return;
    isActive = active;
    poll.cancel();
    if (active)
        tick();
}

void OnboardingModel::tick()
{
    read();
    poll = clock.schedule(secondsToDuration(pollSeconds), this, [this] { tick(); });
}

QCoro::Task<> OnboardingModel::read()
{
    // A slow read is not stacked up behind another; the next tick tries again.
    if (isReading)
        co_return;
    isReading = true;
    QPointer<OnboardingModel> self(this);
    const QFuture<PermissionStatus> reading = TaskPools::run(TaskPools::shortWork(),
        [&permissions = permissions, language = model.settings().language] { return permissions.status(language); });
    const PermissionStatus status = co_await reading;
    if (!self)
        co_return;
    isReading = false;
    if (status != current) {
        current = status;
        Q_EMIT statusChanged();
    }
}

void OnboardingModel::request(int row)
{
    if (row < 0 || row >= int(rowPermissions.size()))
        return;
    const Permission permission = rowPermissions[size_t(row)];
    if (permission == Permission::speechRecognition)
        setSpeechProblem({});
    permissions.request(permission, model.settings().language);
    clock.schedule(secondsToDuration(settingsPageDelaySeconds), this,
        [this, permission] { permissions.openPage(permission); });
}

void OnboardingModel::checkAccessibility()
{
    permissions.request(Permission::accessibility, model.settings().language);
}

void OnboardingModel::openAccessibilitySettings()
{
    permissions.openPage(Permission::accessibility);
}

void OnboardingModel::complete()
{
    defaults.setBoolean(DefaultsKeys::onboardingCompleted, true);
    model.setShowsOnboarding(false);
}
