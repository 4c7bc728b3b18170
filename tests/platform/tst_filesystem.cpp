#include "FileLocation.h"
#include "FileSystem.h"
#include "FileWalker.h"
#include "FolderChooser.h"
#include "ItemMove.h"
#include "TestEnvironment.h"
#include "TreeBuilder.h"

#include <QFile>
#include <QTemporaryDir>
#include <QThread>
#include <QtTest>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

// Walks, listings and moves over trees with links, packages, names that are
// not UTF-8, entries that vanish or cannot be read, and a second file system.
class TestFileSystem : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void walkOrderOptionsAndLinks();
    void sizesAndDates();
    void namesThatAreNotUtf8AreNeverConfused();
    void entryVanishingMidWalkIsReported();
    void unreadableFoldersAreLeftOut();
    void moveAcrossFileSystems_data();
    void moveAcrossFileSystems();
    void folderChooserAnswersOnlyAChosenFolder();
};

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

struct stat statusOf(const QString &path)
{
    struct stat st = {};
    lstat(QFile::encodeName(path).constData(), &st);
    return st;
}

} // namespace

void TestFileSystem::walkOrderOptionsAndLinks()
{
    TestEnvironment env;
    TreeBuilder tree(env.base() + QStringLiteral("/t"));
    tree.bundle(QStringLiteral("Apps/Editor.app"), {{"CFBundleIdentifier", "com.x"}}, false);
    tree.file(QStringLiteral("Apps/Tool.APP/inside.txt")); // the extension's case does not matter
    tree.file(QStringLiteral(".cache/deep/file.bin"));
    tree.file(QStringLiteral("b/z.txt"));
    tree.file(QStringLiteral("b/a.txt"));
    const QString file = tree.file(QStringLiteral("a.txt"));
    tree.file(QStringLiteral("c/skipme/deep.txt"));
    // Links are handed out as links, never followed: not into a loop, not to a
    // file, not nowhere.
    tree.symlink(QStringLiteral("b/loop"), tree.path(QStringLiteral("b")));
    tree.symlink(QStringLiteral("toFile"), file);
    tree.symlink(QStringLiteral("dangling"), tree.path(QStringLiteral("nowhere")));

    // Depth first, each folder's entries in byte order of their names.
    const Seen all = walk(tree.root());
    QVERIFY(all.opened && all.errors.isEmpty());
    QCOMPARE(all.paths, QStringList({".cache",
                                     ".cache/deep",
                                     ".cache/deep/file.bin",
                                     "Apps",
                                     "Apps/Editor.app",
                                     "Apps/Editor.app/Contents",
                                     "Apps/Editor.app/Contents/Info.plist",
                                     "Apps/Editor.app/Contents/MacOS",
                                     "Apps/Editor.app/Contents/MacOS/Editor",
                                     "Apps/Tool.APP",
                                     "Apps/Tool.APP/inside.txt",
                                     "a.txt",
                                     "b",
                                     "b/a.txt",
                                     "b/loop",
                                     "b/z.txt",
                                     "c",
                                     "c/skipme",
                                     "c/skipme/deep.txt",
                                     "dangling",
                                     "toFile"}));
    QCOMPARE(all.byPath.value("a.txt").level, 1);
    QCOMPARE(all.byPath.value("b/z.txt").level, 2);
    QVERIFY(all.byPath.value(".cache").isHidden);
    const EntryInfo app = all.byPath.value(QStringLiteral("Apps/Editor.app"));
    QVERIFY(app.isDirectory && app.isPackage && !app.isRegularFile);
    for (const char *link : {"dangling", "b/loop", "toFile"}) {
        const EntryInfo e = all.byPath.value(QString::fromLatin1(link));
        QVERIFY2(e.isSymbolicLink && !e.isRegularFile && !e.isDirectory, link);
    }

    const Seen skipping =
        walk(tree.root(), SkipPackageContents | SkipHiddenFiles, [](const EntryInfo &e) {
            return e.name == QLatin1String("skipme") ? FileWalker::Action::SkipDescendants
                                                     : FileWalker::Action::Continue;
        });
    QCOMPARE(skipping.paths,
             QStringList({"Apps", "Apps/Editor.app", "Apps/Tool.APP", "a.txt", "b", "b/a.txt",
                          "b/loop", "b/z.txt", "c", "c/skipme", "dangling", "toFile"}));
    QCOMPARE(walk(tree.root(), SkipHiddenFiles).paths, all.paths.mid(3));
    const Seen first =
        walk(tree.root(), 0, [](const EntryInfo &) { return FileWalker::Action::Stop; });
    QCOMPARE(first.paths, QStringList({".cache"}));
    // An empty folder opens and yields nothing: a result, not an error.
    const Seen empty = walk(TreeBuilder(env.base() + QStringLiteral("/empty")).root());
    QVERIFY(empty.opened && empty.paths.isEmpty());
    QVERIFY(!walk(tree.path(QStringLiteral("missing"))).opened);
    QVERIFY2(!walk(file).opened, "a file is not a folder to walk");

    // A listing is one level, hidden names left out when asked.
    const auto names = [&](bool skipHidden) {
        QStringList out;
        const auto listed = FileSystem::listDirectory(tree.root(), skipHidden);
        for (const EntryInfo &e : listed.value())
            out << e.name;
        out.sort();
        return out;
    };
    QCOMPARE(names(true), QStringList({"Apps", "a.txt", "b", "c", "dangling", "toFile"}));
    QCOMPARE(names(false), QStringList{".cache"} + names(true));
    QVERIFY(!FileSystem::listDirectory(tree.path("missing"), true).has_value());
    QVERIFY(!FileSystem::listDirectory(file, true).has_value());
    const auto values = FileSystem::resourceValues(tree.path(QStringLiteral("toFile")));
    QVERIFY(values && values->isSymbolicLink && !values->isRegularFile);
    QCOMPARE(values->name, QStringLiteral("toFile"));
    QVERIFY(!FileSystem::resourceValues(tree.path("nowhere")).has_value());
}

