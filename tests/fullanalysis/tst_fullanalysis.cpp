#include "AnalysedMac.h"
#include "FileLocation.h"
#include "FolderListing.h"
#include "FullAnalysisCoordinator.h"
#include "MacTree.h"
#include "RegularFileWalk.h"

#include <QDirIterator>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QScopeGuard>
#include <QSignalSpy>
#include <QtTest>
#include <atomic>
#include <cstdio>
#include <sys/stat.h>

// The folders walks read from the disk; the program's own definition is empty.
static std::atomic<int> g_foldersRead{0};
void RegularFileWalk::folderReached(const QByteArray &, int)
{
    ++g_foldersRead;
}

// The coordinator's steps, totals and time limit (on an injected clock, never by
// waiting ten minutes), and the probe's run of it.
namespace {

constexpr qint64 MiB = 1024 * 1024;

qint64 onDisk(const MacTree &tree, const QString &relative)
{
    struct stat st
    {};
    return ::stat(FileLocation::encode(tree.root.path(relative)).constData(), &st) == 0
               ? qint64(st.st_blocks) * 512
               : -1;
}

// The eleven totals of the analysed Mac. Sizes on disk are measured: a file
// system may give a large file a block more than its length.
QList<std::pair<const char *, qint64>> totalsOf(const MacTree &tree)
{
    const QString documents = QStringLiteral("Users/ana/Documents/a/");
    return {
        {"largeFilesCount", 1},
        {"largeFilesSize", onDisk(tree, "Users/ana/Movies/big.mov")},
        {"duplicateGroupsCount", 2},
        {"recoverableDuplicateSize",
         onDisk(tree, documents + "copy.bin") + onDisk(tree, documents + "zeros.bin")},
        {"cleanupItemsCount", 3},
        {"cleanupSize", 30 * MiB + 2 * 700},
        {"applicationsCount", 4},
        {"dangerousCount", 6},
        {"suspiciousCount", 5},
        {"reviewCount", 7},
        {"safeCount", 0},
    };
}

void fillHome(MacTree &tree)
{
    TreeBuilder home(tree.home);
    fillAnalysedMac(home, tree.root);
}

// Starts a run unless one is under way, and waits for its end. The timed check
// comes only after an hour: each step must end on its scanner's own signal.
void runToTheEnd(FullAnalysisCoordinator &coordinator)
{
    coordinator.setPollIntervalMs(3600 * 1000);
    if (!coordinator.isRunning())
        coordinator.start();
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
    void theDuplicateStepReadsOnlyWhatChangedAfterTheFirst();
    void whatEachModuleLeavesOutIsNamed();
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
    coordinator.setPollIntervalMs(3600 * 1000);
    coordinator.start();
    coordinator.start(); // a second start while running is ignored
    QVERIFY(coordinator.isRunning());
    runToTheEnd(coordinator);

    QCOMPARE(texts, QStringList({"Preparando análisis completo", "Buscando archivos grandes…",
                                 "Buscando archivos duplicados…", "Analizando cachés…",
                                 "Analizando aplicaciones instaladas…", "Comprobando protección…",
                                 "Análisis completo terminado"}));
    QCOMPARE(progressAfter, QList<double>({0.2, 0.4, 0.6, 0.8, 1.0}));
    QCOMPARE(coordinator.stepDurationsMs().size(), 5);
    QCOMPARE(coordinator.completedSteps(), 5);
    QCOMPARE(coordinator.errorMessage(), QString());
    const auto kTotals = totalsOf(tree);
    QSet<qint64> distinct;
    for (const auto &[name, value] : kTotals) {
        QCOMPARE(coordinator.property(name).toLongLong(), value);
        distinct << value;
    }
    QCOMPARE(distinct.size(), kTotals.size());
    // A module opened from the summary shows what its own scan selects: the
    // smart selection of the stored mode, every dangerous and suspicious finding.
    QCOMPARE(coordinator.cleanupScanner()->selectedItemIDs(),
             QSet<QString>({tree.root.path("Users/ana/Library/Caches/com.example.cache")}));
    QCOMPARE(coordinator.protectionScanner()->selectedCount(), 6 + 5);

    // The probe prints the same run.
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
    QCOMPARE(out.value("steps").toArray().size(), 7);
    const QJsonObject totals = out.value("totals").toObject();
    QCOMPARE(totals.size(), kTotals.size());
    for (const auto &[name, value] : kTotals)
        QCOMPARE(qint64(totals.value(name).toDouble()), value);

    // A new run starts from zero, and "resetResults" alone does the same.
    coordinator.start();
    QCOMPARE(coordinator.largeFilesCount() + coordinator.completedSteps(), 0);
    runToTheEnd(coordinator);
    QCOMPARE(coordinator.largeFilesCount(), 1);
    coordinator.resetResults();
    QCOMPARE(coordinator.currentStep(), QStringLiteral("Preparando análisis completo"));
    for (const auto &[name, value] : kTotals)
        QCOMPARE(coordinator.property(name).toLongLong(), 0);
}

void TestFullAnalysis::aStepOutOfTimeIsSkippedAndItsLateResultUnread()
{
    MacTree tree;
    fillHome(tree);
    FullAnalysisCoordinator coordinator;
    // Let the cache and application scans the scanners start by themselves end.
    QTRY_VERIFY(coordinator.cleanupScanner()->completedScanCount() == 1 &&
                coordinator.uninstallerScanner()->completedScanCount() == 1);
    // A clock on which every look is eleven minutes after the one before: each
    // step is out of time at its first check, before its scanner can answer.
    qint64 now = 0;
    coordinator.setClock([&] { return now += 11 * 60 * 1000; });
    runToTheEnd(coordinator);
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
    runToTheEnd(coordinator);
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
    runToTheEnd(coordinator);
    QCOMPARE(coordinator.completedSteps(), 5);
    QCOMPARE(coordinator.errorMessage(), QString()); // the scanners' errors stay theirs
    QVERIFY(!coordinator.storageScanner()->errorMessage().isEmpty());
    QCOMPARE(coordinator.storageScanner()->completedScanCount(), 0);
    QCOMPARE(coordinator.largeFilesCount() + coordinator.duplicateGroupsCount(), 0);
}

void TestFullAnalysis::theDuplicateStepReadsOnlyWhatChangedAfterTheFirst()
{
    MacTree tree;
    fillHome(tree);
    TreeBuilder home(tree.home);
    const QByteArray k(11 << 20, 'k'), e(11 << 20, 'e');
    for (const char *name : {"Keep/k1.bin", "Keep/deep/k2.bin"})
        home.file(name, k);
    for (const char *name : {"Edit/e1.bin", "Edit2/e2.bin"})
        home.file(name, e);
    // Folder times are trusted once the clock they come from has passed them.
    const qint64 settle = FolderListing::settleNs();
    const auto restore = qScopeGuard([settle] { FolderListing::setSettleNs(settle); });
    FolderListing::setSettleNs(0);
    qint64 newest = 0;
    for (QDirIterator it(tree.home, QDir::Dirs | QDir::NoDotAndDotDot | QDir::Hidden,
                         QDirIterator::Subdirectories);
         it.hasNext();) {
        struct stat st
        {};
        ::lstat(FileLocation::encode(it.next()).constData(), &st);
        newest = std::max(newest, qint64(st.st_ctim.tv_sec) * 1000000000 + st.st_ctim.tv_nsec);
    }
    QTRY_VERIFY(FolderListing::nowNs() > newest);

    FullAnalysisCoordinator coordinator;
    QTRY_VERIFY(coordinator.cleanupScanner()->completedScanCount() == 1 &&
                coordinator.uninstallerScanner()->completedScanCount() == 1);
    int readByStepTwo = -1;
    connect(&coordinator, &FullAnalysisCoordinator::stepFinished, this, [&](int step) {
        if (step == 2)
            readByStepTwo = g_foldersRead;
        if (step != 1)
            return;
        // Between the steps: a copy added, one removed, one rewritten in place
        // to match another group, one made longer, and a new folder.
        home.file("Documents/a/copy2.bin", QByteArray(11 << 20, 'x'));
        QVERIFY(QFile::remove(home.path("Documents/b/zeros.bin")));
        QFile rewritten(home.path("Edit2/e2.bin")), longer(home.path("Keep/deep/k2.bin"));
        QVERIFY(rewritten.open(QIODevice::ReadWrite) && rewritten.write(k) == k.size());
        QVERIFY(longer.open(QIODevice::Append) && longer.write("k") == 1);
        home.file("New/deep/n.bin", k);
        g_foldersRead = 0;
    });
    runToTheEnd(coordinator);

    DuplicateScanner fresh;
    fresh.scan(tree.home, 10);
    QTRY_COMPARE(fresh.completedScanCount(), 1);
    QCOMPARE(coordinator.duplicateScanner()->groups(), fresh.groups());
    QCOMPARE(coordinator.duplicateScanner()->selectedFileIDs(), fresh.selectedFileIDs());
    QCOMPARE(fresh.groupCount(), 2);
    QCOMPARE(fresh.duplicateFilesCount(), 4); // x: a/copy, a/copy2, b/copy; k: k1, e2, n
    // Read again: the home, whose names are read before it can be stamped, the
    // two changed folders and the two new ones.
    QCOMPARE(readByStepTwo, 5);
}

void TestFullAnalysis::whatEachModuleLeavesOutIsNamed()
{
    VELMORA_RERUN_UNPRIVILEGED();
    MacTree tree;
    fillHome(tree);
    // One name in each module's list that is not UTF-8.
    for (const auto &[relative, name] :
         {std::pair{"Users/ana/Movies/big.mov", "big\xff.mov"},
          {"Users/ana/Documents/b/copy.bin", "copy\xff.bin"},
          {"Users/ana/Library/Caches/com.example.cache", "com.example\xff.cache"},
          {"Applications/Tool.app", "Tool\xff.app"},
          {"Users/ana/Downloads/run0.sh", "run\xff.sh"}}) {
        const QByteArray from = FileLocation::encode(tree.root.path(relative));
        const QByteArray to = from.left(from.lastIndexOf('/') + 1) + name;
        QVERIFY(std::rename(from.constData(), to.constData()) == 0);
    }
    // Left out: folders that cannot be read, and links into themselves at
    // places the scans look for by name.
    const QStringList closed = {tree.root.folder("Users/ana/Downloads/closed"),
                                tree.root.folder("Users/ana/Library/Caches/locked")};
    const QString apps = tree.root.symlink("Users/ana/Applications", tree.home + "/Applications");
    QVERIFY(QDir(tree.home + "/Library/LaunchAgents").removeRecursively());
    const QString agents =
        tree.root.symlink("Users/ana/Library/LaunchAgents", tree.home + "/Library/LaunchAgents");
    for (const QString &folder : closed)
        QVERIFY(::chmod(FileLocation::encode(folder).constData(), 0) == 0);
    FullAnalysisCoordinator coordinator;
    runToTheEnd(coordinator);
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

QTEST_GUILESS_MAIN(TestFullAnalysis)
#include "tst_fullanalysis.moc"
