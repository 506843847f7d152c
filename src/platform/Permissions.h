#pragma once

#include "store/RecognitionLanguage.h"

// What dictation needs from the desktop, each either there or not.
struct PermissionStatus {
    // An audio input device is reachable.
    bool mic = false;
    // The recogniser of the current language has its model.
    bool speech = false;
    // The accessibility bus is on, so fields can be read and keys sent.
    bool ax = false;
    // Key events of every application can be observed.
    bool listen = false;

    friend bool operator==(const PermissionStatus &, const PermissionStatus &) = default;
};

enum class Permission { microphone, speechRecognition, accessibility, inputMonitoring };

// Reads and asks for the four grants. status() may wait briefly on the sound server and the session
// bus, so it is called on a worker thread and never prompts; request() and openPage() are called
// on the main thread and return at once: their effect shows in a later status().
class Permissions
{
public:
    virtual ~Permissions() = default;

    virtual PermissionStatus status(RecognitionLanguage language) const = 0;
    virtual void request(Permission permission, RecognitionLanguage language) = 0;
    // The desktop's settings page for the permission, where one exists.
    virtual void openPage(Permission permission) = 0;
};
