#include "OperationHistory.h"
#include "OperationJournal.h"
#include "ShotSession.h"
#include "StorageScanner.h"
#include "SystemLayout.h"

#include <QDir>
#include <QFile>
#include <QStandardPaths>
#include <fcntl.h>

namespace {

// Large files of their own in Downloads, so that the demo's stay as they are.
QString makeFile(ShotSession &session, const QString &name)
{
    const QString path = SystemLayout::homeFolder() + QStringLiteral("/Downloads/") + name;
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) ||
        posix_fallocate(file.handle(), 0, 110 * 1024 * 1024) != 0)
        session.failed(QStringLiteral("could not make ") + path);
    return path;
}

bool trash(ShotSession &session, StorageScanner *scanner, const QStringList &paths)
{
    scanner->clearSelection();
    for (const QString &path : paths)
        scanner->toggleSelection(path);
    scanner->moveSelectedToTrash();
    return session.waitFor([&] { return !scanner->isRemoving() && scanner->canUndo(); });
}

} // namespace

// "Deshacer" after a removal, its report with an item put back beside its taken
// place, and the history with an operation in each state, folded and unfolded.
void shootHistory(ShotSession &session)
{
    // Every operation of this run a minute after the one before, on every run.
    int tick = 0;
    OperationJournal::setClock([&tick] {
        return QDateTime(QDate(2026, 11, 20), QTime(10, 0), Qt::UTC).addSecs(60 * (tick++ / 8));
    });
    QStringList files;
    for (int i = 1; i <= 6; ++i)
        files << makeFile(session, QStringLiteral("Velmora historial %1.bin").arg(i));
    QObject *screen = session.openModule(QStringLiteral("largeFiles"));
    auto *scanner =
        screen ? qobject_cast<StorageScanner *>(screen->property("scanner").value<QObject *>())
               : nullptr;
    if (!scanner) {
        session.failed(QStringLiteral("the large files screen has no scanner"));
        return;
    }
    screen->setProperty("minimumSizeMB", 100);
    scanner->scan(SystemLayout::homeFolder() + QStringLiteral("/Downloads"), 100);
    session.waitFor([&] { return scanner->completedScanCount() >= 1; });

    // Gone from the Trash by another hand.
    const QString trashFolder =
        QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) +
        QStringLiteral("/Trash");
    if (trash(session, scanner, {files.at(5)})) {
        QFile::remove(trashFolder + QStringLiteral("/files/Velmora historial 6.bin"));
        QFile::remove(trashFolder + QStringLiteral("/info/Velmora historial 6.bin.trashinfo"));
    }
    // Left in the Trash.
    trash(session, scanner, {files.at(4)});
    // Half put back from the history.
    trash(session, scanner, {files.at(2), files.at(3)});
    const QString halfUndone = scanner->lastOperationId();
    // Put back from the module, one beside a place taken meanwhile.
    if (trash(session, scanner, {files.at(0), files.at(1)}))
        session.shoot(QStringLiteral("largefiles-undo"));
    QFile(files.at(0)).open(QIODevice::WriteOnly);
    const int scans = scanner->completedScanCount();
    scanner->undoLastRemoval();
    session.waitFor(
        [&] { return scanner->completedScanCount() > scans && !scanner->isScanning(); });
    session.shoot(QStringLiteral("largefiles-undone"));

    session.showDashboard();
    QObject *sheet = session.find(QStringLiteral("historySheet"));
    auto *history =
        sheet ? sheet->findChild<OperationHistory *>(QStringLiteral("operationHistory")) : nullptr;
    if (!history) {
        session.failed(QStringLiteral("the dashboard has no history sheet"));
        return;
    }
    QMetaObject::invokeMethod(sheet, "open");
    session.waitFor([&] { return history->completedScanCount() >= 1 && !history->isScanning(); });
    const int read = history->completedScanCount();
    history->undoItem(halfUndone, 0);
    session.waitFor([&] { return history->completedScanCount() > read && !history->isScanning(); });
    session.shoot(QStringLiteral("history"));
    QMetaObject::invokeMethod(sheet, "toggle", Q_ARG(QVariant, QVariant(halfUndone)));
    QMetaObject::invokeMethod(sheet, "toggle",
                              Q_ARG(QVariant, QVariant(history->operations().value(0).id)));
    session.shoot(QStringLiteral("history-items"));
    QMetaObject::invokeMethod(sheet, "close");
    OperationJournal::setClock({});
    // What is left of the shots' own files goes.
    for (const QString &path :
         files + QStringList{files.at(0) + QStringLiteral(" (restaurado)"), files.at(2)})
        QFile::remove(path);
    for (const char *name : {"Velmora historial 4.bin", "Velmora historial 5.bin"}) {
        QFile::remove(trashFolder + QStringLiteral("/files/") + QLatin1String(name));
        QFile::remove(trashFolder + QStringLiteral("/info/") + QLatin1String(name) +
                      QStringLiteral(".trashinfo"));
    }
}
