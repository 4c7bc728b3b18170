#pragma once

#include "CleanupAutomationSettings.h"
#include "CleanupItem.h"
#include "ResolvedRoot.h"
#include "ResultList.h"
#include "RunningApplications.h"
#include "ScannerBase.h"
#include "SmartCleanupMode.h"
#include "Trash.h"

#include <QDateTime>
#include <QPointer>
#include <QSet>
#include <QVariantMap>
#include <QtQml/qqmlregistration.h>
#include <functional>

// Analyses ~/Library/Caches entry by entry, protects system caches and those of
// running applications, selects by smart mode and moves selected caches to the
// Trash. It starts its first analysis by itself.
class CleanupScanner : public ScannerBase
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(ResultModel *items READ itemsModel CONSTANT)
    Q_PROPERTY(int itemCount READ itemCount NOTIFY itemsChanged)
    Q_PROPERTY(qint64 totalSize READ totalSize NOTIFY itemsChanged)
    Q_PROPERTY(QStringList selectedItemIDs READ selectedItemIDList WRITE setSelectedItemIDList
                   NOTIFY selectionChanged)
    Q_PROPERTY(QString cachesURL READ cachesURL NOTIFY cachesURLChanged)
    Q_PROPERTY(bool isMovingToTrash READ isRemoving NOTIFY isRemovingChanged)
    // The smart mode the screen shows (its raw value), and what that mode
    // recommends now. Worked out when the list, the mode or the selection by
    // mode changes, never on every read: it looks at the running applications.
    Q_PROPERTY(QString recommendationMode READ recommendationMode WRITE setRecommendationMode NOTIFY
                   recommendationChanged)
    Q_PROPERTY(QStringList recommendedIDs READ recommendedIDs NOTIFY recommendationChanged)
    Q_PROPERTY(qint64 recommendedSize READ recommendedSize NOTIFY recommendationChanged)
    // The safe caches the smart selection leaves out because their application
    // is open: item ID -> the application's name, for the rows' badges.
    Q_PROPERTY(QVariantMap inUseApplications READ inUseApplications NOTIFY recommendationChanged)
    // The smart selection's mode and switch as the screen shows them. Given
    // them, the scanner recommends in their mode and, while the switch is on,
    // selects what it recommends by itself: when a scan ends, when a removal
    // changed the list and when the mode changes. Without them it selects only
    // when asked.
    Q_PROPERTY(CleanupAutomationSettings *automation READ automation WRITE setAutomation NOTIFY
                   automationChanged)

public:
    using RunningApplicationsSource = std::function<QList<RunningApplication>()>;
    using Clock = std::function<QDateTime()>;

    explicit CleanupScanner(QObject *parent = nullptr);

    const QList<CleanupItem> &items() const { return m_items.items(); }
    ResultList<CleanupItem> *itemsModel() { return &m_items; }
    int itemCount() const { return m_items.count(); }
    qint64 totalSize() const { return m_items.totalSize(); }
    QList<CleanupItem> safeItems() const;
    QList<CleanupItem> selectedItems() const { return m_items.selectedItems(); } // never protected
    const QSet<QString> &selectedItemIDs() const { return m_items.selection(); }
    void setSelectedItemIDs(const QSet<QString> &ids) { m_items.setSelection(ids); }
    QStringList selectedItemIDList() const { return m_items.selectionList(); }
    void setSelectedItemIDList(const QStringList &ids) { m_items.setSelection(ids); }
    QString cachesURL() const { return m_cachesURL; } // empty until set up
    bool isMovingToTrash() const { return isRemoving(); }
    QString recommendationMode() const { return SmartCleanupModes::rawValue(m_mode); }
    void setRecommendationMode(const QString &mode);
    QStringList recommendedIDs() const { return m_recommendedIDs; }
    qint64 recommendedSize() const { return m_recommendedSize; }
    QVariantMap inUseApplications() const { return m_inUseApplications; }

    Q_INVOKABLE void scan();
    using ScannerBase::toggleSelection;
    void toggleSelection(const CleanupItem &item) { toggleSelection(item.id()); }
    Q_INVOKABLE void selectAllSafe();
    Q_INVOKABLE void moveSelectedToTrash();

    QList<CleanupItem> recommendedItems(SmartCleanupMode mode) const;
    void selectRecommended(SmartCleanupMode mode);
    bool isProbablyInUse(const CleanupItem &item) const;
    // For the screen: modes by their raw value.
    Q_INVOKABLE void selectRecommended(const QString &mode);
    CleanupAutomationSettings *automation() const { return m_automation; }
    void setAutomation(CleanupAutomationSettings *settings);

    // Tests choose what runs and what time it is.
    void setRunningApplicationsSource(RunningApplicationsSource source);
    void setClock(Clock clock) { m_clock = std::move(clock); }

    // The background work: the visible top-level entries of the cache folder.
    // Refuses a cache folder that is the home folder or holds it.
    static WalkOutcome<QList<CleanupItem>> scanTopLevelCaches(const ResolvedRoot &root,
                                                              const QString &home);
    // Logical bytes and count of the visible regular files below a folder.
    static std::pair<qint64, int> folderStatistics(const QString &folder);

Q_SIGNALS:
    void itemsChanged();
    void cachesURLChanged();
    void recommendationChanged();
    void automationChanged();

protected:
    bool rescanAfterUndo() override
    {
        scan();
        return true;
    }

private:
    void reportRemoval(const Trash::BatchOutcome &outcome);
    void setCachesPlace(const QString &caches, const QString &home);
    void setItems(const QList<CleanupItem> &items);
    void updateRecommendation();
    // Selects what the mode recommends and says so, without saying it yet.
    QString applyRecommendation(SmartCleanupMode mode);
    // While the switch is on: the selection's sentence; else empty, nothing selected.
    QString selectAutomatically();
    QList<CleanupItem> recommendedItems(SmartCleanupMode mode,
                                        const QList<RunningApplication> &running) const;
    SmartCleanupMode modeFor(const QString &title) const;

    ResultList<CleanupItem> m_items;
    SmartCleanupMode m_mode = SmartCleanupMode::balanced;
    QStringList m_recommendedIDs;
    qint64 m_recommendedSize = 0;
    QVariantMap m_inUseApplications;
    QPointer<CleanupAutomationSettings> m_automation; // the screen's
    QString m_cachesURL;
    ResolvedRoot m_root; // where the last scan started, for its removals
    QString m_accessRootURL;
    RunningApplicationsSource m_runningApplications; // called on the pool, with each scan
    QList<RunningApplication> m_running;             // as the last scan found them
    Clock m_clock;
};
