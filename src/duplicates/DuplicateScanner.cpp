#include "DuplicateScanner.h"

#include "DuplicateFinder.h"
#include "FileLocation.h"
#include "FolderChooser.h"
#include "Trash.h"

#include <algorithm>

DuplicateScanner::DuplicateScanner(QObject *parent)
    : ScannerBase(QStringLiteral("Selecciona una carpeta para comenzar."), parent)
{}

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

void DuplicateScanner::setSelectedFileIDs(const QSet<QString> &ids)
{
    if (ids == m_selected)
        return;
    m_selected = ids;
    m_model.setSelection(m_selected);
    Q_EMIT selectionChanged();
}

void DuplicateScanner::setSelectedFileIDList(const QStringList &ids)
{
    setSelectedFileIDs(QSet<QString>(ids.cbegin(), ids.cend()));
}

QList<DuplicateFileItem> DuplicateScanner::selectedFiles() const
{
    QList<DuplicateFileItem> selected;
    for (const DuplicateGroup &group : m_groups)
        for (const DuplicateFileItem &file : group.files)
            if (m_selected.contains(file.id()))
                selected.append(file);
    return selected;
}

qint64 DuplicateScanner::selectedSize() const
{
    qint64 total = 0;
    for (const DuplicateFileItem &file : selectedFiles())
        total += file.size;
    return total;
}

qint64 DuplicateScanner::thresholdBytes(qint64 minimumSizeMB)
{
    return std::max<qint64>(minimumSizeMB, 10) << 20;
}

void DuplicateScanner::setGroups(const QList<DuplicateGroup> &groups)
{
    m_groups = groups;
    m_model.setGroups(groups);
    m_model.setSelection(m_selected);
    Q_EMIT groupsChanged();
    Q_EMIT selectionChanged(); // selected figures follow the groups
}

void DuplicateScanner::setMovingToTrash(bool moving)
{
    publish(m_isMovingToTrash, moving, &DuplicateScanner::isMovingToTrashChanged);
}

void DuplicateScanner::chooseFolderAndScan(int minimumSizeMB)
{
    const FolderRequest request{
        QStringLiteral("Selecciona una carpeta"),
        QStringLiteral("Velmora buscará archivos duplicados sin eliminarlos."),
        QStringLiteral("Analizar")};
    FolderChooser::current()->choose(request, this, [this, minimumSizeMB](const QString &folder) {
        scan(folder, minimumSizeMB);
    });
}

