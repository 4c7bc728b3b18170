#include "CleanupRules.h"

namespace CleanupRules {

Protection protectionInfo(const QString &name)
{
    static const char *const prefixes[] = {
        "com.apple.",      "apple.",        "cloudkit",       "familycircle",      "locationd",
        "knowledge-agent", "nsurlsessiond", "sharedfilelist", "systempreferences", "mobileasset"};
    static const char *const builtIn[] = {"Safari",  "com.apple.Safari", "GeoServices", "HomeKit",
                                          "PassKit", "CoreDuet",         "CoreFollowUp"};
    const QString lower = name.toLower();
    for (const char *prefix : prefixes)
        if (lower.startsWith(QLatin1String(prefix)))
            return {true,
                    QStringLiteral("Caché de macOS protegida para evitar problemas del sistema.")};
    for (const char *exact : builtIn)
        if (name.compare(QLatin1String(exact), Qt::CaseInsensitive) == 0)
            return {true, QStringLiteral("Caché de una función integrada de macOS.")};
    return {};
}

QString readableName(const QString &name)
{
    const QStringList parts = name.split(QLatin1Char('.'), Qt::SkipEmptyParts);
    if (name.toLower().startsWith(QLatin1String("com.")) && !parts.isEmpty() &&
        !parts.last().isEmpty())
        return parts.last();
    return name;
}

bool isProbablyInUse(const CleanupItem &item, const QList<RunningApplication> &running)
{
    const QString n = item.name.toLower();
    const QString d = item.displayName.toLower();
    for (const RunningApplication &app : running) {
        if (!app.bundleIdentifier.isEmpty()) {
            const QString b = app.bundleIdentifier.toLower();
            if (n == b || n.contains(b) || b.contains(n))
                return true;
            const QStringList parts = b.split(QLatin1Char('.'), Qt::SkipEmptyParts);
            const QString last = parts.isEmpty() ? QString() : parts.last().toLower();
            if (!last.isEmpty() && d.contains(last))
                return true;
        }
        if (!app.localizedName.isEmpty()) {
            const QString l = app.localizedName.toLower();
            if (d.contains(l))
                return true;
        }
    }
    return false;
}

} // namespace CleanupRules
