#include "DuplicateListModel.h"

#include "Formatters.h"

void DuplicateListModel::setGroups(const QList<DuplicateGroup> &groups)
{
    beginReset();
    m_rows.clear();
    QList<QString> ids;
    for (const DuplicateGroup &group : groups) {
        const auto keeper = DuplicateOrder::keeper(group);
        for (const DuplicateFileItem &file : group.files) {
            m_rows.append({file, group.hash, keeper && keeper->id() == file.id()});
            ids.append(file.id());
        }
    }
    endReset(std::move(ids));
}

QVariant DuplicateListModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || index.row() >= m_rows.size())
        return {};
    const Row &row = m_rows.at(index.row());
    switch (role) {
    case IdRole:
        return row.file.id();
    case UrlRole:
        return row.file.url;
    case Qt::DisplayRole:
    case NameRole:
        return row.file.name;
    case PathRole:
        return row.file.path;
    case SizeRole:
        return row.file.size;
    case SizeTextRole:
        return Formatters::bytes(row.file.size);
    case GroupHashRole:
        return row.groupHash;
    case IsKeeperRole:
        return row.isKeeper;
    case SelectedRole:
        return isSelected(index.row());
    default:
        return {};
    }
}

QHash<int, QByteArray> DuplicateListModel::roleNames() const
{
    return {{IdRole, "itemId"},           {UrlRole, "url"},           {NameRole, "name"},
            {PathRole, "path"},           {SizeRole, "size"},         {SizeTextRole, "sizeText"},
            {GroupHashRole, "groupHash"}, {IsKeeperRole, "isKeeper"}, {SelectedRole, "selected"}};
}
