#include "FileLocation.h"
#include "FileWalker.h"
#include "RegularFileWalk.h"
#include "StorageScanner.h"
#include "TestEnvironment.h"
#include "TreeBuilder.h"
#include "WorkQueue.h"

#include <QAbstractItemModelTester>
#include <QFile>
#include <QRandomGenerator>
#include <QThreadPool>
#include <QtTest>
#include <fcntl.h>
#include <unistd.h>

namespace {

constexpr qint64 MiB = 1024 * 1024;

// A private home with a scanner whose list is watched by the model tester.
struct Home
{
    TestEnvironment env;
    TreeBuilder tree{env.home()};
    StorageScanner scanner;
    QAbstractItemModelTester tester{scanner.filesModel()};

    QStringList names() const
    {
        QStringList out;
        for (const LargeFileItem &item : scanner.files())
            out << item.name;
        return out;
    }
    // Scans and waits for the scan to end; false when it failed.
    bool scan(const QString &folder, int minimumMB)
    {
        const int before = scanner.completedScanCount();
        scanner.scan(folder, minimumMB);
        return QTest::qWaitFor([&] { return !scanner.isScanning(); }, 30000) &&
               scanner.completedScanCount() == before + 1;
    }
    bool trash()
    {
        scanner.moveSelectedToTrash();
        return QTest::qWaitFor([&] { return !scanner.isRemoving(); }, 10000);
    }
};

} // namespace

class TestStorageScanner : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void whatCountsAsLargeAndStatusTexts();
    void largestFirstWithTiesInWalkOrder();
    void moveReportsWhatCouldNotGo();
    void parallelWalkMatchesTheSequentialOrder();
    void unreadableAndOddEntriesAreSkipped();
    void stopKeepsWhatWasFound();
};

void TestStorageScanner::whatCountsAsLargeAndStatusTexts()
{
    Home h;
    // The threshold is inclusive and counts blocks on disk, not lengths.
    h.tree.allocatedFile("exact.bin", 3 * MiB);
    h.tree.allocatedFile("below.bin", 3 * MiB - 4096);
    h.tree.sparseFile("sparse.img", 900 * MiB);
    h.tree.file("empty.txt");
    // Never hidden files, the Trash, package contents or links.
    h.tree.allocatedFile(".hidden.mov", 4 * MiB);
    h.tree.allocatedFile(".Trash/old.mov", 4 * MiB);
    h.tree.allocatedFile("Applications/Big.app/Contents/Resources/data.pak", 4 * MiB);
    h.tree.allocatedFile("Library/Plug.bundle/blob", 4 * MiB);
    h.tree.symlink("link.bin", h.tree.path("exact.bin"));
    h.tree.symlink("Movies/loop", h.tree.path("Movies"));

    QCOMPARE(h.scanner.statusText(), QStringLiteral("Selecciona una carpeta para comenzar."));
    QVERIFY(h.scan(h.env.home(), 3));
    QCOMPARE(h.names(), QStringList({"exact.bin"}));
    const LargeFileItem exact = h.scanner.files().first();
    QCOMPARE(exact.size, 3 * MiB);
    QCOMPARE(exact.path, h.env.home());
    QCOMPARE(exact.id(), h.env.home() + "/exact.bin");
    QVERIFY(h.scan(h.env.home(), 0)); // a minimum of 0 lists even empty files
    QCOMPARE(h.scanner.fileCount(), 4);
    QCOMPARE(h.scanner.totalSize(), 6 * MiB - 4096);
    QCOMPARE(h.scanner.statusText(), QStringLiteral("Se encontraron 4 archivos grandes."));
    QCOMPARE(h.scanner.selectedFolder(), h.env.home());

    h.scanner.selectAll();
    QVERIFY(h.scan(h.env.home(), 7));
    QCOMPARE(h.scanner.statusText(), QStringLiteral("No se encontraron archivos mayores de 7 MB."));
    QVERIFY2(h.scanner.selectedFileIDs().isEmpty(), "a new scan clears the selection");

    h.scanner.scan(h.env.home() + "/missing", 1);
    QCOMPARE(h.scanner.statusText(), QStringLiteral("Analizando missing…"));
    QTRY_VERIFY(!h.scanner.isScanning());
    QCOMPARE(h.scanner.errorMessage(),
             QStringLiteral("No fue posible abrir la carpeta seleccionada."));
    QCOMPARE(h.scanner.statusText(), QStringLiteral("No fue posible completar el análisis."));
    QCOMPARE(h.scanner.completedScanCount(), 3);
    QVERIFY(h.scanner.files().isEmpty());
}

