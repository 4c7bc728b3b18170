#pragma once

#include <QString>
#include <QStringList>
#include <array>
#include <optional>

// How much the smart selection takes. The raw value is the Spanish title, which
// is also what the preferences store.
enum class SmartCleanupMode
{
    conservative,
    balanced,
    aggressive
};

namespace SmartCleanupModes {

constexpr std::array<SmartCleanupMode, 3> allCases = {
    SmartCleanupMode::conservative, SmartCleanupMode::balanced, SmartCleanupMode::aggressive};

QString rawValue(SmartCleanupMode mode);
// Exact, case-sensitive match of a title; nothing otherwise.
std::optional<SmartCleanupMode> fromRawValue(const QString &raw);
QStringList titles();
QString modeDescription(SmartCleanupMode mode);

qint64 minimumSize(SmartCleanupMode mode);
qint64 minimumAgeSeconds(SmartCleanupMode mode);

// The mode's decision for one unprotected cache that is not in use.
bool keeps(SmartCleanupMode mode, qint64 size, std::optional<qint64> ageSeconds);

// Follows every description on the screen.
inline const QString kOpenApplicationsNote =
    QStringLiteral(" Las cachés de aplicaciones abiertas se excluyen.");

} // namespace SmartCleanupModes
