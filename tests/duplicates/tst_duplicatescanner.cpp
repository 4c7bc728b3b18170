#include "ContentComparison.h"
#include "ContentDigest.h"
#include "DuplicateScanner.h"
#include "TestEnvironment.h"
#include "TreeBuilder.h"

#include <QFile>
#include <QtTest>

namespace {

constexpr qint64 MiB = 1024 * 1024;

void scanAndWait(DuplicateScanner &scanner, const QString &folder, int minimumMB = 10)
{
    const int before = scanner.completedScanCount();
    scanner.scan(folder, minimumMB);
    QTRY_VERIFY_WITH_TIMEOUT(!scanner.isScanning(), 30000);
    QVERIFY(scanner.completedScanCount() == before + 1 || !scanner.errorMessage().isEmpty());
}

QStringList namesOf(const DuplicateGroup &group)
{
    QStringList out;
    for (const DuplicateFileItem &f : group.files)
        out << f.name;
    return out;
}

// A file of `bytes` with content from a seed; `patchAt` >= 0 changes one byte there.
QString makeFile(TreeBuilder &tree, const QString &rel, qint64 bytes, quint32 seed,
                 qint64 patchAt = -1)
{
    const QString path = tree.patternFile(rel, bytes, seed);
    if (patchAt >= 0) {
        QFile f(path);
        f.open(QIODevice::ReadWrite);
        f.seek(patchAt);
        f.write("!");
    }
    return path;
}

} // namespace

class TestDuplicateScanner : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void thresholdRule();
    void fileHashIsTheWholeFile();
    void groupsByFullContent();
    void neverGroupsHiddenLinkedOrBundledFiles();
    void keeperOrderAndRecommendedCopies();
    void groupOrderAndRefusalWhileScanning();
    void moveRebuildsGroupsAndNeverTrashesTheKeeper();
    void uniqueSizesAreNeverOpened();
    void sideBySideComparisonMatchesFullDigests();
    void identicalContentGroupsWhateverItsBlocks();
    void stopPublishesOnlyProvenGroups();
};

void TestDuplicateScanner::thresholdRule()
{
    for (qint64 mb : {1, 5, 0, -3, 10})
        QCOMPARE(DuplicateScanner::thresholdBytes(mb), qint64(10485760));
    QCOMPARE(DuplicateScanner::thresholdBytes(11), qint64(11534336));

    TestEnvironment env;
    TreeBuilder tree(env.home());
    makeFile(tree, "a/exact.bin", 10 * MiB, 1);
    makeFile(tree, "b/exact.bin", 10 * MiB, 1);
    makeFile(tree, "a/small.bin", 10 * MiB - 4096, 2);
    makeFile(tree, "b/small.bin", 10 * MiB - 4096, 2);
    DuplicateScanner scanner;
    scanAndWait(scanner, env.home(), 3); // 3 scans with 10
    QCOMPARE(scanner.groups().size(), 1);
    QCOMPARE(namesOf(scanner.groups().first()), QStringList({"exact.bin", "exact.bin"}));
    QCOMPARE(scanner.statusText(), QStringLiteral("Se encontraron 1 archivos duplicados."));
}

void TestDuplicateScanner::fileHashIsTheWholeFile()
{
    TestEnvironment env;
    TreeBuilder tree(env.home());
    QCOMPARE(*ContentDigest::fileHash(tree.file("empty")),
             QStringLiteral("e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"));
    QCOMPARE(*ContentDigest::fileHash(tree.file("abc", "abc")),
             QStringLiteral("ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"));
    // Two files equal in their first and last megabytes but not in the middle.
    const QString a = makeFile(tree, "a", 3 * MiB, 9);
    const QString b = makeFile(tree, "b", 3 * MiB, 9, 3 * MiB / 2);
    QVERIFY(*ContentDigest::fileHash(a) != *ContentDigest::fileHash(b));
    QVERIFY(!ContentDigest::fileHash(tree.path("missing")));
}

