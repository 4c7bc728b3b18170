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

QStringList paths(const char *spaced)
{
    return QString::fromUtf8(spaced).split(QLatin1Char(' '));
}

struct stat statusOf(const QString &path)
{
    struct stat st = {};
    lstat(QFile::encodeName(path).constData(), &st);
    return st;
}

} // namespace

class TestFileSystem : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void walkOrderOptionsAndLinks()
    {
        TestEnvironment env;
        TreeBuilder tree(env.base() + "/t");
        tree.bundle("Apps/Editor.app", {{"CFBundleIdentifier", "com.x"}}, false);
        tree.file("Apps/Tool.APP/inside.txt"); // the extension's case does not matter
        tree.file(".cache/deep/file.bin");
        tree.file("b/z.txt");
        tree.file("b/a.txt");
        const QString file = tree.file("a.txt");
        tree.file("c/skipme/deep.txt");
        // Links are handed out as links, never followed: not into a loop, not to a
        // file, not nowhere.
        tree.symlink("b/loop", tree.path("b"));
        tree.symlink("toFile", file);
        tree.symlink("dangling", tree.path("nowhere"));

        // Depth first, each folder's entries in byte order of their names.
        const Seen all = walk(tree.root());
        QVERIFY(all.opened && all.errors.isEmpty());
        const QString app = "Apps/Editor.app", contents = app + "/Contents";
        QCOMPARE(all.paths,
                 QStringList({".cache", ".cache/deep", ".cache/deep/file.bin", "Apps", app,
                              contents, contents + "/Info.plist", contents + "/MacOS",
                              contents + "/MacOS/Editor"}) +
                     paths("Apps/Tool.APP Apps/Tool.APP/inside.txt a.txt b b/a.txt "
                           "b/loop b/z.txt c c/skipme c/skipme/deep.txt dangling toFile"));
        QCOMPARE(all.byPath.value("a.txt").level, 1);
        QCOMPARE(all.byPath.value("b/z.txt").level, 2);
        QVERIFY(all.byPath.value(".cache").isHidden);
        const EntryInfo package = all.byPath.value(app);
        QVERIFY(package.isDirectory && package.isPackage && !package.isRegularFile);
        for (const char *link : {"dangling", "b/loop", "toFile"}) {
            const EntryInfo e = all.byPath.value(QString::fromLatin1(link));
            QVERIFY2(e.isSymbolicLink && !e.isRegularFile && !e.isDirectory, link);
        }

        const Seen skipping =
            walk(tree.root(), SkipPackageContents | SkipHiddenFiles, [](const EntryInfo &e) {
                return e.name == QLatin1String("skipme") ? FileWalker::Action::SkipDescendants
                                                         : FileWalker::Action::Continue;
            });
        QCOMPARE(skipping.paths, paths("Apps Apps/Editor.app Apps/Tool.APP a.txt b b/a.txt "
                                       "b/loop b/z.txt c c/skipme dangling toFile"));
        QCOMPARE(walk(tree.root(), SkipHiddenFiles).paths, all.paths.mid(3));
        const Seen first =
            walk(tree.root(), 0, [](const EntryInfo &) { return FileWalker::Action::Stop; });
        QCOMPARE(first.paths, QStringList({".cache"}));
        // An empty folder opens and yields nothing: a result, not an error.
        const Seen empty = walk(TreeBuilder(env.base() + "/empty").root());
        QVERIFY(empty.opened && empty.paths.isEmpty());
        QVERIFY(!walk(tree.path("missing")).opened);
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
        QCOMPARE(names(true), paths("Apps a.txt b c dangling toFile"));
        QCOMPARE(names(false), QStringList{".cache"} + names(true));
        QVERIFY(!FileSystem::listDirectory(tree.path("missing"), true).has_value());
        QVERIFY(!FileSystem::listDirectory(file, true).has_value());
        const auto values = FileSystem::resourceValues(tree.path("toFile"));
        QVERIFY(values && values->isSymbolicLink && !values->isRegularFile);
        QCOMPARE(values->name, QStringLiteral("toFile"));
        QVERIFY(!FileSystem::resourceValues(tree.path("nowhere")).has_value());
    }

    void namesSizesAndEntriesThatVanish()
    {
        TestEnvironment env;
        TreeBuilder tree(env.base() + "/t");
        tree.sparseFile("sparse.img", 50 * 1024 * 1024);
        tree.allocatedFile("full.img", 3 * 1024 * 1024);
        tree.file("a.txt", "abc");
        const QDateTime when = QDateTime::fromSecsSinceEpoch(1600000000, Qt::UTC).addMSecs(250);
        QVERIFY(tree.setModificationTime("a.txt", when));
        const QString doomed = tree.file("b.txt");
        tree.file(QStringLiteral("línea\nnueva.txt"), "nl"); // valid UTF-8 with a newline
        const QByteArray root = QFile::encodeName(tree.root());
        QVERIFY(::mkdir((root + "/dir\xff").constData(), 0755) == 0);
        // Two names that decode to the same replacement text if decoded lossily.
        for (const char *raw : {"/\xff.bin", "/\xfe.bin", "/dir\xff/inside.txt"})
            QVERIFY(::close(::open((root + raw).constData(), O_WRONLY | O_CREAT, 0644)) == 0);

        // The folder was listed before a.txt is handed out; b.txt goes in between.
        const Seen seen = walk(tree.root(), 0, [&](const EntryInfo &e) {
            if (e.name == QLatin1String("a.txt"))
                QFile::remove(doomed);
            return FileWalker::Action::Continue;
        });
        QCOMPARE(seen.errors, QStringList({doomed}));
        QByteArrayList named;
        for (const QString &path : seen.paths)
            named << FileLocation::encode(path);
        QCOMPARE(named,
                 QByteArrayList({"a.txt", "dir\xff", "dir\xff/inside.txt", "full.img",
                                 "l\xc3\xadnea\nnueva.txt", "sparse.img", "\xfe.bin", "\xff.bin"}));
        QCOMPARE(seen.byPath.value(QStringLiteral("línea\nnueva.txt")).fileSize, qint64(2));
        const EntryInfo sparse = seen.byPath.value("sparse.img");
        QCOMPARE(sparse.fileSize, qint64(50 * 1024 * 1024));
        QVERIFY2(sparse.allocatedSize < 1024 * 1024, "a sparse file occupies almost nothing");
        QVERIFY(seen.byPath.value("full.img").allocatedSize >= 3 * 1024 * 1024);
        const EntryInfo dated = seen.byPath.value("a.txt");
        QCOMPARE(dated.fileSize, qint64(3));
        QVERIFY(dated.isRegularFile && dated.isReadable && !dated.isHidden);
        QCOMPARE(dated.modificationTimeMs.value_or(-1), when.toMSecsSinceEpoch());
    }

    void unreadableFoldersAreLeftOut()
    {
        VELMORA_RERUN_UNPRIVILEGED();
        TestEnvironment env;
        TreeBuilder tree(env.base() + "/t");
        tree.file("a/before.txt");
        tree.file("locked/secret.txt");
        tree.file("z/after.txt");
        const QByteArray locked = QFile::encodeName(tree.path("locked"));
        QVERIFY(::chmod(locked.constData(), 0) == 0);
        const Seen seen = walk(tree.root());
        const bool rootOpened = walk(tree.path("locked")).opened;
        ::chmod(locked.constData(), 0755);
        QCOMPARE(seen.paths, paths("a a/before.txt locked z z/after.txt"));
        QVERIFY(!seen.byPath.value("locked").isReadable);
        QCOMPARE(seen.errors, QStringList({tree.path("locked")}));
        QVERIFY2(!rootOpened, "an unreadable root is one that cannot be opened");
    }

    void moveAcrossFileSystems_data()
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

    void moveAcrossFileSystems()
    {
        QFETCH(QString, change);
        QFETCH(QByteArray, changedPath);
        TestEnvironment env;
        TreeBuilder tree(env.home());
        // The second file system: /dev/shm, or a tmpfs of our own where /dev/shm is
        // on the same one.
        QTemporaryDir shm("/dev/shm/velmora-move-XXXXXX");
        QString other = shm.path();
        if (!shm.isValid() || statusOf(other).st_dev == statusOf(env.base()).st_dev) {
            other = env.base() + "/other";
            QString why;
            if (!mountTmpfs(other, "4m", &why))
                QSKIP(qPrintable("only one file system: " + why));
        }
        const QByteArray script("#!/bin/sh\necho hello\n");
        const QString run = tree.executableFile("Tool/run.sh", script);
        const QString secret = tree.file("Tool/data/secret.txt", "secret");
        tree.symlink("Tool/link", "run.sh");
        ::chmod(QFile::encodeName(secret).constData(), 0600);
        ::chmod(QFile::encodeName(tree.path("Tool/data")).constData(), 0750);
        tree.setModificationTime("Tool/run.sh", QDateTime::fromSecsSinceEpoch(1e9));
        const struct stat seenRun = statusOf(run);

        const int from = ::open(QFile::encodeName(env.home()).constData(), O_RDONLY | O_DIRECTORY);
        const int to = ::open(QFile::encodeName(other).constData(), O_RDONLY | O_DIRECTORY);
        const ItemMove::Result result = ItemMove::move(
            from, "Tool", statusOf(tree.path("Tool")), to, "Tool", ".Tool.part", [&] {
                if (change == "add")
                    tree.file("Tool/new.txt");
                // Rewritten until the change time has moved on from what was copied.
                for (int i = 0; change == "rewrite" && i < 1000; ++i) {
                    const int fd = ::open(QFile::encodeName(run).constData(), O_WRONLY);
                    ::pwrite(fd, "#!/bin/sh\necho HELLO\n", size_t(script.size()), 0);
                    const struct timespec times[2] = {seenRun.st_atim, seenRun.st_mtim};
                    ::futimens(fd, times);
                    ::close(fd);
                    const struct timespec changed = statusOf(run).st_ctim;
                    if (changed.tv_sec != seenRun.st_ctim.tv_sec ||
                        changed.tv_nsec != seenRun.st_ctim.tv_nsec)
                        break;
                    QThread::msleep(1);
                }
            });
        ::close(from);
        ::close(to);
        const QString moved = other + "/Tool";
        QVERIFY(!QFile::exists(other + "/.Tool.part"));
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
        const struct stat arrived = statusOf(moved + "/run.sh");
        QCOMPARE(arrived.st_mode & 07777, mode_t(0755));
        QCOMPARE(arrived.st_mtim.tv_sec, seenRun.st_mtim.tv_sec);
        QCOMPARE(statusOf(moved + "/data").st_mode & 07777, mode_t(0750));
        QCOMPARE(statusOf(moved + "/data/secret.txt").st_mode & 07777, mode_t(0600));
        QCOMPARE(fileContents(moved + "/run.sh"), script);
        QCOMPARE(fileContents(moved + "/data/secret.txt"), QByteArray("secret"));
        QCOMPARE(QFile::symLinkTarget(moved + "/link"), moved + "/run.sh");
        if (other != shm.path())
            unmount(other);
    }

    void folderChooserAnswersOnlyAChosenFolder()
    {
        FolderChooser *app = FolderChooser::current();
        QCOMPARE(FolderChooser::create(nullptr, nullptr), app);
        QObject context;
        QStringList answered;
        const FolderRequest request{"T", "M", "P"};
        QSignalSpy asked(app, &FolderChooser::requested);
        const auto ask = [&](const QString &tag) {
            app->choose(request, &context,
                        [&answered, tag](const QString &f) { answered << tag + f; });
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
};

QTEST_GUILESS_MAIN(TestFileSystem)
#include "tst_filesystem.moc"
