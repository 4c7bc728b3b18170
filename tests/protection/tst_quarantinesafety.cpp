#include "DuplicateScanner.h"
#include "FileLocation.h"
#include "MacTree.h"
#include "ProtectionScanner.h"
#include "QuarantineTesting.h"
#include "StorageScanner.h"
#include "TreeBuilder.h"
#include "UninstallerScanner.h"

#include <QProcess>
#include <QtTest>

// The quarantine kept whole: a process killed in the middle of every step, the
// other modules that must never offer or move its contents, records that point
// elsewhere, and restores that must not go through.
using namespace QuarantineTesting;

class TestQuarantineSafety : public QObject
{
    Q_OBJECT

private slots:
    void killedAtEveryStepLosesNothing();
    void otherModulesLeaveTheQuarantineAlone();
    void recordsAndRestoresThatMustNotGoThrough();
};

namespace {

// A home with four scripts to quarantine, and the probe run on it.
struct CrashTree : MacTree
{
    QStringList originals;
    CrashTree()
    {
        for (int i = 0; i < 4; ++i)
            originals << root.file(QStringLiteral("Users/ana/Downloads/s%1.sh").arg(i),
                                   QByteArray("script ") + QByteArray::number(i));
    }
    // The probe's report, killed at the given step (0: never); *finished when
    // it ended by itself.
    QJsonObject probe(const QStringList &args, int killAt = 0, bool *finished = nullptr)
    {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert("VELMORA_KILL_AT", QString::number(killAt));
        QProcess probe;
        probe.setProcessEnvironment(env);
        probe.start(QStringLiteral(VELMORA_PROBE), args);
        probe.waitForFinished(60000);
        if (finished)
            *finished = probe.exitStatus() == QProcess::NormalExit;
        return QJsonDocument::fromJson(probe.readAllStandardOutput()).object();
    }
    QJsonArray records() { return probe({"quarantine"}).value("records").toArray(); }

