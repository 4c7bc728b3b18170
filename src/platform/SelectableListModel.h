#pragma once

#include <QAbstractListModel>
#include <QHash>
#include <QSet>

// The base of every result list the screens show: rows identified by an item
// identifier, with a "selected" role that follows the scanner's selection. When
// the selection changes only the rows whose state changed are announced.
class SelectableListModel : public QAbstractListModel
{
    Q_OBJECT
    Q_PROPERTY(int count READ count NOTIFY countChanged)

public:
    using QAbstractListModel::QAbstractListModel;

    int rowCount(const QModelIndex &parent = {}) const override;
    int count() const { return int(m_ids.size()); }
    Q_INVOKABLE QString idAt(int row) const { return m_ids.value(row); }
    int rowOf(const QString &id) const { return m_rowById.value(id, -1); }

    void setSelection(const QSet<QString> &selection);

Q_SIGNALS:
    void countChanged();

protected:
    // Subclasses replace their rows inside beginReset()/endReset(ids).
    void beginReset() { beginResetModel(); }
    void endReset(QList<QString> ids);
    bool isSelected(int row) const { return m_selection.contains(m_ids.value(row)); }
    virtual int selectedRole() const = 0;

private:
    QList<QString> m_ids;
    QHash<QString, int> m_rowById;
    QSet<QString> m_selection;
};
