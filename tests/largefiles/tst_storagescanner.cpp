#include "FileLocation.h"
#include "FileWalker.h"
#include "FolderChooser.h"
#include "RegularFileWalk.h"
#include "StorageScanner.h"
#include "TestEnvironment.h"
#include "TreeBuilder.h"

#include <QAbstractItemModelTester>
#include <QFile>
#include <QRandomGenerator>
#include <QThreadPool>
#include <QtTest>
#include <fcntl.h>
#include <unistd.h>

namespace {

constexpr qint64 MiB = 1024 * 1024;

QStringList names(const QList<LargeFileItem> &items)
{
    QStringList out;
    for (const LargeFileItem &item : items)
        out << item.name;
    return out;
}

void scanAndWait(StorageScanner &scanner, const QString &folder, int minimumMB)
{
    const int before = scanner.completedScanCount();
    QSignalSpy scanning(&scanner, &ScannerBase::isScanningChanged);
    scanner.scan(folder, minimumMB);
    QTRY_VERIFY_WITH_TIMEOUT(!scanner.isScanning(), 30000);
    QVERIFY(scanner.completedScanCount() == before + 1 || !scanner.errorMessage().isEmpty());
}

class ScriptedChooser : public FolderChooser
{
public:
    QString answer; // null: cancel
    FolderRequest request;
    int asked = 0;
    void choose(const FolderRequest &r, QObject *context, Answer onChosen) override
    {
        ++asked;
        request = r;
        FolderChooser::choose(r, context, std::move(onChosen));
        answer.isNull() ? reject() : accept(answer);
    }
};

} // namespace

class TestStorageScanner : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void thresholdIsInclusiveAndCountsBlocksOnDisk();
    void onlyVisibleRegularFilesOutsideBundles();
    void largestFirstWithTiesInWalkOrder();
    void statusTexts();
    void folderThatCannotBeOpened();
    void choosingAFolder();
    void moveWithOneFailure();
    void moveWithNothingSelected();
    void parallelWalkMatchesTheSequentialOrder();
    void unreadableAndOddEntriesAreSkipped();
    void stopKeepsWhatWasFound();
};

void TestStorageScanner::thresholdIsInclusiveAndCountsBlocksOnDisk()
{
    TestEnvironment env;
    TreeBuilder tree(env.home());
    tree.allocatedFile("exact.bin", 3 * MiB);
    tree.allocatedFile("below.bin", 3 * MiB - 4096);
    tree.sparseFile("sparse.img", 900 * MiB); // long but occupies nothing
    tree.file("empty.txt");

    StorageScanner scanner;
    scanAndWait(scanner, env.home(), 3);
    QCOMPARE(names(scanner.files()), QStringList({"exact.bin"}));
    QCOMPARE(scanner.files().first().size, 3 * MiB);
    QCOMPARE(scanner.files().first().path, env.home());
    QCOMPARE(scanner.files().first().id(), env.home() + "/exact.bin");

    scanAndWait(scanner, env.home(), 0);
    QCOMPARE(scanner.files().size(), 4); // a minimum of 0 lists even empty files
    QCOMPARE(scanner.totalSize(), 6 * MiB - 4096);
}

void TestStorageScanner::onlyVisibleRegularFilesOutsideBundles()
{
    TestEnvironment env;
    TreeBuilder tree(env.home());
    tree.allocatedFile("Movies/film.mov", 2 * MiB);
    tree.allocatedFile(".hidden.mov", 2 * MiB);
    tree.allocatedFile(".Trash/old.mov", 2 * MiB);
    tree.allocatedFile("Applications/Big.app/Contents/Resources/data.pak", 2 * MiB);
    tree.allocatedFile("Library/Plug.bundle/blob", 2 * MiB);
    tree.symlink("link-to-film.mov", tree.path("Movies/film.mov"));
    tree.symlink("Movies/loop", tree.path("Movies"));

    StorageScanner scanner;
    scanAndWait(scanner, env.home(), 1);
    QCOMPARE(names(scanner.files()), QStringList({"film.mov"}));
}

