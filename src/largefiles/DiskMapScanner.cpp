#include "DiskMapScanner.h"

#include "FileLocation.h"
#include "Formatters.h"

#include <QDir>
#include <QVariantMap>

namespace {

QString folderName(const QString &path)
{
    const QString name = FileLocation::lastPathComponent(path);
    return name.isEmpty() ? path : name;
}

} // namespace

DiskMapScanner::DiskMapScanner(QObject *parent)
    : ScannerBase(QStringLiteral("Selecciona una carpeta para ver su mapa."), parent)
{}

QString DiskMapScanner::rootPath() const
{
    return m_root ? FileLocation::decode(m_root->name) : QString();
}

QByteArray DiskMapScanner::currentBytes() const
{
    if (m_trail.empty())
        return {};
    QByteArray path = m_trail.front()->name;
    for (size_t i = 1; i < m_trail.size(); ++i)
        path = FolderTotals::joined(path, m_trail[i]->name);
    return path;
}

QString DiskMapScanner::currentPath() const
{
    return FileLocation::decode(currentBytes());
}

QString DiskMapScanner::pathOf(const FolderTotals::Node *entry,
                               const FolderTotals::Node *nestedIn) const
{
    QByteArray path = currentBytes();
    for (const FolderTotals::Node *node : {nestedIn, entry})
        if (node)
            path = FolderTotals::joined(path, node->name);
    return FileLocation::decode(path);
}

QVariantList DiskMapScanner::breadcrumb() const
{
    QVariantList out;
    QByteArray path;
    for (const FolderTotals::Node *node : m_trail) {
        path = path.isEmpty() ? node->name : FolderTotals::joined(path, node->name);
        const QString decoded = FileLocation::decode(path);
        out.append(QVariantMap{{QStringLiteral("name"), folderName(decoded)},
                               {QStringLiteral("path"), decoded}});
    }
    return out;
}

void DiskMapScanner::scan(const QString &folder)
{
    // The map names every block by its whole path.
    const QString path = FileLocation::standardizedPath(QDir::current().absoluteFilePath(folder));
    // Measuring the same folder again (after a move to the Trash), the map
    // stays as it was until the new totals are in, and then shows the same
    // folder again; another folder's map goes at once.
    const QByteArray showing = path == rootPath() ? currentBytes() : QByteArray();
    if (showing.isEmpty() && m_root) {
        m_root.reset();
        m_trail.clear();
        Q_EMIT mapChanged();
    }
    setErrorMessage(QString());
    setScanning(true);
    setStatusText(QStringLiteral("Analizando %1…").arg(folderName(path)));
    runWalk<std::shared_ptr<FolderTotals::Node>>(
        [path, levels = m_allFilesAbove]() -> WalkOutcome<std::shared_ptr<FolderTotals::Node>> {
            FolderTotals::Options options;
            options.allFilesAbove = levels;
            std::shared_ptr<FolderTotals::Node> root = FolderTotals::walk(path, options);
            if (!root)
                return WalkOutcome<std::shared_ptr<FolderTotals::Node>>::failure(
                    QStringLiteral("No fue posible abrir la carpeta seleccionada."));
            return WalkOutcome<std::shared_ptr<FolderTotals::Node>>::success(std::move(root));
        },
        [this, path, showing](std::shared_ptr<FolderTotals::Node> root) {
            m_trail.clear(); // points into the tree about to go
            m_root = std::move(root);
            m_trail = trailTo(showing);
            m_partial = wasStopped();
            const QString figures = QStringLiteral("%1 en %2 archivo(s)")
                                        .arg(Formatters::bytes(m_root->size))
                                        .arg(m_root->files);
            setStatusText(m_partial
                              ? QStringLiteral("Análisis detenido: mapa parcial de %1, %2.")
                                    .arg(folderName(path), figures)
                              : QStringLiteral("%1 ocupa %2.").arg(folderName(path), figures));
            Q_EMIT mapChanged();
            countCompletedScan();
            setScanning(false);
        },
        [this](const QString &error) {
            if (m_root) {
                m_trail.clear();
                m_root.reset();
                Q_EMIT mapChanged();
            }
            failScan(error, QStringLiteral("No fue posible completar el análisis."));
        });
}

void DiskMapScanner::zoomInto(const FolderTotals::Node *folder, const FolderTotals::Node *through)
{
    if (!folder || folder->kind != FolderTotals::Node::Kind::folder || m_trail.empty())
        return;
    if (through)
        m_trail.push_back(through);
    m_trail.push_back(folder);
    Q_EMIT mapChanged();
}

std::vector<const FolderTotals::Node *> DiskMapScanner::trailTo(const QByteArray &wanted) const
{
    std::vector<const FolderTotals::Node *> trail{m_root.get()};
    const QByteArray &rootBytes = m_root->name;
    const QByteArray prefix = FolderTotals::joined(rootBytes, {});
    if (!wanted.startsWith(prefix))
        return trail;
    for (const QByteArray &name : wanted.mid(prefix.size()).split('/')) {
        const FolderTotals::Node *next = nullptr;
        for (const auto &child : trail.back()->children)
            if (child->name == name && child->kind == FolderTotals::Node::Kind::folder)
                next = child.get();
        if (!next)
            break; // gone since: as near as it still goes
        trail.push_back(next);
    }
    return trail;
}

bool DiskMapScanner::zoomIntoPath(const QString &path)
{
    if (!m_root)
        return false;
    const QByteArray wanted = FileLocation::encode(FileLocation::standardizedPath(path));
    std::vector<const FolderTotals::Node *> trail = trailTo(wanted);
    QByteArray reached = m_root->name;
    for (size_t i = 1; i < trail.size(); ++i)
        reached = FolderTotals::joined(reached, trail[i]->name);
    if (reached != wanted)
        return false;
    m_trail = std::move(trail);
    Q_EMIT mapChanged();
    return true;
}

void DiskMapScanner::zoomOut()
{
    zoomTo(int(m_trail.size()) - 2);
}

void DiskMapScanner::zoomTo(int level)
{
    if (level < 0 || level + 1 >= int(m_trail.size()))
        return;
    m_trail.resize(size_t(level) + 1);
    Q_EMIT mapChanged();
}
