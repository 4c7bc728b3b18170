#pragma once

#include "CleanupItem.h"
#include "SelectableListModel.h"

#include <QtQml/qqmlregistration.h>

// The cache entries as the safe cleanup screen lists them.
class CleanupListModel : public SelectableListModel
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Owned by CleanupScanner")

public:
    enum Role
    {
        IdRole = Qt::UserRole + 1,
        UrlRole,
        NameRole,
        DisplayNameRole,
        SizeRole,
        SizeTextRole,
        ItemCountRole,
        ModificationDateRole,
        DateTextRole,
        IsDirectoryRole,
        IsProtectedRole,
        ProtectionReasonRole,
        SelectedRole,
    };
    Q_ENUM(Role)

    using SelectableListModel::SelectableListModel;

    void setItems(const QList<CleanupItem> &items);
    const QList<CleanupItem> &items() const { return m_items; }

    QVariant data(const QModelIndex &index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

protected:
    int selectedRole() const override { return SelectedRole; }

private:
    QList<CleanupItem> m_items;
};
