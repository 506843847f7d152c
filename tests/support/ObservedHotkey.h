#pragma once

#include "FakeKeySource.h"
#include "dictation/HotkeyAction.h"
#include "input/EventTapController.h"

#include <string>
#include <vector>

// One answer of the hotkey state machine as one word, "-" for none.
inline std::string describe(const std::vector<HotkeyAction> &actions)
{
    std::string text;
    for (const HotkeyAction action : actions)
        text += toString(action);
    return text.empty() ? "-" : text;
}

// A controller of `hotkey`, started on a fake key source, that keeps each answer it passed on.
struct ObservedHotkey {
    FakeKeySource source;
    EventTapController controller {source};
    std::vector<std::string> calls;

    explicit ObservedHotkey(HotkeyChoice hotkey)
    {
        controller.onActions = [this](const std::vector<HotkeyAction> &actions) { calls.push_back(describe(actions)); };
        controller.hotkey = hotkey;
        controller.start();
    }
};
