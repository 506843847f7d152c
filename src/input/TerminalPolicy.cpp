#include "input/TerminalPolicy.h"

#include <QStringList>

namespace TerminalPolicy {

bool isTerminal(const InputTarget &target)
{
    if (target.focusedRole == terminalRole)
        return true;
    if (!target.bundleIdentifier)
        return false;
    // Desktop file ids and executable names, compared without case ("Alacritty", "alacritty").
    static const QStringList applications{QStringLiteral("xterm"), QStringLiteral("uxterm"), QStringLiteral("kitty"),
        QStringLiteral("alacritty"), QStringLiteral("org.wezfurlong.wezterm"), QStringLiteral("wezterm"),
        QStringLiteral("wezterm-gui"), QStringLiteral("foot"), QStringLiteral("footclient"),
        QStringLiteral("org.codeberg.dnkl.foot"), QStringLiteral("org.gnome.terminal"),
        QStringLiteral("gnome-terminal-server"), QStringLiteral("org.gnome.console"), QStringLiteral("kgx"),
        QStringLiteral("org.gnome.ptyxis"), QStringLiteral("ptyxis"), QStringLiteral("org.kde.konsole"),
        QStringLiteral("konsole"), QStringLiteral("xfce4-terminal"), QStringLiteral("org.xfce.terminal"),
        QStringLiteral("com.gexperts.tilix"), QStringLiteral("tilix"), QStringLiteral("terminator"),
        QStringLiteral("lxterminal"), QStringLiteral("mate-terminal"), QStringLiteral("qterminal"),
        QStringLiteral("urxvt"), QStringLiteral("rxvt"), QStringLiteral("st"), QStringLiteral("sakura"),
        QStringLiteral("guake"), QStringLiteral("terminology"), QStringLiteral("com.mitchellh.ghostty"),
        QStringLiteral("ghostty"), QStringLiteral("com.raggesilver.blackbox"), QStringLiteral("rio"),
        QStringLiteral("contour"), QStringLiteral("cool-retro-term"), QStringLiteral("yakuake")};
    QString id = target.bundleIdentifier->toLower();
    if (id.endsWith(QStringLiteral(".desktop")))
        id.chop(8);
    return applications.contains(id);
}

} // namespace TerminalPolicy
