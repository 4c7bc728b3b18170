#include "CleanupScanner.h"
#include "DuplicateScanner.h"
#include "FolderScanner.h"
#include "ProtectionScanner.h"
#include "ShotSession.h"
#include "StorageScanner.h"
#include "SystemLayout.h"
#include "UninstallerScanner.h"

#include <QCoreApplication>
#include <QFile>
#include <QKeyEvent>
#include <QQuickItem>
#include <QQuickWindow>
#include <QStandardPaths>
#include <fcntl.h>

namespace {

QObject *scannerOf(QObject *screen)
{
    return screen ? screen->property("scanner").value<QObject *>() : nullptr;
}

// Starts the module's scan and photographs it before the result can arrive: the
// result is published on a later turn of the event loop, which shootNow() does
// not run.
void shootScanning(ShotSession &session, const QString &module, const QString &name)
{
    QObject *scanner = scannerOf(session.openModule(module));
    if (!scanner) {
        session.failed(QStringLiteral("no scanner on ") + module);
        return;
    }
    // The automatic first scans of cleanup and uninstaller end first.
    session.waitFor([&] { return !scanner->property("isScanning").toBool(); });
    if (auto *s = qobject_cast<StorageScanner *>(scanner))
        s->scan(SystemLayout::homeFolder(), 100);
    else if (auto *s = qobject_cast<DuplicateScanner *>(scanner))
        s->scan(SystemLayout::homeFolder(), 10);
    else if (auto *s = qobject_cast<CleanupScanner *>(scanner))
        s->scan();
    else if (auto *s = qobject_cast<UninstallerScanner *>(scanner))
        s->scanApplications();
    if (!scanner->property("isScanning").toBool())
        session.failed(module + QStringLiteral(" did not start scanning"));
    session.shootNow(name);
    session.waitFor([&] { return !scanner->property("isScanning").toBool(); });
    session.showDashboard();
}

// A scan of the demo tree held in flight at the gate, with its progress line;
// then "Detener", and what the stopped scan published. Large files walk
// Documents and wait at every folder below it (the home would count the
// settings and Trash folders this tool's first run makes); duplicates compare
// the one pair of equal size in Downloads and wait in the middle of it.
void shootLongScan(ShotSession &session, const QString &module, const QString &name,
                   const QString &folder, int minimumMB, ShotGate::Point gate)
{
    QObject *screen = session.openModule(module);
    auto *scanner = qobject_cast<FolderScanner *>(scannerOf(screen));
    if (!scanner) {
        session.failed(QStringLiteral("no folder scanner on ") + module);
        return;
    }
    screen->setProperty("minimumSizeMB", minimumMB);
    ShotGate::close(gate);
    scanner->scan(folder, minimumMB);
    session.drawNow();
    if (!session.waitFor([] { return ShotGate::reached(); }, 20000))
        session.failed(name + QStringLiteral(": the scan never reached the gate"));
    // What it counted before the gate is all it counts: a few turns of the
    // progress line's timer show it.
    session.settle(1000);
    session.shootNow(name + QStringLiteral("-progress"));
    scanner->stopScan();
    ShotGate::open();
    session.waitFor([&] { return !scanner->isScanning(); });
    session.shoot(name + QStringLiteral("-stopped"));
    session.showDashboard();
}

} // namespace

// Long scans with their progress, stopped by "Detener".
void shootLongScans(ShotSession &session)
{
    const QString home = SystemLayout::homeFolder();
    shootLongScan(session, QStringLiteral("largeFiles"), QStringLiteral("largefiles"),
                  home + QStringLiteral("/Documents"), 10, ShotGate::Point::folder);
    shootLongScan(session, QStringLiteral("duplicates"), QStringLiteral("duplicates"),
                  home + QStringLiteral("/Downloads"), 10, ShotGate::Point::comparison);
}

// A removal in progress: the spinner turns and the selection bar waits. The
// file removed is one made for this shot, and its trashed copy is removed
// after it, so the demo tree stays as it was.
void shootRemoval(ShotSession &session)
{
    const QString name = QStringLiteral("Velmora captura.bin");
    const QString path = SystemLayout::homeFolder() + QStringLiteral("/Downloads/") + name;
    {
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly) ||
            posix_fallocate(file.handle(), 0, 120 * 1024 * 1024) != 0) {
            session.failed(QStringLiteral("could not make ") + path);
            return;
        }
    }
    QObject *screen = session.openModule(QStringLiteral("largeFiles"));
    auto *scanner = qobject_cast<StorageScanner *>(scannerOf(screen));
    if (!scanner) {
        session.failed(QStringLiteral("the large files screen has no scanner"));
        return;
    }
    screen->setProperty("minimumSizeMB", 100);
    scanner->scan(SystemLayout::homeFolder(), 100);
    session.waitFor([&] { return scanner->completedScanCount() >= 1; });
    scanner->toggleSelection(path);
    scanner->moveSelectedToTrash();
    if (!scanner->isMovingToTrash())
        session.failed(QStringLiteral("the removal did not run in the background"));
    session.shootNow(QStringLiteral("largefiles-removing"));
    session.waitFor([&] { return !scanner->isMovingToTrash(); });
    session.showDashboard();
    const QString trash = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) +
                          QStringLiteral("/Trash");
    QFile::remove(trash + QStringLiteral("/files/") + name);
    QFile::remove(trash + QStringLiteral("/info/") + name + QStringLiteral(".trashinfo"));
}

