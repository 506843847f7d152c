#pragma once

#include <QtGlobal>

// What a gesture of the dictation key asks the coordinator to do.
enum class HotkeyAction : quint8 {
    startRecording,
    finishRecording,
    cancelRecording,
    startLockedRecording,
    finishLockedRecording,
};

const char *toString(HotkeyAction action);
