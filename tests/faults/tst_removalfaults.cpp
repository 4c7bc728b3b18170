#include "CleanupScanner.h"
#include "ContentDigest.h"
#include "DuplicateScanner.h"
#include "TestEnvironment.h"
#include "TreeBuilder.h"
#include "UninstallerScanner.h"

#include <QAbstractItemModelTester>
#include <QDir>
#include <QProcess>
#include <QtTest>
#include <sys/stat.h>
#include <unistd.h>

// The scanners' removals when the disk changed after the scan, when a folder is
// reached twice, and when the Library's folders lead somewhere else.

namespace {

constexpr qint64 MiB = 1024 * 1024;

template <typename Scanner> bool settled(Scanner &scanner)
{
    return QTest::qWaitFor([&] { return !scanner.isScanning() && !scanner.isRemoving(); }, 30000);
}

// Starts a scan and waits until it has finished or failed.
template <typename Scanner, typename... Args> bool scanned(Scanner &scanner, Args... args)
{
    const int before = scanner.completedScanCount();
    scanner.scan(args...);
    return QTest::qWaitFor(
        [&] {
            return !scanner.isScanning() &&
                   (scanner.completedScanCount() > before || !scanner.errorMessage().isEmpty());
        },
        30000);
}

QStringList trashed(const TestEnvironment &env)
{
    return QDir(env.trashFiles())
        .entryList(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::System, QDir::Name);
}

} // namespace

