#include "FileWalker.h"
#include "RegularFileWalk.h"
#include "ScannerBase.h"
#include "TestEnvironment.h"
#include "TreeBuilder.h"
#include "WalkControl.h"

#include <QElapsedTimer>
#include <QThread>
#include <QtTest>
#include <atomic>

namespace {

// The smallest scanner: its walk returns the numbers up to n, or fails for n < 0.
class CountingScanner : public ScannerBase
{
public:
    CountingScanner() : ScannerBase(QStringLiteral("idle")) {}

    QList<int> published;
    int skips = 2; // entries the walk could not read
    bool publishedOnMainThread = false;
    std::atomic<bool> *walkStarted = nullptr;
    std::atomic<bool> *release = nullptr;
    std::atomic<bool> *sawStop = nullptr; // the walk was asked to stop while it waited
    bool *answered = nullptr;             // outlives the scanner

    void scan(int n)
    {
        setErrorMessage(QString());
        setScanning(true);
        setStatusText(QStringLiteral("working"));
        std::atomic<bool> *started = walkStarted;
        std::atomic<bool> *gate = release;
        std::atomic<bool> *stopped = sawStop;
        runWalk<QList<int>>(
            [n, started, gate, stopped, skips = skips] {
                if (started)
                    *started = true;
                // While it waits it examines one entry a millisecond; a stop
                // ends the wait with what was done so far.
                int examined = 0;
                while (gate && !*gate) {
                    if (WalkControl::stopRequested()) {
                        if (stopped)
                            *stopped = true;
                        break;
                    }
                    WalkControl::countEntries();
                    ++examined;
                    QThread::msleep(1);
                }
                if (n < 0)
                    return WalkOutcome<QList<int>>::failure(QStringLiteral("cannot open"));
                // Named from the last, so that the published list must be sorted.
                for (int i = skips; i > 0; --i)
                    WalkControl::countSkipped(
                        QStringLiteral("/s/%1").arg(i, 4, 10, QLatin1Char('0')),
                        i % 2 ? WalkControl::SkipReason::linkLoop
                              : WalkControl::SkipReason::vanished);
                QList<int> out;
                for (int i = 1; i <= n && (!gate || *gate || i <= 1); ++i)
                    out << i;
                return WalkOutcome<QList<int>>::success(out);
            },
            [this](QList<int> value) {
                if (answered)
                    *answered = true;
                publishedOnMainThread = QThread::currentThread() == thread();
                published = value;
                setStatusText(wasStopped() ? QStringLiteral("stopped") : QStringLiteral("done"));
                countCompletedScan();
                setScanning(false);
            },
            [this](const QString &error) {
                setErrorMessage(error);
                setStatusText(QStringLiteral("failed"));
                setScanning(false);
            });
    }
};

} // namespace

class TestScannerBase : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void resultIsPublishedOnTheMainThread();
    void failureLeavesTheCountAlone();
    void scannerGoneBeforeTheWalkEnds();
    void olderSlowerScanNeverOverwritesNewer();
    void walkersStopWhenAsked();
    void progressIsLiveAndStopKeepsWhatWasDone();
};

void TestScannerBase::resultIsPublishedOnTheMainThread()
{
    CountingScanner scanner;
    scanner.skips = 1002;
    QSignalSpy count(&scanner, &ScannerBase::completedScanCountChanged);
    scanner.scan(3);
    // The answer never comes before scan() has returned, however fast the walk.
    QThreadPool::globalInstance()->waitForDone();
    QVERIFY(scanner.isScanning());
    QCOMPARE(scanner.statusText(), QStringLiteral("working"));
    QTRY_COMPARE(count.count(), 1);
    QCOMPARE(scanner.published, QList<int>({1, 2, 3}));
    QVERIFY(scanner.publishedOnMainThread);
    QCOMPARE(scanner.completedScanCount(), 1);
    QCOMPARE(scanner.statusText(), QStringLiteral("done"));
    QVERIFY(!scanner.isScanning());
    // The count stays exact; the list names the first thousand.
    QCOMPARE(scanner.skippedText(),
             QStringLiteral("1002 elemento(s) no se pudieron leer y no se incluyen."));
    QCOMPARE(scanner.skippedItems().size(), 1000);
    QCOMPARE(scanner.skippedItems().first().toMap().value("path"), QVariant("/s/0003"));
}

void TestScannerBase::failureLeavesTheCountAlone()
{
    CountingScanner scanner;
    QSignalSpy scanning(&scanner, &ScannerBase::isScanningChanged);
    scanner.scan(-1);
    QTRY_COMPARE(scanning.count(), 2);
    QCOMPARE(scanner.errorMessage(), QStringLiteral("cannot open"));
    QCOMPARE(scanner.statusText(), QStringLiteral("failed"));
    QCOMPARE(scanner.completedScanCount(), 0);
    scanner.clearError();
    QVERIFY(scanner.errorMessage().isEmpty());
}

void TestScannerBase::scannerGoneBeforeTheWalkEnds()
{
    std::atomic<bool> started = false, release = false;
    bool answered = false;
    auto *scanner = new CountingScanner;
    scanner->walkStarted = &started;
    scanner->release = &release;
    scanner->answered = &answered;
    scanner->scan(5);
    QTRY_VERIFY(started.load());
    delete scanner; // the screen closed while the walk ran
    release = true;
    QThreadPool::globalInstance()->waitForDone();
    QCoreApplication::processEvents();
    QCoreApplication::processEvents();
    QVERIFY2(!answered, "a scanner that is gone gets no answer");
}