void TestDuplicateScanner::groupsByFullContent()
{
    TestEnvironment env;
    TreeBuilder tree(env.home());
    makeFile(tree, "x/one.bin", 11 * MiB, 5);
    makeFile(tree, "y/one.bin", 11 * MiB, 5);
    makeFile(tree, "z/one.bin", 11 * MiB, 5);
    makeFile(tree, "w/other.bin", 11 * MiB, 6);                  // same size, other content
    makeFile(tree, "v/middle.bin", 11 * MiB, 5, 5 * MiB);        // differs only in the middle
    makeFile(tree, "u/lastbyte.bin", 11 * MiB, 5, 11 * MiB - 1); // only in its last byte
    makeFile(tree, "p/pair-a.bin", 12 * MiB, 7);
    makeFile(tree, "q/pair-b.bin", 12 * MiB, 8); // same size, no group
    DuplicateScanner scanner;
    scanAndWait(scanner, env.home());
    QCOMPARE(scanner.groups().size(), 1);
    const DuplicateGroup group = scanner.groups().first();
    QCOMPARE(group.hash, *ContentDigest::fileHash(tree.path("x/one.bin")));
    QCOMPARE(group.hash.size(), 64);
    QStringList folders;
    for (const DuplicateFileItem &f : group.files)
        folders << f.path;
    QCOMPARE(folders, QStringList({tree.path("x"), tree.path("y"), tree.path("z")}));
    QCOMPARE(scanner.duplicateFilesCount(), 2);
}

void TestDuplicateScanner::neverGroupsHiddenLinkedOrBundledFiles()
{
    TestEnvironment env;
    TreeBuilder tree(env.home());
    const QString real = makeFile(tree, "real.bin", 10 * MiB, 3);
    makeFile(tree, ".hidden.bin", 10 * MiB, 3);
    makeFile(tree, "Tool.app/Contents/blob.bin", 10 * MiB, 3);
    tree.symlink("link.bin", real);
    DuplicateScanner scanner;
    scanAndWait(scanner, env.home());
    QVERIFY(scanner.groups().isEmpty());
    QCOMPARE(scanner.statusText(), QStringLiteral("No se encontraron duplicados."));
    QCOMPARE(scanner.completedScanCount(), 1);
}

void TestDuplicateScanner::keeperOrderAndRecommendedCopies()
{
    TestEnvironment env;
    TreeBuilder tree(env.home());
    makeFile(tree, "a/2021.bin", 10 * MiB, 4);
    makeFile(tree, "b/2020.bin", 10 * MiB, 4);
    makeFile(tree, "c/nodate.bin", 10 * MiB, 4);
    tree.setModificationTime("a/2021.bin", QDateTime(QDate(2021, 5, 1), QTime(0, 0), Qt::UTC));
    tree.setModificationTime("b/2020.bin", QDateTime(QDate(2020, 5, 1), QTime(0, 0), Qt::UTC));
    DuplicateScanner scanner;
    scanAndWait(scanner, env.home());
    QCOMPARE(scanner.groups().size(), 1);
    const DuplicateFileItem keeper = *DuplicateOrder::keeper(scanner.groups().first());
    QCOMPARE(keeper.name, QStringLiteral("2020.bin"));
    QVERIFY(scanner.isKeeper(keeper));
    scanner.selectRecommendedCopies();
    QCOMPARE(scanner.selectedFileIDs().size(), 2);
    QVERIFY(!scanner.selectedFileIDs().contains(keeper.id()));
    QCOMPARE(scanner.statusText(), QStringLiteral("2 copia(s) seleccionadas automáticamente."));
    scanner.toggleSelection(keeper);
    QVERIFY(!scanner.selectedFileIDs().contains(keeper.id()));
    QCOMPARE(scanner.statusText(),
             QStringLiteral("El archivo marcado como CONSERVAR está protegido."));

    // Undated files go last; equal dates fall to the name, then to the folder.
    DuplicateFileItem undated{"/x/a", "a", "/x", 1, std::nullopt, {}};
    DuplicateFileItem dated{"/y/z", "z", "/y", 1, 1000, {}};
    QVERIFY(DuplicateOrder::keeperBefore(dated, undated));
    DuplicateFileItem first{"/b/a.bin", "a.bin", "/b", 1, 5, {}},
        second{"/a/b.bin", "b.bin", "/a", 1, 5, {}};
    QVERIFY(DuplicateOrder::keeperBefore(first, second));
    DuplicateFileItem inA{"/a/same", "same", "/a", 1, 5, {}},
        inB{"/b/same", "same", "/b", 1, 5, {}};
    QVERIFY(DuplicateOrder::keeperBefore(inA, inB));
    // Canonically equivalent names are equal: é precomposed and decomposed.
    QCOMPARE(
        DuplicateOrder::compareCanonical(QStringLiteral("caf\u00e9"), QStringLiteral("cafe\u0301")),
        0);
}

