#include "FileLocation.h"
#include "FullAnalysisCoordinator.h"
#include "MacTree.h"
#include "PropertyList.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QSignalSpy>
#include <QtTest>
#include <cstdio>
#include <sys/stat.h>

// The coordinator: its steps in order with their texts and progress, the totals
// of each scanner, the time limit on an injected clock (never by waiting ten
// minutes), a step whose scanner cannot start, a second start, and the probe.
namespace {

void fillHome(MacTree &tree)
{
    tree.root.allocatedFile("Users/ana/Movies/big.mov", qint64(520) << 20);
    tree.root.file("Users/ana/Documents/a/copy.bin", QByteArray(11 << 20, 'x'));
    tree.root.file("Users/ana/Documents/b/copy.bin", QByteArray(11 << 20, 'x'));
    tree.root.file("Users/ana/Library/Caches/com.example.cache/data", QByteArray(5000, 'c'));
    tree.root.bundle("Applications/Tool.app", {{"CFBundleIdentifier", "org.tool"}}, false);
    tree.root.file("Users/ana/Downloads/run.sh", "#!/bin/sh\n");
}

void waitUntilFinished(FullAnalysisCoordinator &coordinator)
{
    QTRY_VERIFY_WITH_TIMEOUT(!coordinator.isRunning(), 60000);
}

} // namespace

class TestFullAnalysis : public QObject
{
    Q_OBJECT

private slots:
    void stepsTextsProgressAndTotals();
    void aStepOutOfTimeIsSkippedAndItsLateResultUnread();
    void aScannerThatCannotStartEndsItsStepAtOnce();
    void whatEachModuleLeavesOutIsNamed();
    void probePrintsTheRun();
};

void TestFullAnalysis::stepsTextsProgressAndTotals()
{
    MacTree tree;
    fillHome(tree);
    FullAnalysisCoordinator coordinator;
    QCOMPARE(coordinator.currentStep(), QStringLiteral("Listo para comenzar"));
    QCOMPARE(coordinator.totalSteps(), 5);
    QStringList texts;
    QList<double> progressAfter;
    connect(&coordinator, &FullAnalysisCoordinator::stateChanged, this, [&] {
        if (texts.isEmpty() || texts.last() != coordinator.currentStep())
            texts << coordinator.currentStep();
    });
    connect(&coordinator, &FullAnalysisCoordinator::stepFinished, this,
            [&] { progressAfter << coordinator.progress(); });
    coordinator.setPollIntervalMs(20);
    coordinator.start();
    coordinator.start(); // a second start while running is ignored
    QVERIFY(coordinator.isRunning());
    waitUntilFinished(coordinator);

    QCOMPARE(texts, QStringList({"Preparando análisis completo", "Buscando archivos grandes…",
                                 "Buscando archivos duplicados…", "Analizando cachés…",
                                 "Analizando aplicaciones instaladas…", "Comprobando protección…",
                                 "Análisis completo terminado"}));
    QCOMPARE(progressAfter, QList<double>({0.2, 0.4, 0.6, 0.8, 1.0}));
    QCOMPARE(coordinator.stepDurationsMs().size(), 5);
    QCOMPARE(coordinator.completedSteps(), 5);
    QCOMPARE(coordinator.progress(), 1.0);
    QCOMPARE(coordinator.errorMessage(), QString());

    // The totals are the scanners' own published figures.
    QCOMPARE(coordinator.largeFilesCount(), 1);
    QCOMPARE(coordinator.largeFilesCount(), coordinator.storageScanner()->fileCount());
    QCOMPARE(coordinator.largeFilesSize(), coordinator.storageScanner()->totalSize());
    QCOMPARE(coordinator.duplicateGroupsCount(), 1);
    QCOMPARE(coordinator.recoverableDuplicateSize(), qint64(11) << 20);
    QCOMPARE(coordinator.cleanupItemsCount(), 1);
    QCOMPARE(coordinator.cleanupSize(), coordinator.cleanupScanner()->totalSize());
    QCOMPARE(coordinator.applicationsCount(), 1);
    QCOMPARE(coordinator.suspiciousCount(), 1);
    QCOMPARE(coordinator.suspiciousCount(), coordinator.protectionScanner()->suspiciousCount());
    QCOMPARE(coordinator.reviewCount(), coordinator.protectionScanner()->reviewCount());
    QCOMPARE(coordinator.safeCount(), coordinator.protectionScanner()->safeCount());

    // A new run starts from zero, and "resetResults" alone does the same.
    QSignalSpy totals(&coordinator, &FullAnalysisCoordinator::totalsChanged);
    coordinator.start();
    QCOMPARE(coordinator.largeFilesCount(), 0);
    QCOMPARE(coordinator.completedSteps(), 0);
    waitUntilFinished(coordinator);
    QCOMPARE(coordinator.largeFilesCount(), 1);
    coordinator.resetResults();
    QCOMPARE(coordinator.currentStep(), QStringLiteral("Preparando análisis completo"));
    QCOMPARE(coordinator.safeCount() + coordinator.applicationsCount(), 0);
}

