#include "SelectableListModel.h"

int SelectableListModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_ids.size());
}

void SelectableListModel::endReset(QList<QString> ids)
{
    const int before = count();
    m_ids = std::move(ids);
    m_rowById.clear();
    m_rowById.reserve(m_ids.size());
    for (int row = 0; row < m_ids.size(); ++row)
        m_rowById.insert(m_ids.at(row), row);
    endResetModel();
    if (count() != before)
        Q_EMIT countChanged();
}

void SelectableListModel::setSelection(const QSet<QString> &selection)
{
    if (selection == m_selection)
        return;
    QSet<QString> changed = selection;
    for (const QString &id : m_selection)
        if (!changed.remove(id))
            changed.insert(id); // was selected, is not any more
    m_selection = selection;
    const QList<int> roles{selectedRole()};
    // "Select all" on a long list: one announcement for the whole list.
    if (changed.size() > 256) {
        if (count() > 0)
            Q_EMIT dataChanged(index(0), index(count() - 1), roles);
        return;
    }
    for (const QString &id : changed) {
        const int row = rowOf(id);
        if (row >= 0)
            Q_EMIT dataChanged(index(row), index(row), roles);
    }
}