void TestDuplicateScanner::groupOrderAndRefusalWhileScanning()
{
    TestEnvironment env;
    TreeBuilder tree(env.home());
    for (const char *d : {"a", "b", "c"})
        makeFile(tree, QString::fromLatin1(d) + "/twenty.bin", 20 * MiB, 11);
    for (const char *d : {"a", "b"})
        makeFile(tree, QString::fromLatin1(d) + "/fifty.bin", 50 * MiB, 12);
    DuplicateScanner scanner;
    scanner.scan(env.home(), 10);
    const QString working = scanner.statusText();
    QCOMPARE(working.startsWith(QStringLiteral("Buscando archivos duplicados en ")), true);
    QVERIFY(working.endsWith(QStringLiteral("…")));
    scanner.scan(tree.path("a"), 10);
    QCOMPARE(scanner.statusText(), QStringLiteral("Ya hay un análisis de duplicados en proceso."));
    QCOMPARE(scanner.selectedFolder(), env.home());
    QTRY_VERIFY_WITH_TIMEOUT(!scanner.isScanning(), 30000);
    QCOMPARE(scanner.groups().size(), 2);
    QCOMPARE(scanner.groups().first().files.first().name,
             QStringLiteral("fifty.bin")); // 50 MB > 40 MB
    QCOMPARE(scanner.recoverableSize(), 90 * MiB);
    QCOMPARE(scanner.completedScanCount(), 1);

    scanAndWait(scanner, tree.path("missing"));
    QCOMPARE(scanner.errorMessage(),
             QStringLiteral("No fue posible abrir la carpeta seleccionada."));
    QCOMPARE(scanner.statusText(), QStringLiteral("No fue posible completar el análisis."));
    QCOMPARE(scanner.completedScanCount(), 1);
    QVERIFY(scanner.groups().isEmpty());
}