void TestFullAnalysis::aStepOutOfTimeIsSkippedAndItsLateResultUnread()
{
    MacTree tree;
    fillHome(tree);
    FullAnalysisCoordinator coordinator;
    // Let the cache and application scans the scanners start by themselves end.
    QTRY_VERIFY(!coordinator.cleanupScanner()->isScanning() &&
                !coordinator.uninstallerScanner()->isScanning());
    // A clock on which every look is eleven minutes after the one before: each
    // step is out of time at its first check, before its scanner can answer.
    qint64 now = 0;
    coordinator.setClock([&] { return now += 11 * 60 * 1000; });
    coordinator.start();
    waitUntilFinished(coordinator);
    QCOMPARE(coordinator.errorMessage(),
             QStringLiteral("Uno de los análisis tardó demasiado y fue omitido."));
    QCOMPARE(coordinator.completedSteps(), 5);
    QCOMPARE(coordinator.progress(), 1.0);
    // The scanners went on and finished; their results stayed theirs.
    QTRY_VERIFY_WITH_TIMEOUT(coordinator.storageScanner()->completedScanCount() == 1, 30000);
    QTRY_VERIFY_WITH_TIMEOUT(coordinator.protectionScanner()->completedScanCount() == 1, 30000);
    QCOMPARE(coordinator.storageScanner()->fileCount(), 1);
    QCOMPARE(coordinator.largeFilesCount(), 0);
    QVERIFY(coordinator.protectionScanner()->suspiciousCount() > 0);
    QCOMPARE(coordinator.suspiciousCount(), 0);

    // A run within the limit clears the message.
    coordinator.setClock([] { return QDateTime::currentMSecsSinceEpoch(); });
    coordinator.setPollIntervalMs(20);
    coordinator.start();
    waitUntilFinished(coordinator);
    QCOMPARE(coordinator.errorMessage(), QString());
    QCOMPARE(coordinator.largeFilesCount(), 1);
}

void TestFullAnalysis::aScannerThatCannotStartEndsItsStepAtOnce()
{
    MacTree tree;
    // No home folder: the large-file and duplicate scans end without a result;
    // their steps end at the next check, and the run goes on.
    qputenv("HOME", QFile::encodeName(tree.home + "/missing"));
    FullAnalysisCoordinator coordinator;
    coordinator.setPollIntervalMs(20);
    coordinator.start();
    waitUntilFinished(coordinator);
    QCOMPARE(coordinator.completedSteps(), 5);
    QCOMPARE(coordinator.errorMessage(), QString()); // the scanners' errors stay theirs
    QVERIFY(!coordinator.storageScanner()->errorMessage().isEmpty());
    QCOMPARE(coordinator.storageScanner()->completedScanCount(), 0);
    QCOMPARE(coordinator.largeFilesCount(), 0);
    QCOMPARE(coordinator.duplicateGroupsCount(), 0);
}

