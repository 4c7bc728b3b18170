#include "FileLocation.h"
#include "FileWalker.h"
#include "TestEnvironment.h"
#include "TreeBuilder.h"

#include <QFile>
#include <QtTest>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

struct Seen
{
    bool opened = false;
    QStringList paths; // relative to the root
    QHash<QString, EntryInfo> byPath;
    QStringList errors;
};

Seen walk(const QString &root, int options = 0,
          const std::function<FileWalker::Action(const EntryInfo &)> &also = {})
{
    Seen seen;
    seen.opened = FileWalker::walk(
        root, options,
        [&](const EntryInfo &e) {
            const QString rel = e.path.mid(root.size() + 1);
            seen.paths << rel;
            seen.byPath.insert(rel, e);
            return also ? also(e) : FileWalker::Action::Continue;
        },
        [&](const QString &path, int) { seen.errors << path; });
    return seen;
}

} // namespace

class TestFileWalker : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void rootsThatOpenAndRootsThatDoNot();
    void optionsOrderLevelsAndActions();
    void linksAreHandedOutButNeverFollowed();
    void sizesAndDates();
    void namesThatAreNotUtf8AreNeverConfused();
    void entryVanishingMidWalkIsReported();
    void unreadableFoldersAreLeftOut();
};

void TestFileWalker::rootsThatOpenAndRootsThatDoNot()
{
    TestEnvironment env;
    TreeBuilder tree(env.base() + QStringLiteral("/t"));
    QVERIFY(!walk(tree.path(QStringLiteral("missing"))).opened);
    QVERIFY2(!walk(tree.file(QStringLiteral("plain.txt"), "x")).opened,
             "a file is not a folder to walk");
    // An empty folder opens and yields nothing: that is a result, not an error.
    const Seen empty = walk(tree.folder(QStringLiteral("empty")));
    QVERIFY(empty.opened && empty.paths.isEmpty());
}

void TestFileWalker::optionsOrderLevelsAndActions()
{
    TestEnvironment env;
    TreeBuilder tree(env.base() + QStringLiteral("/t"));
    tree.bundle(QStringLiteral("Apps/Editor.app"), {{"CFBundleIdentifier", "com.x"}}, false);
    tree.file(QStringLiteral("Apps/Tool.APP/inside.txt")); // the extension's case does not matter
    tree.file(QStringLiteral(".cache/deep/file.bin"));
    tree.file(QStringLiteral("b/z.txt"));
    tree.file(QStringLiteral("b/a.txt"));
    tree.file(QStringLiteral("a.txt"));
    tree.file(QStringLiteral("c/skipme/deep.txt"));

    // Depth first, each folder's entries in byte order of their names.
    const Seen all = walk(tree.root());
    QCOMPARE(
        all.paths,
        QStringList({".cache", ".cache/deep", ".cache/deep/file.bin", "Apps", "Apps/Editor.app",
                     "Apps/Editor.app/Contents", "Apps/Editor.app/Contents/Info.plist",
                     "Apps/Editor.app/Contents/MacOS", "Apps/Editor.app/Contents/MacOS/Editor",
                     "Apps/Tool.APP", "Apps/Tool.APP/inside.txt", "a.txt", "b", "b/a.txt",
                     "b/z.txt", "c", "c/skipme", "c/skipme/deep.txt"}));
    QCOMPARE(all.byPath.value("a.txt").level, 1);
    QCOMPARE(all.byPath.value("b/z.txt").level, 2);
    QVERIFY(all.byPath.value(".cache").isHidden);
    const EntryInfo app = all.byPath.value(QStringLiteral("Apps/Editor.app"));
    QVERIFY(app.isDirectory && app.isPackage && !app.isRegularFile);

    const Seen skipping =
        walk(tree.root(), SkipPackageContents | SkipHiddenFiles, [](const EntryInfo &e) {
            return e.name == QLatin1String("skipme") ? FileWalker::Action::SkipDescendants
                                                     : FileWalker::Action::Continue;
        });
    QCOMPARE(skipping.paths, QStringList({"Apps", "Apps/Editor.app", "Apps/Tool.APP", "a.txt", "b",
                                          "b/a.txt", "b/z.txt", "c", "c/skipme"}));
    const Seen hiddenOnly = walk(tree.root(), SkipHiddenFiles);
    QCOMPARE(hiddenOnly.paths, all.paths.mid(3));

    const Seen first =
        walk(tree.root(), 0, [](const EntryInfo &) { return FileWalker::Action::Stop; });
    QCOMPARE(first.paths, QStringList({".cache"}));
}

void TestFileWalker::linksAreHandedOutButNeverFollowed()
{
    TestEnvironment env;
    TreeBuilder tree(env.base() + QStringLiteral("/t"));
    tree.file(QStringLiteral("real/data.txt"), "hello");
    tree.symlink(QStringLiteral("real/loop"), tree.path(QStringLiteral("real")));
    tree.symlink(QStringLiteral("toFile"), tree.path(QStringLiteral("real/data.txt")));
    tree.symlink(QStringLiteral("dangling"), tree.path(QStringLiteral("nowhere")));

    const Seen seen = walk(tree.root());
    QCOMPARE(seen.paths, QStringList({"dangling", "real", "real/data.txt", "real/loop", "toFile"}));
    QVERIFY(seen.errors.isEmpty());
    for (const char *link : {"dangling", "real/loop", "toFile"}) {
        const EntryInfo e = seen.byPath.value(QString::fromLatin1(link));
        QVERIFY2(e.isSymbolicLink && !e.isRegularFile && !e.isDirectory, link);
    }
}

