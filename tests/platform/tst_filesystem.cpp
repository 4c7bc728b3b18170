#include "FileSystem.h"
#include "FolderChooser.h"
#include "ItemMove.h"
#include "TestEnvironment.h"
#include "TreeBuilder.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QThread>
#include <QtTest>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

class TestFileSystem : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void listingAndValues();
    void moveNeverOverwrites();
    void moveAcrossFileSystems_data();
    void moveAcrossFileSystems();
    void folderChooserAnswersOnlyAChosenFolder();
};

namespace {

struct stat statusOf(const QString &path)
{
    struct stat st = {};
    lstat(QFile::encodeName(path).constData(), &st);
    return st;
}

} // namespace

void TestFileSystem::listingAndValues()
{
    TestEnvironment env;
    TreeBuilder tree(env.base() + QStringLiteral("/t"));
    tree.file(QStringLiteral("dir/nested.txt"));
    tree.file(QStringLiteral(".hidden"));
    const QString script = tree.file(QStringLiteral("run.sh"), "#!/bin/sh\n");
    const auto names = [&](bool skipHidden) {
        QStringList out;
        const auto listed = FileSystem::listDirectory(tree.root(), skipHidden);
        for (const EntryInfo &e : listed.value())
            out << e.name;
        out.sort();
        return out;
    };
    QCOMPARE(names(true), QStringList({"dir", "run.sh"}));
    QCOMPARE(names(false), QStringList({".hidden", "dir", "run.sh"}));
    QVERIFY(!FileSystem::listDirectory(tree.path("missing"), true).has_value());
    QVERIFY(!FileSystem::listDirectory(script, true).has_value());

    // A link is described, never followed.
    const QString link = tree.symlink(QStringLiteral("link"), script);
    const auto values = FileSystem::resourceValues(link);
    QVERIFY(values && values->isSymbolicLink && !values->isRegularFile);
    QCOMPARE(values->name, QStringLiteral("link"));
    QVERIFY(!FileSystem::resourceValues(tree.path("gone")).has_value());
    QVERIFY(FileSystem::fileExists(tree.symlink(QStringLiteral("dangling"), tree.path("gone"))));
    QVERIFY(!FileSystem::fileExists(tree.path("gone")));

    QVERIFY(!FileSystem::isExecutableFile(script));
    QFile::setPermissions(script, QFile::permissions(script) | QFileDevice::ExeOwner);
    QVERIFY(FileSystem::isExecutableFile(script));
    QVERIFY2(!FileSystem::isExecutableFile(tree.root()), "a folder is not an executable file");
}

void TestFileSystem::moveNeverOverwrites()
{
    TestEnvironment env;
    TreeBuilder tree(env.base() + QStringLiteral("/t"));
    const QString a = tree.file(QStringLiteral("a.txt"), "first");
    const QString b = tree.file(QStringLiteral("b.txt"), "second");
    QString error;
    QVERIFY(!FileSystem::moveItem(a, b, &error));
    QVERIFY(!error.isEmpty());
    QCOMPARE(fileContents(a), QByteArray("first"));
    QCOMPARE(fileContents(b), QByteArray("second"));

    const QString c = tree.path(QStringLiteral("sub/c.txt"));
    QVERIFY2(!FileSystem::moveItem(a, c), "a missing destination folder is not created");
    QVERIFY(FileSystem::createFolder(tree.path(QStringLiteral("sub/deeper"))));
    QVERIFY(FileSystem::moveItem(a, c));
    QVERIFY(!QFile::exists(a));
    QCOMPARE(fileContents(c), QByteArray("first"));
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

namespace {
class AnsweringChooser : public FolderChooser
{
public:
    QString answer;
    FolderRequest lastRequest;
    void choose(const FolderRequest &request, QObject *context, Answer onChosen) override
    {
        lastRequest = request;
        FolderChooser::choose(request, context, std::move(onChosen));
        answer.isNull() ? reject() : accept(answer);
    }
};
} // namespace

void TestFileSystem::folderChooserAnswersOnlyAChosenFolder()
{
    AnsweringChooser chooser;
    FolderChooser::setCurrent(&chooser);
    QObject context;
    QStringList chosen;
    const FolderRequest request{QStringLiteral("T"), QStringLiteral("M"), QStringLiteral("P")};
    // Cancelled, OK without a folder, then a folder as a URL.
    for (const QString &answer : {QString(), QString(""), QStringLiteral("file:///srv/a%20b")}) {
        chooser.answer = answer;
        FolderChooser::current()->choose(request, &context,
                                         [&](const QString &folder) { chosen << folder; });
    }
    QCOMPARE(chosen, QStringList({"/srv/a b"}));
    QCOMPARE(chooser.lastRequest.prompt, QStringLiteral("P"));

    FolderChooser::setCurrent(nullptr);
    FolderChooser *app = FolderChooser::current();
    QCOMPARE(FolderChooser::create(nullptr, nullptr), app);
    // The asker may be gone when the answer comes.
    auto *shortLived = new QObject;
    bool called = false;
    app->choose(request, shortLived, [&](const QString &) { called = true; });
    delete shortLived;
    app->accept(QStringLiteral("/srv"));
    QVERIFY(!called);
    QVERIFY(!app->isWaiting());
    // A request whose dialog went away unanswered never blocks the next one.
    QStringList answered;
    app->choose(request, &context, [&](const QString &f) { answered << "first " + f; });
    app->choose(request, &context, [&](const QString &f) { answered << "second " + f; });
    app->accept(QStringLiteral("/srv"));
    QCOMPARE(answered, QStringList({"second /srv"}));
    app->reject();
    QVERIFY(!app->isWaiting());
}

QTEST_GUILESS_MAIN(TestFileSystem)
#include "tst_filesystem.moc"
