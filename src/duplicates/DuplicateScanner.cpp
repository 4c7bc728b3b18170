#include "DuplicateScanner.h"

#include "DuplicateFinder.h"
#include "FileLocation.h"
#include "Formatters.h"
#include "Trash.h"

#include <algorithm>

DuplicateScanner::DuplicateScanner(QObject *parent)
    : FolderScanner({QStringLiteral("Selecciona una carpeta"),
                     QStringLiteral("Velmora buscará archivos duplicados sin eliminarlos."),
                     QStringLiteral("Analizar")},
                    parent),
      m_files(
          {[](const DuplicateRow &row) { return row.file.size; },
           [](const DuplicateRow &row) { return !row.isKeeper; },
           fileRoles<DuplicateRow>(
               [](const DuplicateRow &row) -> const DuplicateFileItem & { return row.file; }) +
               QList<ResultRole<DuplicateRow>>{
                   {"path",
                    [](const DuplicateRow &row) {
                        return QVariant(FileLocation::displayText(row.file.path));
                    }},
                   {"groupHash", [](const DuplicateRow &row) { return QVariant(row.groupHash); }},
                   {"isKeeper", [](const DuplicateRow &row) { return QVariant(row.isKeeper); }}}})
{
    setResults(&m_files);
    setOperationModule(QStringLiteral("duplicates"));
}

int DuplicateScanner::duplicateFilesCount() const
{
    int count = 0;
    for (const DuplicateGroup &group : m_groups)
        count += group.files.isEmpty() ? 0 : int(group.files.size()) - 1;
    return count;
}

qint64 DuplicateScanner::recoverableSize() const
{
    qint64 total = 0;
    for (const DuplicateGroup &group : m_groups)
        total += group.recoverableBytes();
    return total;
}

QList<DuplicateFileItem> DuplicateScanner::selectedFiles() const
{
    QList<DuplicateFileItem> files;
    for (const DuplicateRow &row : m_files.selectedItems())
        files.append(row.file);
    return files;
}

QString DuplicateScanner::progressLine(qint64 entries, qint64 bytes) const
{
    return QStringLiteral("%1 elementos examinados · %2 comparados")
        .arg(entries)
        .arg(Formatters::bytes(bytes));
}

qint64 DuplicateScanner::thresholdBytes(qint64 minimumSizeMB)
{
    return std::max<qint64>(minimumSizeMB, 10) << 20;
}

void DuplicateScanner::setGroups(const QList<DuplicateGroup> &groups)
{
    m_groups = groups;
    QList<DuplicateRow> rows;
    for (const DuplicateGroup &group : groups) {
        const auto keeper = DuplicateOrder::keeper(group);
        for (const DuplicateFileItem &file : group.files)
            rows.append({file, group.hash, keeper && keeper->id() == file.id()});
    }
    m_files.setItems(rows);
    Q_EMIT groupsChanged();
}

void DuplicateScanner::scan(const QString &folder, int minimumSizeMB)
{
    scanFromListing(folder, minimumSizeMB, nullptr);
}

void DuplicateScanner::scanFromListing(const QString &folder, int minimumSizeMB,
                                       std::shared_ptr<const FolderListing> listing)
{
    if (deferWhileRemoving([this, folder, minimumSizeMB, listing] {
            scanFromListing(folder, minimumSizeMB, listing);
        }))
        return;
    if (isScanning()) {
        setStatusText(QStringLiteral("Ya hay un análisis de duplicados en proceso."));
        return;
    }
    const QString folderPath = selectFolder(folder, minimumSizeMB);
    m_files.clearSelection();
    m_stopped = false;
    setGroups({});
    setErrorMessage(QString());
    setScanning(true);
    setStatusText(QStringLiteral("Buscando archivos duplicados en %1…")
                      .arg(FileLocation::lastPathComponent(folderPath)));
    const qint64 minimumBytes = thresholdBytes(minimumSizeMB);
    struct Scan
    {
        QList<DuplicateGroup> found;
        ResolvedRoot root;
    };
    runWalk<Scan>(
        [folderPath, minimumBytes, listing = std::move(listing)]() -> WalkOutcome<Scan> {
            // Resolved here, off the main thread, before the walk meets any file.
            ResolvedRoot root = ResolvedRoot::resolve(folderPath);
            WalkOutcome<QList<DuplicateGroup>> found =
                DuplicateFinder::findDuplicates(folderPath, minimumBytes, listing.get());
            if (!found.value)
                return WalkOutcome<Scan>::failure(found.error);
            return WalkOutcome<Scan>::success({std::move(*found.value), std::move(root)});
        },
        [this](Scan scan) {
            m_root = std::move(scan.root);
            QList<DuplicateGroup> &found = scan.found;
            std::stable_sort(found.begin(), found.end(),
                             [](const DuplicateGroup &a, const DuplicateGroup &b) {
                                 return a.recoverableBytes() > b.recoverableBytes();
                             });
            setGroups(found);
            m_stopped = wasStopped();
            if (m_stopped)
                setStatusText(QStringLiteral("Análisis detenido: %1 duplicado(s) confirmados "
                                             "hasta el momento.")
                                  .arg(duplicateFilesCount()));
            else
                setStatusText(found.isEmpty()
                                  ? QStringLiteral("No se encontraron duplicados.")
                                  : QStringLiteral("Se encontraron %1 archivos duplicados.")
                                        .arg(duplicateFilesCount()));
            // Whoever hears of the finished scan finds the copies selected.
            selectRecommendedCopies();
            countCompletedScan();
            setScanning(false);
        },
        [this](const QString &error) {
            failScan(error, QStringLiteral("No fue posible completar el análisis."));
        });
}

