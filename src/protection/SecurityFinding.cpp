#include "SecurityFinding.h"

#include <QCollator>
#include <QLocale>
#include <QSet>
#include <algorithm>

namespace Threat {

namespace {

struct LevelRow
{
    const char *title;
    const char *symbol;
    const char *colour;
    const char *caseName;
};

const LevelRow kLevels[] = {
    {"Peligroso", "exclamationmark.octagon.fill", "danger", "dangerous"},
    {"Sospechoso", "exclamationmark.triangle.fill", "warning", "suspicious"},
    {"Revisar", "questionmark.diamond.fill", "violet", "review"},
    {"Seguro", "checkmark.circle.fill", "success", "safe"},
    {"Protegido", "lock.shield.fill", "blue", "protected"},
};

const std::pair<const char *, const char *> kTypes[] = {
    {"Aplicación", "application"},       {"Instalador", "installer"},
    {"Configuración", "configuration"},  {"Script", "script"},
    {"Inicio automático", "launchItem"}, {"Ejecutable", "executable"},
};

const char *const kFilters[] = {"Todos", "Peligrosos", "Sospechosos", "Revisar", "Seguros"};

const LevelRow &row(ThreatLevel level)
{
    return kLevels[int(level)];
}

} // namespace

QString title(SecurityFindingType type)
{
    return QString::fromUtf8(kTypes[int(type)].first);
}
QString caseName(SecurityFindingType type)
{
    return QString::fromLatin1(kTypes[int(type)].second);
}
QString title(ThreatLevel level)
{
    return QString::fromUtf8(row(level).title);
}
QString badge(ThreatLevel level)
{
    return title(level).toUpper();
}
QString symbol(ThreatLevel level)
{
    return QString::fromLatin1(row(level).symbol);
}
QString colour(ThreatLevel level)
{
    return QString::fromLatin1(row(level).colour);
}
QString caseName(ThreatLevel level)
{
    return QString::fromLatin1(row(level).caseName);
}
QString title(ProtectionResultFilter filter)
{
    return QString::fromUtf8(kFilters[int(filter)]);
}

bool passes(ProtectionResultFilter filter, ThreatLevel level)
{
    switch (filter) {
    case ProtectionResultFilter::all:
        return true;
    case ProtectionResultFilter::dangerous:
        return level == ThreatLevel::dangerous;
    case ProtectionResultFilter::suspicious:
        return level == ThreatLevel::suspicious;
    case ProtectionResultFilter::review:
        return level == ThreatLevel::review;
    case ProtectionResultFilter::safe:
        return level == ThreatLevel::safe || level == ThreatLevel::protected_;
    }
    return false;
}

} // namespace Threat

namespace Findings {

QList<SecurityFinding> sortedUnique(const QList<SecurityFinding> &raw)
{
    QList<SecurityFinding> kept;
    QSet<QString> seen;
    for (const SecurityFinding &finding : raw)
        if (const QString id = finding.id(); !seen.contains(id)) {
            seen.insert(id);
            kept.append(finding);
        }
    // The user's locale; a process without one (the C locale compares code
    // points) sorts as the Spanish its texts are written in.
    const QLocale locale =
        QLocale().language() == QLocale::C ? QLocale(QLocale::Spanish, QLocale::Spain) : QLocale();
    QCollator collator{locale};
    collator.setCaseSensitivity(Qt::CaseInsensitive);
    collator.setIgnorePunctuation(false);
    std::stable_sort(kept.begin(), kept.end(),
                     [&collator](const SecurityFinding &a, const SecurityFinding &b) {
                         if (a.level != b.level)
                             return int(a.level) < int(b.level);
                         return collator.compare(a.name, b.name) < 0;
                     });
    return kept;
}

FindingCounts counts(const QList<SecurityFinding> &findings)
{
    FindingCounts c;
    for (const SecurityFinding &f : findings) {
        switch (f.level) {
        case ThreatLevel::dangerous:
            ++c.dangerous;
            break;
        case ThreatLevel::suspicious:
            ++c.suspicious;
            break;
        case ThreatLevel::review:
            ++c.review;
            break;
        case ThreatLevel::safe:
        case ThreatLevel::protected_:
            ++c.safe;
            break;
        }
    }
    return c;
}

QList<SecurityFinding> filtered(const QList<SecurityFinding> &findings,
                                ProtectionResultFilter filter)
{
    QList<SecurityFinding> out;
    for (const SecurityFinding &f : findings)
        if (Threat::passes(filter, f.level))
            out.append(f);
    return out;
}

} // namespace Findings
