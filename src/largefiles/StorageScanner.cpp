#include "StorageScanner.h"

#include "FileLocation.h"
#include "FileWalker.h"
#include "Formatters.h"
#include "RegularFileWalk.h"
#include "Trash.h"

#include <QDateTime>
#include <algorithm>

StorageScanner::StorageScanner(QObject *parent)
    : FolderScanner({QStringLiteral("Selecciona una carpeta"),
                     QStringLiteral("Velmora buscará archivos grandes sin eliminarlos."),
                     QStringLiteral("Analizar")},
                    parent),
      m_files({[](const LargeFileItem &item) { return item.size; },
               {},
               fileRoles<LargeFileItem>() +
                   QList<ResultRole<LargeFileItem>>{
                       {"path",
                        [](const LargeFileItem &item) {
                            return QVariant(FileLocation::displayText(item.path));
                        }},
                       {"modificationDate", [](const LargeFileItem &item) {
                            return item.modificationDateMs
                                       ? QVariant(QDateTime::fromMSecsSinceEpoch(
                                             *item.modificationDateMs))
                                       : QVariant();
                        }}}})
{
    setResults(&m_files);
    setOperationModule(QStringLiteral("largefiles"));
    connect(&m_files, &ResultModel::modelReset, this, &StorageScanner::filesChanged);
}

void StorageScanner::scan(const QString &folder, int minimumSizeMB)
{
    startScan(folder, minimumSizeMB, -1);
}

void StorageScanner::scanAndList(const QString &folder, int minimumSizeMB, qint64 listMinimumBytes)
{
    startScan(folder, minimumSizeMB, listMinimumBytes);
}

void StorageScanner::startScan(const QString &folder, int minimumSizeMB, qint64 listMinimumBytes)
{
    if (deferWhileRemoving([this, folder, minimumSizeMB, listMinimumBytes] {
            startScan(folder, minimumSizeMB, listMinimumBytes);
        }))
        return;
    const QString folderPath = selectFolder(folder, minimumSizeMB);
    m_listing.reset();
    m_files.clearSelection();
    m_files.setItems({});
    setErrorMessage(QString());
    setScanning(true);
    setStatusText(
        QStringLiteral("Analizando %1…").arg(FileLocation::lastPathComponent(folderPath)));

    const qint64 minimumBytes = qint64(minimumSizeMB) * kBytesPerMegabyte;
    struct Scan
    {
        QList<LargeFileItem> found;
        ResolvedRoot root;
        std::shared_ptr<const FolderListing> listing;
    };
    runWalk<Scan>(
        [folderPath, minimumBytes, listMinimumBytes]() -> WalkOutcome<Scan> {
            // Resolved here, off the main thread, before the walk meets any file.
            ResolvedRoot root = ResolvedRoot::resolve(folderPath);
            auto listing =
                listMinimumBytes >= 0 ? std::make_shared<FolderListing>(listMinimumBytes) : nullptr;
            WalkOutcome<QList<LargeFileItem>> found =
                findLargeFiles(folderPath, minimumBytes, listing.get());
            if (!found.value)
                return WalkOutcome<Scan>::failure(found.error);
            return WalkOutcome<Scan>::success(
                {std::move(*found.value), std::move(root), std::move(listing)});
        },
        [this, minimumSizeMB](Scan scan) {
            m_root = std::move(scan.root);
            m_listing = std::move(scan.listing);
            QList<LargeFileItem> &found = scan.found;
            // Stable: files of equal size keep the order the walk met them in.
            std::stable_sort(
                found.begin(), found.end(),
                [](const LargeFileItem &a, const LargeFileItem &b) { return a.size > b.size; });
            m_files.setItems(found);
            if (wasStopped())
                setStatusText(QStringLiteral("Análisis detenido: %1 archivo(s) grande(s) "
                                             "encontrados hasta el momento.")
                                  .arg(found.size()));
            else
                setStatusText(
                    found.isEmpty()
                        ? QStringLiteral("No se encontraron archivos mayores de %1 MB.")
                              .arg(minimumSizeMB)
                        : QStringLiteral("Se encontraron %1 archivos grandes.").arg(found.size()));
            countCompletedScan();
            setScanning(false);
        },
        [this](const QString &error) {
            failScan(error, QStringLiteral("No fue posible completar el análisis."));
        });
}

WalkOutcome<QList<LargeFileItem>>
StorageScanner::findLargeFiles(const QString &inside, qint64 minimumBytes, FolderListing *record)
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
        inside, SkipPackageContents | SkipHiddenFiles | SkipQuarantine, keep, {nullptr, record});
    if (!found)
        return WalkOutcome<QList<LargeFileItem>>::failure(
            QStringLiteral("No fue posible abrir la carpeta seleccionada."));
    return WalkOutcome<QList<LargeFileItem>>::success(std::move(*found));
}

void StorageScanner::moveSelectedToTrash()
{
    removeItems(
        selectedFiles(), QStringLiteral("Selecciona al menos un archivo."),
        [root = m_root](const QList<LargeFileItem> &items) {
            return Trash::moveEachToTrash(items, root);
        },
        [this](const QSet<QString> &moved) { m_files.remove(moved); },
        [this](const Trash::BatchOutcome &outcome) {
            if (!outcome.allMoved())
                setErrorMessage(removalError(outcome, QStringLiteral("No fue posible mover: ")));
            else
                setStatusText(QStringLiteral("%1 archivo(s) enviados a la Papelera.")
                                  .arg(outcome.moved.size()));
        });
}