std::optional<DuplicateFileItem> DuplicateScanner::keeperOf(const DuplicateFileItem &item) const
{
    for (const DuplicateGroup &group : m_groups)
        for (const DuplicateFileItem &file : group.files)
            if (file.id() == item.id())
                return DuplicateOrder::keeper(group);
    return std::nullopt;
}

bool DuplicateScanner::isKeeper(const DuplicateFileItem &item) const
{
    for (const DuplicateGroup &group : m_groups) {
        if (!group.files.contains(item))
            continue;
        const auto keeper = DuplicateOrder::keeper(group);
        if (keeper && keeper->id() == item.id())
            return true;
    }
    return false;
}

void DuplicateScanner::toggleSelection(const QString &itemId)
{
    const int row = m_files.rowOf(itemId);
    if (row < 0)
        return;
    if (m_files.items().at(row).isKeeper) {
        QSet<QString> ids = m_files.selection();
        ids.remove(itemId);
        m_files.setSelection(ids);
        setStatusText(QStringLiteral("El archivo marcado como CONSERVAR está protegido."));
        return;
    }
    m_files.toggle(itemId);
}

void DuplicateScanner::selectRecommendedCopies()
{
    m_files.selectAll(); // every file but the keepers
    const int count = selectedCount();
    if (m_stopped) // the report must still say that the result is partial
        setStatusText(QStringLiteral("Análisis detenido: %1 copia(s) seleccionadas de los "
                                     "duplicados confirmados hasta el momento.")
                          .arg(count));
    else
        setStatusText(
            count == 0 ? QStringLiteral("No hay copias recomendadas para eliminar.")
                       : QStringLiteral("%1 copia(s) seleccionadas automáticamente.").arg(count));
}

void DuplicateScanner::moveSelectedToTrash()
{
    // What is left selected is what may go: never a keeper.
    const QList<DuplicateFileItem> toMove = selectedFiles();
    QSet<QString> ids;
    for (const DuplicateFileItem &file : toMove)
        ids.insert(file.id());
    m_files.setSelection(ids);
    Copies copies;
    for (const DuplicateFileItem &copy : toMove)
        copies.append({copy, keeperOf(copy)});
    removeItems(
        copies, QStringLiteral("Selecciona al menos un archivo duplicado."),
        [root = m_root](const Copies &copies) { return trashCopies(copies, root); },
        [this](const QSet<QString> &moved) { forgetMoved(moved); },
        [this](const Trash::BatchOutcome &outcome) {
            if (outcome.allMoved())
                setStatusText(QStringLiteral("%1 duplicado(s) enviados a la Papelera.")
                                  .arg(outcome.moved.size()));
            else
                setErrorMessage(removalError(outcome, QStringLiteral("No fue posible mover: ")));
        });
}

Trash::BatchOutcome DuplicateScanner::trashCopies(const Copies &copies, const ResolvedRoot &root)
{
    // A copy goes only while it and its group's keeper are still the files the
    // scan compared: same inode, length and date. Otherwise the copy may be the
    // last one left, or no longer a copy at all.
    Trash::BatchOutcome outcome;
    for (const auto &[copy, keeper] : copies) {
        // The keeper stays pinned while its copy moves, and is looked at again
        // right before the move.
        const std::optional<PinnedItem> kept =
            keeper
                ? PinnedItem::pin(root, keeper->url, keeper->identity, PinnedItem::Check::Unchanged)
                : std::nullopt;
        outcome.add(copy.id(), copy.name,
                    kept ? Trash::moveScanned(root, copy.url, copy.identity,
                                              PinnedItem::Check::Unchanged,
                                              [&kept] { return kept->stillSame(); })
                         : Trash::Outcome::changedSinceScan);
    }
    return outcome;
}

void DuplicateScanner::forgetMoved(const QSet<QString> &moved)
{
    QList<DuplicateGroup> rebuilt;
    for (const DuplicateGroup &group : m_groups) {
        DuplicateGroup kept{group.hash, {}};
        for (const DuplicateFileItem &file : group.files)
            if (!moved.contains(file.id()))
                kept.files.append(file);
        if (kept.files.size() >= 2)
            rebuilt.append(kept);
    }
    m_files.setSelection(m_files.selection() - moved);
    setGroups(rebuilt);
}

const DuplicateGroup *DuplicateScanner::groupOf(const QString &hash) const
{
    for (const DuplicateGroup &group : m_groups)
        if (group.hash == hash)
            return &group;
    return nullptr;
}

int DuplicateScanner::groupFileCount(const QString &hash) const
{
    const DuplicateGroup *group = groupOf(hash);
    return group ? int(group->files.size()) : 0;
}

qint64 DuplicateScanner::groupRecoverableBytes(const QString &hash) const
{
    const DuplicateGroup *group = groupOf(hash);
    return group ? group->recoverableBytes() : 0;
}
