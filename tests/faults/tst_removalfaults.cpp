#include "CleanupScanner.h"
#include "ContentDigest.h"
#include "DuplicateScanner.h"
#include "StorageScanner.h"
#include "TestEnvironment.h"
#include "TreeBuilder.h"
#include "UninstallerScanner.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QtTest>
#include <sys/stat.h>
#include <unistd.h>

// The scanners' removals when the disk changed after the scan, when one file has
// several names, and when the Library's folders lead somewhere else. Each case
// checks what is on disk afterwards, not only the message.
class TestRemovalFaults : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void largeFileBehindASwappedFolderStays();
    void duplicatesAreCheckedAgainBeforeRemoval();
    void oneFileIsNeverItsOwnDuplicate();
    void pipesNeverHoldTheReader();
    void applicationsReachedTwiceAreOneApplication();
    void cacheFolderLeadingToTheHomeIsNotAnalysed();
};

namespace {

constexpr qint64 MiB = 1024 * 1024;

template <typename Scanner, typename Start> void scanAndWait(Scanner &scanner, Start start)
{
    const int before = scanner.completedScanCount();
    start();
    QTRY_VERIFY_WITH_TIMEOUT(!scanner.isScanning(), 30000);
    QVERIFY(scanner.completedScanCount() == before + 1 || !scanner.errorMessage().isEmpty());
}

QStringList trashed(const TestEnvironment &env)
{
    return QDir(env.trashFiles())
        .entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::System, QDir::Name);
}

} // namespace

void TestRemovalFaults::largeFileBehindASwappedFolderStays()
{
    TestEnvironment env;
    TreeBuilder tree(env.home());
    tree.allocatedFile(QStringLiteral("Scan/Videos/film.mov"), 2 * MiB);
    const QString precious = tree.allocatedFile(QStringLiteral("Precious/film.mov"), 2 * MiB);
    StorageScanner scanner;
    scanAndWait(scanner, [&] { scanner.scan(tree.path(QStringLiteral("Scan")), 1); });
    QCOMPARE(scanner.files().size(), 1);
    scanner.selectAll();
    QVERIFY(QDir().rename(tree.path(QStringLiteral("Scan/Videos")),
                          tree.path(QStringLiteral("Scan/Videos.old"))));
    // The link leads to the very file the scan saw: only never following links
    // keeps the removal from going through it.
    QVERIFY(QFile::link(tree.path(QStringLiteral("Scan/Videos.old")),
                        tree.path(QStringLiteral("Scan/Videos"))));
    scanner.moveSelectedToTrash();
    QTRY_VERIFY_WITH_TIMEOUT(!scanner.isRemoving(), 10000);
    QCOMPARE(scanner.errorMessage(),
             QStringLiteral("No fue posible mover: film.mov. Cambiaron desde el análisis y no se "
                            "tocaron: film.mov."));
    QVERIFY(QFile::exists(precious));
    QVERIFY(QFile::exists(tree.path(QStringLiteral("Scan/Videos.old/film.mov"))));
    QVERIFY(trashed(env).isEmpty());
    QCOMPARE(scanner.files().size(), 1);
    QCOMPARE(scanner.selectedCount(), 1);
}

