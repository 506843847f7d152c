#pragma once

#include <QString>

#include <optional>

// The stable identifier of a running application, for per-application writing styles: the desktop
// file id from the systemd user unit that desktops start applications in, else the executable name.
namespace DesktopIdentity {

// "app-[<launcher>-]<id>-<random>.scope" or "app-[<launcher>-]<id>[@<random>].service", in the
// last line of /proc/<pid>/cgroup; \x2d escapes a hyphen in the id.
std::optional<QString> desktopIdFromCgroup(const QString &cgroup);
std::optional<QString> identifierOf(qint32 processIdentifier);

} // namespace DesktopIdentity
