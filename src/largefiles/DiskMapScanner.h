#pragma once

#include "FolderTotals.h"
#include "ScannerBase.h"

#include <QVariantList>
#include <QtQml/qqmlregistration.h>
#include <memory>

// The map of a folder: every folder's total from one walk, and the folder the
// map shows now, reached by zooming in from the scanned one.
class DiskMapScanner : public ScannerBase
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QString rootPath READ rootPath NOTIFY mapChanged)
    Q_PROPERTY(QString currentPath READ currentPath NOTIFY mapChanged)
    Q_PROPERTY(qint64 currentSize READ currentSize NOTIFY mapChanged)
    Q_PROPERTY(qint64 currentFiles READ currentFiles NOTIFY mapChanged)
    // From the scanned folder to the one shown: {name, path} each.
    Q_PROPERTY(QVariantList breadcrumb READ breadcrumb NOTIFY mapChanged)
    // The walk was stopped: the totals are those of what it finished.
    Q_PROPERTY(bool isPartial READ isPartial NOTIFY mapChanged)

public:
    explicit DiskMapScanner(QObject *parent = nullptr);

    QString rootPath() const;
    QString currentPath() const;
    qint64 currentSize() const { return m_trail.empty() ? 0 : m_trail.back()->size; }
    qint64 currentFiles() const { return m_trail.empty() ? 0 : m_trail.back()->files; }
    QVariantList breadcrumb() const;
    bool isPartial() const { return m_partial; }

    const FolderTotals::Node *root() const { return m_root.get(); }
    const FolderTotals::Node *current() const { return m_trail.empty() ? nullptr : m_trail.back(); }
    // The path of an entry of the folder shown, or of one nested in it.
    QString pathOf(const FolderTotals::Node *entry, const FolderTotals::Node *nestedIn) const;

    Q_INVOKABLE void scan(const QString &folder);
    // Shows a folder below the one shown (a subfolder, or one nested in it).
    void zoomInto(const FolderTotals::Node *folder, const FolderTotals::Node *through = nullptr);
    Q_INVOKABLE bool zoomIntoPath(const QString &path);
    Q_INVOKABLE void zoomOut();
    // Goes back to the breadcrumb's `level`th folder (0: the scanned one).
    Q_INVOKABLE void zoomTo(int level);

    // Folders fewer levels below the scanned one than this keep every file by
    // name (the map needs the scanned folder's; the probe prints deeper ones).
    void setAllFilesAbove(int levels) { m_allFilesAbove = levels; }

Q_SIGNALS:
    void mapChanged();

private:
    QByteArray currentBytes() const;
    // From the root down to the folder at `path`, or as near to it as the tree goes.
    std::vector<const FolderTotals::Node *> trailTo(const QByteArray &path) const;

    std::shared_ptr<FolderTotals::Node> m_root;
    std::vector<const FolderTotals::Node *> m_trail; // from the root to the folder shown
    bool m_partial = false;
    int m_allFilesAbove = 1;
};