// The folder chooser as the header button opens it, at the home and with a
// folder highlighted.
void shootChooser(ShotSession &session)
{
    auto *scanner =
        qobject_cast<StorageScanner *>(scannerOf(session.openModule(QStringLiteral("largeFiles"))));
    QObject *dialog = session.find(QStringLiteral("folderChooserDialog"));
    if (!scanner || !dialog) {
        session.failed(QStringLiteral("no large files scanner or folder chooser"));
        return;
    }
    scanner->chooseFolderAndScan(500);
    if (!session.waitFor([&] { return dialog->property("opened").toBool(); }, 3000)) {
        session.failed(QStringLiteral("the folder chooser did not open"));
        return;
    }
    session.shoot(QStringLiteral("chooser-open"));
    QMetaObject::invokeMethod(dialog, "moveHighlight", Q_ARG(QVariant, 1));
    session.shoot(QStringLiteral("chooser-highlighted"));
    QMetaObject::invokeMethod(dialog, "close");
    session.showDashboard();
}

// Keyboard focus on the dashboard: Tab moves it, and the ring shows where it is.
void shootFocus(ShotSession &session)
{
    for (int i = 0; i < 3; ++i) {
        QKeyEvent press(QEvent::KeyPress, Qt::Key_Tab, Qt::NoModifier);
        QKeyEvent release(QEvent::KeyRelease, Qt::Key_Tab, Qt::NoModifier);
        QCoreApplication::sendEvent(session.window(), &press);
        QCoreApplication::sendEvent(session.window(), &release);
    }
    session.shoot(QStringLiteral("dashboard-focus"));
}

void shootScanning(ShotSession &session)
{
    shootScanning(session, QStringLiteral("largeFiles"), QStringLiteral("largefiles-scanning"));
    shootScanning(session, QStringLiteral("duplicates"), QStringLiteral("duplicates-scanning"));
    shootScanning(session, QStringLiteral("safeCleanup"), QStringLiteral("cleanup-scanning"));
    shootScanning(session, QStringLiteral("uninstaller"), QStringLiteral("uninstaller-scanning"));
}

// Every screen at the window's minimum size, with results, to check that nothing
// is cut or overlaps.
void shootMinimumSize(ShotSession &session)
{
    session.resize(980, 680);
    session.shoot(QStringLiteral("minimum-dashboard"));
    const QList<std::pair<QString, QString>> modules{
        {QStringLiteral("largeFiles"), QStringLiteral("minimum-largefiles")},
        {QStringLiteral("duplicates"), QStringLiteral("minimum-duplicates")},
        {QStringLiteral("safeCleanup"), QStringLiteral("minimum-cleanup")},
        {QStringLiteral("uninstaller"), QStringLiteral("minimum-uninstaller")},
        {QStringLiteral("protection"), QStringLiteral("minimum-protection")}};
    for (const auto &[module, name] : modules) {
        QObject *screen = session.openModule(module);
        QObject *scanner = scannerOf(screen);
        if (auto *s = qobject_cast<StorageScanner *>(scanner)) {
            screen->setProperty("minimumSizeMB", 100);
            s->scan(SystemLayout::homeFolder(), 100);
        } else if (auto *s = qobject_cast<DuplicateScanner *>(scanner)) {
            s->scan(SystemLayout::homeFolder(), 10);
        } else if (auto *s = qobject_cast<ProtectionScanner *>(scanner)) {
            s->configureAutomaticLocations();
            s->runFullScan();
        }
        if (scanner)
            session.waitFor([&] {
                return scanner->property("completedScanCount").toInt() >= 1 &&
                       !scanner->property("isScanning").toBool();
            });
        session.settle(300);
        session.shoot(name);
        if (module == QLatin1String("uninstaller"))
            if (QObject *confirm = session.find(QStringLiteral("uninstallConfirmation"))) {
                if (auto *s = qobject_cast<UninstallerScanner *>(scanner);
                    s && !s->applications().isEmpty())
                    s->toggleSelection(s->applications().first());
                QMetaObject::invokeMethod(confirm, "open");
                session.shoot(QStringLiteral("minimum-uninstaller-confirm"));
                QMetaObject::invokeMethod(confirm, "close");
            }
        session.showDashboard();
    }
    session.resize(1120, 730);
}
