#include "CleanupAutomationSettings.h"

#include "Preferences.h"

CleanupAutomationSettings::CleanupAutomationSettings(QObject *parent) : QObject(parent)
{
    const QString stored = Preferences::string(kModeKey);
    if (stored == SmartCleanupModes::rawValue(SmartCleanupMode::conservative))
        m_mode = SmartCleanupMode::conservative;
    else if (stored == SmartCleanupModes::rawValue(SmartCleanupMode::aggressive))
        m_mode = SmartCleanupMode::aggressive;
    // Anything else, stored or not, is balanced.
    m_autoSelect =
        Preferences::contains(kAutoSelectKey) ? Preferences::boolean(kAutoSelectKey) : true;
}

void CleanupAutomationSettings::setMode(SmartCleanupMode mode)
{
    // Stored on every assignment, changed or not.
    Preferences::setString(kModeKey, SmartCleanupModes::rawValue(mode));
    if (mode == m_mode)
        return;
    m_mode = mode;
    Q_EMIT modeChanged();
}

void CleanupAutomationSettings::setModeTitle(const QString &title)
{
    if (const auto mode = SmartCleanupModes::fromRawValue(title))
        setMode(*mode);
}

QString CleanupAutomationSettings::modeDescription() const
{
    return SmartCleanupModes::modeDescription(m_mode) + SmartCleanupModes::kOpenApplicationsNote;
}

void CleanupAutomationSettings::setAutoSelectAfterScan(bool on)
{
    Preferences::setBoolean(kAutoSelectKey, on);
    if (on == m_autoSelect)
        return;
    m_autoSelect = on;
    Q_EMIT autoSelectAfterScanChanged();
}
