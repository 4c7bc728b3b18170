#pragma once

#include "InstalledApplication.h"
#include "LeftoverOwnership.h"
#include "ResolvedRoot.h"
#include "ResultList.h"
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
    Q_PROPERTY(ResultModel *applications READ applicationsModel CONSTANT)
    Q_PROPERTY(int applicationCount READ applicationCount NOTIFY applicationsChanged)
    Q_PROPERTY(QStringList selectedApplicationIDs READ selectedApplicationIDList WRITE
                   setSelectedApplicationIDList NOTIFY selectionChanged)
    Q_PROPERTY(bool isUninstalling READ isRemoving NOTIFY isRemovingChanged)
    // Related entries of the selection that an uninstall would leave in place.
    Q_PROPERTY(int selectedKeptCount READ selectedKeptCount NOTIFY selectedKeptCountChanged)

public:
    explicit UninstallerScanner(QObject *parent = nullptr);

    const QList<InstalledApplication> &applications() const { return m_applications.items(); }
    ResultList<InstalledApplication> *applicationsModel() { return &m_applications; }
    int applicationCount() const { return m_applications.count(); }
    QList<InstalledApplication> selectedApplications() const
    {
        return m_applications.selectedItems();
    }
    const QSet<QString> &selectedApplicationIDs() const { return m_applications.selection(); }
    void setSelectedApplicationIDs(const QSet<QString> &ids) { m_applications.setSelection(ids); }
    QStringList selectedApplicationIDList() const { return m_applications.selectionList(); }
    void setSelectedApplicationIDList(const QStringList &ids) { m_applications.setSelection(ids); }
    bool isUninstalling() const { return isRemoving(); }

    Q_INVOKABLE void scanApplications();
    using ScannerBase::toggleSelection;
    void toggleSelection(const InstalledApplication &app) { toggleSelection(app.id()); }
    Q_INVOKABLE void uninstallSelected();

    // Each related entry of `app` with what matched and whether it would move
    // if `app` went with the selection: every application neither selected
    // nor `app` stays.
    QList<LeftoverOwnership::Decision> relatedDecisions(const InstalledApplication &app) const;
    // What uninstalling the selection would move: each selected application
    // with only the related entries that go with it, and the related entries
    // that stay in place.
    struct UninstallPlan
    {
        QList<InstalledApplication> applications;
        QStringList kept;
    };
    UninstallPlan uninstallPlan() const;
    int selectedKeptCount() const;

Q_SIGNALS:
    void applicationsChanged();
    void selectedKeptCountChanged();

protected:
    bool rescanAfterUndo() override
    {
        scanApplications();
        return true;
    }

private:
    // An uninstall's outcome, with the applications that stay as they are now.
    struct UninstallOutcome : Trash::BatchOutcome
    {
        QList<InstalledApplication> remaining;
    };
    static QList<InstalledApplication> remainingAfter(const QList<InstalledApplication> &listed,
                                                      const QSet<QString> &removed);
    static Trash::BatchOutcome
    uninstall(const QList<std::pair<InstalledApplication, ResolvedRoot>> &removals,
              const ResolvedRoot &library);
    ResolvedRoot rootOf(const InstalledApplication &app) const;
    void setApplications(const QList<InstalledApplication> &applications,
                         const QHash<QString, QString> &iconPaths);
    QString installedFolder(const InstalledApplication &app) const;

    ResultList<InstalledApplication> m_applications;
    QHash<QString, QString> m_iconPaths; // by application identifier
    QSet<QString> m_installedTwice;      // listed more than once: same name or identifier
    // Where the last scan listed bundles and leftovers, for its removals.
    QList<ResolvedRoot> m_roots;
    ResolvedRoot m_libraryRoot;
};
