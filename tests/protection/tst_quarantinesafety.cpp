#include "DuplicateScanner.h"
#include "FileLocation.h"
#include "MacTree.h"
#include "ProtectionScanner.h"
#include "ProtectionTrustStore.h"
#include "QuarantineTesting.h"
#include "StorageScanner.h"
#include "TreeBuilder.h"
#include "UninstallerScanner.h"

#include <QtTest>

// The quarantine kept whole: a process killed in the middle of every step, the
// scanner's selection and trust, the walks that must never offer its contents,
// the uninstaller that must never move it, the probe's reports, records that
// point elsewhere, and items that changed or whose place is taken.
using namespace QuarantineTesting;

class TestQuarantineSafety : public QObject
{
    Q_OBJECT

private slots:
    void killedAtEveryStepLosesNothing();
    void scannerSelectionTrustAndQuarantine();
    void otherModulesLeaveTheQuarantineAlone();
    void probeReportsScanTrustAndQuarantine();
    void recordsPointingElsewhereAreNeverFollowed();
    void homeUnderAnotherSpelling();
    void occupiedOrChangedItemsStay();
};

namespace {

// A home with four scripts to quarantine, and the probe's environment on it.
struct CrashTree : MacTree
{
    QStringList originals;
    QProcessEnvironment probeEnv = QProcessEnvironment::systemEnvironment();
    CrashTree()
    {
        for (int i = 0; i < 4; ++i)
            originals << root.file(QStringLiteral("Users/ana/Downloads/s%1.sh").arg(i),
                                   QByteArray("script ") + QByteArray::number(i));
    }
    // Runs the probe killed at the given step (0: not killed); true when it
    // ended by itself.
    bool run(const QStringList &args, int killAt)
    {
        QProcessEnvironment killing = probeEnv;
        if (killAt > 0)
            killing.insert("VELMORA_KILL_AT", QString::number(killAt));
        QProcess::ExitStatus status;
        runProbe(args, killing, &status);
        return status == QProcess::NormalExit;
    }
    QJsonArray records() { return runProbe({"quarantine"}, probeEnv).value("records").toArray(); }

    // Every item is where it was, in the Trash, or in the quarantine with a
    // record naming it; the quarantine holds nothing else. What a start
    // finishes is written down: the start after it reads the same records.
    void checkInvariant(const QString &when)
    {
        const QJsonArray recovered = records();
        QVERIFY2(records() == recovered, qPrintable(when + ": the recovery was not kept"));
        QSet<QString> recordedOriginals, recordedFiles;
        for (const QJsonValue &v : recovered) {
            const QJsonObject r = v.toObject();
            QVERIFY2(exists(r.value("quarantinePath").toString()), qPrintable(when));
            recordedOriginals.insert(r.value("originalPath").toString());
            recordedFiles.insert(
                FileLocation::lastPathComponent(r.value("quarantinePath").toString()));
        }
        for (const QString &original : originals) {
            const bool trashed =
                exists(env.trashFiles() + "/" + FileLocation::lastPathComponent(original));
            QVERIFY2(exists(original) || recordedOriginals.contains(original) || trashed,
                     qPrintable(when + ": lost " + original));
        }
        for (const QString &entry : quarantineEntries(quarantineFolder()))
            QVERIFY2(entry == "records.json" || recordedFiles.contains(entry),
                     qPrintable(when + ": unlisted " + entry));
    }
};

} // namespace

void TestQuarantineSafety::killedAtEveryStepLosesNothing()
{
    // Each run killed at each of its steps in turn, on a fresh tree, until it
    // ends by itself: a quarantine of four items (before, between and after
    // each item's move and index write), then a restore and a move to the Trash.
    const QStringList quarantine{"protection", "--quarantine-selected"};
    const struct
    {
        const char *action;
        int kills, left;
    } runs[] = {{"", 4 * 3, 4}, {"--restore", 3, 3}, {"--trash", 3, 3}};
    for (const auto &run : runs) {
        int kills = 0;
        for (int at = 1;; ++at) {
            QVERIFY(at < 80);
            CrashTree tree;
            QStringList args = quarantine;
            if (*run.action) {
                QVERIFY(tree.run(quarantine, 0));
                args = {"quarantine", run.action, tree.records()[0].toObject()["id"].toString()};
            }
            const bool finished = tree.run(args, at);
            tree.checkInvariant(args.join(' ') + " killed at step " + QString::number(at));
            if (QTest::currentTestFailed())
                return;
            if (finished) {
                QCOMPARE(tree.records().size(), run.left);
                break;
            }
            ++kills;
        }
        QVERIFY2(kills >= run.kills, run.action);
    }
}

