#pragma once

#include "ApplicationListModel.h"
#include "InstalledApplication.h"
#include "ScanRoot.h"
#include "ScannerBase.h"
#include "Trash.h"

#include <QSet>
#include <QStringList>
#include <QtQml/qqmlregistration.h>

// Lists the installed applications with their leftovers in the user's Library
// and moves the chosen ones, bundle first, to the Trash. It starts its first
// analysis by itself.
class UninstallerScanner : public ScannerBase
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(ApplicationListModel *applications READ applicationsModel CONSTANT)
    Q_PROPERTY(int applicationCount READ applicationCount NOTIFY applicationsChanged)
    Q_PROPERTY(QStringList selectedApplicationIDs READ selectedApplicationIDList WRITE
                   setSelectedApplicationIDList NOTIFY selectionChanged)
    Q_PROPERTY(int selectedCount READ selectedCount NOTIFY selectionChanged)
    Q_PROPERTY(qint64 selectedSize READ selectedSize NOTIFY selectionChanged)
    Q_PROPERTY(bool isUninstalling READ isUninstalling NOTIFY isUninstallingChanged)

public:
    explicit UninstallerScanner(QObject *parent = nullptr);

    const QList<InstalledApplication> &applications() const { return m_model.applications(); }
    ApplicationListModel *applicationsModel() { return &m_model; }
    int applicationCount() const { return int(applications().size()); }
    QList<InstalledApplication> selectedApplications() const;
    int selectedCount() const { return int(selectedApplications().size()); }
    qint64 selectedSize() const;
    const QSet<QString> &selectedApplicationIDs() const { return m_selected; }
    void setSelectedApplicationIDs(const QSet<QString> &ids);
    QStringList selectedApplicationIDList() const
    {
        return QStringList(m_selected.cbegin(), m_selected.cend());
    }
    void setSelectedApplicationIDList(const QStringList &ids);
    bool isUninstalling() const { return m_isUninstalling; }

    Q_INVOKABLE void scanApplications();
    Q_INVOKABLE void toggleSelection(const QString &applicationId);
    void toggleSelection(const InstalledApplication &app) { toggleSelection(app.id()); }
    Q_INVOKABLE void uninstallSelected();

Q_SIGNALS:
    void applicationsChanged();
    void selectionChanged();
    void isUninstallingChanged();

private:
    static Trash::BatchOutcome
    uninstall(const QList<std::pair<InstalledApplication, ScanRoot>> &removals,
              const ScanRoot &library);
    void publishRemoval(const Trash::BatchOutcome &outcome);
    ScanRoot rootOf(const InstalledApplication &app) const;
    void setApplications(const QList<InstalledApplication> &applications,
                         const QHash<QString, QString> &iconPaths);
    void setUninstalling(bool uninstalling);

    ApplicationListModel m_model;
    QSet<QString> m_selected;
    // Where the last scan listed bundles and leftovers, for its removals.
    QList<ScanRoot> m_roots;
    ScanRoot m_libraryRoot;
    bool m_isUninstalling = false;
};