void TestDuplicateScanner::moveRebuildsGroupsAndNeverTrashesTheKeeper()
{
    TestEnvironment env;
    TreeBuilder tree(env.home());
    for (const char *d : {"a", "b", "c"})
        makeFile(tree, QString::fromLatin1(d) + "/three.bin", 10 * MiB, 21);
    for (const char *d : {"a", "b", "c"})
        makeFile(tree, QString::fromLatin1(d) + "/other.bin", 11 * MiB, 22);
    tree.setModificationTime("a/three.bin", QDateTime::fromSecsSinceEpoch(1000000000));
    tree.setModificationTime("a/other.bin", QDateTime::fromSecsSinceEpoch(1000000000));
    DuplicateScanner scanner;
    scanAndWait(scanner, env.home());
    QCOMPARE(scanner.groups().size(), 2);

    // A keeper planted in the selection is dropped, never trashed.
    scanner.setSelectedFileIDs({tree.path("a/three.bin")});
    scanner.moveSelectedToTrash();
    QTRY_VERIFY_WITH_TIMEOUT(!scanner.isRemoving(), 10000);
    QCOMPARE(scanner.errorMessage(), QStringLiteral("Selecciona al menos un archivo duplicado."));
    QVERIFY(scanner.selectedFileIDs().isEmpty());
    QVERIFY(QFile::exists(tree.path("a/three.bin")));

    scanner.clearError();
    scanner.setSelectedFileIDs({tree.path("a/three.bin"), tree.path("b/three.bin"),
                                tree.path("c/three.bin"), tree.path("b/other.bin")});
    QFile::remove(tree.path("c/three.bin")); // gone: it cannot be moved
    scanner.moveSelectedToTrash();
    QTRY_VERIFY_WITH_TIMEOUT(!scanner.isRemoving(), 10000);
    QCOMPARE(scanner.errorMessage(), QStringLiteral("No fue posible mover: three.bin. Cambiaron "
                                                    "desde el análisis y no se tocaron: "
                                                    "three.bin."));
    QVERIFY(QFile::exists(tree.path("a/three.bin")));
    QVERIFY(QFile::exists(env.trashFiles() + "/three.bin"));
    // Group "three" keeps a and c (two files); group "other" keeps a and c too.
    QCOMPARE(scanner.groups().size(), 2);
    QCOMPARE(scanner.selectedFileIDs(), QSet<QString>({tree.path("c/three.bin")}));

    scanner.clearError();
    scanner.setSelectedFileIDs({tree.path("c/other.bin")});
    scanner.moveSelectedToTrash();
    QTRY_VERIFY_WITH_TIMEOUT(!scanner.isRemoving(), 10000);
    QCOMPARE(scanner.statusText(), QStringLiteral("1 duplicado(s) enviados a la Papelera."));
    QCOMPARE(scanner.groups().size(), 1); // one file left: the group is gone
}

void TestDuplicateScanner::uniqueSizesAreNeverOpened()
{
    TestEnvironment env;
    TreeBuilder tree(env.home());
    for (int i = 0; i < 20; ++i)
        tree.allocatedFile(QStringLiteral("small/s%1.bin").arg(i), 1 * MiB); // below the threshold
    for (int i = 0; i < 5; ++i)
        tree.allocatedFile(QStringLiteral("unique/u%1.bin").arg(i), (10 + i) * MiB + 4096 * i);
    makeFile(tree, "pair/a.bin", 16 * MiB, 30);
    makeFile(tree, "pair/b.bin", 16 * MiB, 31, -1);
    const qint64 before = ContentDigest::filesOpened();
    DuplicateScanner scanner;
    scanAndWait(scanner, env.home());
    // Only the two same-size files are opened, once for their ends; they differ
    // there, so neither is read in full.
    QCOMPARE(ContentDigest::filesOpened() - before, qint64(2));
    QVERIFY(scanner.groups().isEmpty());
}