class TestRemovalFaults : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void duplicatesAreCheckedAgainBeforeRemoval()
    {
        TestEnvironment env;
        TreeBuilder tree(env.home());
        // Four groups: a copy edited after the scan, a keeper deleted after the scan,
        // one left alone, and a keeper edited in place (same file, new contents).
        QStringList keepers, copies;
        for (int i = 0; i < 4; ++i) {
            keepers << QStringLiteral("Set/keeper%1.bin").arg(i);
            copies << QStringLiteral("Set/Copies/copy%1.bin").arg(i);
            tree.patternFile(keepers.last(), 11 * MiB + i, quint32(10 + i));
            tree.patternFile(copies.last(), 11 * MiB + i, quint32(10 + i));
            tree.setModificationTime(keepers.last(), QDateTime::currentDateTimeUtc().addDays(-30));
        }
        DuplicateScanner scanner;
        QAbstractItemModelTester tester(scanner.filesModel());
        QVERIFY(scanned(scanner, tree.path("Set"), 10));
        QCOMPARE(scanner.groups().size(), 4);
        scanner.selectRecommendedCopies();
        QCOMPARE(scanner.selectedFileIDs().size(), 4);

        const auto edit = [&](const QString &relative, qint64 at, int later) {
            QFile edited(tree.path(relative));
            QVERIFY(edited.open(QIODevice::ReadWrite) && edited.seek(at) &&
                    edited.write("changed"));
            edited.close();
            tree.setModificationTime(relative, QDateTime::currentDateTimeUtc().addSecs(later));
        };
        edit(copies[0], 5, 5);
        QVERIFY(QFile::remove(tree.path(keepers[1])));
        edit(keepers[3], 9, 7);
        scanner.moveSelectedToTrash();
        QVERIFY(settled(scanner));
        QCOMPARE(trashed(env), QStringList({"copy2.bin"}));
        // copy1 is now the last of its contents; keeper3 is no longer copy3's copy.
        for (const QString &kept : {copies[0], copies[1], keepers[2], copies[3]})
            QVERIFY2(QFile::exists(tree.path(kept)), qPrintable(kept));
        // Each copy that stayed is named once, in list order.
        const QStringList sentences = scanner.errorMessage().split(QStringLiteral(". "));
        QCOMPARE(sentences.size(), 2);
        QVERIFY(sentences[0].startsWith("No fue posible mover: "));
        QVERIFY(sentences[1].startsWith(
            QStringLiteral("Cambiaron desde el análisis y no se tocaron: ")));
        for (const QString &sentence : sentences) {
            QString list = sentence.mid(sentence.indexOf(':') + 2);
            list.chop(list.endsWith('.') ? 1 : 0);
            QStringList named = list.split(", ");
            named.sort();
            QCOMPARE(named, QStringList({"copy0.bin", "copy1.bin", "copy3.bin"}));
        }
        QCOMPARE(scanner.groups().size(), 3);
    }

    void pipesAndBindMountsMakeNoDuplicates()
    {
        TestEnvironment env;
        TreeBuilder tree(env.home());
        tree.patternFile("Set/Other/film.mov", 11 * MiB, 7);
        // A pipe where a file was listed never holds the reader.
        const QString fifo = tree.path("pipe.bin");
        QVERIFY(::mkfifo(QFile::encodeName(fifo).constData(), 0600) == 0);
        QCOMPARE(ContentDigest::openForReading(fifo), -1);
        QVERIFY(!ContentDigest::edgeFingerprint(fifo, 11 * MiB));

        // A folder reached twice through a bind mount is one folder.
        if (!runningAsRoot())
            QSKIP("bind mounts need root");
        const QString twice = tree.folder("Set/Twice");
        if (QProcess::execute("mount", {"--bind", tree.path("Set/Other"), twice}) != 0)
            QSKIP("this machine does not allow bind mounts");
        DuplicateScanner scanner;
        QAbstractItemModelTester tester(scanner.filesModel());
        const bool again = scanned(scanner, tree.path("Set"), 10);
        const bool grouped = !scanner.groups().isEmpty();
        unmount(twice);
        QVERIFY(again);
        QVERIFY2(!grouped, "a file reached through a bind mount is not its own duplicate");
    }

    void applicationsReachedTwiceAreOneApplication()
    {
        TestEnvironment env;
        TreeBuilder root(env.root());
        root.bundle("Applications/Quill.app", {{"CFBundleIdentifier", "com.quill"}}, false);
        // The home's Applications is a link to the system's.
        QVERIFY(QFile::link(env.root() + "/Applications", env.home() + "/Applications"));
        UninstallerScanner scanner;
        QAbstractItemModelTester tester(scanner.applicationsModel());
        QTRY_VERIFY_WITH_TIMEOUT(scanner.completedScanCount() == 1 && !scanner.isScanning(), 30000);
        QCOMPARE(scanner.applications().size(), 1);
        scanner.toggleSelection(scanner.applications().first());
        scanner.uninstallSelected();
        QVERIFY(settled(scanner));
        QCOMPARE(scanner.errorMessage(), QString());
        QCOMPARE(scanner.statusText(), QStringLiteral("1 aplicación(es) movidas a la Papelera."));
        QVERIFY(scanner.applications().isEmpty());
        QVERIFY(scanner.selectedApplicationIDs().isEmpty());
        QCOMPARE(trashed(env), QStringList({"Quill.app"}));
    }

    void cacheFolderLeadingToTheHomeIsNotAnalysed_data()
    {
        QTest::addColumn<bool>("toTheHome"); // else to a folder above it
        QTest::newRow("home") << true;
        QTest::newRow("above") << false;
    }

    void cacheFolderLeadingToTheHomeIsNotAnalysed()
    {
        QFETCH(bool, toTheHome);
        TestEnvironment env;
        TreeBuilder tree(env.home());
        tree.file("Documents/thesis.tex", "years of work");
        const QString caches = tree.folder("Library") + QStringLiteral("/Caches");
        const QString leadsTo = toTheHome ? env.home() : env.base();
        QVERIFY(QFile::link(leadsTo, caches));
        const auto refused = [](CleanupScanner &scanner) {
            return QTest::qWaitFor([&] { return !scanner.errorMessage().isEmpty(); }, 30000) &&
                   settled(scanner) &&
                   scanner.errorMessage().contains(QStringLiteral("carpeta de inicio"));
        };
        CleanupScanner scanner;
        QAbstractItemModelTester tester(scanner.itemsModel());
        QVERIFY2(refused(scanner), qPrintable(scanner.errorMessage()));
        // The link put in place after a good scan counts at the next scan.
        QFile::remove(caches);
        tree.file("Library/Caches/com.vendor.App/blob", "cache");
        QVERIFY(scanned(scanner));
        QCOMPARE(scanner.completedScanCount(), 1);
        QCOMPARE(scanner.items().size(), 1);
        QDir(caches).removeRecursively();
        QVERIFY(QFile::link(leadsTo, caches));
        scanner.scan();
        QVERIFY2(refused(scanner), qPrintable(scanner.errorMessage()));
        QVERIFY(scanner.items().isEmpty());
        QCOMPARE(scanner.completedScanCount(), 1);
        scanner.selectRecommended(QStringLiteral("Agresivo"));
        scanner.moveSelectedToTrash();
        QVERIFY(settled(scanner));
        QVERIFY(QFile::exists(tree.path("Documents/thesis.tex")));
        QVERIFY(trashed(env).isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestRemovalFaults)
#include "tst_removalfaults.moc"
