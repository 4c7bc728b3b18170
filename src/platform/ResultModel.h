#pragma once

#include <QAbstractListModel>
#include <QHash>
#include <QSet>
#include <QtQml/qqmlregistration.h>

// The part of every result list that does not depend on the item type: rows
// identified by item identifiers, the selection (a set of identifiers, which
// may hold identifiers no row has), and the selected figures. Selected items
// are the rows whose identifier is selected and that may be selected, in row
// order; their count and size follow both the selection and the rows.
// Selection changes announce only the rows whose state changed.
class ResultModel : public QAbstractListModel
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Owned by a scanner")
    Q_PROPERTY(int count READ count NOTIFY countChanged)

public:
    using QAbstractListModel::QAbstractListModel;

    int rowCount(const QModelIndex &parent = {}) const override;
    int count() const { return int(m_rows.size()); }
    Q_INVOKABLE QString idAt(int row) const
    {
        return row >= 0 && row < count() ? m_rows[row].id : QString();
    }
    int rowOf(const QString &id) const { return m_rowById.value(id, -1); }
    qint64 totalSize() const { return m_totalSize; }

    const QSet<QString> &selection() const { return m_selection; }
    // The selection, rows first in row order, then identifiers no row has.
    QStringList selectionList() const;
    void setSelection(const QSet<QString> &selection);
    void setSelection(const QStringList &ids)
    {
        setSelection(QSet<QString>(ids.cbegin(), ids.cend()));
    }
    // Adds a selectable row's identifier when absent, removes it when present.
    void toggle(const QString &id);
    void selectAll();
    void clearSelection() { setSelection(QSet<QString>()); }

    bool isSelectable(const QString &id) const;
    int selectedCount() const { return m_selectedCount; }
    qint64 selectedSize() const { return m_selectedSize; }

Q_SIGNALS:
    void countChanged();
    // The selection or the selected figures changed.
    void selectionChanged();

protected:
    struct Row
    {
        QString id;
        qint64 size = 0;
        bool selectable = true;
    };
    // Subclasses replace their items inside beginResetModel()/endReset(rows).
    void endReset(QList<Row> rows);
    // New "may be selected" flags, one per row; every row is announced, since
    // what decided them may show in other roles too.
    void setSelectable(const QList<bool> &selectable);
    bool isSelectedRow(int row) const;

private:
    void updateFigures(bool announce);
    virtual int selectedRole() const = 0;

    QList<Row> m_rows;
    QHash<QString, int> m_rowById;
    QSet<QString> m_selection;
    qint64 m_totalSize = 0;
    int m_selectedCount = 0;
    qint64 m_selectedSize = 0;
};
