#include "ProtectionFindingFilter.h"

ProtectionFindingFilter::ProtectionFindingFilter(QObject *parent) : QSortFilterProxyModel(parent)
{
    for (auto signal : {&QAbstractItemModel::rowsInserted, &QAbstractItemModel::rowsRemoved})
        connect(this, signal, this, &ProtectionFindingFilter::updateCount);
    connect(this, &QAbstractItemModel::modelReset, this, &ProtectionFindingFilter::updateCount);
    connect(this, &QAbstractItemModel::layoutChanged, this, &ProtectionFindingFilter::updateCount);
}

void ProtectionFindingFilter::updateCount()
{
    if (rowCount() == m_count)
        return;
    m_count = rowCount();
    Q_EMIT countChanged();
}

void ProtectionFindingFilter::setFilter(ProtectionResultFilter filter)
{
    if (filter == m_filter)
        return;
    m_filter = filter;
    invalidateRowsFilter();
    Q_EMIT filterChanged();
    updateCount();
}

bool ProtectionFindingFilter::filterAcceptsRow(int sourceRow, const QModelIndex &sourceParent) const
{
    const QModelIndex index = sourceModel()->index(sourceRow, 0, sourceParent);
    const int levelRole = sourceModel()->roleNames().key("level", -1);
    return Threat::passes(m_filter, ThreatLevel(index.data(levelRole).toInt()));
}
