#include "FileLocation.h"
#include "ShotSession.h"
#include "SystemLayout.h"
#include "UninstallerScanner.h"

#include <QVariant>
#include <algorithm>
#include <cstdio>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// What a scan leaves out, unfolded. The demo tree holds nothing a scan must
// leave out, so for this one shot a folder the uninstaller reads by name is
// set aside and a link into itself takes its place; then it is put back.
void shootSkipped(ShotSession &session, QObject *screen, UninstallerScanner *scanner)
{
    const QByteArray logs = FileLocation::encode(SystemLayout::userLibraryFolder()) + "/Logs";
    const QByteArray aside = logs + ".velmora-shots";
    const auto rescan = [&] {
        const int before = scanner->completedScanCount();
        scanner->scanApplications();
        return session.waitFor([&] { return scanner->completedScanCount() > before; });
    };
    if (std::rename(logs.constData(), aside.constData()) != 0) {
        session.failed(QStringLiteral("cannot set ~/Library/Logs aside"));
        return;
    }
    QObject *disclosure = screen->findChild<QObject *>(QStringLiteral("skippedDisclosure"));
    if (symlink(logs.constData(), logs.constData()) == 0 && rescan() && disclosure) {
        disclosure->setProperty("checked", true);
        session.shoot(QStringLiteral("uninstaller-skipped"));
        disclosure->setProperty("checked", false);
    } else {
        session.failed(QStringLiteral("nothing left out to show"));
    }
    unlink(logs.constData());
    if (std::rename(aside.constData(), logs.constData()) != 0)
        session.failed(QStringLiteral("cannot put ~/Library/Logs back"));
    rescan();
}

// An uninstall that fails as it does in the app: the application's bundle was
// replaced since the scan (another folder of its name), so it is left alone,
// named in the alert, and stays selected. The real bundle is put back after.
void shootFailedUninstall(ShotSession &session, UninstallerScanner *scanner)
{
    const auto app = std::find_if(
        scanner->applications().cbegin(), scanner->applications().cend(),
        [](const InstalledApplication &a) { return a.name == QLatin1String("Tessera"); });
    if (app == scanner->applications().cend()) {
        session.failed(QStringLiteral("no demo application to fail to uninstall"));
        return;
    }
    const QByteArray bundle = FileLocation::encode(app->url);
    const QByteArray aside = bundle + ".velmora-shots";
    if (std::rename(bundle.constData(), aside.constData()) != 0 ||
        mkdir(bundle.constData(), 0755) != 0) {
        session.failed(QStringLiteral("cannot set the demo application aside"));
        std::rename(aside.constData(), bundle.constData());
        return;
    }
    scanner->clearSelection();
    scanner->toggleSelection(*app);
    scanner->uninstallSelected();
    if (!session.waitFor([&] { return !scanner->isRemoving(); }) ||
        scanner->errorMessage().isEmpty())
        session.failed(QStringLiteral("the uninstall did not fail"));
    session.shoot(QStringLiteral("uninstaller-error"));
    if (rmdir(bundle.constData()) != 0 || std::rename(aside.constData(), bundle.constData()) != 0)
        session.failed(QStringLiteral("cannot put the demo application back"));
    scanner->clearError();
    scanner->clearSelection();
}

} // namespace

// The uninstaller on the demo applications: the list with icons, a selection with
// one application's leftovers unfolded, searches (one finding an application
// installed twice, unfolded with the entries it keeps), the confirmation, an
// error, and what a scan left out.
void shootUninstaller(ShotSession &session)
{
    QObject *screen = session.openModule(QStringLiteral("uninstaller"));
    auto *scanner =
        screen ? qobject_cast<UninstallerScanner *>(screen->property("scanner").value<QObject *>())
               : nullptr;
    if (!scanner) {
        session.failed(QStringLiteral("the uninstaller screen has no scanner"));
        return;
    }
    if (!session.waitFor([&] { return scanner->completedScanCount() >= 1; }))
        session.failed(QStringLiteral("the application scan did not finish"));
    session.settle(400); // icons load in the background
    session.shoot(QStringLiteral("uninstaller-results"));

    QObject *results = session.find(QStringLiteral("uninstallerResults"));
    for (const InstalledApplication &app : scanner->applications()) {
        if (app.name == QLatin1String("Drift Browser") || app.name == QLatin1String("Quill")) {
            if (!scanner->selectedApplicationIDs().contains(app.id()))
                scanner->toggleSelection(app);
        }
        if (app.name == QLatin1String("Drift Browser") && results)
            QMetaObject::invokeMethod(results, "toggleExpanded", Q_ARG(QVariant, app.id()));
    }
    session.shoot(QStringLiteral("uninstaller-selection"));

    if (QObject *confirm = session.find(QStringLiteral("uninstallConfirmation"))) {
        QMetaObject::invokeMethod(confirm, "open");
        session.shoot(QStringLiteral("uninstaller-confirm"));
        QMetaObject::invokeMethod(confirm, "close");
    }

    screen->setProperty("searchText", QStringLiteral("com.a"));
    session.shoot(QStringLiteral("uninstaller-search"));
    // Quill is installed in both Applications folders: each row says which.
    screen->setProperty("searchText", QStringLiteral("Quill"));
    session.shoot(QStringLiteral("uninstaller-installed-twice"));
    // Unfolded, the data both copies use stays with the other one, and says so;
    // one copy is chosen, so the dialog counts what stays.
    scanner->clearSelection();
    for (const InstalledApplication &app : scanner->applications())
        if (app.name == QLatin1String("Quill") && results) {
            QMetaObject::invokeMethod(results, "toggleExpanded", Q_ARG(QVariant, app.id()));
            break;
        }
    session.shoot(QStringLiteral("uninstaller-kept"));
    for (const InstalledApplication &app : scanner->applications())
        if (app.name == QLatin1String("Quill")) {
            scanner->toggleSelection(app);
            break;
        }
    if (QObject *confirm = session.find(QStringLiteral("uninstallConfirmation"))) {
        QMetaObject::invokeMethod(confirm, "open");
        session.shoot(QStringLiteral("uninstaller-kept-confirm"));
        QMetaObject::invokeMethod(confirm, "close");
    }
    scanner->clearSelection();
    screen->setProperty("searchText", QStringLiteral("zzz"));
    session.shoot(QStringLiteral("uninstaller-search-empty"));
    screen->setProperty("searchText", QString());

    shootFailedUninstall(session, scanner);

    shootSkipped(session, screen, scanner);
}
