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

QString FolderScanner::selectFolder(const QString &folder)
{
    const QString path = FileLocation::standardizedPath(folder);
    publish(m_selectedFolder, path, &FolderScanner::selectedFolderChanged);
    return path;
}
