#include "ResultModel.h"

#include <algorithm>

int ResultModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : count();
}

bool ResultModel::isSelectedRow(int row) const
{
    if (row < 0 || row >= count())
        return false;
    const Row &r = m_rows.at(row);
    return r.selectable && m_selection.contains(r.id);
}

bool ResultModel::isSelectable(const QString &id) const
{
    const int row = rowOf(id);
    return row >= 0 && m_rows.at(row).selectable;
}

void ResultModel::endReset(QList<Row> rows)
{
    const int before = count();
    m_rows = std::move(rows);
    m_rowById.clear();
    m_rowById.reserve(m_rows.size());
    m_totalSize = 0;
    for (int row = 0; row < m_rows.size(); ++row) {
        m_rowById.insert(m_rows.at(row).id, row);
        m_totalSize += m_rows.at(row).size;
    }
    endResetModel();
    if (count() != before)
        Q_EMIT countChanged();
    updateFigures(true);
}

void ResultModel::setSelectable(const QList<bool> &selectable)
{
    for (int row = 0; row < m_rows.size() && row < selectable.size(); ++row)
        m_rows[row].selectable = selectable.at(row);
    if (!m_rows.isEmpty())
        Q_EMIT dataChanged(index(0), index(count() - 1));
    updateFigures(true);
}

void ResultModel::updateFigures(bool announce)
{
    int selectedCount = 0;
    qint64 selectedSize = 0;
    // Whichever is smaller decides how the figures are counted.
    if (m_selection.size() < m_rows.size()) {
        for (const QString &id : m_selection) {
            const int row = rowOf(id);
            if (row >= 0 && m_rows.at(row).selectable) {
                ++selectedCount;
                selectedSize += m_rows.at(row).size;
            }
        }
    } else {
        for (const Row &r : m_rows)
            if (r.selectable && m_selection.contains(r.id)) {
                ++selectedCount;
                selectedSize += r.size;
            }
    }
    const bool changed = selectedCount != m_selectedCount || selectedSize != m_selectedSize;
    m_selectedCount = selectedCount;
    m_selectedSize = selectedSize;
    if (changed && announce)
        Q_EMIT selectionChanged();
}

QStringList ResultModel::selectionList() const
{
    QStringList listed;
    QStringList others;
    for (const Row &r : m_rows)
        if (m_selection.contains(r.id))
            listed.append(r.id);
    if (listed.size() < m_selection.size()) {
        for (const QString &id : m_selection)
            if (rowOf(id) < 0)
                others.append(id);
        std::sort(others.begin(), others.end());
    }
    return listed + others;
}

void ResultModel::setSelection(const QSet<QString> &selection)
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
    } else {
        for (const QString &id : changed) {
            const int row = rowOf(id);
            if (row >= 0)
                Q_EMIT dataChanged(index(row), index(row), roles);
        }
    }
    updateFigures(false);
    Q_EMIT selectionChanged();
}

void ResultModel::toggle(const QString &id)
{
    if (rowOf(id) >= 0 && !isSelectable(id))
        return;
    QSet<QString> ids = m_selection;
    if (!ids.remove(id))
        ids.insert(id);
    setSelection(ids);
}

void ResultModel::selectAll()
{
    QSet<QString> ids;
    for (const Row &r : m_rows)
        if (r.selectable)
            ids.insert(r.id);
    setSelection(ids);
}
