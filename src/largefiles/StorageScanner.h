#pragma once

#include "FolderListing.h"
#include "FolderScanner.h"
#include "LargeFileItem.h"
#include "ResolvedRoot.h"
#include "ResultList.h"

#include <QtQml/qqmlregistration.h>
#include <memory>

// Finds the files of a chosen folder whose size on disk reaches a threshold,
// largest first, and moves the selected ones to the Trash.
class StorageScanner : public FolderScanner
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(ResultModel *files READ filesModel CONSTANT)
    Q_PROPERTY(int fileCount READ fileCount NOTIFY filesChanged)
    Q_PROPERTY(qint64 totalSize READ totalSize NOTIFY filesChanged)
    Q_PROPERTY(QStringList selectedFileIDs READ selectedFileIDList WRITE setSelectedFileIDList
                   NOTIFY selectionChanged)
    Q_PROPERTY(bool isMovingToTrash READ isRemoving NOTIFY isRemovingChanged)

public:
    explicit StorageScanner(QObject *parent = nullptr);

    static constexpr qint64 kBytesPerMegabyte = 1024 * 1024;

    const QList<LargeFileItem> &files() const { return m_files.items(); }
    ResultList<LargeFileItem> *filesModel() { return &m_files; }
    int fileCount() const { return m_files.count(); }
    qint64 totalSize() const { return m_files.totalSize(); }
    const QSet<QString> &selectedFileIDs() const { return m_files.selection(); }
    void setSelectedFileIDs(const QSet<QString> &ids) { m_files.setSelection(ids); }
    QStringList selectedFileIDList() const { return m_files.selectionList(); }
    void setSelectedFileIDList(const QStringList &ids) { m_files.setSelection(ids); }
    QList<LargeFileItem> selectedFiles() const { return m_files.selectedItems(); }
    bool isMovingToTrash() const { return isRemoving(); }

    void scan(const QString &folder, int minimumSizeMB) override;
    // Scans as scan() does, and lists what a later walk of the folder for files
    // of at least listMinimumBytes needs (FolderListing): the full analysis's
    // duplicate step starts from it instead of walking the home again.
    void scanAndList(const QString &folder, int minimumSizeMB, qint64 listMinimumBytes);
    // The listing of the last scan, if it made one; handed over once.
    std::shared_ptr<const FolderListing> takeListing() { return std::move(m_listing); }
    using FolderScanner::toggleSelection;
    void toggleSelection(const LargeFileItem &item) { toggleSelection(item.id()); }
    Q_INVOKABLE void selectAll() { m_files.selectAll(); }
    Q_INVOKABLE void moveSelectedToTrash();

    // The walk: every regular, visible file outside packages whose size on disk is
    // at least minimumBytes, in the order found. Reads nothing of any scanner.
    static WalkOutcome<QList<LargeFileItem>>
    findLargeFiles(const QString &inside, qint64 minimumBytes, FolderListing *record = nullptr);

Q_SIGNALS:
    void filesChanged();

private:
    void startScan(const QString &folder, int minimumSizeMB, qint64 listMinimumBytes);

    ResultList<LargeFileItem> m_files;
    std::shared_ptr<const FolderListing> m_listing;
    ResolvedRoot m_root; // where the last scan started, for its removals
};
