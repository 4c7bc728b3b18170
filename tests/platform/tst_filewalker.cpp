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
    QStringList paths; // relative to the root
    QHash<QString, EntryInfo> byPath;
    QStringList errors;
};

Seen walk(const QString &root, int options, bool *opened = nullptr,
          const std::function<FileWalker::Action(const EntryInfo &)> &also = {})
{
    Seen seen;
    const bool ok = FileWalker::walk(
        root, options,
        [&](const EntryInfo &e) {
            const QString rel = e.path.mid(root.size() + 1);
            seen.paths << rel;
            seen.byPath.insert(rel, e);
            return also ? also(e) : FileWalker::Action::Continue;
        },
        [&](const QString &path, int) { seen.errors << path; });
    if (opened)
        *opened = ok;
    return seen;
}

} // namespace

class TestFileWalker : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void rootThatCannotBeOpened();
    void packagesAndHiddenEntriesFollowTheOptions();
    void orderLevelsAndSkipDescendants();
    void linksAreHandedOutButNeverFollowed();
    void sizesAndDates();
    void namesThatAreNotUtf8AreNeverConfused();
    void entryVanishingMidWalkIsSkipped();
    void unreadableSubfolderIsLeftOut();
};

void TestFileWalker::rootThatCannotBeOpened()
{
    TestEnvironment env;
    TreeBuilder tree(env.base() + QStringLiteral("/t"));
    bool opened = true;
    walk(tree.path(QStringLiteral("missing")), 0, &opened);
    QVERIFY(!opened);
    const QString file = tree.file(QStringLiteral("plain.txt"), "x");
    walk(file, 0, &opened);
    QVERIFY2(!opened, "a file is not a folder to walk");
    // An empty folder opens and yields nothing: that is a result, not an error.
    walk(tree.folder(QStringLiteral("empty")), 0, &opened);
    QVERIFY(opened);
}

void TestFileWalker::packagesAndHiddenEntriesFollowTheOptions()
{
    TestEnvironment env;
    TreeBuilder tree(env.base() + QStringLiteral("/t"));
    tree.bundle(QStringLiteral("Apps/Editor.app"),
                {{QStringLiteral("CFBundleIdentifier"), QStringLiteral("com.x")}}, false);
    tree.file(QStringLiteral("Apps/Tool.APP/inside.txt"), "x"); // extension case does not matter
    tree.file(QStringLiteral(".secret"), "x");
    tree.file(QStringLiteral(".cache/deep/file.bin"), "x");
    tree.file(QStringLiteral("visible.txt"), "x");

    const Seen none = walk(tree.root(), 0);
    QVERIFY(none.paths.contains(QStringLiteral("Apps/Editor.app/Contents/Info.plist")));
    QVERIFY(none.paths.contains(QStringLiteral(".cache/deep/file.bin")));
    QVERIFY(none.byPath.value(QStringLiteral(".secret")).isHidden);

    const Seen six = walk(tree.root(), SkipPackageContents | SkipHiddenFiles);
    QCOMPARE(six.paths,
             QStringList({QStringLiteral("Apps"), QStringLiteral("Apps/Editor.app"),
                          QStringLiteral("Apps/Tool.APP"), QStringLiteral("visible.txt")}));
    const EntryInfo app = six.byPath.value(QStringLiteral("Apps/Editor.app"));
    QVERIFY(app.isDirectory);
    QVERIFY(app.isPackage);
    QVERIFY(!app.isRegularFile);

    const Seen hiddenOnly = walk(tree.root(), SkipHiddenFiles);
    QVERIFY(hiddenOnly.paths.contains(QStringLiteral("Apps/Tool.APP/inside.txt")));
    for (const QString &p : hiddenOnly.paths)
        QVERIFY2(!p.contains(QLatin1String("/.")) && !p.startsWith(QLatin1Char('.')),
                 qPrintable(p));
}

void TestFileWalker::orderLevelsAndSkipDescendants()
{
    TestEnvironment env;
    TreeBuilder tree(env.base() + QStringLiteral("/t"));
    tree.file(QStringLiteral("b/z.txt"));
    tree.file(QStringLiteral("b/a.txt"));
    tree.file(QStringLiteral("a.txt"));
    tree.file(QStringLiteral("c/skipme/deep.txt"));
    tree.file(QStringLiteral("c/keep.txt"));

    const Seen seen = walk(tree.root(), 0, nullptr, [](const EntryInfo &e) {
        return e.name == QLatin1String("skipme") ? FileWalker::Action::SkipDescendants
                                                 : FileWalker::Action::Continue;
    });
    // Depth first, each folder's entries in byte order of their names.
    QCOMPARE(seen.paths,
             QStringList({"a.txt", "b", "b/a.txt", "b/z.txt", "c", "c/keep.txt", "c/skipme"}));
    QCOMPARE(seen.byPath.value("a.txt").level, 1);
    QCOMPARE(seen.byPath.value("b/z.txt").level, 2);

    int visits = 0;
    walk(tree.root(), 0, nullptr, [&](const EntryInfo &) {
        ++visits;
        return FileWalker::Action::Stop;
    });
    QCOMPARE(visits, 1);
}