void TestQuarantineSafety::scannerSelectionTrustAndQuarantine()
{
    MacTree tree;
    const QString run = tree.root.file("Users/ana/Downloads/run.sh", "#!/bin/sh\n");
    const QString fix = tree.root.file("Users/ana/Downloads/fix.command", "#!/bin/sh\n");
    const QString keep = tree.root.file("Users/ana/Downloads/keep.sh", "#!/bin/sh\n");

    ProtectionTrustStore trust;
    LoadedQuarantine manager;
    ProtectionScanner scanner;
    scanner.setTrustStore(&trust);
    scanner.setQuarantine(&manager);
    scanner.runFullScan();
    QTRY_VERIFY_WITH_TIMEOUT(scanner.completedScanCount() == 1, 30000);
    scanner.selectRecommendedFindings();
    QCOMPARE(scanner.selectedCount(), 3);

    // Trusting takes a finding out of the selection and out of every later
    // recommended selection, and is remembered.
    scanner.toggleTrust(keep);
    QCOMPARE(scanner.selectedCount(), 2);
    scanner.selectRecommendedFindings();
    QCOMPARE(scanner.selectedCount(), 2);
    QVERIFY(ProtectionTrustStore().isTrusted(keep));
    scanner.toggleSelection(keep); // not selectable while trusted
    QCOMPARE(scanner.selectedCount(), 2);

    // One selected item vanishes before the move: it is skipped, the other goes.
    QVERIFY(QFile::remove(fix));
    scanner.quarantineSelected();
    QTRY_VERIFY_WITH_TIMEOUT(!manager.isWorking() && !scanner.hasSelection(), 30000);
    QCOMPARE(manager.recordCount(), 1);
    QVERIFY(!exists(run));
    QStringList left;
    for (const SecurityFinding &f : scanner.findings())
        left << f.name;
    QVERIFY(!left.contains("run.sh"));
    QVERIFY(left.contains("keep.sh"));

    // Untrusting makes it selectable again.
    scanner.toggleTrust(keep);
    QVERIFY(!ProtectionTrustStore().isTrusted(keep));
    scanner.selectRecommendedFindings();
    QCOMPARE(scanner.selectedFindings().size(), 1);
    QCOMPARE(scanner.selectedFindings().first().url, keep);
}

