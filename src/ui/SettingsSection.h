#pragma once

#include <QObject>
#include <QString>

#include <array>
#include <optional>

// The entries of the settings window's sidebar, in the order shown.
enum class SettingsSection { general, dictionary, writing, applications, history };

namespace SettingsSections {
const std::array<SettingsSection, 5> &allCases();
QString rawValue(SettingsSection section);
std::optional<SettingsSection> fromRawValue(QStringView rawValue);
// Localised through the Japanese title itself as the key.
QString title(SettingsSection section);
} // namespace SettingsSections

// The section the settings window shows. It outlives the window, so a reopened window shows the
// section last chosen, and the tray or a second launch can pick one. Main thread only.
class SettingsSectionSelection : public QObject
{
    Q_OBJECT
    // The section's position in SettingsSections::allCases(), for the sidebar.
    Q_PROPERTY(int index READ index WRITE setIndex NOTIFY valueChanged)
    Q_PROPERTY(QStringList titles READ titles CONSTANT)

public:
    using QObject::QObject;

    SettingsSection value() const { return current; }
    void setValue(SettingsSection section);
    int index() const { return int(current); }
    void setIndex(int index);
    QStringList titles() const;

Q_SIGNALS:
    void valueChanged();

private:
    SettingsSection current = SettingsSection::general;
};
