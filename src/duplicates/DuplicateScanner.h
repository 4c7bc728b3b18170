#pragma once

#include "DuplicateTypes.h"
#include "FolderListing.h"
#include "FolderScanner.h"
#include "ResolvedRoot.h"
#include "ResultList.h"
#include "Trash.h"

#include <QtQml/qqmlregistration.h>
#include <memory>

// Finds files with identical content below a chosen folder, keeps the oldest of
// each group and moves the chosen copies to the Trash.
class DuplicateScanner : public FolderScanner
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(ResultModel *files READ filesModel CONSTANT)
    Q_PROPERTY(int groupCount READ groupCount NOTIFY groupsChanged)
    Q_PROPERTY(int duplicateFilesCount READ duplicateFilesCount NOTIFY groupsChanged)
    Q_PROPERTY(qint64 recoverableSize READ recoverableSize NOTIFY groupsChanged)
    Q_PROPERTY(QStringList selectedFileIDs READ selectedFileIDList WRITE setSelectedFileIDList
                   NOTIFY selectionChanged)
    Q_PROPERTY(bool isMovingToTrash READ isRemoving NOTIFY isRemovingChanged)

public:
    explicit DuplicateScanner(QObject *parent = nullptr);

    const QList<DuplicateGroup> &groups() const { return m_groups; }
    ResultList<DuplicateRow> *filesModel() { return &m_files; }
    int groupCount() const { return int(m_groups.size()); }
    int duplicateFilesCount() const;
    qint64 recoverableSize() const;
    const QSet<QString> &selectedFileIDs() const { return m_files.selection(); }
    void setSelectedFileIDs(const QSet<QString> &ids) { m_files.setSelection(ids); }
    QStringList selectedFileIDList() const { return m_files.selectionList(); }
    void setSelectedFileIDList(const QStringList &ids) { m_files.setSelection(ids); }
    // Never a keeper, whatever sits in the selection.
    QList<DuplicateFileItem> selectedFiles() const;
    bool isMovingToTrash() const { return isRemoving(); }

    // max(minimumSizeMB, 10) MiB.
    static qint64 thresholdBytes(qint64 minimumSizeMB);

    void scan(const QString &folder, int minimumSizeMB) override;
    // The same scan, taking from an earlier walk's listing of the folder what has
    // not changed since (the full analysis hands in its large-file walk's).
    void scanFromListing(const QString &folder, int minimumSizeMB,
                         std::shared_ptr<const FolderListing> listing);
    void toggleSelection(const DuplicateFileItem &item) { toggleSelection(item.id()); }
    void toggleSelection(const QString &itemId) override;
    bool isKeeper(const DuplicateFileItem &item) const;
    // The file kept in the item's group; nothing when it is in none.
    std::optional<DuplicateFileItem> keeperOf(const DuplicateFileItem &item) const;
    // Each copy but the keeper: what every scan ends with, and "Seleccionar copias".
    Q_INVOKABLE void selectRecommendedCopies();
    Q_INVOKABLE void moveSelectedToTrash();
    // For the section headers.
    Q_INVOKABLE int groupFileCount(const QString &hash) const;
    Q_INVOKABLE qint64 groupRecoverableBytes(const QString &hash) const;

Q_SIGNALS:
    void groupsChanged();

protected:
    QString progressLine(qint64 entries, qint64 bytes) const override;

private:
    using Copies = QList<std::pair<DuplicateFileItem, std::optional<DuplicateFileItem>>>;
    static Trash::BatchOutcome trashCopies(const Copies &copies, const ResolvedRoot &root);
    void forgetMoved(const QSet<QString> &moved);
    void setGroups(const QList<DuplicateGroup> &groups);
    const DuplicateGroup *groupOf(const QString &hash) const;

    QList<DuplicateGroup> m_groups;
    ResultList<DuplicateRow> m_files;
    ResolvedRoot m_root;    // where the last scan started, for its removals
    bool m_stopped = false; // the last scan was stopped: its groups are what was proven by then
};
