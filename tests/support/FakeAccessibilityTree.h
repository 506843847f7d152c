#pragma once

#include "platform/AccessibilityAccess.h"
#include "platform/AccessibilityTree.h"

#include <atomic>
#include <mutex>

// A frontmost application with one window and one focused element whose attributes a test sets.
// Reads may come from another thread; `mutex` guards the fields.
class FakeAccessibilityTree final : public AccessibilityTree
{
public:
    struct Element {
        std::optional<QString> title, role, subrole, identifier, selectedText, value;
        std::optional<AccessibleElement::Range> selectedTextRange;
        // Answers stringForRange from `value` when true.
        bool answersRanges = true;
        std::optional<qint64> numberOfCharacters;
        qint64 hash = 1;
    };

    mutable std::mutex mutex;
    std::optional<Application> application
        = Application{4242, QStringLiteral("org.gnome.gedit"), QStringLiteral("gedit")};
    std::optional<Element> window = Element {};
    std::optional<Element> focused = Element {};
    // The last range asked of stringForRange, as location and length.
    mutable std::optional<std::pair<qint64, qint64>> askedRange;
    // So many reads of the focused element go unanswered (a stalled call) before it answers again.
    mutable std::atomic<int> unansweredFocusReads{0};

    FakeAccessibilityTree()
    {
        window->title = QStringLiteral("notes.txt — gedit");
        focused->role = QStringLiteral("text");
    }

    void setFocusedValue(const QString &value)
    {
        std::scoped_lock lock(mutex);
        focused->value = value;
    }

    std::optional<Application> frontmostApplication() const override
    {
        std::scoped_lock lock(mutex);
        return application;
    }
    std::unique_ptr<AccessibleElement> focusedWindow(const Application &) const override
    {
        return node(&FakeAccessibilityTree::window);
    }
    std::unique_ptr<AccessibleElement> focusedElement(const Application &) const override
    {
        if (unansweredFocusReads > 0) {
            --unansweredFocusReads;
            return nullptr;
        }
        return node(&FakeAccessibilityTree::focused);
    }

private:
    class Node final : public AccessibleElement
    {
    public:
        Node(const FakeAccessibilityTree &tree, Element element)
            : tree(tree)
            , element(std::move(element))
        { }
        std::optional<QString> title() const override { return element.title; }
        std::optional<QString> role() const override { return element.role; }
        std::optional<QString> subrole() const override { return element.subrole; }
        std::optional<QString> identifier() const override { return element.identifier; }
        std::optional<QString> selectedText() const override { return element.selectedText; }
        std::optional<Range> selectedTextRange() const override { return element.selectedTextRange; }
        std::optional<QString> stringForRange(Range range) const override
        {
            tree.askedRange = std::pair(range.location, range.length);
            if (!element.answersRanges || !element.value)
                return std::nullopt;
            return element.value->mid(range.location, range.length);
        }
        std::optional<qint64> numberOfCharacters() const override { return element.numberOfCharacters; }
        std::optional<QString> value() const override
        {
            std::scoped_lock lock(tree.mutex);
            return tree.focused ? tree.focused->value : std::nullopt;
        }
        qint64 hash() const override { return element.hash; }

    private:
        const FakeAccessibilityTree &tree;
        Element element;
    };

    std::unique_ptr<AccessibleElement> node(std::optional<Element> FakeAccessibilityTree::*which) const
    {
        std::scoped_lock lock(mutex);
        if (!(this->*which))
            return nullptr;
        return std::make_unique<Node>(*this, *(this->*which));
    }
};

// Accessibility that is on unless a test turns it off; counts the requests to turn it on.
class FakeAccessibilityAccess final : public AccessibilityAccess
{
public:
    std::atomic<bool> enabled = true;
    std::atomic<int> requests = 0;
    bool isEnabled() const override { return enabled; }
    void requestEnable() override { ++requests; }
};
