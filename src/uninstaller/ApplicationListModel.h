#pragma once

#include "InstalledApplication.h"
#include "SelectableListModel.h"

#include <QHash>
#include <QSet>
#include <QtQml/qqmlregistration.h>

// The installed applications as the uninstaller lists them, with their icons.
class ApplicationListModel : public SelectableListModel
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Owned by UninstallerScanner")

public:
    enum Role
    {
        IdRole = Qt::UserRole + 1,
        UrlRole,
        NameRole,
        BundleIdentifierRole,
        VersionRole,
        DetailRole, // the identifier, or the bundle's path without one
        AppSizeRole,
        RelatedSizeRole,
        TotalSizeRole,
        TotalSizeTextRole,
        RelatedFilesRole,
        RelatedCountRole,
        IconUrlRole,
        // The folder that holds the bundle ("/Applications", "~/Applications"),
        // when the same application is listed more than once; else empty.
        InstalledFolderRole,
        SelectedRole,
    };
    Q_ENUM(Role)

    using SelectableListModel::SelectableListModel;

    // Icons by application identifier; an application without one shows none.
    void setApplications(const QList<InstalledApplication> &applications,
                         const QHash<QString, QString> &iconPaths);
    const QList<InstalledApplication> &applications() const { return m_applications; }
    const QHash<QString, QString> &iconPaths() const { return m_iconPaths; }

    QVariant data(const QModelIndex &index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

protected:
    int selectedRole() const override { return SelectedRole; }

private:
    QList<InstalledApplication> m_applications;
    QHash<QString, QString> m_iconPaths;
    QSet<QString> m_installedTwice;
};
