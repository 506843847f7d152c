#pragma once

#include "platform/LoginItem.h"

// The login item as an XDG autostart entry, <autostart folder>/sorawen.desktop, written from the
// packaged template with Exec set to this executable. Disabling removes the file. Main thread. A
// folder that cannot be made or a file that cannot be written or removed is an error with a message.
class XdgAutostartLoginItem final : public LoginItem
{
public:
    // `autostartFolder` defaults to $XDG_CONFIG_HOME/autostart, `executable` to the running program.
    explicit XdgAutostartLoginItem(QString autostartFolder = {}, QString executable = {});

    bool isEnabled() const override;
    std::expected<void, QString> setEnabled(bool enabled) override;

    QString fileName() const;

private:
    QString autostartFolder;
    QString executable;
};