void TestFileSystem::sizesAndDates()
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

void TestFileSystem::namesThatAreNotUtf8AreNeverConfused()
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

void TestFileSystem::entryVanishingMidWalkIsReported()
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

void TestFileSystem::unreadableFoldersAreLeftOut()
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

void TestFileSystem::moveAcrossFileSystems_data()
{
    // What happens to the original once it is copied, before it is checked
    // again; and what the move must then say changed.
    QTest::addColumn<QString>("change");
    QTest::addColumn<QByteArray>("changedPath"); // null: the move goes through
    QTest::newRow("none") << QString() << QByteArray();
    // Only the change time tells: same length, same modification time.
    QTest::newRow("rewritten in place, times put back") << "rewrite" << QByteArray("run.sh");
    QTest::newRow("an entry added") << "add" << QByteArray("new.txt");
}

void TestFileSystem::moveAcrossFileSystems()
{
    QFETCH(QString, change);
    QFETCH(QByteArray, changedPath);
    TestEnvironment env;
    TreeBuilder tree(env.home());
    // The second file system: /dev/shm, or a tmpfs of our own where /dev/shm is
    // on the same one.
    QTemporaryDir shm(QStringLiteral("/dev/shm/velmora-move-XXXXXX"));
    QString other = shm.path();
    if (!shm.isValid() || statusOf(other).st_dev == statusOf(env.base()).st_dev) {
        other = env.base() + QStringLiteral("/other");
        QString why;
        if (!mountTmpfs(other, QStringLiteral("4m"), &why))
            QSKIP(qPrintable(QStringLiteral("only one file system: ") + why));
    }
    const QByteArray script("#!/bin/sh\necho hello\n");
    const QString run = tree.executableFile(QStringLiteral("Tool/run.sh"), script);
    const QString secret = tree.file(QStringLiteral("Tool/data/secret.txt"), "secret");
    tree.symlink(QStringLiteral("Tool/link"), QStringLiteral("run.sh"));
    ::chmod(QFile::encodeName(secret).constData(), 0600);
    ::chmod(QFile::encodeName(tree.path("Tool/data")).constData(), 0750);
    tree.setModificationTime(QStringLiteral("Tool/run.sh"), QDateTime::fromSecsSinceEpoch(1e9));
    const struct stat seenRun = statusOf(run);

    const int from = ::open(QFile::encodeName(env.home()).constData(), O_RDONLY | O_DIRECTORY);
    const int to = ::open(QFile::encodeName(other).constData(), O_RDONLY | O_DIRECTORY);
    const ItemMove::Result result =
        ItemMove::move(from, "Tool", statusOf(tree.path("Tool")), to, "Tool", ".Tool.part", [&] {
            if (change == QLatin1String("add"))
                tree.file(QStringLiteral("Tool/new.txt"));
            // Rewritten until the change time has moved on from what was copied.
            for (int i = 0; change == QLatin1String("rewrite") && i < 1000; ++i) {
                const int fd = ::open(QFile::encodeName(run).constData(), O_WRONLY);
                QByteArray edited = script;
                edited.replace("hello", "HELLO");
                ::pwrite(fd, edited.constData(), size_t(edited.size()), 0);
                const struct timespec times[2] = {seenRun.st_atim, seenRun.st_mtim};
                ::futimens(fd, times);
                ::close(fd);
                const struct stat now = statusOf(run);
                if (now.st_ctim.tv_sec != seenRun.st_ctim.tv_sec ||
                    now.st_ctim.tv_nsec != seenRun.st_ctim.tv_nsec)
                    break;
                QThread::msleep(1);
            }
        });
    ::close(from);
    ::close(to);
    const QString moved = other + QStringLiteral("/Tool");
    QVERIFY(!QFile::exists(other + QStringLiteral("/.Tool.part")));
    if (!changedPath.isNull()) {
        // Called off: the original stays whole, nothing arrives.
        QVERIFY(!result.moved);
        QCOMPARE(result.error, ESTALE);
        QCOMPARE(result.changedPath, changedPath);
        QVERIFY(!QFile::exists(moved));
        QCOMPARE(fileContents(secret), QByteArray("secret"));
        QCOMPARE(statusOf(run).st_size, seenRun.st_size);
        return;
    }
    QVERIFY(result.moved && !result.originalLeft);
    QVERIFY(!QFile::exists(tree.path("Tool")));
    // The copy keeps every mode, the times and the link as a link.
    const struct stat arrived = statusOf(moved + QStringLiteral("/run.sh"));
    QCOMPARE(arrived.st_mode & 07777, seenRun.st_mode & 07777);
    QCOMPARE(arrived.st_mode & 07777, mode_t(0755));
    QCOMPARE(arrived.st_mtim.tv_sec, seenRun.st_mtim.tv_sec);
    QCOMPARE(statusOf(moved + QStringLiteral("/data")).st_mode & 07777, mode_t(0750));
    QCOMPARE(statusOf(moved + QStringLiteral("/data/secret.txt")).st_mode & 07777, mode_t(0600));
    QCOMPARE(fileContents(moved + QStringLiteral("/run.sh")), script);
    QCOMPARE(fileContents(moved + QStringLiteral("/data/secret.txt")), QByteArray("secret"));
    QCOMPARE(QFile::symLinkTarget(moved + QStringLiteral("/link")),
             moved + QStringLiteral("/run.sh"));
    if (other != shm.path())
        unmount(other);
}

