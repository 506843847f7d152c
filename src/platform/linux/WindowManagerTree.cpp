#include "platform/linux/WindowManagerTree.h"

#include "platform/linux/DesktopIdentity.h"
#include "platform/linux/X11ActiveWindow.h"

#include <unistd.h>

namespace {

// A window known only to the window manager: a title, and its identifier as its hash.
class WindowElement final : public AccessibleElement
{
public:
    WindowElement(QString title, quint64 identifier)
        : text(std::move(title))
        , identifier_(identifier)
    { }
    std::optional<QString> title() const override { return text; }
    std::optional<QString> role() const override { return QStringLiteral("frame"); }
    std::optional<QString> subrole() const override { return std::nullopt; }
    std::optional<QString> identifier() const override { return std::nullopt; }
    std::optional<QString> selectedText() const override { return std::nullopt; }
    std::optional<Range> selectedTextRange() const override { return std::nullopt; }
    std::optional<QString> stringForRange(Range) const override { return std::nullopt; }
    std::optional<qint64> numberOfCharacters() const override { return std::nullopt; }
    std::optional<QString> value() const override { return std::nullopt; }
    qint64 hash() const override { return qint64(identifier_); }

private:
    QString text;
    quint64 identifier_;
};

} // namespace

WindowManagerTree::WindowManagerTree(const AccessibilityTree &accessibility, const X11ActiveWindow *windows)
    : accessibility(accessibility)
    , windows(windows)
{ }

std::optional<AccessibilityTree::Application> WindowManagerTree::frontmostApplication() const
{
    const std::optional<X11ActiveWindow::Window> window = windows ? windows->active() : std::nullopt;
    std::optional<Application> accessible = accessibility.frontmostApplication();
    if (!window || (window->processIdentifier != 0 && window->processIdentifier == qint32(getpid())))
        return accessible;
    Application application;
    // A window that does not name its process is taken for the accessible application's.
    if (accessible
        && (window->processIdentifier == 0 || accessible->processIdentifier == window->processIdentifier)) {
        application = *accessible;
    } else {
        application.processIdentifier = window->processIdentifier;
        application.bundleIdentifier = DesktopIdentity::identifierOf(window->processIdentifier);
        application.localizedName = !window->className.isEmpty() ? window->className : window->instanceName;
    }
    // Named the same way whether or not the accessibility bus answered in time: a capture at the
    // press and the look before the paste must agree on it.
    if (!application.bundleIdentifier && !window->className.isEmpty())
        application.bundleIdentifier = window->className;
    application.windowIdentifier = window->identifier;
    return application;
}

std::unique_ptr<AccessibleElement> WindowManagerTree::focusedWindow(const Application &application) const
{
    if (windows == nullptr || application.windowIdentifier == 0)
        return accessibility.focusedWindow(application);
    return std::make_unique<WindowElement>(windows->title(application.windowIdentifier), application.windowIdentifier);
}

std::unique_ptr<AccessibleElement> WindowManagerTree::focusedElement(const Application &application) const
{
    return accessibility.focusedElement(application);
}

AccessibilityTree::Focus WindowManagerTree::focus(const Application &application) const
{
    if (windows == nullptr || application.windowIdentifier == 0)
        return accessibility.focus(application);
    return {focusedWindow(application), accessibility.focusedElement(application)};
}
