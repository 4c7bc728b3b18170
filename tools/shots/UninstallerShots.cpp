#include "ShotSession.h"
#include "UninstallerScanner.h"

#include <QVariant>

// The uninstaller on the demo applications: the list with icons, a selection with
// one application's leftovers unfolded, searches (one finding an application
// installed twice, unfolded with the entries it keeps), the confirmation and an
// error.
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

    scanner->setErrorMessage(QStringLiteral("No fue posible desinstalar: Quill."));
    session.shoot(QStringLiteral("uninstaller-error"));
    scanner->clearError();
}
