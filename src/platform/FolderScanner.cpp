#include "FolderScanner.h"

#include "FileLocation.h"

FolderScanner::FolderScanner(const FolderRequest &request, QObject *parent)
    : ScannerBase(QStringLiteral("Selecciona una carpeta para comenzar."), parent),
      m_request(request)
{}

void FolderScanner::chooseFolderAndScan(int minimumSizeMB)
{
    FolderChooser::current()->choose(m_request, this, [this, minimumSizeMB](const QString &folder) {
        scan(folder, minimumSizeMB);
    });
}

QString FolderScanner::selectFolder(const QString &folder, int minimumSizeMB)
{
    m_minimumSizeMB = minimumSizeMB;
    const QString path = FileLocation::standardizedPath(folder);
    publish(m_selectedFolder, path, &FolderScanner::selectedFolderChanged);
    return path;
}

bool FolderScanner::rescanAfterUndo()
{
    if (m_selectedFolder.isEmpty())
        return false;
    scan(m_selectedFolder, m_minimumSizeMB);
    return true;
}
