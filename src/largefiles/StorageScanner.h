#pragma once

#include "LargeFileItem.h"
#include "LargeFileListModel.h"
#include "ScanRoot.h"
#include "ScannerBase.h"

#include <QSet>
#include <QtQml/qqmlregistration.h>

// Finds the files of a chosen folder whose size on disk reaches a threshold,
// largest first, and moves the selected ones to the Trash.
class StorageScanner : public ScannerBase
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(LargeFileListModel *files READ filesModel CONSTANT)
    Q_PROPERTY(int fileCount READ fileCount NOTIFY filesChanged)
    Q_PROPERTY(qint64 totalSize READ totalSize NOTIFY filesChanged)
    Q_PROPERTY(QStringList selectedFileIDs READ selectedFileIDList WRITE setSelectedFileIDList
                   NOTIFY selectionChanged)
    Q_PROPERTY(int selectedCount READ selectedCount NOTIFY selectionChanged)
    Q_PROPERTY(qint64 selectedSize READ selectedSize NOTIFY selectionChanged)
    Q_PROPERTY(QString selectedFolder READ selectedFolder NOTIFY selectedFolderChanged)
    Q_PROPERTY(bool isMovingToTrash READ isMovingToTrash NOTIFY isMovingToTrashChanged)

public:
    explicit StorageScanner(QObject *parent = nullptr);

    static constexpr qint64 kBytesPerMegabyte = 1024 * 1024;

    const QList<LargeFileItem> &files() const { return m_model.items(); }
    LargeFileListModel *filesModel() { return &m_model; }
    int fileCount() const { return int(files().size()); }
    qint64 totalSize() const;
    const QSet<QString> &selectedFileIDs() const { return m_selected; }
    void setSelectedFileIDs(const QSet<QString> &ids);
    QStringList selectedFileIDList() const;
    void setSelectedFileIDList(const QStringList &ids);
    QList<LargeFileItem> selectedFiles() const;
    int selectedCount() const { return m_selectedCount; }
    qint64 selectedSize() const { return m_selectedSize; }
    QString selectedFolder() const { return m_selectedFolder; } // empty when none
    bool isMovingToTrash() const { return m_isMovingToTrash; }

    Q_INVOKABLE void chooseFolderAndScan(int minimumSizeMB);
    Q_INVOKABLE void scan(const QString &folder, int minimumSizeMB);
    Q_INVOKABLE void toggleSelection(const QString &itemId);
    void toggleSelection(const LargeFileItem &item) { toggleSelection(item.id()); }
    Q_INVOKABLE void selectAll();
    Q_INVOKABLE void moveSelectedToTrash();

    // The walk: every regular, visible file outside packages whose size on disk is
    // at least minimumBytes, in the order found. Reads nothing of any scanner.
    static WalkOutcome<QList<LargeFileItem>> findLargeFiles(const QString &inside,
                                                            qint64 minimumBytes);

Q_SIGNALS:
    void filesChanged();
    void selectionChanged();
    void selectedFolderChanged();
    void isMovingToTrashChanged();

private:
    void setFiles(const QList<LargeFileItem> &files);
    void setMovingToTrash(bool moving);
    // The figures the screen reads many times per click, kept up to date.
    void updateSelectionSummary();

    LargeFileListModel m_model;
    QSet<QString> m_selected;
    QString m_selectedFolder;
    ScanRoot m_root; // where the last scan started, for its removals
    bool m_isMovingToTrash = false;
    int m_selectedCount = 0;
    qint64 m_selectedSize = 0;
};