void DuplicateScanner::scan(const QString &folder, int minimumSizeMB)
{
    if (deferWhileRemoving([this, folder, minimumSizeMB] { scan(folder, minimumSizeMB); }))
        return;
    if (isScanning()) {
        setStatusText(QStringLiteral("Ya hay un análisis de duplicados en proceso."));
        return;
    }
    const QString folderPath = FileLocation::standardizedPath(folder);
    if (folderPath != m_selectedFolder) {
        m_selectedFolder = folderPath;
        Q_EMIT selectedFolderChanged();
    }
    setGroups({});
    setSelectedFileIDs({});
    setErrorMessage(QString());
    m_root = ScanRoot::resolve(folderPath);
    setScanning(true);
    setStatusText(QStringLiteral("Buscando archivos duplicados en %1…")
                      .arg(FileLocation::lastPathComponent(folderPath)));
    const qint64 minimumBytes = thresholdBytes(minimumSizeMB);
    runWalk<QList<DuplicateGroup>>(
        [folderPath, minimumBytes] {
            return DuplicateFinder::findDuplicates(folderPath, minimumBytes);
        },
        [this](QList<DuplicateGroup> found) {
            std::stable_sort(found.begin(), found.end(),
                             [](const DuplicateGroup &a, const DuplicateGroup &b) {
                                 return a.recoverableBytes() > b.recoverableBytes();
                             });
            setGroups(found);
            setStatusText(found.isEmpty() ? QStringLiteral("No se encontraron duplicados.")
                                          : QStringLiteral("Se encontraron %1 archivos duplicados.")
                                                .arg(duplicateFilesCount()));
            countCompletedScan();
            setScanning(false);
        },
        [this](const QString &error) {
            setErrorMessage(error);
            setStatusText(QStringLiteral("No fue posible completar el análisis."));
            setScanning(false);
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

void DuplicateScanner::toggleSelection(const DuplicateFileItem &item)
{
    QSet<QString> ids = m_selected;
    if (isKeeper(item)) {
        ids.remove(item.id());
        setSelectedFileIDs(ids);
        setStatusText(QStringLiteral("El archivo marcado como CONSERVAR está protegido."));
        return;
    }
    Selection::toggle(ids, item.id());
    setSelectedFileIDs(ids);
}

void DuplicateScanner::toggleSelection(const QString &itemId)
{
    for (const DuplicateGroup &group : m_groups)
        for (const DuplicateFileItem &file : group.files)
            if (file.id() == itemId) {
                toggleSelection(file);
                return;
            }
}

void DuplicateScanner::selectRecommendedCopies()
{
    QSet<QString> ids;
    for (const DuplicateGroup &group : m_groups) {
        const auto keeper = DuplicateOrder::keeper(group);
        if (!keeper)
            continue;
        for (const DuplicateFileItem &file : group.files)
            if (file.id() != keeper->id())
                ids.insert(file.id());
    }
    setSelectedFileIDs(ids);
    setStatusText(
        ids.isEmpty()
            ? QStringLiteral("No hay copias recomendadas para eliminar.")
            : QStringLiteral("%1 copia(s) seleccionadas automáticamente.").arg(ids.size()));
}

void DuplicateScanner::moveSelectedToTrash()
{
    // The keeper never goes, whatever sits in the selection.
    QList<DuplicateFileItem> toMove;
    QSet<QString> remainingIds;
    for (const DuplicateFileItem &file : selectedFiles())
        if (!isKeeper(file)) {
            toMove.append(file);
            remainingIds.insert(file.id());
        }
    setSelectedFileIDs(remainingIds);
    if (toMove.isEmpty()) {
        setErrorMessage(QStringLiteral("Selecciona al menos un archivo duplicado."));
        return;
    }
    if (isRemoving())
        return;
    setMovingToTrash(true);
    setErrorMessage(QString());
    QList<std::pair<DuplicateFileItem, std::optional<DuplicateFileItem>>> copies;
    for (const DuplicateFileItem &copy : toMove)
        copies.append({copy, keeperOf(copy)});
    runRemoval<Trash::BatchOutcome>([copies, root = m_root] { return trashCopies(copies, root); },
                                    [this](const Trash::BatchOutcome &o) { publishRemoval(o); });
}

Trash::BatchOutcome DuplicateScanner::trashCopies(
    const QList<std::pair<DuplicateFileItem, std::optional<DuplicateFileItem>>> &copies,
    const ScanRoot &root)
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
        if (kept &&
            Trash::moveToTrash(root, copy.url, copy.identity, nullptr, PinnedItem::Check::Unchanged,
                               [&kept] { return kept->stillSame(); }))
            outcome.moved.insert(copy.id());
        else
            outcome.failedNames.append(copy.name);
    }
    return outcome;
}

void DuplicateScanner::publishRemoval(const Trash::BatchOutcome &outcome)
{
    const auto &[moved, failed] = outcome;
    QList<DuplicateGroup> rebuilt;
    for (const DuplicateGroup &group : m_groups) {
        DuplicateGroup kept{group.hash, {}};
        for (const DuplicateFileItem &file : group.files)
            if (!moved.contains(file.id()))
                kept.files.append(file);
        if (kept.files.size() >= 2)
            rebuilt.append(kept);
    }
    setSelectedFileIDs(m_selected - moved);
    setGroups(rebuilt);
    if (failed.isEmpty())
        setStatusText(QStringLiteral("%1 duplicado(s) enviados a la Papelera.").arg(moved.size()));
    else
        setErrorMessage(
            QStringLiteral("No fue posible mover: %1.").arg(failed.join(QStringLiteral(", "))));
    setMovingToTrash(false);
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