void TestFileSystem::folderChooserAnswersOnlyAChosenFolder()
{
    FolderChooser *app = FolderChooser::current();
    QCOMPARE(FolderChooser::create(nullptr, nullptr), app);
    QObject context;
    QStringList answered;
    const FolderRequest request{QStringLiteral("T"), QStringLiteral("M"), QStringLiteral("P")};
    QSignalSpy asked(app, &FolderChooser::requested);
    const auto ask = [&](const QString &tag) {
        app->choose(request, &context, [&answered, tag](const QString &f) { answered << tag + f; });
    };
    // Cancelled, OK without a folder, then a folder as a URL.
    ask("cancelled ");
    app->reject();
    ask("empty ");
    app->accept(QString(""));
    ask("url ");
    app->accept(QStringLiteral("file:///srv/a%20b"));
    QCOMPARE(answered, QStringList({"url /srv/a b"}));
    QCOMPARE(asked.first(), QVariantList({"T", "M", "P"})); // to the dialog, in order
    // A request whose dialog went away unanswered never blocks the next one.
    ask("first ");
    ask("second ");
    app->accept(QStringLiteral("/srv"));
    QCOMPARE(answered.last(), QStringLiteral("second /srv"));
    // The asker may be gone when the answer comes.
    auto *shortLived = new QObject;
    bool called = false;
    app->choose(request, shortLived, [&](const QString &) { called = true; });
    delete shortLived;
    app->accept(QStringLiteral("/srv"));
    QVERIFY(!called);
    QVERIFY(!app->isWaiting());
}

QTEST_GUILESS_MAIN(TestFileSystem)
#include "tst_filesystem.moc"
