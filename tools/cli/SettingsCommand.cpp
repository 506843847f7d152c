#include "CliCommand.h"

#include "store/RippletSettings.h"

// settings: a stored settings document on standard input (possibly empty or broken) in, the loaded
// record's stored form out.
int runSettingsCommand(const QStringList &arguments)
{
    if (!arguments.isEmpty())
        return Cli::usageError(QStringLiteral("settings takes no arguments"));
    const QByteArray input = Cli::readStandardInput();
    const RippletSettings settings = RippletSettings::load(input.isEmpty() ? std::nullopt : std::optional(input));
    const std::optional<QByteArray> encoded = settings.encoded();
    if (!encoded)
        return Cli::usageError(QStringLiteral("the settings could not be encoded"));
    Cli::writeStandardOutput(*encoded);
    return 0;
}
