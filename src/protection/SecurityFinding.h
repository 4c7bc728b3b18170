#pragma once

#include "FileIdentity.h"
#include "FileLocation.h"

#include <QList>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QtQml/qqmlregistration.h>
#include <optional>

// The values the protection module passes around: one rated item, its kind,
// the threat scale, the places walked and the result filter.
class ProtectionTypes : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Enumerations only")

public:
    enum class SecurityFindingType
    {
        application,
        installer,
        configuration,
        script,
        launchItem,
        executable,
    };
    Q_ENUM(SecurityFindingType)

    // In severity order: the index is the sort key.
    enum class ThreatLevel
    {
        dangerous,
        suspicious,
        review,
        safe,
        protected_, // "protected" is a C++ keyword
    };
    Q_ENUM(ThreatLevel)

    enum class ProtectionResultFilter
    {
        all,
        dangerous,
        suspicious,
        review,
        safe,
    };
    Q_ENUM(ProtectionResultFilter)

    enum class ScanRootKind
    {
        applications,
        downloads,
        launchItems,
        applicationSupport,
        privilegedHelpers,
        custom,
    };
    Q_ENUM(ScanRootKind)
};

using SecurityFindingType = ProtectionTypes::SecurityFindingType;
using ThreatLevel = ProtectionTypes::ThreatLevel;
using ProtectionResultFilter = ProtectionTypes::ProtectionResultFilter;
using ScanRootKind = ProtectionTypes::ScanRootKind;

namespace Threat {
QString title(SecurityFindingType type);      // "Aplicación", …
QString caseName(SecurityFindingType type);   // "application", …
QString title(ThreatLevel level);             // "Peligroso", …
QString badge(ThreatLevel level);             // the title in upper case
QString symbol(ThreatLevel level);            // "exclamationmark.octagon.fill", …
QString colour(ThreatLevel level);            // the palette's name: "danger", …
QString caseName(ThreatLevel level);          // "dangerous", …, "protected"
QString title(ProtectionResultFilter filter); // "Todos", …
bool passes(ProtectionResultFilter filter, ThreatLevel level);
} // namespace Threat

struct SecurityFinding
{
    QString url;
    QString name;
    QString path; // the folder that holds the item
    SecurityFindingType type = SecurityFindingType::application;
    ThreatLevel level = ThreatLevel::review;
    QStringList reasons;
    std::optional<QString> bundleIdentifier;
    std::optional<QString> teamIdentifier;
    QString signatureDescription;
    qint64 size = 0;
    std::optional<qint64> modificationDateMs;
    FileIdentity identity; // which file the scan rated: only that one is ever moved

    QString id() const { return FileLocation::standardizedPath(url); }
    bool operator==(const SecurityFinding &) const = default;
};

// One place the protection scanner walks.
struct ScanRoot
{
    QString url;
    ScanRootKind kind = ScanRootKind::custom;
    QString label;
    bool operator==(const ScanRoot &) const = default;
};

struct FindingCounts
{
    int dangerous = 0;
    int suspicious = 0;
    int review = 0;
    int safe = 0; // safe and protected
};

namespace Findings {

// The first finding of each item, in severity order, then by name as the user's
// locale sorts it, ignoring case, accented letters with their base letters.
QList<SecurityFinding> sortedUnique(const QList<SecurityFinding> &raw);
FindingCounts counts(const QList<SecurityFinding> &findings);
QList<SecurityFinding> filtered(const QList<SecurityFinding> &findings,
                                ProtectionResultFilter filter);

} // namespace Findings