void TestFileWalker::sizesAndDates()
{
    TestEnvironment env;
    TreeBuilder tree(env.base() + QStringLiteral("/t"));
    tree.sparseFile(QStringLiteral("sparse.img"), 50 * 1024 * 1024);
    tree.allocatedFile(QStringLiteral("full.img"), 3 * 1024 * 1024);
    tree.file(QStringLiteral("dated.txt"), "abc");
    const QDateTime when = QDateTime::fromSecsSinceEpoch(1600000000, Qt::UTC).addMSecs(250);
    QVERIFY(tree.setModificationTime(QStringLiteral("dated.txt"), when));

    const Seen seen = walk(tree.root());
    const EntryInfo sparse = seen.byPath.value("sparse.img");
    QCOMPARE(sparse.fileSize, qint64(50 * 1024 * 1024));
    QVERIFY2(sparse.allocatedSize < 1024 * 1024, "a sparse file occupies almost nothing");
    QVERIFY(seen.byPath.value("full.img").allocatedSize >= 3 * 1024 * 1024);
    const EntryInfo dated = seen.byPath.value("dated.txt");
    QCOMPARE(dated.fileSize, qint64(3));
    QVERIFY(dated.isRegularFile && dated.isReadable && !dated.isHidden);
    QCOMPARE(dated.modificationTimeMs.value_or(-1), when.toMSecsSinceEpoch());
}

void TestFileWalker::namesThatAreNotUtf8AreNeverConfused()
{
    TestEnvironment env;
    TreeBuilder tree(env.base() + QStringLiteral("/t"));
    tree.file(QStringLiteral("ok.bin"), "ok");
    tree.file(QStringLiteral("línea\nnueva.txt"), "nl"); // valid UTF-8 with a newline
    const QByteArray root = QFile::encodeName(tree.root());
    QVERIFY(::mkdir((root + "/dir\xff").constData(), 0755) == 0);
    // Two names that decode to the same replacement text if decoded lossily.
    for (const char *raw : {"/\xff.bin", "/\xfe.bin", "/dir\xff/inside.txt"})
        QVERIFY(::close(::open((root + raw).constData(), O_WRONLY | O_CREAT, 0644)) == 0);

    const Seen seen = walk(tree.root());
    QByteArrayList named;
    for (const QString &path : seen.paths)
        named << FileLocation::encode(path);
    QCOMPARE(named, QByteArrayList({"dir\xff", "dir\xff/inside.txt", "l\xc3\xadnea\nnueva.txt",
                                    "ok.bin", "\xfe.bin", "\xff.bin"}));
    QVERIFY(seen.errors.isEmpty());
    QCOMPARE(seen.byPath.value("línea\nnueva.txt").fileSize, qint64(2));
}

void TestFileWalker::entryVanishingMidWalkIsReported()
{
    TestEnvironment env;
    TreeBuilder tree(env.base() + QStringLiteral("/t"));
    tree.file(QStringLiteral("a.txt"));
    const QString doomed = tree.file(QStringLiteral("b.txt"));
    tree.file(QStringLiteral("c.txt"));
    // The folder was listed before a.txt is handed out; b.txt goes in between.
    const Seen seen = walk(tree.root(), 0, [&](const EntryInfo &e) {
        if (e.name == QLatin1String("a.txt"))
            QFile::remove(doomed);
        return FileWalker::Action::Continue;
    });
    QCOMPARE(seen.paths, QStringList({"a.txt", "c.txt"}));
    QCOMPARE(seen.errors, QStringList({doomed}));
}

void TestFileWalker::unreadableFoldersAreLeftOut()
{
    VELMORA_RERUN_UNPRIVILEGED();
    TestEnvironment env;
    TreeBuilder tree(env.base() + QStringLiteral("/t"));
    tree.file(QStringLiteral("a/before.txt"));
    tree.file(QStringLiteral("locked/secret.txt"));
    tree.file(QStringLiteral("z/after.txt"));
    const QByteArray locked = QFile::encodeName(tree.path("locked"));
    QVERIFY(::chmod(locked.constData(), 0) == 0);
    const Seen seen = walk(tree.root());
    const bool rootOpened = walk(tree.path("locked")).opened;
    ::chmod(locked.constData(), 0755);
    QCOMPARE(seen.paths, QStringList({"a", "a/before.txt", "locked", "z", "z/after.txt"}));
    QVERIFY(!seen.byPath.value("locked").isReadable);
    QCOMPARE(seen.errors, QStringList({tree.path("locked")}));
    QVERIFY2(!rootOpened, "an unreadable root is one that cannot be opened");
}

QTEST_GUILESS_MAIN(TestFileWalker)
#include "tst_filewalker.moc"
