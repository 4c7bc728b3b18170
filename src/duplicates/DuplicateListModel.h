#pragma once

#include "DuplicateTypes.h"
#include "SelectableListModel.h"

#include <QtQml/qqmlregistration.h>

// The groups as one list of files, each row knowing its group, so that the screen
// shows one section per group.
class DuplicateListModel : public SelectableListModel
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Owned by DuplicateScanner")

public:
    enum Role
    {
        IdRole = Qt::UserRole + 1,
        UrlRole,
        NameRole,
        PathRole,
        SizeRole,
        SizeTextRole,
        GroupHashRole,
        IsKeeperRole,
        SelectedRole,
    };
    Q_ENUM(Role)

    using SelectableListModel::SelectableListModel;

    void setGroups(const QList<DuplicateGroup> &groups);

    QVariant data(const QModelIndex &index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

protected:
    int selectedRole() const override { return SelectedRole; }

private:
    struct Row
    {
        DuplicateFileItem file;
        QString groupHash;
        bool isKeeper = false;
    };
    QList<Row> m_rows;
};