void TestFullAnalysis::whatEachModuleLeavesOutIsNamed()
{
    if (runningAsRoot() && qEnvironmentVariableIsEmpty("VELMORA_UNPRIVILEGED_RERUN")) {
        QString reason, output;
        const bool passed = rerunUnprivileged("whatEachModuleLeavesOutIsNamed", &reason, &output);
        if (!reason.isEmpty())
            QSKIP(qPrintable(reason));
        QVERIFY2(passed, qPrintable(output));
        return;
    }
    MacTree tree;
    fillHome(tree);
    // One name in each module's list that is not UTF-8.
    for (const auto &[relative, name] :
         {std::pair{"Users/ana/Movies/big.mov", "big\xff.mov"},
          {"Users/ana/Documents/b/copy.bin", "copy\xff.bin"},
          {"Users/ana/Library/Caches/com.example.cache", "com.example\xff.cache"},
          {"Applications/Tool.app", "Tool\xff.app"},
          {"Users/ana/Downloads/run.sh", "run\xff.sh"}}) {
        const QByteArray from = FileLocation::encode(tree.root.path(relative));
        const QByteArray to = from.left(from.lastIndexOf('/') + 1) + name;
        QVERIFY(std::rename(from.constData(), to.constData()) == 0);
    }
    // Left out: folders that cannot be read, and links into themselves at
    // places the scans look for by name.
    const QStringList closed = {tree.root.folder("Users/ana/Downloads/closed"),
                                tree.root.folder("Users/ana/Library/Caches/locked")};
    const QString apps = tree.root.symlink("Users/ana/Applications", tree.home + "/Applications");
    const QString agents =
        tree.root.symlink("Users/ana/Library/LaunchAgents", tree.home + "/Library/LaunchAgents");
    for (const QString &folder : closed)
        QVERIFY(::chmod(FileLocation::encode(folder).constData(), 0) == 0);
    FullAnalysisCoordinator coordinator;
    coordinator.setPollIntervalMs(20);
    coordinator.start();
    waitUntilFinished(coordinator);
    for (const QString &folder : closed)
        ::chmod(FileLocation::encode(folder).constData(), 0700);

    const QString downloads = closed[0] + ": unreadable", caches = closed[1] + ": unreadable";
    const struct
    {
        ScannerBase *scanner;
        const char *list;
        QString listed;
        QStringList skipped;
    } modules[] = {
        {coordinator.storageScanner(), "files", "big\uFFFD.mov", {downloads, caches}},
        {coordinator.duplicateScanner(), "files", "copy\uFFFD.bin", {downloads, caches}},
        {coordinator.cleanupScanner(), "items", "com.example\uFFFD.cache", {caches}},
        {coordinator.uninstallerScanner(), "applications", "Tool\uFFFD", {apps + ": linkLoop"}},
        {coordinator.protectionScanner(),
         "findings",
         "run\uFFFD.sh",
         {downloads, agents + ": linkLoop"}},
    };
    for (const auto &module : modules) {
        QStringList skipped;
        for (const QVariant &entry : module.scanner->skippedItems())
            skipped << entry.toMap().value("path").toString() + ": " +
                           entry.toMap().value("reason").toString();
        QStringList names;
        const auto *list = module.scanner->property(module.list).value<ResultModel *>();
        for (int row = 0; row < list->rowCount(); ++row)
            names << list->index(row).data(list->roleNames().key("name")).toString();
        const QString which = QString::fromLatin1(module.scanner->metaObject()->className());
        QVERIFY2(skipped == module.skipped, qPrintable(which + ": " + skipped.join(" | ")));
        QVERIFY2(names.contains(module.listed), qPrintable(which + ": " + names.join(" | ")));
    }
}

void TestFullAnalysis::probePrintsTheRun()
{
    MacTree tree;
    fillHome(tree);
    QProcess probe;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert("HOME", tree.home);
    env.insert("VELMORA_ROOT", tree.env.root());
    probe.setProcessEnvironment(env);
    probe.start(QStringLiteral(VELMORA_PROBE), {QStringLiteral("full")});
    QVERIFY(probe.waitForFinished(60000));
    const QJsonObject out = QJsonDocument::fromJson(probe.readAllStandardOutput()).object();
    QCOMPARE(out.keys(), QStringList({"completedSteps", "currentStep", "elapsedMs", "errorMessage",
                                      "module", "progress", "stepMs", "steps", "totals"}));
    QCOMPARE(out.value("module").toString(), QStringLiteral("full"));
    QCOMPARE(out.value("completedSteps").toInt(), 5);
    QCOMPARE(out.value("steps").toArray().size(), 7);
    QCOMPARE(out.value("stepMs").toArray().size(), 5);
    const QJsonObject totals = out.value("totals").toObject();
    QCOMPARE(totals.keys().size(), 11);
    QCOMPARE(totals.value("largeFilesCount").toInt(), 1);
    QCOMPARE(totals.value("duplicateGroupsCount").toInt(), 1);
    QCOMPARE(totals.value("applicationsCount").toInt(), 1);
    QCOMPARE(totals.value("suspiciousCount").toInt(), 1);
}

QTEST_GUILESS_MAIN(TestFullAnalysis)
#include "tst_fullanalysis.moc"