void TestFileWalker::linksAreHandedOutButNeverFollowed()
{
    TestEnvironment env;
    TreeBuilder tree(env.base() + QStringLiteral("/t"));
    tree.file(QStringLiteral("real/data.txt"), "hello");
    tree.symlink(QStringLiteral("real/loop"), tree.path(QStringLiteral("real")));
    tree.symlink(QStringLiteral("toFile"), tree.path(QStringLiteral("real/data.txt")));
    tree.symlink(QStringLiteral("dangling"), tree.path(QStringLiteral("nowhere")));

    const Seen seen = walk(tree.root(), 0);
    QCOMPARE(seen.paths, QStringList({"dangling", "real", "real/data.txt", "real/loop", "toFile"}));
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

    const Seen seen = walk(tree.root(), 0);
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
    // Two names that decode to the same replacement text if decoded lossily.
    for (const char *raw : {"/\xff.bin", "/\xfe.bin"}) {
        const int fd = ::open((root + raw).constData(), O_WRONLY | O_CREAT, 0644);
        QVERIFY(fd >= 0);
        ::close(fd);
    }
    QVERIFY(::mkdir((root + "/dir\xff").constData(), 0755) == 0);
    tree.file(QStringLiteral("placeholder"));
    const int fd = ::open((root + "/dir\xff/inside.txt").constData(), O_WRONLY | O_CREAT, 0644);
    QVERIFY(fd >= 0);
    ::close(fd);

    const Seen seen = walk(tree.root(), 0);
    QByteArrayList named;
    for (const QString &path : seen.paths)
        named << FileLocation::encode(path);
    QCOMPARE(named, QByteArrayList({"dir\xff", "dir\xff/inside.txt", "l\xc3\xadnea\nnueva.txt",
                                    "ok.bin", "placeholder", "\xfe.bin", "\xff.bin"}));
    QVERIFY(seen.errors.isEmpty());
    QCOMPARE(seen.byPath.value("línea\nnueva.txt").fileSize, qint64(2));
}

void TestFileWalker::entryVanishingMidWalkIsSkipped()
{
    TestEnvironment env;
    TreeBuilder tree(env.base() + QStringLiteral("/t"));
    tree.file(QStringLiteral("a.txt"));
    const QString doomed = tree.file(QStringLiteral("b.txt"));
    tree.file(QStringLiteral("c.txt"));
    // The folder was listed before a.txt is handed out; b.txt goes in between.
    const Seen seen = walk(tree.root(), 0, nullptr, [&](const EntryInfo &e) {
        if (e.name == QLatin1String("a.txt"))
            QFile::remove(doomed);
        return FileWalker::Action::Continue;
    });
    QCOMPARE(seen.paths, QStringList({"a.txt", "c.txt"}));
    QCOMPARE(seen.errors, QStringList({doomed}));
}

void TestFileWalker::unreadableSubfolderIsLeftOut()
{
    if (runningAsRoot() && qEnvironmentVariableIsEmpty("VELMORA_UNPRIVILEGED_RERUN")) {
        QString reason, output;
        const bool passed = rerunUnprivileged("unreadableSubfolderIsLeftOut", &reason, &output);
        if (!reason.isEmpty())
            QSKIP(qPrintable(reason));
        QVERIFY2(passed, qPrintable(output));
        return;
    }
    TestEnvironment env;
    TreeBuilder tree(env.base() + QStringLiteral("/t"));
    tree.file(QStringLiteral("a/before.txt"));
    tree.file(QStringLiteral("locked/secret.txt"));
    tree.file(QStringLiteral("z/after.txt"));
    QVERIFY(::chmod(QFile::encodeName(tree.path("locked")).constData(), 0) == 0);
    const Seen seen = walk(tree.root(), 0);
    ::chmod(QFile::encodeName(tree.path("locked")).constData(), 0755);
    QCOMPARE(seen.paths, QStringList({"a", "a/before.txt", "locked", "z", "z/after.txt"}));
    QVERIFY(!seen.byPath.value("locked").isReadable);
    QCOMPARE(seen.errors, QStringList({tree.path("locked")}));

    bool opened = true;
    ::chmod(QFile::encodeName(tree.path("locked")).constData(), 0);
    walk(tree.path("locked"), 0, &opened);
    ::chmod(QFile::encodeName(tree.path("locked")).constData(), 0755);
    QVERIFY2(!opened, "an unreadable root is one that cannot be opened");
}

QTEST_GUILESS_MAIN(TestFileWalker)
#include "tst_filewalker.moc"
