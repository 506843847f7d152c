#pragma once

#include "platform/AccessibilityTree.h"

class X11ActiveWindow;

// The accessibility tree, completed by the window manager: the frontmost application and its
// window are the X11 active window's (so applications without accessibility, such as most
// terminals, still have one), and the element is the accessibility tree's when it belongs to that
// application. The window's identifier and title come from the window manager, the same way at
// every capture. Windows of this process leave the answer to the accessibility tree (which skips
// them). Without `windows` (no X11) it is the accessibility tree. Any thread.
class WindowManagerTree final : public AccessibilityTree
{
public:
    // Both must outlive this tree.
    WindowManagerTree(const AccessibilityTree &accessibility, const X11ActiveWindow *windows);

    std::optional<Application> frontmostApplication() const override;
    std::unique_ptr<AccessibleElement> focusedWindow(const Application &application) const override;
    std::unique_ptr<AccessibleElement> focusedElement(const Application &application) const override;
    Focus focus(const Application &application) const override;

private:
    const AccessibilityTree &accessibility;
    const X11ActiveWindow *windows;
};