void TestStorageScanner::largestFirstWithTiesInWalkOrder()
{
    Home h;
    // Enough ties of two sizes, interleaved across folders, that an unstable sort
    // would reorder them.
    QStringList walkOrder8k, walkOrder4k;
    for (int i = 0; i < 48; ++i)
        h.tree.allocatedFile(
            QStringLiteral("d%1/f%2.bin").arg(i % 5).arg(i, 2, 10, QLatin1Char('0')),
            (i * 7) % 3 == 0 ? 8192 : 4096);
    FileWalker::walk(h.env.home(), 0, [&](const EntryInfo &e) {
        if (e.isRegularFile)
            (e.allocatedSize == 8192 ? walkOrder8k : walkOrder4k) << e.name;
        return FileWalker::Action::Continue;
    });
    h.tree.allocatedFile("z-largest.bin", 64 * 1024);
    QVERIFY(h.scan(h.env.home(), 0));
    QCOMPARE(h.names(), QStringList{"z-largest.bin"} + walkOrder8k + walkOrder4k);
    const auto *model = h.scanner.filesModel();
    QCOMPARE(model->data(model->index(0), model->role("sizeText")).toString(),
             QStringLiteral("66 KB"));
}

void TestStorageScanner::moveReportsWhatCouldNotGo()
{
    Home h;
    for (const auto &[name, mb] :
         {std::pair{"a.bin", 4}, {"b.bin", 3}, {"c.bin", 2}, {"keep.bin", 1}})
        h.tree.allocatedFile(name, mb * MiB);
    QVERIFY(h.scan(h.env.home(), 1));
    const QString status = h.scanner.statusText();

    // A stale identifier selects nothing that is listed: no removal starts.
    h.scanner.setSelectedFileIDs({h.env.home() + "/elsewhere.bin"});
    QSignalSpy moving(&h.scanner, &StorageScanner::isRemovingChanged);
    QVERIFY(h.trash());
    QCOMPARE(h.scanner.errorMessage(), QStringLiteral("Selecciona al menos un archivo."));
    QCOMPARE(moving.count(), 0);

    h.scanner.setSelectedFileIDs(
        {h.tree.path("a.bin"), h.tree.path("b.bin"), h.tree.path("c.bin")});
    QFile::remove(h.tree.path("b.bin")); // gone before the move: it cannot be trashed
    QVERIFY(h.trash());
    QCOMPARE(moving.count(), 2);
    QVERIFY(h.scanner.errorMessage().startsWith("No fue posible mover: b.bin."));
    QCOMPARE(h.scanner.statusText(), status);
    QCOMPARE(h.names(), QStringList({"b.bin", "keep.bin"}));
    QCOMPARE(h.scanner.selectedFileIDs(), QSet<QString>({h.tree.path("b.bin")}));
    QVERIFY(QFile::exists(h.env.trashFiles() + "/a.bin") &&
            QFile::exists(h.env.trashFiles() + "/c.bin") && QFile::exists(h.tree.path("keep.bin")));
    QCOMPARE(h.scanner.completedScanCount(), 1);
}

