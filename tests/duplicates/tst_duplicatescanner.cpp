#include "ContentComparison.h"
#include "ContentDigest.h"
#include "DuplicateScanner.h"
#include "ReadHook.h"
#include "TestEnvironment.h"
#include "TreeBuilder.h"
#include "WalkControl.h"
#include "WorkQueue.h"

#include <QAbstractItemModelTester>
#include <QFile>
#include <QtTest>
#include <algorithm>
#include <mutex>
#include <unistd.h>

namespace {

constexpr qint64 MiB = 1024 * 1024;

// A private home with a scanner whose list is watched by the model tester.
struct Home
{
    TestEnvironment env;
    TreeBuilder tree{env.home()};
    DuplicateScanner scanner;
    QAbstractItemModelTester tester{scanner.filesModel()};

    // A file of `bytes` with content from a seed; `patchAt` >= 0 changes one byte there.
    QString file(const QString &rel, qint64 bytes, quint32 seed, qint64 patchAt = -1)
    {
        const QString path = tree.patternFile(rel, bytes, seed);
        QFile f(path);
        if (patchAt >= 0 && f.open(QIODevice::ReadWrite) && f.seek(patchAt))
            f.write("!");
        return path;
    }
    bool scan(const QString &folder, int minimumMB = 10)
    {
        const int before = scanner.completedScanCount();
        scanner.scan(folder, minimumMB);
        return QTest::qWaitFor([&] { return !scanner.isScanning(); }, 30000) &&
               scanner.completedScanCount() == before + 1;
    }
    bool trash(const QSet<QString> &ids)
    {
        scanner.clearError();
        scanner.setSelectedFileIDs(ids);
        scanner.moveSelectedToTrash();
        return QTest::qWaitFor([&] { return !scanner.isRemoving(); }, 10000);
    }
    QStringList groupNames(int group) const
    {
        QStringList out;
        for (const DuplicateFileItem &f : scanner.groups().value(group).files)
            out << f.name;
        return out;
    }
};

// Stops a comparison at an exact read, as the stop button would: the n-th read
// at `offset`, of any file. The state stopped is the test's, or else that of
// the thread that read.
struct StopAt
{
    static inline qint64 offset = -1;
    static inline int nth = 0;
    static inline WalkControl::Handle state;
    static inline std::atomic<int> reads{0};

    static void hook(const QString &, qint64 at)
    {
        if (at != offset || ++reads != nth)
            return;
        if (const WalkControl::Handle s = state ? state : WalkControl::current()) {
            s->keepPartial.store(true);
            s->stop.store(true);
        }
    }
    // Until the returned guard goes.
    static auto install(qint64 atOffset, int atRead, WalkControl::Handle of = {})
    {
        offset = atOffset;
        nth = atRead;
        state = std::move(of);
        reads = 0;
        ContentComparisonTesting::setReadHook(&hook);
        return qScopeGuard([] {
            ContentComparisonTesting::setReadHook(nullptr);
            state.reset();
        });
    }
};

} // namespace

class TestDuplicateScanner : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void thresholdAndFilesNeverGrouped();
    void groupsByTheHashOfTheWholeFile();
    void keeperOrderAndRecommendedCopies();
    void groupOrderAndRefusalWhileScanning();
    void moveRebuildsGroupsAndNeverTrashesTheKeeper();
    void uniqueSizesAreNeverOpened();
    void sideBySideComparisonMatchesFullDigests();
    void filesThatDifferNearTheEndPartThere();
    void stoppedComparisonKeepsProvenSetsAndCountsEveryRead();
    void aClassOfManyContentsPartsWhateverTheWaves();
    void stoppedScanPublishesOnlyProvenGroups();
};