void TestDuplicateScanner::sideBySideComparisonMatchesFullDigests()
{
    TestEnvironment env;
    TreeBuilder tree(env.home());
    const qint64 size = 3 * ContentDigest::kChunkBytes + 123; // a last, partial chunk
    QList<QString> paths{makeFile(tree, "0", size, 40),
                         makeFile(tree, "1", size, 40, size / 2),
                         makeFile(tree, "2", size, 40),
                         makeFile(tree, "3", size, 41),
                         makeFile(tree, "4", size, 40, size / 2),
                         makeFile(tree, "5", size, 40),
                         tree.path("missing")};
    const auto classes = ContentComparison::identicalContent(paths);
    QCOMPARE(classes.size(), size_t(2));
    QCOMPARE(classes[0].members, std::vector<int>({0, 2, 5}));
    QCOMPARE(classes[0].digest, *ContentDigest::fileHash(paths[0]));
    QCOMPARE(classes[1].members, std::vector<int>({1, 4}));
    QCOMPARE(classes[1].digest, *ContentDigest::fileHash(paths[1]));

    // More files than stay open at once, more contents than one pass holds
    // apart, all alike at both ends: the same answer, proven side by side.
    QList<QString> many;
    const qint64 manySize = 300 * 1024;
    // Past what stays open, even where the process may open more.
    const int alike = ContentComparison::kMaxOpenFiles + 40;
    for (int i = 0; i <= alike; ++i) {
        // Forty distinct middles, each on a tenth or so of the files, one file alone.
        const QString name = QStringLiteral("m%1").arg(i);
        if (i == alike)
            many << makeFile(tree, name, manySize, 60, manySize / 2 + 1);
        else
            many << makeFile(tree, name, manySize, 60, manySize / 3 + (i % 40) * 4099);
    }
    const auto sideBySide = ContentComparison::identicalContent(many);
    QCOMPARE(sideBySide.size(), size_t(40));
    for (const auto &same : sideBySide) {
        QCOMPARE(same.digest, *ContentDigest::fileHash(many[same.members.front()]));
        for (int member : same.members)
            QCOMPARE(member % 40, same.members.front() % 40);
        QCOMPARE(int(same.members.size()), alike / 40 + (same.members.front() % 40 < alike % 40));
    }
}

void TestDuplicateScanner::identicalContentGroupsWhateverItsBlocks()
{
    TestEnvironment env;
    TreeBuilder tree(env.home());
    // Both read as 11 MiB of zeros; one occupies all of it, the other ends in a hole.
    tree.allocatedFile("dense/zeros.bin", 11 * MiB);
    const QString holey = tree.allocatedFile("holey/zeros.bin", 10 * MiB + 512 * 1024);
    QFile f(holey);
    QVERIFY(f.open(QIODevice::ReadWrite) && f.resize(11 * MiB));
    f.close();
    DuplicateScanner scanner;
    scanAndWait(scanner, env.home());
    QCOMPARE(scanner.groups().size(), 1);
    QCOMPARE(scanner.groups().first().files.size(), 2);
}

void TestDuplicateScanner::stopPublishesOnlyProvenGroups()
{
    TestEnvironment env;
    TreeBuilder tree(env.home());
    // Twelve sets of three identical files, and for each a same-size stranger
    // that differs only near its end, so that sets are still open when stopped.
    for (int set = 0; set < 12; ++set)
        for (int copy = 0; copy < 4; ++copy)
            makeFile(tree, QStringLiteral("s%1/c%2.bin").arg(set).arg(copy), 12 * MiB + set,
                     quint32(set), copy == 3 ? 12 * MiB - 9 : -1);
    DuplicateScanner full;
    scanAndWait(full, env.home());
    QCOMPARE(full.groupCount(), 12);

    for (int attempt = 0; attempt < 3; ++attempt) {
        DuplicateScanner scanner;
        QSignalSpy count(&scanner, &ScannerBase::completedScanCountChanged);
        scanner.scan(env.home(), 10);
        QTest::qWait(attempt * 15);
        const bool stoppedInTime = scanner.isScanning();
        QVERIFY(attempt > 0 || stoppedInTime);
        scanner.stopScan();
        QTRY_VERIFY_WITH_TIMEOUT(count.count() == 1, 30000);
        if (stoppedInTime)
            QCOMPARE(
                scanner.statusText(),
                QStringLiteral("Análisis detenido: %1 duplicado(s) confirmados hasta el momento.")
                    .arg(scanner.duplicateFilesCount()));
        // Whatever was published is a whole, proven group of the full result.
        for (const DuplicateGroup &group : scanner.groups()) {
            QVERIFY(full.groups().contains(group));
            for (const DuplicateFileItem &file : group.files)
                QCOMPARE(ContentDigest::fileHash(file.url), std::optional<QString>(group.hash));
        }
    }
}

QTEST_GUILESS_MAIN(TestDuplicateScanner)
#include "tst_duplicatescanner.moc"
