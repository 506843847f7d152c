#pragma once

#include "core/Clock.h"
#include "dictation/FlowState.h"

#include <QColor>
#include <QList>
#include <QObject>
#include <QRectF>

#include <array>

// What the floating bar draws: the leading indicator (level bars, processing dots, check mark or
// warning sign), one line of text and its colour. It follows the state, running transcript and
// level it is given, and a 30 Hz tick on the clock moves the level bars and the dots; the tick
// runs for the model's whole life, also while the bar is hidden. Main thread only.
class FloatingBarModel : public QObject
{
    Q_OBJECT
    Q_PROPERTY(bool showsLevelBars READ showsLevelBars NOTIFY stateChanged)
    Q_PROPERTY(bool showsDots READ showsDots NOTIFY stateChanged)
    Q_PROPERTY(bool showsCheckmark READ showsCheckmark NOTIFY stateChanged)
    Q_PROPERTY(bool showsWarning READ showsWarning NOTIFY stateChanged)
    Q_PROPERTY(int indicatorWidth READ indicatorWidth NOTIFY stateChanged)
    Q_PROPERTY(QString message READ message NOTIFY messageChanged)
    Q_PROPERTY(QColor messageColor READ messageColor NOTIFY messageChanged)
    Q_PROPERTY(QList<qreal> bars READ bars NOTIFY ticked)
    Q_PROPERTY(QList<qreal> dotOpacities READ dotOpacities NOTIFY ticked)
    Q_PROPERTY(bool isOpaque READ isOpaque NOTIFY isOpaqueChanged)
    Q_PROPERTY(QColor backgroundColor READ backgroundColor NOTIFY isOpaqueChanged)
    Q_PROPERTY(QColor borderColor READ borderColor CONSTANT)
    Q_PROPERTY(QColor waveColor READ waveColor CONSTANT)
    Q_PROPERTY(QColor successColor READ successColor CONSTANT)
    Q_PROPERTY(QColor failureColor READ failureColor CONSTANT)
    // Where the view drew the capsule, in window coordinates; the window cuts its shape to it when
    // nothing composites translucent windows.
    Q_PROPERTY(QRectF capsuleRect READ capsuleRect WRITE setCapsuleRect NOTIFY capsuleRectChanged)

public:
    static constexpr int barCount = 9;
    static constexpr double tickSeconds = 1.0 / 30;
    static constexpr qsizetype partialTextTail = 40;

    explicit FloatingBarModel(Clock &clock, QObject *parent = nullptr);

    void setState(const FlowState::Value &state);
    void setPartialText(const QString &text);
    void setLevel(double level);
    // True where translucent windows are not composited: the capsule is then drawn fully opaque.
    void setOpaque(bool opaque);

    // One animation step, run by the tick: the phase moves on by one tick and every bar eases
    // towards its target height.
    void advance();

    bool showsLevelBars() const;
    bool showsDots() const;
    bool showsCheckmark() const;
    bool showsWarning() const;
    int indicatorWidth() const;
    QString message() const;
    QColor messageColor() const;
    QList<qreal> bars() const;
    QList<qreal> dotOpacities() const;
    double phase() const { return currentPhase; }
    bool isOpaque() const { return opaque; }
    QColor backgroundColor() const;
    QColor borderColor() const;
    QColor waveColor() const;
    QColor successColor() const;
    QColor failureColor() const;
    QRectF capsuleRect() const { return capsule; }
    void setCapsuleRect(const QRectF &rect);

Q_SIGNALS:
    void stateChanged();
    void messageChanged();
    void ticked();
    void isOpaqueChanged();
    void capsuleRectChanged();

private:
    void scheduleTick();
    bool isListening() const;

    Clock &clock;
    FlowState::Value state = FlowState::Idle {};
    QString partialText;
    double level = 0;
    double currentPhase = 0;
    std::array<double, barCount> heights;
    bool opaque = false;
    QRectF capsule;
};