void TestScannerBase::olderSlowerScanNeverOverwritesNewer()
{
    std::atomic<bool> started = false, releaseFirst = false, firstStopped = false;
    CountingScanner scanner;
    scanner.walkStarted = &started;
    scanner.release = &releaseFirst;
    scanner.sawStop = &firstStopped;
    scanner.scan(5); // slow: waits until released
    QTRY_VERIFY(started.load());
    scanner.walkStarted = nullptr;
    scanner.release = nullptr;
    scanner.sawStop = nullptr;
    scanner.scan(2); // newer and fast
    QTRY_COMPARE(scanner.completedScanCount(), 1);
    QCOMPARE(scanner.published, QList<int>({1, 2}));
    QTRY_VERIFY2(firstStopped.load(), "the older walk is asked to stop");
    releaseFirst = true;
    QThreadPool::globalInstance()->waitForDone();
    QCoreApplication::processEvents();
    QCoreApplication::processEvents();
    QCOMPARE(scanner.published, QList<int>({1, 2}));
    QCOMPARE(scanner.completedScanCount(), 1);
    QVERIFY(!scanner.isScanning());

    // A scanner that goes away asks its walk to stop too.
    std::atomic<bool> startedAgain = false, neverReleased = false, stoppedOnDelete = false;
    auto *closing = new CountingScanner;
    closing->walkStarted = &startedAgain;
    closing->release = &neverReleased;
    closing->sawStop = &stoppedOnDelete;
    closing->scan(3);
    QTRY_VERIFY(startedAgain.load());
    delete closing;
    QTRY_VERIFY(stoppedOnDelete.load());
    neverReleased = true;
    QThreadPool::globalInstance()->waitForDone();
}

void TestScannerBase::walkersStopWhenAsked()
{
    TestEnvironment env;
    TreeBuilder tree(env.home());
    for (int i = 0; i < 20; ++i)
        tree.file(QStringLiteral("Deep/%1/file.bin").arg(i), "x");
    const WalkControl::Handle stop = WalkControl::make();
    const WalkControl::Scope scope(stop);
    int seenBefore = 0;
    FileWalker::walk(tree.path(QStringLiteral("Deep")), 0, [&](const EntryInfo &) {
        ++seenBefore;
        return FileWalker::Action::Continue;
    });
    QCOMPARE(seenBefore, 40);
    stop->stop.store(true);
    int seenAfter = 0;
    FileWalker::walk(tree.path(QStringLiteral("Deep")), 0, [&](const EntryInfo &) {
        ++seenAfter;
        return FileWalker::Action::Continue;
    });
    QCOMPARE(seenAfter, 0);
    const RegularFileWalk::Keep<QString> keep = [](const FileEntry &e) -> std::optional<QString> {
        return e.path();
    };
    const auto found =
        RegularFileWalk::collect<QString>(tree.path(QStringLiteral("Deep")), 0, keep);
    QVERIFY(found && found->isEmpty());
}

void TestScannerBase::progressIsLiveAndStopKeepsWhatWasDone()
{
    std::atomic<bool> started = false, neverReleased = false, stopped = false;
    CountingScanner scanner;
    scanner.walkStarted = &started;
    scanner.release = &neverReleased;
    scanner.sawStop = &stopped;
    QSignalSpy progress(&scanner, &ScannerBase::progressTextChanged);
    QElapsedTimer clock;
    clock.start();
    scanner.scan(5);
    QTRY_VERIFY(started.load());
    // The examined entries show while the walk runs, renewed at most ten times a second.
    QTRY_VERIFY(scanner.progressText().endsWith(QStringLiteral(" elementos examinados")));
    QTest::qWait(1200);
    const qint64 elapsedMs = clock.elapsed();
    QVERIFY2(
        progress.count() <= elapsedMs / 100 + 1,
        qPrintable(QStringLiteral("%1 updates in %2 ms").arg(progress.count()).arg(elapsedMs)));
    QVERIFY(progress.count() >= 5);
    QVERIFY(scanner.skippedText().isEmpty());

    // Stopping publishes what was done, as a finished scan.
    QSignalSpy count(&scanner, &ScannerBase::completedScanCountChanged);
    scanner.stopScan();
    QTRY_COMPARE(count.count(), 1);
    QVERIFY(stopped.load());
    QCOMPARE(scanner.published, QList<int>({1}));
    QCOMPARE(scanner.statusText(), QStringLiteral("stopped"));
    QVERIFY(!scanner.isScanning());
    QVERIFY(scanner.progressText().isEmpty());
    QCOMPARE(scanner.skippedText(),
             QStringLiteral("2 elemento(s) no se pudieron leer y no se incluyen."));
    QCOMPARE(scanner.skippedItems(),
             QVariantList({QVariantMap{{"path", "/s/0001"},
                                       {"reason", "linkLoop"},
                                       {"reasonText", "Bucle de enlaces simbólicos."}},
                           QVariantMap{{"path", "/s/0002"},
                                       {"reason", "vanished"},
                                       {"reasonText", "Desapareció durante el análisis."}}}));

    // A stop belongs to its scan: the next one runs to its end, and stopping
    // when nothing runs does nothing.
    scanner.walkStarted = nullptr;
    scanner.release = nullptr;
    scanner.stopScan();
    scanner.scan(3);
    QTRY_COMPARE(count.count(), 2);
    QCOMPARE(scanner.published, QList<int>({1, 2, 3}));
    QCOMPARE(scanner.statusText(), QStringLiteral("done"));
}

QTEST_GUILESS_MAIN(TestScannerBase)
#include "tst_scannerbase.moc"
