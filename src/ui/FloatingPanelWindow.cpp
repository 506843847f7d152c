#include "ui/FloatingPanelWindow.h"

#include "ui/FloatingBarModel.h"

#include <QCursor>
#include <QGuiApplication>
#include <QRegion>
#include <QScreen>
#include <QSurfaceFormat>
#include <QtGui/qguiapplication_platform.h>

#include <xcb/xcb.h>


namespace {

xcb_connection_t *x11Connection()
{
    if (auto *x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>())
        return x11->connection();
    return nullptr;
}

xcb_atom_t atom(xcb_connection_t *connection, const char *name)
{
    const auto cookie = xcb_intern_atom(connection, 0, uint16_t(qstrlen(name)), name);
    xcb_intern_atom_reply_t *reply = xcb_intern_atom_reply(connection, cookie, nullptr);
    const xcb_atom_t value = reply ? reply->atom : xcb_atom_t(XCB_ATOM_NONE);
    free(reply);
    return value;
}

// A compositing manager owns the selection _NET_WM_CM_Sn of the screen it composites.
bool isComposited(xcb_connection_t *connection, int screenNumber)
{
    const QByteArray name = "_NET_WM_CM_S" + QByteArray::number(screenNumber);
    const xcb_atom_t selection = atom(connection, name.constData());
    if (selection == XCB_ATOM_NONE)
        return false;
    const auto cookie = xcb_get_selection_owner(connection, selection);
    xcb_get_selection_owner_reply_t *reply = xcb_get_selection_owner_reply(connection, cookie, nullptr);
    const bool owned = reply && reply->owner != XCB_WINDOW_NONE;
    free(reply);
    return owned;
}

QRegion capsuleRegion(const QRect &rect)
{
    const int diameter = rect.height();
    if (diameter <= 0 || rect.width() < diameter)
        return QRegion(rect);
    QRegion region(rect.adjusted(diameter / 2, 0, -diameter / 2, 0));
    region += QRegion(QRect(rect.topLeft(), QSize(diameter, diameter)), QRegion::Ellipse);
    region += QRegion(QRect(QPoint(rect.right() - diameter + 1, rect.top()), QSize(diameter, diameter)),
        QRegion::Ellipse);
    return region;
}

} // namespace

FloatingPanelWindow::FloatingPanelWindow(FloatingBarModel &model)
    : model(model)
{
    // A window manager that reparents its windows puts even a frameless one into a frame of its own,
    // and that frame takes the clicks the window lets through; so the window bypasses the manager:
    // never framed, never focused, on every desktop, and raised above the others when shown.
    setFlags(Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint | Qt::WindowDoesNotAcceptFocus
        | Qt::WindowTransparentForInput | Qt::X11BypassWindowManagerHint);
    setProperty("_q_showWithoutActivating", true);
    QSurfaceFormat surface = format();
    surface.setAlphaBufferSize(8);
    setFormat(surface);
    setColor(Qt::transparent);
    setResizeMode(QQuickView::SizeRootObjectToView);
    QQuickView::resize(panelWidth, panelHeight);
    setMinimumSize(QSize(panelWidth, panelHeight));
    setMaximumSize(QSize(panelWidth, panelHeight));
    setInitialProperties({{QStringLiteral("bar"), QVariant::fromValue(&model)}});
    setSource(QUrl(QStringLiteral("qrc:/sorawen/ui/FloatingBarView.qml")));
    setOpacity(0);
    connect(&model, &FloatingBarModel::capsuleRectChanged, this, &FloatingPanelWindow::updateShape);
}

void FloatingPanelWindow::prepareGraphics()
{
    if (isVisible())
        return;
    isPreparing = true;
    connect(
        this, &QQuickWindow::frameSwapped, this,
        [this] {
            if (isPreparing) {
                isPreparing = false;
                hide();
            }
        },
        Qt::SingleShotConnection);
    setPosition(-4 * panelWidth, -4 * panelHeight);
    show();
}

bool FloatingPanelWindow::isOnScreen() const
{
    return isVisible() && !isPreparing;
}

void FloatingPanelWindow::orderFront()
{
    if (isPreparing) {
        // Shown for real before the prepared frame came: stays.
        isPreparing = false;
        hide();
    }
    if (!isVisible()) {
        if (xcb_connection_t *connection = x11Connection()) {
            const int screenNumber = std::max(0, int(QGuiApplication::screens().indexOf(screen())));
            model.setOpaque(!isComposited(connection, screenNumber));
        }
        updateShape();
        show();
    }
    raise();
}

void FloatingPanelWindow::orderOut()
{
    hide();
}

double FloatingPanelWindow::alpha() const
{
    return opacity();
}

void FloatingPanelWindow::setAlpha(double alpha)
{
    setOpacity(alpha);
}

QSize FloatingPanelWindow::size() const
{
    return QQuickView::size();
}

void FloatingPanelWindow::moveTo(QPoint topLeft)
{
    setPosition(topLeft);
}

ScreenLayout FloatingPanelWindow::screenLayout() const
{
    ScreenLayout layout;
    layout.pointer = QCursor::pos();
    const QList<QScreen *> screens = QGuiApplication::screens();
    for (const QScreen *each : screens)
        layout.screens.push_back({each->geometry(), each->availableGeometry()});
    const qsizetype primary = screens.indexOf(QGuiApplication::primaryScreen());
    if (primary >= 0)
        layout.primary = std::size_t(primary);
    return layout;
}

void FloatingPanelWindow::updateShape()
{
    const QRect capsule = model.capsuleRect().toAlignedRect();
    const QRegion shape = model.isOpaque() && !capsule.isEmpty() ? capsuleRegion(capsule) : QRegion();
    if (shape != mask())
        setMask(shape);
}
