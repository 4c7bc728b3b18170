#include "CleanupScanner.h"
#include "DuplicateScanner.h"
#include "ShotSession.h"
#include "StorageScanner.h"
#include "SystemLayout.h"
#include "UninstallerScanner.h"

#include <QCoreApplication>
#include <QKeyEvent>
#include <QQuickItem>
#include <QQuickWindow>

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

} // namespace

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
        } else if (auto *s = qobject_cast<DuplicateScanner *>(scanner))
            s->scan(SystemLayout::homeFolder(), 10);
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