void TestStorageScanner::largestFirstWithTiesInWalkOrder()
{
    TestEnvironment env;
    TreeBuilder tree(env.home());
    // Enough ties of two sizes, interleaved across folders, that an unstable sort
    // would reorder them.
    QStringList walkOrder8k, walkOrder4k;
    for (int i = 0; i < 48; ++i) {
        const QString name =
            QStringLiteral("d%1/f%2.bin").arg(i % 5).arg(i, 2, 10, QLatin1Char('0'));
        tree.allocatedFile(name, (i * 7) % 3 == 0 ? 8192 : 4096);
    }
    FileWalker::walk(env.home(), 0, [&](const EntryInfo &e) {
        if (e.isRegularFile)
            (e.allocatedSize == 8192 ? walkOrder8k : walkOrder4k) << e.name;
        return FileWalker::Action::Continue;
    });
    tree.allocatedFile("z-largest.bin", 64 * 1024);

    StorageScanner scanner;
    QAbstractItemModelTester tester(scanner.filesModel());
    scanAndWait(scanner, env.home(), 0);
    QCOMPARE(names(scanner.files()), QStringList{"z-largest.bin"} + walkOrder8k + walkOrder4k);
    QCOMPARE(scanner.filesModel()->rowCount(), 49);
    QCOMPARE(scanner.filesModel()
                 ->data(scanner.filesModel()->index(0), scanner.filesModel()->role("sizeText"))
                 .toString(),
             QStringLiteral("66 KB"));
}

void TestStorageScanner::statusTexts()
{
    TestEnvironment env;
    TreeBuilder tree(env.home());
    tree.allocatedFile("Downloads/one.dmg", 2 * MiB);
    tree.allocatedFile("Downloads/two.dmg", 2 * MiB);

    StorageScanner scanner;
    QCOMPARE(scanner.statusText(), QStringLiteral("Selecciona una carpeta para comenzar."));
    QVERIFY(scanner.selectedFolder().isEmpty());
    QSignalSpy status(&scanner, &ScannerBase::statusTextChanged);
    scanAndWait(scanner, tree.path("Downloads"), 1);
    QCOMPARE(status.count(), 2);
    QCOMPARE(scanner.statusText(), QStringLiteral("Se encontraron 2 archivos grandes."));
    QCOMPARE(scanner.selectedFolder(), tree.path("Downloads"));
    QCOMPARE(scanner.completedScanCount(), 1);

    scanner.selectAll();
    QCOMPARE(scanner.selectedCount(), 2);
    scanAndWait(scanner, tree.path("Downloads"), 7);
    QCOMPARE(scanner.statusText(), QStringLiteral("No se encontraron archivos mayores de 7 MB."));
    QCOMPARE(scanner.completedScanCount(), 2);
    QVERIFY2(scanner.selectedFileIDs().isEmpty(), "a new scan clears the selection");
}

void TestStorageScanner::folderThatCannotBeOpened()
{
    TestEnvironment env;
    StorageScanner scanner;
    scanner.scan(env.home() + "/missing", 1);
    QCOMPARE(scanner.statusText(), QStringLiteral("Analizando missing…"));
    QVERIFY(scanner.isScanning());
    QTRY_VERIFY(!scanner.isScanning());
    QCOMPARE(scanner.errorMessage(),
             QStringLiteral("No fue posible abrir la carpeta seleccionada."));
    QCOMPARE(scanner.statusText(), QStringLiteral("No fue posible completar el análisis."));
    QCOMPARE(scanner.completedScanCount(), 0);
    QVERIFY(scanner.files().isEmpty());
}

void TestStorageScanner::choosingAFolder()
{
    TestEnvironment env;
    TreeBuilder tree(env.home());
    tree.allocatedFile("Movies/film.mov", 2 * MiB);
    ScriptedChooser chooser;
    FolderChooser::setCurrent(&chooser);

    StorageScanner scanner;
    QSignalSpy anything(&scanner, &ScannerBase::statusTextChanged);
    scanner.chooseFolderAndScan(1); // cancelled
    QCOMPARE(chooser.asked, 1);
    QCOMPARE(chooser.request.title, QStringLiteral("Selecciona una carpeta"));
    QCOMPARE(chooser.request.message,
             QStringLiteral("Velmora buscará archivos grandes sin eliminarlos."));
    QCOMPARE(chooser.request.prompt, QStringLiteral("Analizar"));
    QCOMPARE(anything.count(), 0);
    QVERIFY(scanner.selectedFolder().isEmpty());
    QVERIFY(!scanner.isScanning());

    chooser.answer = tree.path("Movies");
    scanner.chooseFolderAndScan(1);
    QTRY_COMPARE(scanner.completedScanCount(), 1);
    QCOMPARE(names(scanner.files()), QStringList({"film.mov"}));
    FolderChooser::setCurrent(nullptr);
}