void TestDuplicateScanner::thresholdAndFilesNeverGrouped()
{
    for (qint64 mb : {1, 5, 0, -3, 10})
        QCOMPARE(DuplicateScanner::thresholdBytes(mb), qint64(10485760));
    QCOMPARE(DuplicateScanner::thresholdBytes(11), qint64(11534336));

    Home h;
    // All zeros: blocks on disk decide the threshold, content the groups, so a
    // file that ends in a hole is identical to one that does not.
    h.tree.allocatedFile("a/exact.bin", 10 * MiB);
    h.tree.allocatedFile("c/exact.bin", 10 * MiB);
    h.tree.allocatedFile("a/small.bin", 10 * MiB - 4096);
    h.tree.allocatedFile("b/small.bin", 10 * MiB - 4096);
    h.tree.allocatedFile("dense/zeros.bin", 11 * MiB);
    QVERIFY(
        QFile::resize(h.tree.allocatedFile("holey/zeros.bin", 10 * MiB + 512 * 1024), 11 * MiB));
    // Never hidden files, package contents, links or other names of one file.
    h.tree.allocatedFile(".hidden.bin", 10 * MiB);
    h.tree.allocatedFile("Tool.app/Contents/blob.bin", 10 * MiB);
    h.tree.symlink("link.bin", h.tree.path("a/exact.bin"));
    h.tree.folder("d");
    QVERIFY(::link(QFile::encodeName(h.tree.path("c/exact.bin")).constData(),
                   QFile::encodeName(h.tree.path("d/exact.bin")).constData()) == 0);
    QVERIFY(h.scan(h.env.home(), 3)); // 3 scans with 10
    QCOMPARE(h.scanner.groups().size(), 2);
    QCOMPARE(h.groupNames(0), QStringList({"zeros.bin", "zeros.bin"}));
    QCOMPARE(h.groupNames(1), QStringList({"exact.bin", "exact.bin"}));
    QCOMPARE(h.scanner.duplicateFilesCount(), 2);

    QVERIFY(h.scan(h.tree.path("a")));
    QVERIFY(h.scanner.groups().isEmpty());
    QCOMPARE(h.scanner.filesModel()->rowCount(), 0);
}

void TestDuplicateScanner::groupsByTheHashOfTheWholeFile()
{
    Home h;
    QCOMPARE(*ContentDigest::fileHash(h.tree.file("empty")),
             QStringLiteral("e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"));
    QCOMPARE(*ContentDigest::fileHash(h.tree.file("abc", "abc")),
             QStringLiteral("ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"));
    QVERIFY(!ContentDigest::fileHash(h.tree.path("missing")));
    for (const char *d : {"x", "y", "z"})
        h.file(QString::fromLatin1(d) + "/one.bin", 11 * MiB, 5);
    h.file("w/other.bin", 11 * MiB, 6);                  // same size, other content
    h.file("v/middle.bin", 11 * MiB, 5, 5 * MiB);        // differs only in the middle
    h.file("u/lastbyte.bin", 11 * MiB, 5, 11 * MiB - 1); // only in its last byte
    h.file("p/pair-a.bin", 12 * MiB, 7);
    h.file("q/pair-b.bin", 12 * MiB, 8); // same size, no group
    QVERIFY(h.scan(h.env.home()));
    QCOMPARE(h.scanner.groups().size(), 1);
    const DuplicateGroup group = h.scanner.groups().first();
    QCOMPARE(group.hash, *ContentDigest::fileHash(h.tree.path("x/one.bin")));
    // The digest too reads the middle, not only the ends.
    QVERIFY(group.hash != *ContentDigest::fileHash(h.tree.path("v/middle.bin")));
    QStringList folders;
    for (const DuplicateFileItem &f : group.files)
        folders << f.path;
    QCOMPARE(folders, QStringList({h.tree.path("x"), h.tree.path("y"), h.tree.path("z")}));
}

void TestDuplicateScanner::keeperOrderAndRecommendedCopies()
{
    Home h;
    for (const char *name : {"a/2021.bin", "b/2020.bin", "c/nodate.bin"})
        h.tree.allocatedFile(name, 10 * MiB);
    h.tree.setModificationTime("a/2021.bin", QDateTime(QDate(2021, 5, 1), QTime(0, 0), Qt::UTC));
    h.tree.setModificationTime("b/2020.bin", QDateTime(QDate(2020, 5, 1), QTime(0, 0), Qt::UTC));
    QVERIFY(h.scan(h.env.home()));
    QCOMPARE(h.scanner.groups().size(), 1);
    const DuplicateFileItem keeper = *DuplicateOrder::keeper(h.scanner.groups().first());
    QCOMPARE(keeper.name, QStringLiteral("2020.bin"));
    QVERIFY(h.scanner.isKeeper(keeper));
    h.scanner.clearSelection();
    h.scanner.selectRecommendedCopies();
    QCOMPARE(h.scanner.selectedFileIDs(),
             QSet<QString>({h.tree.path("a/2021.bin"), h.tree.path("c/nodate.bin")}));
    QCOMPARE(h.scanner.statusText(), QStringLiteral("2 copia(s) seleccionadas automáticamente."));
    h.scanner.toggleSelection(keeper);
    QVERIFY(!h.scanner.selectedFileIDs().contains(keeper.id()));
    QCOMPARE(h.scanner.statusText(),
             QStringLiteral("El archivo marcado como CONSERVAR está protegido."));

    // Oldest first, undated last; equal dates fall to the name, then to the folder.
    const DuplicateFileItem undated{"/x/a", "a", "/x", 1, std::nullopt, {}},
        dated{"/y/z", "z", "/y", 1, 1000, {}}, first{"/b/a.bin", "a.bin", "/b", 1, 5, {}},
        second{"/a/b.bin", "b.bin", "/a", 1, 5, {}}, inA{"/a/same", "same", "/a", 1, 5, {}},
        inB{"/b/same", "same", "/b", 1, 5, {}};
    for (const auto &[before, after] : {std::pair{dated, undated}, {first, second}, {inA, inB}}) {
        QVERIFY2(DuplicateOrder::keeperBefore(before, after), qPrintable(before.url));
        QVERIFY2(!DuplicateOrder::keeperBefore(after, before), qPrintable(after.url));
    }
    // Canonically equivalent names are equal: é precomposed and decomposed.
    QCOMPARE(
        DuplicateOrder::compareCanonical(QStringLiteral("caf\u00e9"), QStringLiteral("cafe\u0301")),
        0);
}