// The other modules never offer what the quarantine holds, nor move it: not
// even the uninstaller of an application whose name matches our own folder,
// which lists that folder with it.
void TestQuarantineSafety::otherModulesLeaveTheQuarantineAlone()
{
    MacTree tree;
    const QString big = tree.root.allocatedFile("Users/ana/Downloads/big.iso", 3 * 1024 * 1024);
    tree.root.file("Users/ana/Downloads/twin-a.sh", QByteArray(2 * 1024 * 1024, 'd'));
    tree.root.file("Users/ana/Downloads/twin-b.sh", QByteArray(2 * 1024 * 1024, 'd'));
    const QString app = tree.root.bundle("Applications/Velmora.app",
                                         {{"CFBundleIdentifier", "org.other.velmora"}}, false);
    const QString cache = tree.root.file("Users/ana/Library/Caches/org.other.velmora/c", "c");
    LoadedQuarantine manager;
    manager.take({big, tree.home + "/Downloads/twin-a.sh"});
    QCOMPARE(manager.recordCount(), 2);
    // A hidden executable in the quarantine would be rated by the walk of the
    // application-support folder.
    const QString hidden = quarantineFolder() + "/.tool";
    tree.root.executableFile(hidden.mid(tree.env.root().size() + 1), "#!/bin/sh\n");

    StorageScanner large;
    large.scan(tree.home, 1);
    QTRY_VERIFY_WITH_TIMEOUT(large.completedScanCount() == 1, 30000);
    QCOMPARE(large.fileCount(), 1); // twin-b.sh, still in Downloads
    QCOMPARE(large.files().first().name, QStringLiteral("twin-b.sh"));
    large.scan(quarantineFolder(), 1);
    QTRY_VERIFY_WITH_TIMEOUT(large.completedScanCount() == 2, 30000);
    QCOMPARE(large.fileCount(), 0);

    DuplicateScanner duplicates;
    duplicates.scan(tree.home, 1);
    QTRY_VERIFY_WITH_TIMEOUT(duplicates.completedScanCount() == 1, 30000);
    QCOMPARE(duplicates.groupCount(), 0);

    ProtectionScanner protection;
    for (int scan = 1; scan <= 2; ++scan) {
        scan == 1 ? protection.runFullScan() : protection.scanCustom(tree.home + "/Library");
        QTRY_VERIFY_WITH_TIMEOUT(protection.completedScanCount() == scan, 30000);
        for (const SecurityFinding &f : protection.findings())
            QVERIFY2(!f.url.startsWith(quarantineFolder()), qPrintable(f.url));
    }
    QVERIFY(QFile::remove(hidden)); // or the next start would adopt it

    UninstallerScanner uninstaller;
    uninstaller.scanApplications();
    QTRY_VERIFY_WITH_TIMEOUT(uninstaller.completedScanCount() == 1, 30000);
    QCOMPARE(uninstaller.applications().size(), 1);
    QVERIFY(uninstaller.applications().first().relatedFiles.contains(
        tree.home + "/Library/Application Support/Velmora"));
    uninstaller.toggleSelection(uninstaller.applications().first());
    uninstaller.uninstallSelected();
    QTRY_VERIFY_WITH_TIMEOUT(!uninstaller.isRemoving(), 30000);
    QVERIFY(!exists(app));
    QVERIFY(!exists(cache));
    for (const ProtectionQuarantineRecord &r : manager.records())
        QVERIFY2(exists(r.quarantinePath), qPrintable(r.quarantinePath));
    QCOMPARE(LoadedQuarantine().recordCount(), 2);
}

void TestQuarantineSafety::probeReportsScanTrustAndQuarantine()
{
    MacTree tree;
    const QString run = tree.root.file("Users/ana/Downloads/run.sh", "#!/bin/sh\n");
    const QString keep = tree.root.file("Users/ana/Downloads/keep.sh", "#!/bin/sh\n");
    tree.root.file("Library/LaunchDaemons/com.x.plist", "x");

    // A scan: findings, counts and the recommended selection, once the trust
    // is stored.
    const QJsonObject scanned = runProbe({"protection", "--trust", keep});
    QCOMPARE(scanned.value("counts").toObject(),
             QJsonObject({{"dangerous", 0}, {"suspicious", 2}, {"review", 1}, {"safe", 0}}));
    const QJsonObject script = scanned.value("items").toArray()[0].toObject();
    QCOMPARE(script.value("url").toString(), keep);
    QCOMPARE(script.value("type").toString(), QStringLiteral("script"));
    QCOMPARE(script.value("level").toString(), QStringLiteral("suspicious"));
    QCOMPARE(script.value("teamIdentifier"), QJsonValue(QJsonValue::Null));
    QCOMPARE(scanned.value("selected").toArray(), QJsonArray({run}));

    // The selection moved; the trusted item stays.
    const QJsonObject out = runProbe({"protection", "--quarantine-selected"});
    QCOMPARE(out.value("selected").toArray(), QJsonArray());
    QCOMPARE(out.value("quarantine").toObject(),
             QJsonObject({{"statusText", "1 elemento(s) en cuarentena."},
                          {"errorMessage", QJsonValue::Null}}));
    QVERIFY(exists(keep) && !exists(run));

    const QJsonObject record = runProbe({"quarantine"}).value("records").toArray()[0].toObject();
    QCOMPARE(record.value("originalPath").toString(), run);
    const QJsonObject restored =
        runProbe({"quarantine", "--restore", record.value("id").toString()});
    QCOMPARE(restored.value("statusText").toString(), QStringLiteral("run.sh fue restaurado."));
    QCOMPARE(restored.value("records").toArray(), QJsonArray());
    QVERIFY(exists(run));
}