void TestStorageScanner::moveWithOneFailure()
{
    TestEnvironment env;
    TreeBuilder tree(env.home());
    tree.allocatedFile("a.bin", 4 * MiB);
    tree.allocatedFile("b.bin", 3 * MiB);
    tree.allocatedFile("c.bin", 2 * MiB);
    tree.allocatedFile("keep.bin", 1 * MiB);
    StorageScanner scanner;
    scanAndWait(scanner, env.home(), 1);
    const QString status = scanner.statusText();
    for (const LargeFileItem &item : scanner.files())
        if (item.name != QLatin1String("keep.bin"))
            scanner.toggleSelection(item);
    QFile::remove(tree.path("b.bin")); // gone before the move: it cannot be trashed

    QSignalSpy moving(&scanner, &StorageScanner::isRemovingChanged);
    scanner.moveSelectedToTrash();
    QTRY_VERIFY_WITH_TIMEOUT(!scanner.isRemoving(), 10000);
    QCOMPARE(moving.count(), 2);
    QVERIFY(!scanner.isMovingToTrash());
    QCOMPARE(scanner.errorMessage(), QStringLiteral("No fue posible mover: b.bin. Cambiaron desde "
                                                    "el análisis y no se tocaron: b.bin."));
    QCOMPARE(scanner.statusText(), status);
    QCOMPARE(names(scanner.files()), QStringList({"b.bin", "keep.bin"}));
    QCOMPARE(scanner.selectedFileIDs(), QSet<QString>({tree.path("b.bin")}));
    QVERIFY(QFile::exists(env.trashFiles() + "/a.bin"));
    QVERIFY(QFile::exists(env.trashFiles() + "/c.bin"));
    QVERIFY(QFile::exists(tree.path("keep.bin")));
    QCOMPARE(scanner.completedScanCount(), 1);

    scanner.clearError();
    scanner.toggleSelection(scanner.files().first()); // b.bin off
    scanner.toggleSelection(scanner.files().last());  // keep.bin on
    scanner.moveSelectedToTrash();
    QTRY_VERIFY_WITH_TIMEOUT(!scanner.isRemoving(), 10000);
    QVERIFY(scanner.errorMessage().isEmpty());
    QCOMPARE(scanner.statusText(), QStringLiteral("1 archivo(s) enviados a la Papelera."));
    QCOMPARE(scanner.selectedFolder(), env.home());
}

void TestStorageScanner::moveWithNothingSelected()
{
    TestEnvironment env;
    TreeBuilder tree(env.home());
    tree.allocatedFile("a.bin", 2 * MiB);
    StorageScanner scanner;
    scanAndWait(scanner, env.home(), 1);
    // A stale identifier selects nothing that is listed.
    scanner.setSelectedFileIDs({env.home() + "/elsewhere.bin"});
    QSignalSpy moving(&scanner, &StorageScanner::isRemovingChanged);
    scanner.moveSelectedToTrash();
    QTRY_VERIFY_WITH_TIMEOUT(!scanner.isRemoving(), 10000);
    QCOMPARE(scanner.errorMessage(), QStringLiteral("Selecciona al menos un archivo."));
    QCOMPARE(moving.count(), 0);
    QCOMPARE(scanner.statusText(), QStringLiteral("Se encontraron 1 archivos grandes."));
    QVERIFY(QFile::exists(tree.path("a.bin")));
}