void TestDuplicateScanner::groupOrderAndRefusalWhileScanning()
{
    Home h;
    for (const char *d : {"a", "b", "c"})
        h.tree.allocatedFile(QString::fromLatin1(d) + "/twenty.bin", 20 * MiB);
    for (const char *d : {"a", "b"})
        h.tree.allocatedFile(QString::fromLatin1(d) + "/fifty.bin", 50 * MiB);
    h.scanner.scan(h.env.home(), 10);
    QVERIFY(h.scanner.statusText().startsWith(QStringLiteral("Buscando archivos duplicados en ")));
    h.scanner.scan(h.tree.path("a"), 10);
    QCOMPARE(h.scanner.statusText(),
             QStringLiteral("Ya hay un análisis de duplicados en proceso."));
    QCOMPARE(h.scanner.selectedFolder(), h.env.home());
    QTRY_VERIFY_WITH_TIMEOUT(!h.scanner.isScanning(), 30000);
    QCOMPARE(h.scanner.groups().size(), 2);
    QCOMPARE(h.groupNames(0).first(), QStringLiteral("fifty.bin")); // 50 MB > 40 MB
    QCOMPARE(h.scanner.recoverableSize(), 90 * MiB);
    QCOMPARE(h.scanner.completedScanCount(), 1);

    QVERIFY(!h.scan(h.tree.path("missing")));
    QCOMPARE(h.scanner.errorMessage(),
             QStringLiteral("No fue posible abrir la carpeta seleccionada."));
    QVERIFY(h.scanner.groups().isEmpty());
}

void TestDuplicateScanner::moveRebuildsGroupsAndNeverTrashesTheKeeper()
{
    Home h;
    for (const char *d : {"a", "b", "c"}) {
        h.tree.allocatedFile(QString::fromLatin1(d) + "/three.bin", 10 * MiB);
        h.tree.allocatedFile(QString::fromLatin1(d) + "/other.bin", 11 * MiB);
    }
    h.tree.setModificationTime("a/three.bin", QDateTime::fromSecsSinceEpoch(1000000000));
    h.tree.setModificationTime("a/other.bin", QDateTime::fromSecsSinceEpoch(1000000000));
    QVERIFY(h.scan(h.env.home()));
    QCOMPARE(h.scanner.groups().size(), 2);

    // A keeper planted in the selection is dropped, never trashed.
    QVERIFY(h.trash({h.tree.path("a/three.bin")}));
    QCOMPARE(h.scanner.errorMessage(), QStringLiteral("Selecciona al menos un archivo duplicado."));
    QVERIFY(h.scanner.selectedFileIDs().isEmpty());

    QFile::remove(h.tree.path("c/three.bin")); // gone: it cannot be moved
    QVERIFY(h.trash({h.tree.path("a/three.bin"), h.tree.path("b/three.bin"),
                     h.tree.path("c/three.bin"), h.tree.path("b/other.bin")}));
    QVERIFY(h.scanner.errorMessage().startsWith("No fue posible mover: three.bin."));
    QVERIFY(QFile::exists(h.tree.path("a/three.bin")));
    QVERIFY(QFile::exists(h.env.trashFiles() + "/three.bin"));
    // Both groups keep a and c.
    QCOMPARE(h.groupNames(0), QStringList({"other.bin", "other.bin"}));
    QCOMPARE(h.groupNames(1), QStringList({"three.bin", "three.bin"}));
    QCOMPARE(h.scanner.selectedFileIDs(), QSet<QString>({h.tree.path("c/three.bin")}));

    QVERIFY(h.trash({h.tree.path("c/other.bin")}));
    QCOMPARE(h.scanner.groups().size(), 1); // one file left: the group is gone
    QCOMPARE(h.scanner.filesModel()->rowCount(), 2);
}

