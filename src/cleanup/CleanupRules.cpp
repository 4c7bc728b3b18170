#include "CleanupRules.h"

namespace CleanupRules {

namespace {

// The protected system caches, as data: checked in this order, the first rule
// that matches gives the reason. Prefixes match the lower-cased name; names match
// whole, ignoring case.
struct ProtectionRule
{
    enum Match
    {
        Prefix,
        Name
    } match;
    const char *text;
};

constexpr const char kSystemReason[] =
    "Caché de macOS protegida para evitar problemas del sistema.";
constexpr const char kBuiltInReason[] = "Caché de una función integrada de macOS.";

constexpr ProtectionRule kRules[] = {
    {ProtectionRule::Prefix, "com.apple."},
    {ProtectionRule::Prefix, "apple."},
    {ProtectionRule::Prefix, "cloudkit"},
    {ProtectionRule::Prefix, "familycircle"},
    {ProtectionRule::Prefix, "locationd"},
    {ProtectionRule::Prefix, "knowledge-agent"},
    {ProtectionRule::Prefix, "nsurlsessiond"},
    {ProtectionRule::Prefix, "sharedfilelist"},
    {ProtectionRule::Prefix, "systempreferences"},
    {ProtectionRule::Prefix, "mobileasset"},
    {ProtectionRule::Name, "Safari"},
    {ProtectionRule::Name, "com.apple.Safari"},
    {ProtectionRule::Name, "GeoServices"},
    {ProtectionRule::Name, "HomeKit"},
    {ProtectionRule::Name, "PassKit"},
    {ProtectionRule::Name, "CoreDuet"},
    {ProtectionRule::Name, "CoreFollowUp"},
};

} // namespace

Protection protectionInfo(const QString &name)
{
    const QString lower = name.toLower();
    for (const ProtectionRule &rule : kRules) {
        const QLatin1String text(rule.text);
        if (rule.match == ProtectionRule::Prefix && lower.startsWith(text))
            return {true, QString::fromUtf8(kSystemReason)};
        if (rule.match == ProtectionRule::Name && name.compare(text, Qt::CaseInsensitive) == 0)
            return {true, QString::fromUtf8(kBuiltInReason)};
    }
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

const RunningApplication *inUseBy(const CleanupItem &item, const QList<RunningApplication> &running)
{
    const QString n = item.name.toLower();
    const QString d = item.displayName.toLower();
    for (const RunningApplication &app : running) {
        if (!app.bundleIdentifier.isEmpty()) {
            const QString b = app.bundleIdentifier.toLower();
            if (n == b || n.contains(b) || b.contains(n))
                return &app;
            const QStringList parts = b.split(QLatin1Char('.'), Qt::SkipEmptyParts);
            const QString last = parts.isEmpty() ? QString() : parts.last().toLower();
            if (!last.isEmpty() && d.contains(last))
                return &app;
        }
        if (!app.localizedName.isEmpty()) {
            const QString l = app.localizedName.toLower();
            if (d.contains(l))
                return &app;
        }
    }
    return nullptr;
}

bool isProbablyInUse(const CleanupItem &item, const QList<RunningApplication> &running)
{
    return inUseBy(item, running) != nullptr;
}

} // namespace CleanupRules
