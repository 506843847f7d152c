#pragma once

#include "ui/FloatingBarModel.h"
#include "ui/FloatingPanelController.h"
#include "ui/FloatingPanelWindow.h"

class AppModel;

// The floating bar as the application shell uses it: the view model, its window and the
// controller that fades the window in and out, following the coordinator's published values.
// Main thread only; lives for the whole run.
class FloatingBar
{
public:
    explicit FloatingBar(Clock &clock);

    // Follows the model's state, running transcript and level from now on, starting with the
    // current ones.
    void show(const AppModel &model);

    FloatingBarModel &model() { return barModel; }
    FloatingPanelWindow &window() { return panelWindow; }

private:
    FloatingBarModel barModel;
    FloatingPanelWindow panelWindow;
    FloatingPanelController controller;
};
