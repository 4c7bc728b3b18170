#include "ProtectionFindingFilter.h"

void ProtectionFindingFilter::setFilter(ProtectionResultFilter filter)
{
    if (filter == m_filter)
        return;
    m_filter = filter;
    refilter();
    Q_EMIT filterChanged();
}

bool ProtectionFindingFilter::filterAcceptsRow(int sourceRow, const QModelIndex &sourceParent) const
{
    const QModelIndex index = sourceModel()->index(sourceRow, 0, sourceParent);
    const int levelRole = sourceModel()->roleNames().key("level", -1);
    return Threat::passes(m_filter, ThreatLevel(index.data(levelRole).toInt()));
}
