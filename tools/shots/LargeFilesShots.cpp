#include "DiskMapView.h"
#include "ShotSession.h"
#include "StorageScanner.h"
#include "SystemLayout.h"

#include <QQmlProperty>

namespace {

// The map of the demo home: whole, zoomed into one folder, with a file selected
// from the map, and with a block focused by keyboard.
void shootDiskMap(ShotSession &session)
{
    QObject *results = session.find(QStringLiteral("largeFilesResults"));
    auto *map = qobject_cast<DiskMapView *>(session.find(QStringLiteral("diskMap")));
    DiskMapScanner *scanner = map ? map->scanner() : nullptr;
    if (!results || !scanner) {
        session.failed(QStringLiteral("the large files screen has no map"));
        return;
    }
    results->setProperty("mode", QStringLiteral("Mapa"));
    if (!session.waitFor([&] { return scanner->completedScanCount() >= 1; }))
        session.failed(QStringLiteral("the map's walk did not finish"));
    session.shoot(QStringLiteral("largefiles-map"));

    scanner->zoomIntoPath(SystemLayout::homeFolder() + QStringLiteral("/Downloads"));
    session.shoot(QStringLiteral("largefiles-map-zoomed"));
    if (map->files())
        map->files()->clearSelection(); // the one file chosen on the map
    for (int i = 0; i < map->blockCount(); ++i)
        if (map->isSelectable(i)) {
            map->activate(i);
            break;
        }
    session.shoot(QStringLiteral("largefiles-map-selected"));

    map->forceActiveFocus(Qt::TabFocusReason);
    map->moveFocus(1, 0);
    session.shoot(QStringLiteral("largefiles-map-focus"));
    results->setProperty("mode", QStringLiteral("Lista"));
}

} // namespace

// The large files screen: empty, with the demo home's large files, with a
// selection, asking to confirm, and showing an error.
void shootLargeFiles(ShotSession &session)
{
    QObject *screen = session.openModule(QStringLiteral("largeFiles"));
    auto *scanner =
        screen ? qobject_cast<StorageScanner *>(screen->property("scanner").value<QObject *>())
               : nullptr;
    if (!scanner) {
        session.failed(QStringLiteral("the large files screen has no scanner"));
        return;
    }
    session.shoot(QStringLiteral("largefiles-empty"));

    screen->setProperty("minimumSizeMB", 100);
    scanner->scan(SystemLayout::homeFolder(), 100);
    if (!session.waitFor([&] { return scanner->completedScanCount() >= 1; }))
        session.failed(QStringLiteral("the large files scan did not finish"));
    session.shoot(QStringLiteral("largefiles-results"));

    const QList<LargeFileItem> files = scanner->files();
    for (int i = 0; i < files.size() && i < 3; ++i)
        scanner->toggleSelection(files.at(i));
    session.shoot(QStringLiteral("largefiles-selection"));
    shootDiskMap(session);

    if (QObject *confirm = session.find(QStringLiteral("trashConfirmation"))) {
        QMetaObject::invokeMethod(confirm, "open");
        session.shoot(QStringLiteral("largefiles-confirm"));
        QMetaObject::invokeMethod(confirm, "close");
    } else {
        session.failed(QStringLiteral("no confirmation dialog on the large files screen"));
    }

    const QString name = files.isEmpty() ? QStringLiteral("archivo.mov") : files.first().name;
    scanner->setErrorMessage(QStringLiteral("No fue posible mover: %1.").arg(name));
    session.shoot(QStringLiteral("largefiles-error"));
    scanner->clearError();
}
