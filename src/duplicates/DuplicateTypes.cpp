#include "DuplicateTypes.h"

#include <algorithm>
#include <limits>

namespace DuplicateOrder {

int compareCanonical(const QString &a, const QString &b)
{
    if (a == b)
        return 0;
    const QList<uint> x = a.normalized(QString::NormalizationForm_D).toUcs4();
    const QList<uint> y = b.normalized(QString::NormalizationForm_D).toUcs4();
    const auto [ix, iy] = std::mismatch(x.cbegin(), x.cend(), y.cbegin(), y.cend());
    if (ix == x.cend())
        return iy == y.cend() ? 0 : -1;
    if (iy == y.cend())
        return 1;
    return *ix < *iy ? -1 : 1;
}

bool keeperBefore(const DuplicateFileItem &a, const DuplicateFileItem &b)
{
    const qint64 never = std::numeric_limits<qint64>::max();
    const qint64 da = a.modificationDateMs.value_or(never);
    const qint64 db = b.modificationDateMs.value_or(never);
    if (da != db)
        return da < db;
    if (const int byName = compareCanonical(a.name, b.name); byName != 0)
        return byName < 0;
    return compareCanonical(a.path, b.path) < 0;
}

std::optional<DuplicateFileItem> keeper(const DuplicateGroup &group)
{
    if (group.files.isEmpty())
        return std::nullopt;
    QList<DuplicateFileItem> ordered = group.files;
    std::stable_sort(ordered.begin(), ordered.end(), keeperBefore);
    return ordered.first();
}

} // namespace DuplicateOrder
