#pragma once

#include "platform/Permissions.h"

class AudioEngine;
class DefaultsStore;
class SpeechAssetManager;
class SpeechModelStore;

// The four grants as a Linux desktop has them: a reachable input device on the sound server; the
// current language's recogniser with its model (the catalogue's files in place, the user's own file
// readable, or a server configured); the accessibility bus switched on; and key events that can be
// seen (an X11 session, or readable keyboard device files). Requests install the speech model in
// the background and switch the accessibility bus on; the other two have nothing to ask, and the
// first-run window says what the user must do. Settings pages open in the desktop's own settings
// program when one is installed.
class DesktopPermissions final : public Permissions
{
public:
    // `storedOnDisk` must be safe to read on a worker thread.
    DesktopPermissions(AudioEngine &audio, SpeechAssetManager &assets, const SpeechModelStore &modelStore,
        const DefaultsStore &storedOnDisk, bool isWaylandSession);

    PermissionStatus status(RecognitionLanguage language) const override;
    void request(Permission permission, RecognitionLanguage language) override;
    void openPage(Permission permission) override;

private:
    bool hasSpeechModel(RecognitionLanguage language) const;

    AudioEngine &audio;
    SpeechAssetManager &assets;
    const SpeechModelStore &modelStore;
    const DefaultsStore &storedOnDisk;
    bool isWaylandSession;
};
