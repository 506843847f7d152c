#include "ui/FloatingBarModel.h"

#include "core/Unicode.h"
#include "ui/BarStyle.h"

#include <algorithm>
#include <cmath>

FloatingBarModel::FloatingBarModel(Clock &clock, QObject *parent)
    : QObject(parent)
    , clock(clock)
{
    heights.fill(0.15);
    scheduleTick();
}

void FloatingBarModel::scheduleTick()
{
    clock.schedule(secondsToDuration(tickSeconds), this, [this] {
        advance();
        scheduleTick();
    });
}

void FloatingBarModel::setState(const FlowState::Value &newState)
{
    if (newState == state)
        return;
    state = newState;
    Q_EMIT stateChanged();
    Q_EMIT messageChanged();
}

void FloatingBarModel::setPartialText(const QString &text)
{
    if (text == partialText)
        return;
    partialText = text;
    Q_EMIT messageChanged();
}

void FloatingBarModel::setLevel(double newLevel)
{
    level = newLevel;
}

void FloatingBarModel::setOpaque(bool isOpaque)
{
    if (isOpaque == opaque)
        return;
    opaque = isOpaque;
    Q_EMIT isOpaqueChanged();
}

void FloatingBarModel::setCapsuleRect(const QRectF &rect)
{
    if (rect == capsule)
        return;
    capsule = rect;
    Q_EMIT capsuleRectChanged();
}

bool FloatingBarModel::isListening() const
{
    return std::holds_alternative<FlowState::Recording>(state) || std::holds_alternative<FlowState::Locked>(state);
}

void FloatingBarModel::advance()
{
    currentPhase += tickSeconds;
    // Outside a recording the bars settle into a low ripple.
    const double target = isListening() ? std::min(level, 1.0) : 0.05;
    for (int i = 0; i < barCount; ++i) {
        const double wobble = std::sin(i * 1.3 + currentPhase * 9.0);
        // 1.0 for the middle bar, 0.2 for the outermost ones.
        const double shape = 1.0 - std::abs(i - 4) / 5.0;
        const double barTarget = std::max(target * shape * (wobble * 0.25 + 0.75), 0.12);
        heights[i] += (barTarget - heights[i]) * 0.35;
    }
    Q_EMIT ticked();
}

bool FloatingBarModel::showsLevelBars() const
{
    return !showsDots() && !showsCheckmark() && !showsWarning();
}

bool FloatingBarModel::showsDots() const
{
    return std::holds_alternative<FlowState::Processing>(state);
}

bool FloatingBarModel::showsCheckmark() const
{
    return std::holds_alternative<FlowState::Success>(state);
}

bool FloatingBarModel::showsWarning() const
{
    return std::holds_alternative<FlowState::Failure>(state);
}

int FloatingBarModel::indicatorWidth() const
{
    return isListening() || std::holds_alternative<FlowState::Starting>(state) ? 44 : 22;
}

QString FloatingBarModel::message() const
{
    struct Messages {
        const QString &partialText;
        QString operator()(const FlowState::Success &success) const { return success.message; }
        QString operator()(const FlowState::Failure &failure) const { return failure.message; }
        QString operator()(FlowState::Idle) const { return {}; }
        QString operator()(FlowState::Starting) const { return tr("準備中…"); }
        QString operator()(FlowState::Recording) const
        {
            return partialText.isEmpty() ? tr("話してください") : Unicode::suffix(partialText, partialTextTail);
        }
        QString operator()(FlowState::Locked) const
        {
            return partialText.isEmpty() ? tr("話してください（もう一度押すと終了）")
                                         : Unicode::suffix(partialText, partialTextTail);
        }
        QString operator()(FlowState::Processing) const { return tr("清書中…"); }
    };
    return std::visit(Messages {partialText}, state);
}

QColor FloatingBarModel::messageColor() const
{
    if (std::holds_alternative<FlowState::Failure>(state))
        return BarStyle::failure();
    if (isListening())
        return partialText.isEmpty() ? BarStyle::subtext() : BarStyle::text();
    if (std::holds_alternative<FlowState::Starting>(state) || std::holds_alternative<FlowState::Processing>(state))
        return BarStyle::subtext();
    return BarStyle::text();
}

QList<qreal> FloatingBarModel::bars() const
{
    return QList<qreal>(heights.begin(), heights.end());
}

QList<qreal> FloatingBarModel::dotOpacities() const
{
    QList<qreal> opacities;
    for (int i = 0; i < 3; ++i)
        opacities.append(std::max(std::sin(currentPhase * 5.0 - 0.9 * i), 0.0) * 0.65 + 0.35);
    return opacities;
}

QColor FloatingBarModel::backgroundColor() const
{
    return opaque ? Wa::sumi() : BarStyle::background();
}

QColor FloatingBarModel::borderColor() const
{
    return BarStyle::border();
}

QColor FloatingBarModel::waveColor() const
{
    return BarStyle::wave();
}

QColor FloatingBarModel::successColor() const
{
    return BarStyle::success();
}

QColor FloatingBarModel::failureColor() const
{
    return BarStyle::failure();
}
