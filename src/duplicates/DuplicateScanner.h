#pragma once

#include "DuplicateListModel.h"
#include "DuplicateTypes.h"
#include "ScanRoot.h"
#include "ScannerBase.h"
#include "Trash.h"

#include <QSet>
#include <QtQml/qqmlregistration.h>

// Finds files with identical content below a chosen folder, keeps the oldest of
// each group and moves the chosen copies to the Trash.
class DuplicateScanner : public ScannerBase
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(DuplicateListModel *files READ filesModel CONSTANT)
    Q_PROPERTY(int groupCount READ groupCount NOTIFY groupsChanged)
    Q_PROPERTY(int duplicateFilesCount READ duplicateFilesCount NOTIFY groupsChanged)
    Q_PROPERTY(qint64 recoverableSize READ recoverableSize NOTIFY groupsChanged)
    Q_PROPERTY(QStringList selectedFileIDs READ selectedFileIDList WRITE setSelectedFileIDList
                   NOTIFY selectionChanged)
    Q_PROPERTY(int selectedCount READ selectedCount NOTIFY selectionChanged)
    Q_PROPERTY(qint64 selectedSize READ selectedSize NOTIFY selectionChanged)
    Q_PROPERTY(QString selectedFolder READ selectedFolder NOTIFY selectedFolderChanged)
    Q_PROPERTY(bool isMovingToTrash READ isMovingToTrash NOTIFY isMovingToTrashChanged)

public:
    explicit DuplicateScanner(QObject *parent = nullptr);

    const QList<DuplicateGroup> &groups() const { return m_groups; }
    DuplicateListModel *filesModel() { return &m_model; }
    int groupCount() const { return int(m_groups.size()); }
    int duplicateFilesCount() const;
    qint64 recoverableSize() const;
    const QSet<QString> &selectedFileIDs() const { return m_selected; }
    void setSelectedFileIDs(const QSet<QString> &ids);
    QStringList selectedFileIDList() const
    {
        return QStringList(m_selected.cbegin(), m_selected.cend());
    }
    void setSelectedFileIDList(const QStringList &ids);
    QList<DuplicateFileItem> selectedFiles() const;
    int selectedCount() const { return int(selectedFiles().size()); }
    qint64 selectedSize() const;
    QString selectedFolder() const { return m_selectedFolder; }
    bool isMovingToTrash() const { return m_isMovingToTrash; }

    // max(minimumSizeMB, 10) MiB.
    static qint64 thresholdBytes(qint64 minimumSizeMB);

    Q_INVOKABLE void chooseFolderAndScan(int minimumSizeMB);
    Q_INVOKABLE void scan(const QString &folder, int minimumSizeMB);
    void toggleSelection(const DuplicateFileItem &item);
    Q_INVOKABLE void toggleSelection(const QString &itemId);
    bool isKeeper(const DuplicateFileItem &item) const;
    // The file kept in the item's group; nothing when it is in none.
    std::optional<DuplicateFileItem> keeperOf(const DuplicateFileItem &item) const;
    Q_INVOKABLE void selectRecommendedCopies();
    Q_INVOKABLE void moveSelectedToTrash();
    // For the section headers.
    Q_INVOKABLE int groupFileCount(const QString &hash) const;
    Q_INVOKABLE qint64 groupRecoverableBytes(const QString &hash) const;

Q_SIGNALS:
    void groupsChanged();
    void selectionChanged();
    void selectedFolderChanged();
    void isMovingToTrashChanged();

private:
    static Trash::BatchOutcome
    trashCopies(const QList<std::pair<DuplicateFileItem, std::optional<DuplicateFileItem>>> &copies,
                const ScanRoot &root);
    void publishRemoval(const Trash::BatchOutcome &outcome);
    void setGroups(const QList<DuplicateGroup> &groups);
    void setMovingToTrash(bool moving);
    const DuplicateGroup *groupOf(const QString &hash) const;

    QList<DuplicateGroup> m_groups;
    DuplicateListModel m_model;
    QSet<QString> m_selected;
    QString m_selectedFolder;
    ScanRoot m_root; // where the last scan started, for its removals
    bool m_isMovingToTrash = false;
};
