#pragma once

#include "FolderChooser.h"
#include "ScannerBase.h"

#include <QtQml/qqmlregistration.h>

// A scanner of a folder the user chooses, with a minimum size in megabytes:
// the large-file and duplicate scanners.
class FolderScanner : public ScannerBase
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The base of the folder scanners")
    Q_PROPERTY(QString selectedFolder READ selectedFolder NOTIFY selectedFolderChanged)

public:
    FolderScanner(const FolderRequest &request, QObject *parent);

    QString selectedFolder() const { return m_selectedFolder; } // empty when none

    // Shows the folder chooser; a chosen folder is scanned, cancelling changes nothing.
    Q_INVOKABLE void chooseFolderAndScan(int minimumSizeMB);
    Q_INVOKABLE virtual void scan(const QString &folder, int minimumSizeMB) = 0;

Q_SIGNALS:
    void selectedFolderChanged();

protected:
    // The standardized folder, now the selected one, scanned again after an undo.
    QString selectFolder(const QString &folder, int minimumSizeMB);
    bool rescanAfterUndo() override;

private:
    FolderRequest m_request;
    QString m_selectedFolder;
    int m_minimumSizeMB = 0;
};
