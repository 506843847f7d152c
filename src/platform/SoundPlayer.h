#pragma once

#include <QString>

// Short notification sounds ("Tink" when a recording is live, "Pop" when it ended). Main thread;
// `play` returns at once. A missing sound or sound server is silence, not an error.
class SoundPlayer
{
public:
    virtual ~SoundPlayer() = default;
    virtual void play(const QString &name) = 0;
};
