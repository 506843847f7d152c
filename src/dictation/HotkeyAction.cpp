#include "dictation/HotkeyAction.h"

const char *toString(HotkeyAction action)
{
    switch (action) {
    case HotkeyAction::startRecording: return "startRecording";
    case HotkeyAction::finishRecording: return "finishRecording";
    case HotkeyAction::cancelRecording: return "cancelRecording";
    case HotkeyAction::startLockedRecording: return "startLockedRecording";
    case HotkeyAction::finishLockedRecording: return "finishLockedRecording";
    }
    return "?";
}