void TestRemovalFaults::duplicatesAreCheckedAgainBeforeRemoval()
{
    TestEnvironment env;
    TreeBuilder tree(env.home());
    const QDateTime old = QDateTime::currentDateTimeUtc().addDays(-30);
    // Four groups: a copy edited after the scan, a keeper deleted after the scan,
    // one left alone, and a keeper edited in place (same file, new contents).
    struct Pair
    {
        QString keeper, copy;
    };
    QList<Pair> pairs;
    for (int i = 0; i < 4; ++i) {
        const QString k = QStringLiteral("Set/keeper%1.bin").arg(i);
        const QString c = QStringLiteral("Set/Copies/copy%1.bin").arg(i);
        pairs.append({tree.patternFile(k, 11 * MiB + i, quint32(10 + i)),
                      tree.patternFile(c, 11 * MiB + i, quint32(10 + i))});
        tree.setModificationTime(k, old);
    }
    DuplicateScanner scanner;
    scanAndWait(scanner, [&] { scanner.scan(tree.path(QStringLiteral("Set")), 10); });
    QCOMPARE(scanner.groups().size(), 4);
    scanner.selectRecommendedCopies();
    QCOMPARE(scanner.selectedFileIDs().size(), 4);

    {
        QFile edited(pairs[0].copy);
        QVERIFY(edited.open(QIODevice::ReadWrite));
        edited.seek(5);
        edited.write("changed");
    }
    struct stat st;
    QVERIFY(stat(QFile::encodeName(pairs[0].copy).constData(), &st) == 0);
    tree.setModificationTime(QStringLiteral("Set/Copies/copy0.bin"),
                             QDateTime::currentDateTimeUtc().addSecs(5));
    QVERIFY(QFile::remove(pairs[1].keeper));
    {
        QFile edited(pairs[3].keeper);
        QVERIFY(edited.open(QIODevice::ReadWrite));
        edited.seek(9);
        edited.write("rewritten");
    }
    tree.setModificationTime(QStringLiteral("Set/keeper3.bin"),
                             QDateTime::currentDateTimeUtc().addSecs(7));

    scanner.moveSelectedToTrash();

    QTRY_VERIFY_WITH_TIMEOUT(!scanner.isRemoving(), 10000);
    QCOMPARE(trashed(env), QStringList({"copy2.bin"}));
    QVERIFY(QFile::exists(pairs[0].copy));
    QVERIFY(QFile::exists(pairs[1].copy)); // now the last one left
    QVERIFY(QFile::exists(pairs[2].keeper));
    QVERIFY(QFile::exists(pairs[3].copy)); // its keeper is no longer its copy
    // Each copy that stayed is named once, in list order.
    const QString message = scanner.errorMessage();
    const QStringList sentences = message.split(QStringLiteral(". "));
    QVERIFY2(sentences.size() == 2 &&
                 sentences[0].startsWith(QStringLiteral("No fue posible mover: ")) &&
                 sentences[1].startsWith(
                     QStringLiteral("Cambiaron desde el análisis y no se tocaron: ")),
             qPrintable(message));
    for (const QString &sentence : sentences) {
        QString list = sentence.mid(sentence.indexOf(':') + 2);
        if (list.endsWith("bin."))
            list.chop(1);
        QStringList named = list.split(", ");
        named.sort();
        QCOMPARE(named, QStringList({"copy0.bin", "copy1.bin", "copy3.bin"}));
    }
    QCOMPARE(scanner.groups().size(), 3);
}

void TestRemovalFaults::oneFileIsNeverItsOwnDuplicate()
{
    TestEnvironment env;
    TreeBuilder tree(env.home());
    const QString file = tree.patternFile(QStringLiteral("Set/film.mov"), 11 * MiB, 7);
    tree.folder(QStringLiteral("Set/Other"));
    QVERIFY(::link(QFile::encodeName(file).constData(),
                   QFile::encodeName(tree.path(QStringLiteral("Set/Other/film-link.mov")))
                       .constData()) == 0);
    DuplicateScanner scanner;
    scanAndWait(scanner, [&] { scanner.scan(tree.path(QStringLiteral("Set")), 10); });
    QVERIFY2(scanner.groups().isEmpty(), "two names of one file are not duplicates");

    // A folder reached twice through a bind mount is one folder.
    if (!runningAsRoot())
        QSKIP("bind mounts need root");
    const QString twice = tree.folder(QStringLiteral("Set/Twice"));
    if (QProcess::execute(
            QStringLiteral("mount"),
            {QStringLiteral("--bind"), tree.path(QStringLiteral("Set/Other")), twice}) != 0)
        QSKIP("this machine does not allow bind mounts");
    scanAndWait(scanner, [&] { scanner.scan(tree.path(QStringLiteral("Set")), 10); });
    const bool grouped = !scanner.groups().isEmpty();
    QProcess::execute(QStringLiteral("umount"), {QStringLiteral("-l"), twice});
    QVERIFY2(!grouped, "a file reached through a bind mount is not its own duplicate");
}

