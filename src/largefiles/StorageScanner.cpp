#include "StorageScanner.h"

#include "FileLocation.h"
#include "FileWalker.h"
#include "FolderChooser.h"
#include "RegularFileWalk.h"
#include "Trash.h"

#include <algorithm>

namespace {
const QString kInitialStatus = QStringLiteral("Selecciona una carpeta para comenzar.");
}

StorageScanner::StorageScanner(QObject *parent) : ScannerBase(kInitialStatus, parent) {}

qint64 StorageScanner::totalSize() const
{
    qint64 total = 0;
    for (const LargeFileItem &item : files())
        total += item.size;
    return total;
}

void StorageScanner::setSelectedFileIDs(const QSet<QString> &ids)
{
    if (ids == m_selected)
        return;
    m_selected = ids;
    m_model.setSelection(m_selected);
    updateSelectionSummary();
    Q_EMIT selectionChanged();
}

QStringList StorageScanner::selectedFileIDList() const
{
    QStringList ids;
    for (const LargeFileItem &item : selectedFiles())
        ids.append(item.id());
    return ids;
}

void StorageScanner::setSelectedFileIDList(const QStringList &ids)
{
    setSelectedFileIDs(QSet<QString>(ids.cbegin(), ids.cend()));
}

QList<LargeFileItem> StorageScanner::selectedFiles() const
{
    return Selection::selectedItems(files(), m_selected,
                                    [](const LargeFileItem &item) { return item.id(); });
}

void StorageScanner::updateSelectionSummary()
{
    m_selectedCount = 0;
    m_selectedSize = 0;
    for (const LargeFileItem &item : selectedFiles()) {
        ++m_selectedCount;
        m_selectedSize += item.size;
    }
}

void StorageScanner::setFiles(const QList<LargeFileItem> &files)
{
    m_model.setItems(files);
    m_model.setSelection(m_selected);
    const int count = m_selectedCount;
    const qint64 size = m_selectedSize;
    updateSelectionSummary();
    Q_EMIT filesChanged();
    if (count != m_selectedCount || size != m_selectedSize)
        Q_EMIT selectionChanged();
}

void StorageScanner::setMovingToTrash(bool moving)
{
    publish(m_isMovingToTrash, moving, &StorageScanner::isMovingToTrashChanged);
}

void StorageScanner::chooseFolderAndScan(int minimumSizeMB)
{
    const FolderRequest request{QStringLiteral("Selecciona una carpeta"),
                                QStringLiteral("Velmora buscará archivos grandes sin eliminarlos."),
                                QStringLiteral("Analizar")};
    FolderChooser::current()->choose(request, this, [this, minimumSizeMB](const QString &folder) {
        scan(folder, minimumSizeMB);
    });
}

void StorageScanner::scan(const QString &folder, int minimumSizeMB)
{
    if (deferWhileRemoving([this, folder, minimumSizeMB] { scan(folder, minimumSizeMB); }))
        return;
    const QString folderPath = FileLocation::standardizedPath(folder);
    if (folderPath != m_selectedFolder) {
        m_selectedFolder = folderPath;
        Q_EMIT selectedFolderChanged();
    }
    setFiles({});
    setSelectedFileIDs({});
    setErrorMessage(QString());
    m_root = ScanRoot::resolve(folderPath);
    setScanning(true);
    setStatusText(
        QStringLiteral("Analizando %1…").arg(FileLocation::lastPathComponent(folderPath)));

    const qint64 minimumBytes = qint64(minimumSizeMB) * kBytesPerMegabyte;
    runWalk<QList<LargeFileItem>>(
        [folderPath, minimumBytes] { return findLargeFiles(folderPath, minimumBytes); },
        [this, minimumSizeMB](QList<LargeFileItem> found) {
            // Stable: files of equal size keep the order the walk met them in.
            std::stable_sort(
                found.begin(), found.end(),
                [](const LargeFileItem &a, const LargeFileItem &b) { return a.size > b.size; });
            setFiles(found);
            setStatusText(
                found.isEmpty()
                    ? QStringLiteral("No se encontraron archivos mayores de %1 MB.")
                          .arg(minimumSizeMB)
                    : QStringLiteral("Se encontraron %1 archivos grandes.").arg(found.size()));
            countCompletedScan();
            setScanning(false);
        },
        [this](const QString &error) {
            setErrorMessage(error);
            setStatusText(QStringLiteral("No fue posible completar el análisis."));
            setScanning(false);
        });
}

WalkOutcome<QList<LargeFileItem>> StorageScanner::findLargeFiles(const QString &inside,
                                                                 qint64 minimumBytes)
{
    const RegularFileWalk::Keep<LargeFileItem> keep =
        [minimumBytes](const FileEntry &entry) -> std::optional<LargeFileItem> {
        if (!entry.isReadable())
            return std::nullopt;
        const qint64 size = entry.allocatedSize();
        if (size < minimumBytes)
            return std::nullopt;
        return LargeFileItem{entry.path(), entry.fileName(),           entry.folderPath(),
                             size,         entry.modificationTimeMs(), FileIdentity::of(entry.st)};
    };
    auto found = RegularFileWalk::collect<LargeFileItem>(
        inside, SkipPackageContents | SkipHiddenFiles, keep);
    if (!found)
        return WalkOutcome<QList<LargeFileItem>>::failure(
            QStringLiteral("No fue posible abrir la carpeta seleccionada."));
    return WalkOutcome<QList<LargeFileItem>>::success(std::move(*found));
}

void StorageScanner::toggleSelection(const QString &itemId)
{
    QSet<QString> ids = m_selected;
    Selection::toggle(ids, itemId);
    setSelectedFileIDs(ids);
}

void StorageScanner::selectAll()
{
    QSet<QString> ids;
    for (const LargeFileItem &item : files())
        ids.insert(item.id());
    setSelectedFileIDs(ids);
}

void StorageScanner::moveSelectedToTrash()
{
    const QList<LargeFileItem> selected = selectedFiles();
    if (selected.isEmpty()) {
        setErrorMessage(QStringLiteral("Selecciona al menos un archivo."));
        return;
    }
    if (isRemoving())
        return;
    setMovingToTrash(true);
    setErrorMessage(QString());
    runRemoval<Trash::BatchOutcome>(
        [selected, root = m_root] { return Trash::moveEachToTrash(selected, root); },
        [this](const Trash::BatchOutcome &outcome) {
            const auto &[moved, failed] = outcome;
            QList<LargeFileItem> remaining;
            for (const LargeFileItem &item : files())
                if (!moved.contains(item.id()))
                    remaining.append(item);
            setSelectedFileIDs(m_selected - moved);
            setFiles(remaining);
            if (!failed.isEmpty())
                setErrorMessage(QStringLiteral("No fue posible mover: %1.")
                                    .arg(failed.join(QStringLiteral(", "))));
            else
                setStatusText(
                    QStringLiteral("%1 archivo(s) enviados a la Papelera.").arg(moved.size()));
            setMovingToTrash(false);
        });
}