void TestDuplicateScanner::uniqueSizesAreNeverOpened()
{
    Home h;
    for (int i = 0; i < 20; ++i)
        h.tree.allocatedFile(QStringLiteral("small/s%1.bin").arg(i),
                             1 * MiB); // below the threshold
    for (int i = 0; i < 5; ++i)
        h.tree.allocatedFile(QStringLiteral("unique/u%1.bin").arg(i), (10 + i) * MiB + 4096 * i);
    h.file("pair/a.bin", 16 * MiB, 30);
    h.file("pair/b.bin", 16 * MiB, 31);
    const qint64 before = ContentDigest::filesOpened();
    QVERIFY(h.scan(h.env.home()));
    // Only the two same-size files are opened, once for their ends; they differ
    // there, so neither is read in full.
    QCOMPARE(ContentDigest::filesOpened() - before, qint64(2));
    QVERIFY(h.scanner.groups().isEmpty());
}

void TestDuplicateScanner::sideBySideComparisonMatchesFullDigests()
{
    Home h;
    const qint64 size = 3 * ContentDigest::kChunkBytes + 123; // a last, partial chunk
    QList<QString> paths;
    for (const auto &[seed, patch] :
         {std::pair{40, false}, {40, true}, {40, false}, {41, false}, {40, true}, {40, false}})
        paths << h.file(QString::number(paths.size()), size, quint32(seed), patch ? size / 2 : -1);
    paths << h.tree.path("missing");
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
    const int alike = ContentComparison::kMaxOpenFiles + 40;
    for (int i = 0; i <= alike; ++i) // forty distinct middles, one file alone
        many << h.file(QStringLiteral("m%1").arg(i), manySize, 60,
                       i == alike ? manySize / 2 + 1 : manySize / 3 + (i % 40) * 4099);
    const auto sideBySide = ContentComparison::identicalContent(many);
    QCOMPARE(sideBySide.size(), size_t(40));
    for (const auto &same : sideBySide) {
        QCOMPARE(same.digest, *ContentDigest::fileHash(many[same.members.front()]));
        for (int member : same.members)
            QCOMPARE(member % 40, same.members.front() % 40);
        QCOMPARE(int(same.members.size()), alike / 40 + (same.members.front() % 40 < alike % 40));
    }
}

// The offsets each file was read at.
struct Reads
{
    static inline std::mutex lock;
    static inline QHash<QString, QList<qint64>> at;
    static void hook(const QString &path, qint64 offset)
    {
        const std::lock_guard guard(lock);
        at[path] << offset;
    }
    // Read between the first 64 KiB and the last MiB.
    static bool middleRead(const QString &path, qint64 size)
    {
        return std::any_of(at[path].begin(), at[path].end(),
                           [size](qint64 o) { return o >= 64 * 1024 && o < size - MiB; });
    }
};

void TestDuplicateScanner::filesThatDifferNearTheEndPartThere()
{
    // One class alike at both 4 KiB edges: three differ within the last MiB,
    // one two MiB before the end, and a pair is identical.
    Home h;
    const qint64 size = 9 * MiB;
    QList<QString> paths;
    for (const qint64 patch : {size - 10 * 1024, size - 100 * 1024, size - 900 * 1024,
                               size - 2 * MiB, qint64(-1), qint64(-1)})
        paths << h.file(QString::number(paths.size()), size, 70, patch);
    Reads::at.clear();
    ContentComparisonTesting::setReadHook(&Reads::hook);
    const auto unhook = qScopeGuard([] { ContentComparisonTesting::setReadHook(nullptr); });
    const auto classes = ContentComparison::identicalContent(paths);
    QCOMPARE(classes.size(), size_t(1));
    QCOMPARE(classes[0].members, std::vector<int>({4, 5}));
    QCOMPARE(classes[0].digest, *ContentDigest::fileHash(paths[4]));
    // Those that differ near the end part there: the nearest after its last
    // 64 KiB alone, the others after the first 64 KiB too; only what is alike
    // over both ends' windows goes through the middle.
    QVERIFY(!Reads::at[paths[0]].contains(0));
    for (int i = 0; i < 3; ++i)
        QVERIFY2(!Reads::middleRead(paths[i], size), qPrintable(paths[i]));
    QVERIFY(Reads::middleRead(paths[3], size));
}