void TestQuarantineSafety::recordsPointingElsewhereAreNeverFollowed()
{
    MacTree tree;
    LoadedQuarantine().recordCount(); // makes the folder
    const QString precious = tree.root.file("Users/ana/Documents/tax.pdf", "precious");
    const QString inside = quarantineFolder() + "/" + kId + "_link";
    // One record names a file outside the folder; another lies inside it but is
    // a link to that file.
    QVERIFY(QFile::link(precious, inside));
    const auto record = [&](const QString &id, const QString &from, const QString &at) {
        return QJsonObject{{"id", id},
                           {"originalPath", tree.home + "/Downloads/" + from},
                           {"quarantinePath", at},
                           {"name", from},
                           {"size", 8},
                           {"quarantinedAt", 1.0}};
    };
    writeIndex(QJsonDocument(QJsonArray{record(otherId('8'), "tax.pdf", precious),
                                        record(kId, "link", inside)})
                   .toJson());
    LoadedQuarantine manager;
    QCOMPARE(manager.recordCount(), 1);
    QCOMPARE(manager.records().first().id, kId);
    // Restoring the link moves the link, never what it points at.
    manager.restoreNow(kId);
    QCOMPARE(contents(precious), QByteArray("precious"));
    QVERIFY(QFileInfo(tree.home + "/Downloads/link").isSymLink());
    manager.trashNow(otherId('8'));
    QCOMPARE(contents(precious), QByteArray("precious"));

    // A restore only ever goes into the home or the applications folder.
    const QString item = tree.root.file("Users/ana/Downloads/c.sh", "c");
    manager.take({item});
    writeIndex(
        contents(indexPath())
            .replace(QFile::encodeName(item), QFile::encodeName(tree.root.path("Library/c.sh"))));
    LoadedQuarantine again;
    QCOMPARE(again.recordCount(), 1);
    again.restoreNow(again.records().first().id);
    QCOMPARE(again.errorMessage(),
             QStringLiteral("No se pudo restaurar: La ubicación original está fuera de la carpeta "
                            "personal y de Aplicaciones."));
    QVERIFY(!exists(tree.root.path("Library/c.sh")));
    QCOMPARE(again.recordCount(), 1);
}

// The same home under another spelling (through a link) keeps every record,
// and a restore finds its way back.
void TestQuarantineSafety::homeUnderAnotherSpelling()
{
    MacTree tree;
    const QString item = tree.root.file("Users/ana/Downloads/run.sh", "x");
    LoadedQuarantine().take({item});
    const QString linked = tree.root.symlink("home-link", tree.home);
    qputenv("HOME", QFile::encodeName(linked));
    LoadedQuarantine manager;
    QCOMPARE(manager.recordCount(), 1);
    QCOMPARE(manager.records().first().originalPath, linked + "/Downloads/run.sh");
    manager.restoreNow(manager.records().first().id);
    QCOMPARE(manager.errorMessage(), QString());
    QCOMPARE(contents(item), QByteArray("x"));
}

void TestQuarantineSafety::occupiedOrChangedItemsStay()
{
    // A restore onto an occupied path keeps both where they are.
    MacTree tree;
    const QString item = tree.root.file("Users/ana/Downloads/run.sh", "quarantined");
    LoadedQuarantine manager;
    manager.take({item});
    QCOMPARE(manager.recordCount(), 1);
    tree.root.file("Users/ana/Downloads/run.sh", "new one");
    manager.restoreNow(manager.records().first().id);
    QCOMPARE(manager.errorMessage(),
             QStringLiteral("No se pudo restaurar: Ya existe un elemento con ese nombre en la "
                            "ubicación original."));
    QCOMPARE(contents(item), QByteArray("new one"));
    QCOMPARE(manager.recordCount(), 1);
    QCOMPARE(contents(manager.records().first().quarantinePath), QByteArray("quarantined"));

    // An item changed since the scan stays where it is.
    const QString changed = tree.root.file("Users/ana/Downloads/b.sh", "scanned");
    const SecurityFinding stale = findingFor(changed);
    QVERIFY(QFile::remove(changed));
    tree.root.file("Users/ana/Downloads/b.sh", "replaced after the scan");
    manager.quarantine({stale});
    waitIdle(manager);
    QCOMPARE(manager.errorMessage(),
             QStringLiteral("No se pudo mover b.sh: El elemento cambió desde el análisis."));
    QCOMPARE(contents(changed), QByteArray("replaced after the scan"));
    QCOMPARE(manager.recordCount(), 1);
}

QTEST_GUILESS_MAIN(TestQuarantineSafety)
#include "tst_quarantinesafety.moc"
