#include "SmartCleanupMode.h"

namespace SmartCleanupModes {

namespace {
constexpr qint64 MiB = 1024 * 1024;
constexpr qint64 kDay = 86400;
// Balanced takes caches this large whatever their age; aggressive takes undated
// caches from this size on.
constexpr qint64 kBalancedAnyAge = 500 * MiB;
constexpr qint64 kAggressiveUndated = 100 * MiB;
} // namespace

QString rawValue(SmartCleanupMode mode)
{
    switch (mode) {
    case SmartCleanupMode::conservative:
        return QStringLiteral("Conservador");
    case SmartCleanupMode::balanced:
        return QStringLiteral("Equilibrado");
    case SmartCleanupMode::aggressive:
        return QStringLiteral("Agresivo");
    }
    return {};
}

std::optional<SmartCleanupMode> fromRawValue(const QString &raw)
{
    for (SmartCleanupMode mode : allCases)
        if (rawValue(mode) == raw)
            return mode;
    return std::nullopt;
}

QStringList titles()
{
    QStringList out;
    for (SmartCleanupMode mode : allCases)
        out << rawValue(mode);
    return out;
}

QString modeDescription(SmartCleanupMode mode)
{
    switch (mode) {
    case SmartCleanupMode::conservative:
        return QStringLiteral(
            "Selecciona cachés grandes que llevan al menos 30 días sin modificarse.");
    case SmartCleanupMode::balanced:
        return QStringLiteral(
            "Selecciona cachés de al menos 25 MB con 3 días sin actividad, o cachés "
            "muy grandes de aplicaciones cerradas.");
    case SmartCleanupMode::aggressive:
        return QStringLiteral(
            "Selecciona más cachés, incluyendo elementos recientes de mayor tamaño.");
    }
    return {};
}

qint64 minimumSize(SmartCleanupMode mode)
{
    switch (mode) {
    case SmartCleanupMode::conservative:
        return 100 * MiB;
    case SmartCleanupMode::balanced:
        return 25 * MiB;
    case SmartCleanupMode::aggressive:
        return 10 * MiB;
    }
    return 0;
}

qint64 minimumAgeSeconds(SmartCleanupMode mode)
{
    switch (mode) {
    case SmartCleanupMode::conservative:
        return 30 * kDay;
    case SmartCleanupMode::balanced:
        return 3 * kDay;
    case SmartCleanupMode::aggressive:
        return kDay;
    }
    return 0;
}

bool keeps(SmartCleanupMode mode, qint64 size, std::optional<qint64> ageSeconds)
{
    if (size < minimumSize(mode))
        return false;
    if (!ageSeconds) {
        switch (mode) {
        case SmartCleanupMode::conservative:
            return false;
        case SmartCleanupMode::balanced:
            return size >= kBalancedAnyAge;
        case SmartCleanupMode::aggressive:
            return size >= kAggressiveUndated;
        }
    }
    if (mode == SmartCleanupMode::balanced && size >= kBalancedAnyAge)
        return true;
    return *ageSeconds >= minimumAgeSeconds(mode);
}

} // namespace SmartCleanupModes
