#pragma once

class QCoreApplication;

// Every user-visible text is a Japanese literal that is its own translation key; this installs the
// translation of the user's UI language when one is shipped, so the Japanese text shows otherwise.
namespace Localization {
void install(QCoreApplication &application);
} // namespace Localization
