#pragma once

#include "CleanupItem.h"
#include "CleanupListModel.h"
#include "RunningApplications.h"
#include "ScanRoot.h"
#include "ScannerBase.h"
#include "SmartCleanupMode.h"
#include "Trash.h"

#include <QDateTime>
#include <QSet>
#include <QtQml/qqmlregistration.h>
#include <functional>

// Analyses ~/Library/Caches entry by entry, protects system caches and those of
// running applications, selects by smart mode and moves selected caches to the
// Trash. It starts its first analysis by itself.
class CleanupScanner : public ScannerBase
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(CleanupListModel *items READ itemsModel CONSTANT)
    Q_PROPERTY(int itemCount READ itemCount NOTIFY itemsChanged)
    Q_PROPERTY(qint64 totalSize READ totalSize NOTIFY itemsChanged)
    Q_PROPERTY(QStringList selectedItemIDs READ selectedItemIDList WRITE setSelectedItemIDList
                   NOTIFY selectionChanged)
    Q_PROPERTY(int selectedCount READ selectedCount NOTIFY selectionChanged)
    Q_PROPERTY(qint64 selectedSize READ selectedSize NOTIFY selectionChanged)
    Q_PROPERTY(QString cachesURL READ cachesURL NOTIFY cachesURLChanged)
    Q_PROPERTY(bool isMovingToTrash READ isMovingToTrash NOTIFY isMovingToTrashChanged)

public:
    using RunningApplicationsSource = std::function<QList<RunningApplication>()>;
    using Clock = std::function<QDateTime()>;

    explicit CleanupScanner(QObject *parent = nullptr);

    const QList<CleanupItem> &items() const { return m_model.items(); }
    CleanupListModel *itemsModel() { return &m_model; }
    int itemCount() const { return int(items().size()); }
    qint64 totalSize() const;
    QList<CleanupItem> safeItems() const;
    QList<CleanupItem> selectedItems() const; // protected identities never count
    const QSet<QString> &selectedItemIDs() const { return m_selected; }
    void setSelectedItemIDs(const QSet<QString> &ids);
    QStringList selectedItemIDList() const
    {
        return QStringList(m_selected.cbegin(), m_selected.cend());
    }
    void setSelectedItemIDList(const QStringList &ids);
    int selectedCount() const { return int(selectedItems().size()); }
    qint64 selectedSize() const;
    QString cachesURL() const { return m_cachesURL; } // empty until set up
    bool isMovingToTrash() const { return m_isMovingToTrash; }

    Q_INVOKABLE void scan();
    Q_INVOKABLE void toggleSelection(const QString &itemId);
    void toggleSelection(const CleanupItem &item) { toggleSelection(item.id()); }
    Q_INVOKABLE void selectAllSafe();
    Q_INVOKABLE void moveSelectedToTrash();

    QList<CleanupItem> recommendedItems(SmartCleanupMode mode) const;
    void selectRecommended(SmartCleanupMode mode);
    bool isProbablyInUse(const CleanupItem &item) const;
    // For the screen: modes by their raw value.
    Q_INVOKABLE QStringList recommendedItemIDs(const QString &mode) const;
    Q_INVOKABLE qint64 recommendedSize(const QString &mode) const;
    Q_INVOKABLE void selectRecommended(const QString &mode);

    // Tests choose what runs and what time it is.
    void setRunningApplicationsSource(RunningApplicationsSource source);
    void setClock(Clock clock) { m_clock = std::move(clock); }

    // The background work: the visible top-level entries of the cache folder.
    // Refuses a cache folder that is the home folder or holds it.
    static WalkOutcome<QList<CleanupItem>> scanTopLevelCaches(const ScanRoot &root,
                                                              const QString &home);
    // Logical bytes and count of the visible regular files below a folder.
    static std::pair<qint64, int> folderStatistics(const QString &folder);

Q_SIGNALS:
    void itemsChanged();
    void selectionChanged();
    void cachesURLChanged();
    void isMovingToTrashChanged();

private:
    void publishRemoval(const Trash::BatchOutcome &outcome);
    void configureAutomaticCachesPath();
    void setItems(const QList<CleanupItem> &items);
    void setMovingToTrash(bool moving);
    SmartCleanupMode modeFor(const QString &title) const;

    CleanupListModel m_model;
    QSet<QString> m_selected;
    QString m_cachesURL;
    ScanRoot m_root; // where the last scan started, for its removals
    QString m_accessRootURL;
    bool m_isMovingToTrash = false;
    RunningApplicationsSource m_runningApplications;
    Clock m_clock;
};
