#include "FileWalker.h"
#include "RegularFileWalk.h"
#include "ScannerBase.h"
#include "TestEnvironment.h"
#include "TreeBuilder.h"
#include "WalkControl.h"
#include "WorkQueue.h"

#include <QDeadlineTimer>
#include <QThread>
#include <QtTest>
#include <atomic>

namespace {

// Spins until `done` holds; false after ten seconds. For worker threads, which
// have no event loop to wait on.
template <typename Condition> bool spinUntil(Condition done)
{
    for (QDeadlineTimer deadline(10000); !done(); QThread::usleep(100))
        if (deadline.hasExpired())
            return false;
    return true;
}

// Holds a walk or a removal until the test opens it.
struct Gate
{
    std::atomic<bool> reached{false}, open{false}, sawStop{false};
};

// Watches a walk's units of work on every thread that runs them: each runs
// under the walk's control, and at most one per thread begins after a stop.
struct UnitWatch
{
    const WalkControl::Handle control = WalkControl::make();
    const WalkControl::Scope scope{control};
    std::atomic<int> units = 0, outside = 0, afterStop = 0;
    std::atomic<Qt::HANDLE> first = nullptr;
    std::atomic<bool> helped = false;

    // The first unit waits until another thread has run one, so that helpers
    // always take part; the `stopAt`-th stops the walk.
    void unit(int stopAt)
    {
        if (control->stop)
            ++afterStop;
        if (WalkControl::current() != control)
            ++outside;
        Qt::HANDLE expected = nullptr;
        if (!first.compare_exchange_strong(expected, QThread::currentThreadId()))
            helped = helped || expected != QThread::currentThreadId();
        else
            spinUntil([&] { return helped.load(); });
        if (++units == stopAt)
            control->stop = true;
    }

    void verify() const
    {
        QVERIFY(WorkPool::threadCount() == 1 || helped);
        QCOMPARE(outside.load(), 0);
        QVERIFY2(afterStop.load() < WorkPool::threadCount(),
                 qPrintable(QStringLiteral("%1 units after the stop").arg(afterStop.load())));
    }
};

// The smallest scanner: its walk returns the numbers up to n, or fails for n < 0.
class CountingScanner : public ScannerBase
{
public:
    CountingScanner() : ScannerBase(QStringLiteral("idle")) {}
    using ScannerBase::deferWhileRemoving;

    QList<int> published;
    QStringList events; // scans and removals, in the order they ended
    int skips = 2;      // entries the walk could not read
    bool publishedOnMainThread = false;
    std::shared_ptr<Gate> gate; // the next walk waits at it
    bool *answered = nullptr;   // outlives the scanner

    void scan(int n)
    {
        setErrorMessage(QString());
        setScanning(true);
        setStatusText(QStringLiteral("working"));
        runWalk<QList<int>>(
            [n, gate = gate, skips = skips] {
                // While held it examines one entry at a time; a stop ends the
                // wait with what was done so far: the first number.
                bool stopped = false;
                for (; gate && !gate->open && !stopped; QThread::msleep(1)) {
                    gate->reached = true;
                    stopped = WalkControl::stopRequested();
                    gate->sawStop = stopped;
                    WalkControl::countEntries();
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
                for (int i = 1; i <= (stopped ? 1 : n); ++i)
                    out << i;
                return WalkOutcome<QList<int>>::success(out);
            },
            [this](QList<int> value) {
                if (answered)
                    *answered = true;
                publishedOnMainThread = QThread::currentThread() == thread();
                published = value;
                events << QStringLiteral("scan %1").arg(value.size());
                setStatusText(wasStopped() ? QStringLiteral("stopped") : QStringLiteral("done"));
                countCompletedScan();
                setScanning(false);
            },
            [this](const QString &error) { failScan(error, QStringLiteral("failed")); });
    }

    void remove(const std::shared_ptr<Gate> &held)
    {
        runRemoval<int>(
            [held] {
                held->reached = true;
                spinUntil([&] { return held->open.load(); });
                return 0;
            },
            [this](int) { events << QStringLiteral("removed"); });
    }
};

} // namespace

class TestScannerBase : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void resultIsPublishedOnTheMainThread()
    {
        CountingScanner scanner;
        scanner.skips = 1002;
        QSignalSpy count(&scanner, &ScannerBase::completedScanCountChanged);
        scanner.scan(3);
        // The answer never comes before scan() has returned, however fast the walk.
        WorkPool::pool()->waitForDone();
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

