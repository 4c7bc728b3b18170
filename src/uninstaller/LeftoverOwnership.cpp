#include "LeftoverOwnership.h"

#include "ApplicationInventory.h"
#include "FileLocation.h"
#include "SystemLayout.h"

namespace LeftoverOwnership {

namespace {

// An identifier of at least two non-empty parts, such as "com.example".
bool hasTwoParts(const QString &identifier)
{
    int parts = 0;
    for (const QString &part : identifier.split(QLatin1Char('.')))
        if (!part.isEmpty())
            ++parts;
    return parts >= 2;
}

bool isApples(const QString &entryName)
{
    const QString lower = entryName.toLower();
    return lower.startsWith(QLatin1String("com.apple.")) ||
           lower.startsWith(QLatin1String("group.com.apple."));
}

} // namespace

Match match(const QString &entryName, const QString &applicationName,
            const std::optional<QString> &bundleIdentifier)
{
    const QString entry = ApplicationInventory::normalisedName(entryName);
    const QString identifier = bundleIdentifier ? bundleIdentifier->toLower() : QString();
    const QString name = ApplicationInventory::normalisedName(applicationName);
    Match best;
    if (!identifier.isEmpty() && entry.contains(identifier)) {
        best = hasTwoParts(identifier)
                   ? Match{Match::Kind::identifier, int(identifier.size()), true}
                   : Match{Match::Kind::weak, 0, true};
    }
    if (!name.isEmpty() && entry.contains(name)) {
        const Match byName = name.size() >= 4 ? Match{Match::Kind::name, int(name.size()), false}
                                              : Match{Match::Kind::weak, 0, false};
        if (byName > best)
            best = byName;
    }
    return best;
}

bool isVelmoras(const QString &path)
{
    const QString quarantine = SystemLayout::quarantineFolder();
    const QString ours = FileLocation::deletingLastPathComponent(quarantine);
    if (path == ours || path.startsWith(ours + QLatin1Char('/')) ||
        ours.startsWith(path + QLatin1Char('/')))
        return true;
    const QString name = FileLocation::lastPathComponent(path).toLower();
    return name == QLatin1String("velmora") || name.startsWith(QLatin1String("velmora.")) ||
           name.startsWith(QLatin1String("com.velmora."));
}

QList<Decision> decide(const InstalledApplication &application,
                       const QList<InstalledApplication> &staying)
{
    const bool appleApplication =
        application.bundleIdentifier &&
        application.bundleIdentifier->toLower().startsWith(QLatin1String("com.apple."));
    QList<Decision> out;
    for (const QString &url : application.relatedFiles) {
        const QString entryName = FileLocation::lastPathComponent(url);
        const Match own = match(entryName, application.name, application.bundleIdentifier);
        Decision d{url, own.byIdentifier, true, QString()};
        if (isVelmoras(url)) {
            d.keptBecause = QStringLiteral("Es de Velmora.");
        } else if (isApples(entryName) && !appleApplication) {
            d.keptBecause = QStringLiteral("Es de Apple.");
        } else if (own.kind == Match::Kind::weak || own.kind == Match::Kind::none) {
            d.keptBecause = QStringLiteral("Coincide solo con un nombre o identificador demasiado "
                                           "corto.");
        } else {
            const InstalledApplication *rival = nullptr;
            Match rivalMatch;
            for (const InstalledApplication &other : staying) {
                const Match m = match(entryName, other.name, other.bundleIdentifier);
                if (m.kind != Match::Kind::none && (!rival || m > rivalMatch)) {
                    rival = &other;
                    rivalMatch = m;
                }
            }
            const bool sameApplication = rival && rival->name == application.name &&
                                         rival->bundleIdentifier == application.bundleIdentifier;
            if (rival && !(own > rivalMatch))
                d.keptBecause =
                    sameApplication
                        ? QStringLiteral("También es de otra instalación de %1.").arg(rival->name)
                        : QStringLiteral("También puede ser de %1.").arg(rival->name);
            else
                d.kept = false;
        }
        out.append(d);
    }
    return out;
}

} // namespace LeftoverOwnership
