#include "DuplicateScanner.h"
#include "FileLocation.h"
#include "MacTree.h"
#include "ProtectionQuarantineManager.h"
#include "ProtectionScanner.h"
#include "ProtectionTrustStore.h"
#include "QuarantineTesting.h"
#include "StorageScanner.h"
#include "TestEnvironment.h"
#include "TreeBuilder.h"
#include "UninstallerScanner.h"

#include <QCryptographicHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRegularExpression>
#include <QtTest>
#include <sys/stat.h>

// The quarantine kept whole: a process killed in the middle of every step, the
// scanner's selection and trust, the walks that must never offer its contents,
// the uninstaller that must never move it, and the probe's shapes.
using namespace QuarantineTesting;

class TestQuarantineSafety : public QObject
{
    Q_OBJECT

private slots:
    void killedAtEveryStepLosesNothing();
    void scannerSelectionTrustAndQuarantine();
    void walksNeverOfferTheQuarantine();
    void uninstallerNeverMovesTheQuarantine();
    void probeShapes();
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
        probeEnv.insert("HOME", home);
        probeEnv.insert("VELMORA_ROOT", env.root());
        probeEnv.insert("XDG_DATA_HOME", env.dataHome());
    }
    // Runs the probe killed at the given step (0: not killed); true when it
    // ended by itself.
    bool run(const QStringList &args, int killAt)
    {
        QProcessEnvironment killing = probeEnv;
        if (killAt > 0)
            killing.insert("VELMORA_KILL_AT", QString::number(killAt));
        QProcess::ExitStatus status;
        runProbe(args, killing, nullptr, &status);
        return status == QProcess::NormalExit;
    }
    QJsonArray records() { return runProbe({"quarantine"}, probeEnv).value("records").toArray(); }

    // Every item is where it was, in the Trash, or in the quarantine with a
    // record naming it; the quarantine holds nothing else.
    void checkInvariant(const QString &when)
    {
        QSet<QString> recordedOriginals, recordedFiles;
        for (const QJsonValue &v : records()) { // the start also finishes the steps
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
    // A whole quarantine run, killed at each of its steps in turn on a fresh
    // tree, until a run ends by itself.
    int kills = 0;
    for (int at = 1;; ++at) {
        QVERIFY(at < 80);
        CrashTree tree;
        const bool finished = tree.run({"protection", "--quarantine-selected"}, at);
        tree.checkInvariant("quarantine killed at step " + QString::number(at));
        if (QTest::currentTestFailed())
            return;
        if (finished) {
            QCOMPARE(tree.records().size(), 4);
            break;
        }
        ++kills;
    }
    // Before, between and after each item's move and index write.
    QVERIFY2(kills >= 4 * 3, qPrintable(QString::number(kills)));

    // A restore and a move to the Trash, likewise.
    for (const QString &action : {QStringLiteral("--restore"), QStringLiteral("--trash")}) {
        kills = 0;
        for (int at = 1;; ++at) {
            QVERIFY(at < 40);
            CrashTree tree;
            QVERIFY(tree.run({"protection", "--quarantine-selected"}, 0));
            const QString id = tree.records().first().toObject().value("id").toString();
            const bool finished = tree.run({"quarantine", action, id}, at);
            tree.checkInvariant(action + " killed at step " + QString::number(at));
            if (QTest::currentTestFailed())
                return;
            if (finished) {
                QCOMPARE(tree.records().size(), 3);
                break;
            }
            ++kills;
        }
        QVERIFY2(kills >= 3, qPrintable(action));
    }

    // And at arbitrary instants, while the items go back one by one.
    CrashTree tree;
    QVERIFY(tree.run({"protection", "--quarantine-selected"}, 0));
    for (int round = 0; round < 8; ++round) {
        const QJsonArray left = tree.records();
        if (left.isEmpty())
            break;
        QProcess probe;
        probe.setProcessEnvironment(tree.probeEnv);
        probe.start(QStringLiteral(VELMORA_PROBE),
                    {"quarantine", "--restore", left.first().toObject().value("id").toString()});
        QVERIFY(probe.waitForStarted());
        QThread::usleep(1000 * (round * 7 % 23));
        probe.kill();
        probe.waitForFinished();
        tree.checkInvariant("restore killed at round " + QString::number(round));
    }
}

void TestQuarantineSafety::scannerSelectionTrustAndQuarantine()
{
    MacTree tree;
    const QString run = tree.root.file("Users/ana/Downloads/run.sh", "#!/bin/sh\n");
    const QString fix = tree.root.file("Users/ana/Downloads/fix.command", "#!/bin/sh\n");
    const QString keep = tree.root.file("Users/ana/Downloads/keep.sh", "#!/bin/sh\n");
    const QString daemon = tree.root.file("Library/PrivilegedHelperTools/.hidden-helper", "x");
    Q_UNUSED(daemon);

    ProtectionTrustStore trust;
    LoadedQuarantine manager;
    ProtectionScanner scanner;
    scanner.setTrustStore(&trust);
    scanner.setQuarantine(&manager);
    const int before = scanner.completedScanCount();
    scanner.runFullScan();
    QTRY_VERIFY_WITH_TIMEOUT(scanner.completedScanCount() > before, 30000);
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

void TestQuarantineSafety::walksNeverOfferTheQuarantine()
{
    MacTree tree;
    const QString big = tree.root.allocatedFile("Users/ana/Downloads/big.iso", 3 * 1024 * 1024);
    tree.root.file("Users/ana/Downloads/twin-a.sh", QByteArray(2 * 1024 * 1024, 'd'));
    tree.root.file("Users/ana/Downloads/twin-b.sh", QByteArray(2 * 1024 * 1024, 'd'));
    LoadedQuarantine manager;
    manager.quarantine({findingFor(big), findingFor(tree.home + "/Downloads/twin-a.sh")});
    waitIdle(manager);
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
    protection.runFullScan();
    QTRY_VERIFY_WITH_TIMEOUT(protection.completedScanCount() == 1, 30000);
    for (const SecurityFinding &f : protection.findings())
        QVERIFY2(!f.url.startsWith(quarantineFolder()), qPrintable(f.url));
    protection.scanCustom(tree.home + "/Library");
    QTRY_VERIFY_WITH_TIMEOUT(protection.completedScanCount() == 2, 30000);
    for (const SecurityFinding &f : protection.findings())
        QVERIFY2(!f.url.startsWith(quarantineFolder()), qPrintable(f.url));
}

void TestQuarantineSafety::uninstallerNeverMovesTheQuarantine()
{
    // An application whose name matches our own folder: the folder is listed
    // with it, but stays, with what the quarantine holds.
    MacTree tree;
    const QString app = tree.root.bundle("Applications/Velmora.app",
                                         {{"CFBundleIdentifier", "org.other.velmora"}}, false);
    const QString item = tree.root.file("Users/ana/Downloads/run.sh", "isolated");
    const QString cache = tree.root.file("Users/ana/Library/Caches/org.other.velmora/c", "c");
    LoadedQuarantine manager;
    manager.quarantine({findingFor(item)});
    waitIdle(manager);
    QCOMPARE(manager.recordCount(), 1);
    const QString isolated = manager.records().first().quarantinePath;

    UninstallerScanner scanner;
    scanner.scanApplications();
    QTRY_VERIFY_WITH_TIMEOUT(scanner.completedScanCount() == 1, 30000);
    QCOMPARE(scanner.applications().size(), 1);
    QVERIFY(scanner.applications().first().relatedFiles.contains(
        tree.home + "/Library/Application Support/Velmora"));
    scanner.toggleSelection(scanner.applications().first());
    scanner.uninstallSelected();
    QTRY_VERIFY_WITH_TIMEOUT(!scanner.isRemoving(), 30000);
    QVERIFY(!exists(app));
    QVERIFY(!exists(cache));
    QCOMPARE(contents(isolated), QByteArray("isolated"));
    QCOMPARE(LoadedQuarantine().recordCount(), 1);
}

void TestQuarantineSafety::probeShapes()
{
    MacTree tree;
    const QString run = tree.root.file("Users/ana/Downloads/run.sh", "#!/bin/sh\n");
    const QString keep = tree.root.file("Users/ana/Downloads/keep.sh", "#!/bin/sh\n");
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert("HOME", tree.home);
    env.insert("VELMORA_ROOT", tree.env.root());
    const QString marker = tree.env.base() + "/before-remove";

    const QJsonObject out = runProbe({"protection", "--trust", keep, "--quarantine-selected",
                                      "--before-remove", "touch '" + marker + "'"},
                                     env);
    QVERIFY(exists(marker));
    QCOMPARE(out.value("selected").toArray(), QJsonArray());
    QCOMPARE(out.value("errorMessage"), QJsonValue(QJsonValue::Null));
    QCOMPARE(out.value("quarantine").toObject(),
             QJsonObject({{"statusText", "1 elemento(s) en cuarentena."},
                          {"errorMessage", QJsonValue::Null}}));
    QCOMPARE(out.value("items").toArray().size(), 1); // keep.sh, trusted, stays
    QVERIFY(exists(keep));
    QVERIFY(!exists(run));

    QFile::remove(marker);
    const QJsonObject listed = runProbe({"quarantine"}, env);
    QCOMPARE(listed.keys(), QStringList({"errorMessage", "module", "records", "statusText"}));
    const QJsonObject record = listed.value("records").toArray().first().toObject();
    QCOMPARE(record.keys(), QStringList({"id", "name", "originalPath", "quarantinePath",
                                         "quarantinedAt", "size"}));
    QCOMPARE(record.value("originalPath").toString(), run);
    const double now = QDateTime::currentSecsSinceEpoch() - 978307200.0;
    QVERIFY(qAbs(record.value("quarantinedAt").toDouble() - now) < 120);

    const QJsonObject restored = runProbe({"quarantine", "--restore", record.value("id").toString(),
                                           "--before-remove", "touch '" + marker + "'"},
                                          env);
    QVERIFY(exists(marker));
    QCOMPARE(restored.value("statusText").toString(), QStringLiteral("run.sh fue restaurado."));
    QCOMPARE(restored.value("records").toArray(), QJsonArray());
    QVERIFY(exists(run));
}

QTEST_GUILESS_MAIN(TestQuarantineSafety)
#include "tst_quarantinesafety.moc"