void TestRemovalFaults::pipesNeverHoldTheReader()
{
    TestEnvironment env;
    TreeBuilder tree(env.home());
    const QString fifo = tree.path(QStringLiteral("pipe.bin"));
    QVERIFY(::mkfifo(QFile::encodeName(fifo).constData(), 0600) == 0);
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(ContentDigest::openForReading(fifo), -1);
    QVERIFY(!ContentDigest::edgeFingerprint(fifo, 11 * MiB));
    QVERIFY(timer.elapsed() < 2000);
}

void TestRemovalFaults::applicationsReachedTwiceAreOneApplication()
{
    TestEnvironment env;
    TreeBuilder root(env.root());
    root.bundle(QStringLiteral("Applications/Quill.app"),
                {{QStringLiteral("CFBundleIdentifier"), QStringLiteral("com.quill")}}, false);
    // The home's Applications is a link to the system's.
    QVERIFY(QFile::link(env.root() + QStringLiteral("/Applications"),
                        env.home() + QStringLiteral("/Applications")));
    UninstallerScanner scanner;
    QTRY_VERIFY_WITH_TIMEOUT(scanner.completedScanCount() == 1 && !scanner.isScanning(), 30000);
    QCOMPARE(scanner.applications().size(), 1);
    scanner.toggleSelection(scanner.applications().first());
    scanner.uninstallSelected();
    QTRY_VERIFY_WITH_TIMEOUT(!scanner.isRemoving(), 10000);
    QCOMPARE(scanner.errorMessage(), QString());
    QCOMPARE(scanner.statusText(), QStringLiteral("1 aplicación(es) movidas a la Papelera."));
    QVERIFY(scanner.applications().isEmpty());
    QVERIFY(scanner.selectedApplicationIDs().isEmpty());
    QCOMPARE(trashed(env), QStringList({"Quill.app"}));
}

void TestRemovalFaults::cacheFolderLeadingToTheHomeIsNotAnalysed()
{
    for (const QString &target : {QStringLiteral("home"), QStringLiteral("above")}) {
        TestEnvironment env;
        TreeBuilder tree(env.home());
        tree.file(QStringLiteral("Documents/thesis.tex"), "years of work");
        tree.folder(QStringLiteral("Library"));
        const QString leadsTo = target == QLatin1String("home") ? env.home() : env.base();
        QVERIFY(QFile::link(leadsTo, tree.path(QStringLiteral("Library/Caches"))));
        CleanupScanner scanner;
        QTRY_VERIFY_WITH_TIMEOUT(!scanner.errorMessage().isEmpty() && !scanner.isScanning(), 30000);
        QVERIFY2(scanner.errorMessage().contains(QStringLiteral("carpeta de inicio")),
                 qPrintable(scanner.errorMessage()));
        // The link put in place after a good scan counts at the next scan.
        QFile::remove(tree.path(QStringLiteral("Library/Caches")));
        tree.file(QStringLiteral("Library/Caches/com.vendor.App/blob"), "cache");
        scanner.scan();
        QTRY_VERIFY_WITH_TIMEOUT(scanner.completedScanCount() == 1 && !scanner.isScanning(), 30000);
        QCOMPARE(scanner.items().size(), 1);
        QDir(tree.path(QStringLiteral("Library/Caches"))).removeRecursively();
        QVERIFY(QFile::link(leadsTo, tree.path(QStringLiteral("Library/Caches"))));
        scanner.scan();
        QTRY_VERIFY_WITH_TIMEOUT(!scanner.errorMessage().isEmpty() && !scanner.isScanning(), 30000);
        QVERIFY2(scanner.errorMessage().contains(QStringLiteral("carpeta de inicio")),
                 qPrintable(scanner.errorMessage()));
        QVERIFY(scanner.items().isEmpty());
        QCOMPARE(scanner.completedScanCount(), 1);
        scanner.selectRecommended(QStringLiteral("Agresivo"));
        scanner.moveSelectedToTrash();
        QTRY_VERIFY_WITH_TIMEOUT(!scanner.isRemoving(), 10000);
        QVERIFY(QFile::exists(tree.path(QStringLiteral("Documents/thesis.tex"))));
        QVERIFY(trashed(env).isEmpty());
    }
}

QTEST_GUILESS_MAIN(TestRemovalFaults)
#include "tst_removalfaults.moc"
