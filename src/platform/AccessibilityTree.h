#pragma once

#include <QString>

#include <memory>
#include <optional>

// One node of another application's accessibility tree, as far as dictation reads it. Every read
// may fail (the application is busy, gone, or does not implement it): that is nothing, never an
// error. Offsets and lengths are in the tree's own units.
class AccessibleElement
{
public:
    struct Range {
        qint64 location = 0;
        qint64 length = 0;
    };

    virtual ~AccessibleElement() = default;

    virtual std::optional<QString> title() const = 0;
    virtual std::optional<QString> role() const = 0;
    virtual std::optional<QString> subrole() const = 0;
    virtual std::optional<QString> identifier() const = 0;
    virtual std::optional<QString> selectedText() const = 0;
    // The selection, or the caret as an empty range.
    virtual std::optional<Range> selectedTextRange() const = 0;
    virtual std::optional<QString> stringForRange(Range range) const = 0;
    virtual std::optional<qint64> numberOfCharacters() const = 0;
    virtual std::optional<QString> value() const = 0;
    // Equal for the same element, different when focus moved to another one.
    virtual qint64 hash() const = 0;
};

// The frontmost application and its focused window and element. Callable from any thread; every
// call returns within a short time even when the application does not answer. The window and the
// element belong to the application given, or are nothing.
class AccessibilityTree
{
public:
    struct Application {
        qint32 processIdentifier = 0;
        std::optional<QString> bundleIdentifier;
        QString localizedName;
        // The desktop's own name of the active window (an X11 window id), 0 when not known.
        quint64 windowIdentifier = 0;
    };

    virtual ~AccessibilityTree() = default;

    virtual std::optional<Application> frontmostApplication() const = 0;
    virtual std::unique_ptr<AccessibleElement> focusedWindow(const Application &application) const = 0;
    virtual std::unique_ptr<AccessibleElement> focusedElement(const Application &application) const = 0;

    struct Focus {
        std::unique_ptr<AccessibleElement> window;
        std::unique_ptr<AccessibleElement> element;
    };
    // Both at one moment, where the tree can read them together.
    virtual Focus focus(const Application &application) const
    {
        return {focusedWindow(application), focusedElement(application)};
    }
};
