#pragma once

#include <QString>

#include <functional>
#include <optional>

// The user's most preferred language as the POSIX locale variables give it: the first entry of
// LANGUAGE (a colon-separated list), else LC_ALL, LC_MESSAGES, LANG. "C", "POSIX" (with or without
// a codeset) and empty values are no preference.
namespace PreferredLanguages {

using Lookup = std::function<QString(const char *variable)>;

std::optional<QString> first(const Lookup &environment);
// first() over this process's environment.
std::optional<QString> first();

} // namespace PreferredLanguages