void TestStorageScanner::parallelWalkMatchesTheSequentialOrder()
{
    TestEnvironment env;
    TreeBuilder tree(env.home());
    QRandomGenerator rng(7);
    // Wide and deep enough that both the queue and the in-place path are used.
    for (int i = 0; i < 1500; ++i) {
        QString folder;
        const int depth = int(rng.bounded(6));
        for (int d = 0; d < depth; ++d)
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
    const RegularFileWalk::Keep<QString> keepAll = [](const FileEntry &e) {
        return std::optional<QString>(e.path());
    };
    const int poolSize = QThreadPool::globalInstance()->maxThreadCount();
    for (int threads : {1, 2, 4}) {
        QThreadPool::globalInstance()->setMaxThreadCount(threads);
        const auto parallel = RegularFileWalk::collect<QString>(
            env.home(), SkipPackageContents | SkipHiddenFiles, keepAll);
        QVERIFY(parallel.has_value());
        QCOMPARE(*parallel, sequential);
    }
    QThreadPool::globalInstance()->setMaxThreadCount(poolSize);
    QCOMPARE(sequential.size(), 1700);
}

void TestStorageScanner::unreadableAndOddEntriesAreSkipped()
{
    if (runningAsRoot() && qEnvironmentVariableIsEmpty("VELMORA_UNPRIVILEGED_RERUN")) {
        QString reason, output;
        const bool passed =
            rerunUnprivileged("unreadableAndOddEntriesAreSkipped", &reason, &output);
        if (!reason.isEmpty())
            QSKIP(qPrintable(reason));
        QVERIFY2(passed, qPrintable(output));
        return;
    }
    TestEnvironment env;
    TreeBuilder tree(env.home());
    tree.allocatedFile("open/ok.bin", 2 * MiB);
    tree.allocatedFile("closed/secret.bin", 2 * MiB);
    tree.allocatedFile("open/unreadable.bin", 2 * MiB);
    tree.allocatedFile("línea\nnueva.bin", 2 * MiB);
    const QByteArray badName = QFile::encodeName(env.home()) + "/bad\xff.bin";
    const int fd = ::open(badName.constData(), O_CREAT | O_WRONLY, 0644);
    QVERIFY(fd >= 0);
    QVERIFY(posix_fallocate(fd, 0, 2 * MiB) == 0);
    ::close(fd);
    QFile::setPermissions(tree.path("closed"), QFileDevice::Permissions());
    QFile::setPermissions(tree.path("open/unreadable.bin"), QFileDevice::WriteOwner);

    StorageScanner scanner;
    scanAndWait(scanner, env.home(), 1);
    QFile::setPermissions(tree.path("closed"),
                          QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
    QStringList listed = names(scanner.files());
    listed.sort();
    // The name that is not UTF-8 is listed with its bytes.
    QVERIFY2(listed ==
                 QStringList({FileLocation::decode("bad\xff.bin"), "línea\nnueva.bin", "ok.bin"}),
             qPrintable(listed.join("|")));
    QCOMPARE(scanner.skippedText(),
             QStringLiteral("2 elemento(s) no se pudieron leer y no se incluyen."));
    const QVariantMap closed = scanner.skippedItems().value(0).toMap();
    const QVariantMap unreadable = scanner.skippedItems().value(1).toMap();
    QCOMPARE(closed.value("path"), QVariant(tree.path("closed")));
    QCOMPARE(unreadable.value("path"), QVariant(tree.path("open/unreadable.bin")));
    QCOMPARE(closed.value("reason"), QVariant("unreadable"));
    QCOMPARE(unreadable.value("reason"), QVariant("unreadable"));
}

void TestStorageScanner::stopKeepsWhatWasFound()
{
    TestEnvironment env;
    TreeBuilder tree(env.home());
    for (int i = 0; i < 400; ++i)
        tree.allocatedFile(QStringLiteral("d%1/e%2/big.bin").arg(i % 40).arg(i), 2 * MiB);
    StorageScanner full;
    scanAndWait(full, env.home(), 1);
    QCOMPARE(full.fileCount(), 400);
    QVERIFY(full.skippedText().isEmpty());

    StorageScanner scanner;
    QSignalSpy count(&scanner, &ScannerBase::completedScanCountChanged);
    scanner.scan(env.home(), 1);
    scanner.stopScan();
    QTRY_COMPARE(count.count(), 1);
    QVERIFY(!scanner.isScanning());
    QVERIFY(scanner.fileCount() <= 400);
    QCOMPARE(scanner.statusText(), QStringLiteral("Análisis detenido: %1 archivo(s) grande(s) "
                                                  "encontrados hasta el momento.")
                                       .arg(scanner.fileCount()));
    for (const LargeFileItem &item : scanner.files())
        QVERIFY(full.files().contains(item));
    // The next scan is whole again.
    scanAndWait(scanner, env.home(), 1);
    QCOMPARE(scanner.fileCount(), 400);
    QCOMPARE(scanner.statusText(), QStringLiteral("Se encontraron 400 archivos grandes."));
}

QTEST_GUILESS_MAIN(TestStorageScanner)
#include "tst_storagescanner.moc"