void TestStorageScanner::parallelWalkMatchesTheSequentialOrder()
{
    TestEnvironment env;
    TreeBuilder tree(env.home());
    QRandomGenerator rng(7);
    // Wide and deep enough that both the queue and the in-place path are used.
    for (int i = 0; i < 1500; ++i) {
        QString folder;
        for (int d = int(rng.bounded(6)); d > 0; --d)
            folder += QStringLiteral("d%1/").arg(rng.bounded(12));
        tree.file(folder + QStringLiteral("f%1.txt").arg(i), QByteArray(int(rng.bounded(3)), 'x'));
    }
    for (int i = 0; i < 200; ++i)
        tree.file(QStringLiteral("wide/w%1/file").arg(i, 3, 10, QLatin1Char('0')));
    tree.file("Skip.app/inner.txt");
    tree.file(".hid/inner.txt");

    QStringList sequential;
    FileWalker::walk(env.home(), SkipPackageContents | SkipHiddenFiles, [&](const EntryInfo &e) {
        if (e.isRegularFile)
            sequential << e.path;
        return FileWalker::Action::Continue;
    });
    QCOMPARE(sequential.size(), 1700);
    const int poolSize = WorkPool::pool()->maxThreadCount();
    const auto restore = qScopeGuard([poolSize] { WorkPool::pool()->setMaxThreadCount(poolSize); });
    for (int threads : {1, 2, 4}) {
        WorkPool::pool()->setMaxThreadCount(threads);
        const auto parallel = RegularFileWalk::collect<QString>(
            env.home(), SkipPackageContents | SkipHiddenFiles,
            [](const FileEntry &e) { return std::optional<QString>(e.path()); });
        QVERIFY(parallel.has_value());
        QCOMPARE(*parallel, sequential);
    }
}

void TestStorageScanner::unreadableAndOddEntriesAreSkipped()
{
    VELMORA_RERUN_UNPRIVILEGED();
    Home h;
    h.tree.allocatedFile("open/ok.bin", 2 * MiB);
    h.tree.allocatedFile("closed/secret.bin", 2 * MiB);
    h.tree.allocatedFile("open/unreadable.bin", 2 * MiB);
    h.tree.allocatedFile("línea\nnueva.bin", 2 * MiB);
    const QByteArray badName = QFile::encodeName(h.env.home()) + "/bad\xff.bin";
    const int fd = ::open(badName.constData(), O_CREAT | O_WRONLY, 0644);
    QVERIFY(fd >= 0 && posix_fallocate(fd, 0, 2 * MiB) == 0);
    ::close(fd);
    QFile::setPermissions(h.tree.path("closed"), QFileDevice::Permissions());
    QFile::setPermissions(h.tree.path("open/unreadable.bin"), QFileDevice::WriteOwner);

    QVERIFY(h.scan(h.env.home(), 1));
    QFile::setPermissions(h.tree.path("closed"),
                          QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
    QStringList listed = h.names();
    listed.sort();
    // The name that is not UTF-8 is listed with its bytes.
    QCOMPARE(listed,
             QStringList({FileLocation::decode("bad\xff.bin"), "línea\nnueva.bin", "ok.bin"}));
    QCOMPARE(h.scanner.skippedText(),
             QStringLiteral("2 elemento(s) no se pudieron leer y no se incluyen."));
    QStringList skipped;
    for (const QVariant &entry : h.scanner.skippedItems())
        skipped << entry.toMap().value("path").toString() + ": " +
                       entry.toMap().value("reason").toString();
    QCOMPARE(skipped, QStringList({h.tree.path("closed") + ": unreadable",
                                   h.tree.path("open/unreadable.bin") + ": unreadable"}));
}

void TestStorageScanner::stopKeepsWhatWasFound()
{
    Home h;
    for (int i = 0; i < 400; ++i)
        h.tree.allocatedFile(QStringLiteral("d%1/e%2/big.bin").arg(i % 40).arg(i), 2 * MiB);
    StorageScanner full;
    full.scan(h.env.home(), 1);
    QTRY_COMPARE_WITH_TIMEOUT(full.completedScanCount(), 1, 30000);
    QCOMPARE(full.fileCount(), 400);

    // Wherever the stop lands, what is published is part of the whole result.
    h.scanner.scan(h.env.home(), 1);
    h.scanner.stopScan();
    QTRY_COMPARE_WITH_TIMEOUT(h.scanner.completedScanCount(), 1, 30000);
    QVERIFY(!h.scanner.isScanning());
    QCOMPARE(h.scanner.statusText(), QStringLiteral("Análisis detenido: %1 archivo(s) grande(s) "
                                                    "encontrados hasta el momento.")
                                         .arg(h.scanner.fileCount()));
    for (const LargeFileItem &item : h.scanner.files())
        QVERIFY(full.files().contains(item));
    // The next scan is whole again.
    QVERIFY(h.scan(h.env.home(), 1));
    QCOMPARE(h.scanner.statusText(), QStringLiteral("Se encontraron 400 archivos grandes."));
}

QTEST_GUILESS_MAIN(TestStorageScanner)
#include "tst_storagescanner.moc"