        // A failure leaves the count alone.
        scanner.scan(-1);
        QTRY_VERIFY(!scanner.isScanning());
        QCOMPARE(scanner.errorMessage(), QStringLiteral("cannot open"));
        QCOMPARE(scanner.statusText(), QStringLiteral("failed"));
        QCOMPARE(scanner.completedScanCount(), 1);
        scanner.clearError();
        QVERIFY(scanner.errorMessage().isEmpty());
    }

    void olderSlowerScanNeverOverwritesNewer()
    {
        const auto gate = std::make_shared<Gate>();
        CountingScanner scanner;
        scanner.gate = gate;
        scanner.scan(5); // slow: held at the gate
        QTRY_VERIFY(gate->reached.load());
        scanner.gate = nullptr;
        scanner.scan(2); // newer and fast
        QTRY_COMPARE(scanner.completedScanCount(), 1);
        QCOMPARE(scanner.published, QList<int>({1, 2}));
        QTRY_VERIFY2(gate->sawStop.load(), "the older walk is asked to stop");
        gate->open = true;
        WorkPool::pool()->waitForDone();
        QCoreApplication::processEvents();
        QCOMPARE(scanner.events, QStringList({"scan 2"}));
        QVERIFY(!scanner.isScanning());

        // Closed while its walk runs: the walk is asked to stop, and nothing answers.
        const auto closing = std::make_shared<Gate>();
        bool answered = false;
        auto *gone = new CountingScanner;
        gone->gate = closing;
        gone->answered = &answered;
        gone->scan(5);
        QTRY_VERIFY(closing->reached.load());
        delete gone;
        QTRY_VERIFY(closing->sawStop.load());
        WorkPool::pool()->waitForDone();
        QCoreApplication::processEvents();
        QVERIFY2(!answered, "a scanner that is gone gets no answer");
    }

    void progressIsLiveAndStopKeepsWhatWasDone()
    {
        const auto gate = std::make_shared<Gate>();
        CountingScanner scanner;
        scanner.gate = gate;
        QSignalSpy progress(&scanner, &ScannerBase::progressTextChanged);
        scanner.scan(5);
        // The examined entries show while the walk runs, renewed at most ten times
        // a second (by the clock of a timer, not by every entry).
        QTRY_VERIFY(progress.count() >= 4);
        QVERIFY(scanner.findChild<QTimer *>("progressTimer")->interval() >= 100);
        QVERIFY(scanner.progressText().endsWith(QStringLiteral(" elementos examinados")));
        QVERIFY(scanner.skippedText().isEmpty());

        // Stopping publishes what was done, as a finished scan.
        QSignalSpy count(&scanner, &ScannerBase::completedScanCountChanged);
        scanner.stopScan();
        QTRY_COMPARE(count.count(), 1);
        QVERIFY(gate->sawStop.load());
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
        scanner.gate = nullptr;
        scanner.stopScan();
        scanner.scan(3);
        QTRY_COMPARE(count.count(), 2);
        QCOMPARE(scanner.published, QList<int>({1, 2, 3}));
        QCOMPARE(scanner.statusText(), QStringLiteral("done"));
    }

