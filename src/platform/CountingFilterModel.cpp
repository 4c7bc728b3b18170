#include "CountingFilterModel.h"

CountingFilterModel::CountingFilterModel(QObject *parent) : QSortFilterProxyModel(parent)
{
    for (auto signal : {&QAbstractItemModel::rowsInserted, &QAbstractItemModel::rowsRemoved})
        connect(this, signal, this, &CountingFilterModel::updateCount);
    connect(this, &QAbstractItemModel::modelReset, this, &CountingFilterModel::updateCount);
    connect(this, &QAbstractItemModel::layoutChanged, this, &CountingFilterModel::updateCount);
}

void CountingFilterModel::refilter()
{
    invalidateRowsFilter();
    updateCount();
}

void CountingFilterModel::updateCount()
{
    if (rowCount() == m_count)
        return;
    m_count = rowCount();
    Q_EMIT countChanged();
}