    // Every item is where it was, in the Trash, or in the quarantine with a
    // record naming it; the quarantine holds nothing else. What a start
    // finishes is written down: the start after it reads the same records.
    void checkInvariant(const QString &when)
    {
        const QJsonArray recovered = records();
        QVERIFY2(records() == recovered, qPrintable(when + ": the recovery was not kept"));
        QSet<QString> recordedOriginals, recordedFiles;
        for (const QJsonValue &v : recovered) {
            const QString at = v.toObject().value("quarantinePath").toString();
            QVERIFY2(exists(at), qPrintable(when));
            recordedOriginals.insert(v.toObject().value("originalPath").toString());
            recordedFiles.insert(FileLocation::lastPathComponent(at));
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
    for (const auto &[action, least, left] :
         {std::tuple("", 4 * 3, 4), std::tuple("--restore", 3, 3), std::tuple("--trash", 3, 3)}) {
        int kills = 0;
        for (int at = 1;; ++at) {
            QVERIFY(at < 80);
            CrashTree tree;
            QStringList args = quarantine;
            if (*action) {
                tree.probe(quarantine);
                args = {"quarantine", action, tree.records()[0].toObject()["id"].toString()};
            }
            bool finished = false;
            tree.probe(args, at, &finished);
            tree.checkInvariant(args.join(' ') + " killed at step " + QString::number(at));
            if (QTest::currentTestFailed())
                return;
            if (finished) {
                QCOMPARE(tree.records().size(), left);
                break;
            }
            ++kills;
        }
        QVERIFY2(kills >= least, action);
    }
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
    QVERIFY(!exists(app) && !exists(cache));
    for (const ProtectionQuarantineRecord &r : manager.records())
        QVERIFY2(exists(r.quarantinePath), qPrintable(r.quarantinePath));
    QCOMPARE(LoadedQuarantine().recordCount(), 2);
}

void TestQuarantineSafety::recordsAndRestoresThatMustNotGoThrough()
{
    MacTree tree;
    LoadedQuarantine().recordCount(); // makes the folder
    // One record names a file outside the folder; another lies inside it but is
    // a link to that file. Only the link is kept, and it moves as a link.
    const QString precious = tree.root.file("Users/ana/Documents/tax.pdf", "precious");
    const QString inside = quarantineFolder() + "/" + kId + "_link";
    QVERIFY(QFile::link(precious, inside));
    const auto record = [&](const QString &id, const QString &from, const QString &at) {
        return QJsonObject{{"id", id},
                           {"originalPath", tree.home + "/Downloads/" + from},
                           {"quarantinePath", at},
                           {"name", from},
                           {"size", 8},
                           {"quarantinedAt", 1.0}};
    };
    TreeBuilder(quarantineFolder())
        .file("records.json", QJsonDocument(QJsonArray{record(otherId('8'), "tax.pdf", precious),
                                                       record(kId, "link", inside)})
                                  .toJson());
    LoadedQuarantine manager;
    QCOMPARE(manager.recordCount(), 1);
    manager.restoreNow(kId);
    manager.trashNow(otherId('8'));
    QCOMPARE(contents(precious), QByteArray("precious"));
    QVERIFY(QFileInfo(tree.home + "/Downloads/link").isSymLink());

    // An item changed since the scan stays where it is.
    const QString item = tree.root.file("Users/ana/Downloads/run.sh", "quarantined");
    const QString elsewhere = tree.root.file("Users/ana/Downloads/c.sh", "c");
    const QString changed = tree.root.file("Users/ana/Downloads/b.sh", "scanned");
    const SecurityFinding stale = findingFor(changed);
    QVERIFY(QFile::remove(changed));
    tree.root.file("Users/ana/Downloads/b.sh", "replaced after the scan");
    manager.quarantine({findingFor(item), findingFor(elsewhere), stale});
    waitIdle(manager);
    QCOMPARE(manager.errorMessage(),
             QStringLiteral("No se pudo mover b.sh: El elemento cambió desde el análisis."));
    QCOMPARE(contents(changed), QByteArray("replaced after the scan"));
    QCOMPARE(manager.recordCount(), 2);

    // The same home under another spelling (through a link) keeps every record
    // and names its origins by it. A restore goes only into the home or the
    // applications folder, and never over what took the item's place.
    TreeBuilder(quarantineFolder())
        .file("records.json", contents(indexPath())
                                  .replace(QFile::encodeName(elsewhere),
                                           QFile::encodeName(tree.root.path("Library/c.sh"))));
    tree.root.file("Users/ana/Downloads/run.sh", "new one");
    const QString linked = tree.root.symlink("home-link", tree.home);
    qputenv("HOME", QFile::encodeName(linked));
    LoadedQuarantine again;
    QCOMPARE(again.recordCount(), 2);
    again.restoreNow(again.recordOf(tree.root.path("Library/c.sh")).id);
    QCOMPARE(again.errorMessage(),
             QStringLiteral("No se pudo restaurar: La ubicación original está fuera de la carpeta "
                            "personal y de Aplicaciones."));
    QVERIFY(!exists(tree.root.path("Library/c.sh")));
    const QString restored = linked + "/Downloads/run.sh";
    again.restoreNow(again.recordOf(restored).id);
    QCOMPARE(again.errorMessage(),
             QStringLiteral("No se pudo restaurar: Ya existe un elemento con ese nombre en la "
                            "ubicación original."));
    QCOMPARE(contents(item), QByteArray("new one"));
    QVERIFY(QFile::remove(item));
    again.restoreNow(again.recordOf(restored).id);
    QCOMPARE(again.errorMessage(), QString());
    QCOMPARE(contents(item), QByteArray("quarantined"));
    QCOMPARE(again.recordCount(), 1);
}

QTEST_GUILESS_MAIN(TestQuarantineSafety)
#include "tst_quarantinesafety.moc"
