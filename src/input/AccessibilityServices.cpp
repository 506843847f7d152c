#include "input/AccessibilityServices.h"

#include "platform/AccessibilityTree.h"
#include "core/Unicode.h"

namespace {

constexpr qint64 charactersAroundSelection = 200;
constexpr qint64 largestValueRead = 2000;

// A role that could not be read (a read cut short by its time-out) may hide a password field.
bool isSecure(const std::optional<QString> &role, const AccessibleElement &element)
{
    return !role || role == AccessibilityServices::secureFieldRole
        || element.subrole() == AccessibilityServices::secureFieldRole;
}

QString firstCharacters(const QString &text)
{
    return Unicode::prefix(text, AccessibilityServices::contextCharacterLimit);
}

// From 200 before the selection to 200 after it; else the whole value of a short field.
QString surroundingText(const AccessibleElement &element)
{
    if (const std::optional<AccessibleElement::Range> selection = element.selectedTextRange()) {
        const AccessibleElement::Range around{std::max<qint64>(selection->location - charactersAroundSelection, 0),
            std::max<qint64>(selection->length + 2 * charactersAroundSelection, 0)};
        if (const std::optional<QString> text = element.stringForRange(around))
            return firstCharacters(*text);
    }
    const std::optional<qint64> count = element.numberOfCharacters();
    if (!count || *count > largestValueRead)
        return {};
    return firstCharacters(element.value().value_or(QString()));
}

} // namespace

namespace AccessibilityServices {

std::optional<CaptureResult> captureContext(const AccessibilityTree &tree, bool includeText)
{
    const std::optional<AccessibilityTree::Application> application = tree.frontmostApplication();
    if (!application)
        return std::nullopt;
    const AccessibilityTree::Focus focus = tree.focus(*application);
    const std::unique_ptr<AccessibleElement> &window = focus.window;
    const std::unique_ptr<AccessibleElement> &focused = focus.element;

    CaptureResult result;
    result.context.applicationName = application->localizedName;
    result.context.windowTitle = window ? window->title().value_or(QString()) : QString();
    result.target.processIdentifier = application->processIdentifier;
    result.target.bundleIdentifier = application->bundleIdentifier;
    result.target.windowTitle = result.context.windowTitle;
    result.target.windowIdentifier = application->windowIdentifier;
    if (focused) {
        // Every read is a call into another application: the role is read once.
        const std::optional<QString> role = focused->role();
        result.target.focusedRole = role.value_or(QString());
        result.target.focusedIdentifier = focused->identifier().value_or(QString());
        result.target.focusedElementHash = focused->hash();
        result.target.isSecure = isSecure(role, *focused);
        if (ContextCapturePolicy::shouldReadText(includeText, result.target.isSecure)) {
            result.context.selectedText = firstCharacters(focused->selectedText().value_or(QString()));
            result.context.focusedText = surroundingText(*focused);
        }
    }
    return result;
}

namespace {

// The focused element of the frontmost application, unless it is a password field.
std::unique_ptr<AccessibleElement> readableFocus(const AccessibilityTree &tree)
{
    const std::optional<AccessibilityTree::Application> application = tree.frontmostApplication();
    if (!application)
        return nullptr;
    std::unique_ptr<AccessibleElement> focused = tree.focusedElement(*application);
    if (!focused || isSecure(focused->role(), *focused))
        return nullptr;
    return focused;
}

} // namespace

std::optional<QString> focusedValue(const AccessibilityTree &tree)
{
    const std::unique_ptr<AccessibleElement> focused = readableFocus(tree);
    return focused ? focused->value() : std::nullopt;
}

std::optional<qint64> focusedCaret(const AccessibilityTree &tree)
{
    const std::unique_ptr<AccessibleElement> focused = readableFocus(tree);
    if (!focused)
        return std::nullopt;
    const std::optional<AccessibleElement::Range> selection = focused->selectedTextRange();
    return selection ? std::optional<qint64>(selection->location) : std::nullopt;
}

std::optional<QString> focusedTextFrom(const AccessibilityTree &tree, qint64 offset)
{
    const std::unique_ptr<AccessibleElement> focused = readableFocus(tree);
    if (!focused)
        return std::nullopt;
    const std::optional<qint64> count = focused->numberOfCharacters();
    if (!count)
        return std::nullopt;
    return focused->stringForRange({offset, std::max<qint64>(*count - offset, 0)});
}

} // namespace AccessibilityServices
