#include "ui/SettingsSection.h"

#include <QCoreApplication>

namespace SettingsSections {

const std::array<SettingsSection, 5> &allCases()
{
    static const std::array<SettingsSection, 5> cases = {SettingsSection::general, SettingsSection::dictionary,
        SettingsSection::writing, SettingsSection::applications, SettingsSection::history};
    return cases;
}

QString rawValue(SettingsSection section)
{
    switch (section) {
    case SettingsSection::general:
        return QStringLiteral("general");
    case SettingsSection::dictionary:
        return QStringLiteral("dictionary");
    case SettingsSection::writing:
        return QStringLiteral("writing");
    case SettingsSection::applications:
        return QStringLiteral("applications");
    case SettingsSection::history:
        return QStringLiteral("history");
    }
    return {};
}

std::optional<SettingsSection> fromRawValue(QStringView rawValue)
{
    for (SettingsSection section : allCases())
        if (SettingsSections::rawValue(section) == rawValue)
            return section;
    return std::nullopt;
}

QString title(SettingsSection section)
{
    switch (section) {
    case SettingsSection::general:
        return QCoreApplication::translate("SettingsSection", "一般");
    case SettingsSection::dictionary:
        return QCoreApplication::translate("SettingsSection", "辞書");
    case SettingsSection::writing:
        return QCoreApplication::translate("SettingsSection", "書き方");
    case SettingsSection::applications:
        return QCoreApplication::translate("SettingsSection", "アプリ");
    case SettingsSection::history:
        return QCoreApplication::translate("SettingsSection", "履歴");
    }
    return {};
}

} // namespace SettingsSections

void SettingsSectionSelection::setValue(SettingsSection section)
{
    if (section == current)
        return;
    current = section;
    Q_EMIT valueChanged();
}

void SettingsSectionSelection::setIndex(int index)
{
    const auto &cases = SettingsSections::allCases();
    if (index >= 0 && index < int(cases.size()))
        setValue(cases[size_t(index)]);
}

QStringList SettingsSectionSelection::titles() const
{
    QStringList titles;
    for (SettingsSection section : SettingsSections::allCases())
        titles.append(SettingsSections::title(section));
    return titles;
}
