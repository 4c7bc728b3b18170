#include "CleanupListModel.h"

#include "Formatters.h"

void CleanupListModel::setItems(const QList<CleanupItem> &items)
{
    beginReset();
    m_items = items;
    QList<QString> ids;
    ids.reserve(items.size());
    for (const CleanupItem &item : items)
        ids.append(item.id());
    endReset(std::move(ids));
}

QVariant CleanupListModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || index.row() >= m_items.size())
        return {};
    const CleanupItem &item = m_items.at(index.row());
    switch (role) {
    case IdRole:
        return item.id();
    case UrlRole:
        return item.url;
    case NameRole:
        return item.name;
    case Qt::DisplayRole:
    case DisplayNameRole:
        return item.displayName;
    case SizeRole:
        return item.size;
    case SizeTextRole:
        return Formatters::bytes(item.size);
    case ItemCountRole:
        return item.itemCount;
    case ModificationDateRole:
        return item.modificationDateMs ? QDateTime::fromMSecsSinceEpoch(*item.modificationDateMs)
                                       : QVariant();
    case DateTextRole:
        return item.modificationDateMs ? Formatters::mediumDate(QDateTime::fromMSecsSinceEpoch(
                                             *item.modificationDateMs))
                                       : QString();
    case IsDirectoryRole:
        return item.isDirectory;
    case IsProtectedRole:
        return item.isProtected;
    case ProtectionReasonRole:
        return item.protectionReason;
    case SelectedRole:
        return isSelected(index.row());
    default:
        return {};
    }
}

QHash<int, QByteArray> CleanupListModel::roleNames() const
{
    return {{IdRole, "itemId"},
            {UrlRole, "url"},
            {NameRole, "name"},
            {DisplayNameRole, "displayName"},
            {SizeRole, "size"},
            {SizeTextRole, "sizeText"},
            {ItemCountRole, "itemCount"},
            {ModificationDateRole, "modificationDate"},
            {DateTextRole, "dateText"},
            {IsDirectoryRole, "isDirectory"},
            {IsProtectedRole, "isProtected"},
            {ProtectionReasonRole, "protectionReason"},
            {SelectedRole, "selected"}};
}
