// Runs five scanners at once on the tree of HOME and VELMORA_ROOT, as a full
// analysis that left timed-out steps running would, and reports the most
// threads the process ever had against the pool's budget.
//
//   velmora-bench-threads FOLDER
#include "CleanupScanner.h"
#include "DuplicateScanner.h"
#include "StorageScanner.h"
#include "UninstallerScanner.h"
#include "WorkQueue.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QTimer>
#include <atomic>
#include <cstdio>
#include <thread>

namespace {

int threadsNow()
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray &line : status.readAll().split('\n'))
        if (line.startsWith("Threads:"))
            return line.mid(8).trimmed().toInt();
    return -1;
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    if (argc < 2) {
        std::fprintf(stderr, "usage: velmora-bench-threads FOLDER\n");
        return 2;
    }
    const QString folder = QDir(QString::fromLocal8Bit(argv[1])).absolutePath();
    const int before = threadsNow();

    // The sampler is one thread of its own, counted out below.
    std::atomic<bool> done = false;
    std::atomic<int> peak = 0;
    std::thread sampler([&] {
        while (!done) {
            peak = std::max(peak.load(), threadsNow());
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
    });

    QElapsedTimer clock;
    clock.start();
    StorageScanner large, largeAgain;
    DuplicateScanner duplicates;
    CleanupScanner cleanup;         // starts by itself
    UninstallerScanner uninstaller; // starts by itself
    large.scan(folder, 1);
    largeAgain.scan(folder, 10);
    duplicates.scan(folder, 1);
    const QList<ScannerBase *> all{&large, &largeAgain, &duplicates, &cleanup, &uninstaller};
    QTimer poll;
    QObject::connect(&poll, &QTimer::timeout, &app, [&] {
        for (ScannerBase *s : all)
            if (s->isScanning() || s->completedScanCount() == 0)
                return;
        app.quit();
    });
    poll.start(5);
    app.exec();
    done = true;
    sampler.join();

    std::printf("{\"poolThreads\": %d, \"threadsBefore\": %d, \"peakThreads\": %d, "
                "\"peakWithoutSampler\": %d, \"elapsedMs\": %lld, \"largeFiles\": %d, "
                "\"duplicateGroups\": %d, \"caches\": %d, \"applications\": %d}\n",
                WorkPool::threadCount(), before, peak.load(), peak.load() - 1,
                static_cast<long long>(clock.elapsed()), large.fileCount(), duplicates.groupCount(),
                cleanup.itemCount(), uninstaller.applicationCount());
    return 0;
}