void TestDuplicateScanner::aClassOfManyContentsPartsWhateverTheWaves()
{
    // 300 files of one size: 130 contents twice each, the second copy 130 files
    // later (in a later wave of reads), and 40 alone; far more contents than
    // one pass keeps by their bytes.
    Home h;
    QList<QString> paths;
    for (int j = 0; j < 300; ++j)
        paths << h.file(QStringLiteral("f%1").arg(j), 64 * 1024,
                        quint32(j < 260 ? 1 + j % 130 : 1000 + j));
    const std::vector<ContentComparison::IdenticalFiles> classes =
        ContentComparison::identicalContent(paths);
    QCOMPARE(classes.size(), size_t(130));
    for (const ContentComparison::IdenticalFiles &same : classes) {
        QCOMPARE(same.members.size(), size_t(2));
        QCOMPARE(same.members[1], same.members[0] + 130);
        QCOMPARE(same.digest, *ContentDigest::fileHash(paths[same.members[0]]));
    }
}

void TestDuplicateScanner::stoppedComparisonKeepsProvenSetsAndCountsEveryRead()
{
    // Three small files are proven at their end, long before sixteen larger ones
    // reach theirs; the stop comes with the third read at the larger ones' end,
    // while the others of that read are handed out to the pool's threads.
    Home h;
    QList<QString> paths;
    for (int i = 0; i < 3; ++i)
        paths << h.file(QStringLiteral("small%1").arg(i), 256 * 1024, 1);
    for (int i = 0; i < 16; ++i)
        paths << h.file(QStringLiteral("large%1").arg(i), 1 * MiB, 2);
    const WalkControl::Handle state = WalkControl::make();
    const auto hook = StopAt::install(1 * MiB, 3, state);
    std::vector<ContentComparison::IdenticalFiles> classes;
    {
        const WalkControl::Scope scope(state);
        classes = ContentComparison::identicalContent(paths);
    }
    // Only what was proven: the small ones, whole, with their digest.
    QCOMPARE(classes.size(), size_t(1));
    QCOMPARE(classes[0].members, std::vector<int>({0, 1, 2}));
    QCOMPARE(classes[0].digest, *ContentDigest::fileHash(paths[0]));
    // Every byte read is counted, whichever thread read it...
    QCOMPARE(state->bytes.load(), 3 * 256 * 1024 + 16 * MiB);
    // ...and no thread reads on once the stop is seen: besides the three, at
    // most one read already under way on each other thread.
    QVERIFY2(StopAt::reads.load() <= 3 + WorkPool::threadCount() - 1,
             qPrintable(QString::number(StopAt::reads.load())));
}

void TestDuplicateScanner::stoppedScanPublishesOnlyProvenGroups()
{
    // Three identical files of one size and eight of another; the stop comes
    // with the third read at the eight's end, as if the user pressed it then.
    Home h;
    for (int i = 0; i < 3; ++i)
        h.tree.allocatedFile(QStringLiteral("three/c%1.bin").arg(i), 10 * MiB);
    for (int i = 0; i < 8; ++i)
        h.tree.allocatedFile(QStringLiteral("eight/c%1.bin").arg(i), 11 * MiB);
    DuplicateScanner full;
    full.scan(h.env.home(), 10);
    QTRY_COMPARE_WITH_TIMEOUT(full.completedScanCount(), 1, 30000);
    QCOMPARE(full.groupCount(), 2);

    const auto hook = StopAt::install(11 * MiB, 3);
    QVERIFY(h.scan(h.env.home()));
    // Whatever was published is a whole, proven group of the full result; the
    // eight were not proven.
    QVERIFY(h.scanner.groupCount() <= 1);
    for (const DuplicateGroup &group : h.scanner.groups()) {
        QVERIFY(full.groups().contains(group));
        QCOMPARE(group.files.size(), 3);
    }
    h.scanner.selectRecommendedCopies(); // the report still says the result is partial
    QCOMPARE(h.scanner.statusText(),
             QStringLiteral("Análisis detenido: %1 copia(s) seleccionadas de los duplicados "
                            "confirmados hasta el momento.")
                 .arg(h.scanner.duplicateFilesCount()));
    QCOMPARE(h.scanner.selectedCount(), h.scanner.duplicateFilesCount());
}

QTEST_GUILESS_MAIN(TestDuplicateScanner)
#include "tst_duplicatescanner.moc"
