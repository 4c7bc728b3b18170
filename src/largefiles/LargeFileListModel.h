#pragma once

#include "LargeFileItem.h"
#include "SelectableListModel.h"

#include <QtQml/qqmlregistration.h>

// The large files as the screen lists them.
class LargeFileListModel : public SelectableListModel
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Owned by StorageScanner")

public:
    enum Role
    {
        IdRole = Qt::UserRole + 1,
        UrlRole,
        NameRole,
        PathRole,
        SizeRole,
        SizeTextRole,
        ModificationDateRole,
        SelectedRole,
    };
    Q_ENUM(Role)

    using SelectableListModel::SelectableListModel;

    void setItems(const QList<LargeFileItem> &items);
    const QList<LargeFileItem> &items() const { return m_items; }

    QVariant data(const QModelIndex &index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

protected:
    int selectedRole() const override { return SelectedRole; }

private:
    QList<LargeFileItem> m_items;
};
