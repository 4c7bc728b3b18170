#pragma once

#include "FileLocation.h"
#include "Formatters.h"
#include "ResultModel.h"

#include <QList>
#include <QVariant>
#include <functional>

// One column of a result list as QML sees it: a role name and how to read it.
template <typename Item> struct ResultRole
{
    QByteArray name;
    std::function<QVariant(const Item &)> value;
};

// How a result list reads its items: the size that selected figures add up,
// whether an item may be selected at all, and the roles the rows show. Every
// list also has the role "selected".
template <typename Item> struct ResultColumns
{
    std::function<qint64(const Item &)> size;
    std::function<bool(const Item &)> selectable; // empty: every item
    QList<ResultRole<Item>> roles;
};

// The roles every row of files shows: itemId, url, name, size and sizeText,
// read from the file that fileOf(item) gives. The identifier and url keep the
// name's exact bytes, to act on; the name is the text to show.
template <typename Item, typename FileOf> QList<ResultRole<Item>> fileRoles(FileOf fileOf)
{
    return {
        {"itemId", [fileOf](const Item &item) { return QVariant(fileOf(item).id()); }},
        {"url", [fileOf](const Item &item) { return QVariant(fileOf(item).url); }},
        {"name",
         [fileOf](const Item &item) {
             return QVariant(FileLocation::displayText(fileOf(item).name));
         }},
        {"size", [fileOf](const Item &item) { return QVariant(fileOf(item).size); }},
        {"sizeText",
         [fileOf](const Item &item) { return QVariant(Formatters::bytes(fileOf(item).size)); }},
    };
}
template <typename Item> QList<ResultRole<Item>> fileRoles()
{
    return fileRoles<Item>([](const Item &item) -> const Item & { return item; });
}

// How a result list names an item: by default its id(), the path of its
// standardized location. A type identified otherwise overloads this beside it.
template <typename Item> QString resultItemId(const Item &item)
{
    return item.id();
}

// The item list a scanner publishes, with its selection (see ResultModel).
template <typename Item> class ResultList : public ResultModel
{
public:
    explicit ResultList(ResultColumns<Item> columns, QObject *parent = nullptr)
        : ResultModel(parent), m_columns(std::move(columns))
    {}

    const QList<Item> &items() const { return m_items; }

    void setItems(QList<Item> items)
    {
        beginResetModel();
        m_items = std::move(items);
        QList<Row> rows;
        rows.reserve(m_items.size());
        for (const Item &item : m_items)
            rows.append({resultItemId(item), m_columns.size(item), isSelectable(item)});
        endReset(std::move(rows));
    }

    // Asks every item again whether it may be selected (what that depends on
    // changed); the rows whose answer changed are announced.
    void refreshSelectable()
    {
        QList<bool> selectable;
        selectable.reserve(m_items.size());
        for (const Item &item : m_items)
            selectable.append(isSelectable(item));
        setSelectable(selectable);
    }

    // The selected items, in list order.
    QList<Item> selectedItems() const
    {
        QList<Item> out;
        for (int row = 0; row < m_items.size(); ++row)
            if (isSelectedRow(row))
                out.append(m_items.at(row));
        return out;
    }

    // Drops the items with these identifiers from the list and the selection.
    void remove(const QSet<QString> &ids)
    {
        if (ids.isEmpty())
            return;
        QList<Item> kept;
        for (const Item &item : m_items)
            if (!ids.contains(resultItemId(item)))
                kept.append(item);
        setSelection(selection() - ids);
        setItems(std::move(kept));
    }

    QVariant data(const QModelIndex &index, int role) const override
    {
        if (!index.isValid() || index.row() >= m_items.size())
            return {};
        const int column = role - Qt::UserRole - 1;
        if (column == m_columns.roles.size())
            return isSelectedRow(index.row());
        if (column < 0 || column > m_columns.roles.size())
            return {};
        return m_columns.roles.at(column).value(m_items.at(index.row()));
    }

    QHash<int, QByteArray> roleNames() const override
    {
        QHash<int, QByteArray> names;
        for (int i = 0; i < m_columns.roles.size(); ++i)
            names.insert(Qt::UserRole + 1 + i, m_columns.roles.at(i).name);
        names.insert(selectedRole(), QByteArrayLiteral("selected"));
        return names;
    }

    // The role number of a role name, for code that reads rows directly.
    int role(const QByteArray &name) const { return roleNames().key(name, -1); }

private:
    bool isSelectable(const Item &item) const
    {
        return !m_columns.selectable || m_columns.selectable(item);
    }
    int selectedRole() const override { return Qt::UserRole + 1 + int(m_columns.roles.size()); }

    ResultColumns<Item> m_columns;
    QList<Item> m_items;
};
