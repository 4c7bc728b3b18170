#include "LargeFileListModel.h"

#include "Formatters.h"

#include <QDateTime>

void LargeFileListModel::setItems(const QList<LargeFileItem> &items)
{
    beginReset();
    m_items = items;
    QList<QString> ids;
    ids.reserve(items.size());
    for (const LargeFileItem &item : items)
        ids.append(item.id());
    endReset(std::move(ids));
}

QVariant LargeFileListModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || index.row() >= m_items.size())
        return {};
    const LargeFileItem &item = m_items.at(index.row());
    switch (role) {
    case IdRole:
        return item.id();
    case UrlRole:
        return item.url;
    case Qt::DisplayRole:
    case NameRole:
        return item.name;
    case PathRole:
        return item.path;
    case SizeRole:
        return item.size;
    case SizeTextRole:
        return Formatters::bytes(item.size);
    case ModificationDateRole:
        return item.modificationDateMs ? QDateTime::fromMSecsSinceEpoch(*item.modificationDateMs)
                                       : QVariant();
    case SelectedRole:
        return isSelected(index.row());
    default:
        return {};
    }
}

QHash<int, QByteArray> LargeFileListModel::roleNames() const
{
    return {{IdRole, "itemId"},
            {UrlRole, "url"},
            {NameRole, "name"},
            {PathRole, "path"},
            {SizeRole, "size"},
            {SizeTextRole, "sizeText"},
            {ModificationDateRole, "modificationDate"},
            {SelectedRole, "selected"}};
}
