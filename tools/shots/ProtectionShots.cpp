#include "ProtectionQuarantineManager.h"
#include "ProtectionScanner.h"
#include "ShotSession.h"

#include <QDateTime>
#include <QVariant>

namespace {

ProtectionQuarantineManager *managerOf(QObject *screen)
{
    return screen ? screen->property("quarantine").value<ProtectionQuarantineManager *>() : nullptr;
}

} // namespace

// The protection screen on the demo tree: before and during an analysis, the
// findings with the recommended selection, a filter, a trusted row, reasons
// unfolded, the confirmation, the move to quarantine, the alert, and the
// quarantine sheet empty, full and asking before a restore and a move to the
// Trash. Every item quarantined here is restored at the end, so the demo tree
// is as before.
void shootProtection(ShotSession &session)
{
    QObject *screen = session.openModule(QStringLiteral("protection"));
    auto *scanner =
        screen ? qobject_cast<ProtectionScanner *>(screen->property("scanner").value<QObject *>())
               : nullptr;
    ProtectionQuarantineManager *manager = managerOf(screen);
    if (!scanner || !manager) {
        session.failed(QStringLiteral("the protection screen has no scanner or quarantine"));
        return;
    }
    session.shoot(QStringLiteral("protection-empty"));
    // Every item goes into quarantine at the same moment on every run.
    manager->setClock([] {
        return QDateTime(QDate(2026, 11, 20), QTime(10, 30), Qt::UTC).toSecsSinceEpoch() -
               QuarantineIndex::kReferenceDate;
    });

    QObject *sheet = session.find(QStringLiteral("quarantineSheet"));
    if (sheet && manager->recordCount() == 0) {
        QMetaObject::invokeMethod(sheet, "open");
        session.shoot(QStringLiteral("quarantine-empty"));
        QMetaObject::invokeMethod(sheet, "close");
    }

    scanner->configureAutomaticLocations();
    scanner->runFullScan();
    session.shootNow(QStringLiteral("protection-scanning"));
    if (!session.waitFor([&] { return scanner->completedScanCount() >= 1; }))
        session.failed(QStringLiteral("the protection analysis did not finish"));
    session.shoot(QStringLiteral("protection-results"));

    // A row with more reasons than the two always shown, unfolded.
    QObject *results = session.find(QStringLiteral("protectionResults"));
    for (const SecurityFinding &f : scanner->findings()) {
        if (f.reasons.size() > 2 && results) {
            QMetaObject::invokeMethod(results, "toggleExpanded", Q_ARG(QVariant, f.id()));
            break;
        }
    }
    session.shoot(QStringLiteral("protection-reasons"));

    scanner->clearSelection();
    session.shoot(QStringLiteral("protection-safety-bar"));
    scanner->selectRecommendedFindings();

    screen->setProperty("filter", 1);
    session.shoot(QStringLiteral("protection-filter-dangerous"));
    screen->setProperty("filter", 4);
    session.shoot(QStringLiteral("protection-filter-safe"));
    screen->setProperty("filter", 0);

    // Trusting a suspicious finding: its badge, and it leaves the selection.
    QString trusted;
    for (const SecurityFinding &f : scanner->findings())
        if (f.level == ThreatLevel::suspicious) {
            trusted = f.id();
            break;
        }
    if (!trusted.isEmpty()) {
        screen->setProperty("filter", 2);
        scanner->toggleTrust(trusted);
        session.shoot(QStringLiteral("protection-trusted"));
        scanner->toggleTrust(trusted);
        screen->setProperty("filter", 0);
        scanner->selectRecommendedFindings();
    }

    if (QObject *confirm = session.find(QStringLiteral("quarantineConfirmation"))) {
        QMetaObject::invokeMethod(confirm, "open");
        session.shoot(QStringLiteral("protection-confirm"));
        QMetaObject::invokeMethod(confirm, "close");
    }

    scanner->setErrorMessage(QStringLiteral("No se pudo mover Setup.pkg: Permiso denegado."));
    session.shoot(QStringLiteral("protection-error"));
    scanner->clearError();

    scanner->quarantineSelected();
    session.shootNow(QStringLiteral("protection-quarantining"));
    if (!session.waitFor([&] { return !manager->isWorking(); }))
        session.failed(QStringLiteral("the quarantine did not finish"));
    session.shoot(QStringLiteral("protection-quarantined"));

    if (sheet) {
        QMetaObject::invokeMethod(sheet, "open");
        session.shoot(QStringLiteral("quarantine-list"));
        if (!manager->records().isEmpty()) {
            const ProtectionQuarantineRecord &first = manager->records().first();
            for (const char *ask : {"Restore", "Trash"}) {
                QMetaObject::invokeMethod(sheet, qPrintable(QStringLiteral("askTo") + ask),
                                          Q_ARG(QVariant, first.id), Q_ARG(QVariant, first.name),
                                          Q_ARG(QVariant, first.originalPath));
                session.shoot(QStringLiteral("quarantine-%1-confirm").arg(ask).toLower());
                if (QObject *confirm =
                        session.find(QStringLiteral("record%1Confirmation").arg(ask)))
                    QMetaObject::invokeMethod(confirm, "close");
            }
        }
        QMetaObject::invokeMethod(sheet, "close");
    }

    // Everything back where it was.
    while (!manager->records().isEmpty()) {
        const int before = manager->recordCount();
        manager->restore(manager->records().first().id);
        session.waitFor([&] { return !manager->isWorking(); });
        if (manager->recordCount() >= before) {
            session.failed(QStringLiteral("a quarantined demo item could not be restored: ") +
                           manager->errorMessage());
            break;
        }
    }
    manager->clearError();
}