    void scanAskedForDuringARemovalRunsAfterIt()
    {
        CountingScanner scanner;
        QVERIFY2(!scanner.deferWhileRemoving([] {}), "with no removal a scan runs at once");
        const auto held = std::make_shared<Gate>();
        scanner.remove(held);
        QVERIFY(scanner.isRemoving());
        QTRY_VERIFY(held->reached.load());
        // Asked for twice while the removal runs: the latest request wins, once.
        QVERIFY(scanner.deferWhileRemoving([&] { scanner.scan(1); }));
        QVERIFY(scanner.deferWhileRemoving([&] { scanner.scan(4); }));
        QCoreApplication::processEvents();
        QVERIFY(scanner.events.isEmpty());
        held->open = true;
        QTRY_COMPARE(scanner.completedScanCount(), 1);
        QVERIFY(!scanner.isRemoving());
        WorkPool::pool()->waitForDone();
        QCoreApplication::processEvents();
        QCOMPARE(scanner.events, QStringList({"removed", "scan 4"}));
    }

    void helpersWorkUnderTheWalksControl()
    {
        // A helper thread works for the walk that started it: it counts into the
        // walk's totals and stops when the walk is stopped, each thread finishing
        // at most the index it had begun.
        UnitWatch watch;
        parallelFor(5000, [&](qsizetype) {
            WalkControl::countEntries();
            watch.unit(100);
        });
        watch.verify();
        QVERIFY(watch.units.load() < 5000);
        QCOMPARE(watch.control->entries.load(), qint64(watch.units.load()));
    }

    void parallelForStaysWithinThePool()
    {
        // However many callers share the pool, no more threads than the pool has
        // ever work at once, and every index runs exactly once per caller.
        constexpr int kCount = 5000;
        std::vector<std::atomic<int>> runs(kCount);
        std::atomic<int> active = 0, peak = 0;
        const auto body = [&](qsizetype i) {
            const int now = ++active;
            for (int seen = peak.load(); now > seen && !peak.compare_exchange_weak(seen, now);) {
            }
            ++runs[size_t(i)];
            QThread::usleep(50);
            --active;
        };
        for (int c = 0; c < 5; ++c)
            WorkPool::pool()->start([&] { parallelFor(kCount, body); });
        WorkPool::pool()->waitForDone(); // a waiting future would run a caller here
        for (const std::atomic<int> &r : runs)
            QCOMPARE(r.load(), 5);
        QVERIFY2(peak.load() <= WorkPool::threadCount(), qPrintable(QString::number(peak.load())));
    }

    void regularFileWalkHelpersStopAndCountExactly()
    {
        TestEnvironment env;
        TreeBuilder tree(env.home());
        constexpr int kFolders = 200;
        for (int i = 0; i < kFolders; ++i)
            tree.file(QStringLiteral("Deep/%1/file.bin").arg(i, 3, 10, QLatin1Char('0')), "x");
        const QString root = tree.path(QStringLiteral("Deep"));

        for (const int stopAt : {-1, 10}) {
            UnitWatch watch;
            const RegularFileWalk::Keep<QString> keep =
                [&](const FileEntry &e) -> std::optional<QString> {
                watch.unit(stopAt);
                return e.path();
            };
            const auto found = RegularFileWalk::collect<QString>(root, 0, keep);
            watch.verify();
            // What was read is handed back and counted: the root's entries and
            // one per folder read.
            QVERIFY(found);
            QCOMPARE(found->size(), watch.units.load());
            QCOMPARE(watch.control->entries.load(), qint64(kFolders + watch.units.load()));
            if (stopAt < 0) {
                QCOMPARE(watch.units.load(), kFolders);
                continue;
            }
            // A walk stopped before it starts finds nothing, in either walker.
            int visited = 0;
            FileWalker::walk(root, 0, [&](const EntryInfo &) {
                ++visited;
                return FileWalker::Action::Continue;
            });
            QCOMPARE(visited, 0);
            QCOMPARE(RegularFileWalk::collect<QString>(root, 0, keep).value(), QStringList());
        }
    }
};

QTEST_GUILESS_MAIN(TestScannerBase)
#include "tst_scannerbase.moc"
