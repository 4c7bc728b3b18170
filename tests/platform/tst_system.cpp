#include "DiskStatus.h"
#include "FileLocation.h"
#include "Formatters.h"
#include "Preferences.h"
#include "RunningApplications.h"
#include "SystemLayout.h"
#include "TestEnvironment.h"
#include "TreeBuilder.h"

#include <QProcess>
#include <QSettings>
#include <QtTest>
#include <cerrno>
#include <cstdio>
#include <functional>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

// What the platform layer reads from the system: places, names as bytes,
// running applications, the preference store, and how sizes and dates read.

namespace {

// TestEnvironment points XDG_CONFIG_HOME at <base>/config.
QString storePath(const TestEnvironment &env)
{
    return env.base() + QStringLiteral("/config/Velmora/Velmora.conf");
}

// Runs `body` in a child process that an alarm ends after ten seconds, so a
// preference call that blocks fails the test instead of hanging it. Gives the
// child's exit status, or minus the signal that ended it.
int inChild(const std::function<int()> &body)
{
    std::fflush(nullptr); // nothing buffered may be written twice
    const pid_t pid = fork();
    if (pid == 0) {
        alarm(10);
        _exit(body());
    }
    int status = 0;
    while (pid > 0 && waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    return pid < 0 ? -1000 : WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

// Writes the three kinds of value and reads them back: 0 when each read gives
// what `stored` says (the value written, or else the default), else the number
// of the first read that did not.
int writeAndRead(bool stored)
{
    const QString mode = QStringLiteral("velmora_cleanup_mode"), auto_ = QStringLiteral("auto");
    if (Preferences::contains(mode) || !Preferences::string(mode).isEmpty() ||
        Preferences::boolean(auto_) ||
        !Preferences::stringList(QStringLiteral("trusted")).isEmpty())
        return 1;
    Preferences::setString(mode, QStringLiteral("Agresivo"));
    Preferences::setBoolean(auto_, true);
    Preferences::setStringList(QStringLiteral("trusted"),
                               {QStringLiteral("a"), QStringLiteral("b")});
    if (Preferences::contains(mode) != stored)
        return 2;
    if (Preferences::string(mode) != (stored ? QStringLiteral("Agresivo") : QString()))
        return 3;
    if (Preferences::boolean(auto_) != stored)
        return 4;
    if (Preferences::stringList(QStringLiteral("trusted")).size() != (stored ? 2 : 0))
        return 5;
    return 0;
}

bool isFifo(const QString &path)
{
    struct stat st;
    return lstat(QFile::encodeName(path).constData(), &st) == 0 && S_ISFIFO(st.st_mode);
}

} // namespace

class TestSystem : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // First: QSettings settles the store's location on its first use in a process.
    void storedWhereQSettingsKeepsThem();
    void oddEntriesInPlaceOfTheStore_data();
    void oddEntriesInPlaceOfTheStore();
    void placesFollowTheEnvironment();
    void pathsSizesAndDatesAsText();
    void namesGoBackToTheirExactBytes_data();
    void namesGoBackToTheirExactBytes();
    void processStartedFromABundleIsAnApplication();
    void diskShare();
};

void TestSystem::storedWhereQSettingsKeepsThem()
{
    TestEnvironment env;
    QCOMPARE(writeAndRead(true), 0);
    // The same file QSettings("Velmora", "Velmora") uses, so earlier preferences
    // are still found.
    QSettings byName(QStringLiteral("Velmora"), QStringLiteral("Velmora"));
    QCOMPARE(byName.fileName(), storePath(env));
    QSettings byPath(storePath(env), QSettings::IniFormat);
    QCOMPARE(byPath.value(QStringLiteral("velmora_cleanup_mode")).toString(),
             QStringLiteral("Agresivo"));
    // A new private home starts with no preferences.
    TestEnvironment other;
    QVERIFY(!Preferences::contains(QStringLiteral("velmora_cleanup_mode")));
}

void TestSystem::oddEntriesInPlaceOfTheStore_data()
{
    // QSettings would block for ever opening a named pipe nobody writes to, and
    // QLockFile reads a lock file it finds in place. Every read then gives its
    // default and every write is dropped; a link to a regular file is followed.
    QTest::addColumn<QString>("pipe"); // where a named pipe is made, if anywhere
    QTest::addColumn<QString>("link"); // the store as a link to this, if given
    QTest::addColumn<bool>("stored");
    QTest::newRow("pipe") << "config/Velmora/Velmora.conf" << QString() << false;
    QTest::newRow("link to a pipe") << "pipe"
                                    << "pipe" << false;
    QTest::newRow("pipe as the lock") << "config/Velmora/Velmora.conf.lock" << QString() << false;
    QTest::newRow("link to a file") << QString() << "elsewhere/Velmora.conf" << true;
}

void TestSystem::oddEntriesInPlaceOfTheStore()
{
    QFETCH(QString, pipe);
    QFETCH(QString, link);
    QFETCH(bool, stored);
    TestEnvironment env;
    TreeBuilder tree(env.base());
    tree.folder(QStringLiteral("config/Velmora"));
    if (!pipe.isEmpty())
        QCOMPARE(mkfifo(QFile::encodeName(tree.path(pipe)).constData(), 0644), 0);
    if (!link.isEmpty()) {
        if (pipe.isEmpty())
            tree.file(link);
        tree.symlink(QStringLiteral("config/Velmora/Velmora.conf"), tree.path(link));
    }
    const int result = inChild([stored] { return writeAndRead(stored); });
    QVERIFY2(result != -SIGALRM, "a preference call blocked on the named pipe");
    QCOMPARE(result, 0);
    if (!pipe.isEmpty())
        QVERIFY2(isFifo(tree.path(pipe)), "the pipe was replaced");
    if (pipe.endsWith(QLatin1String(".lock")))
        QVERIFY(!QFile::exists(storePath(env)));
    if (stored)
        QCOMPARE(QSettings(tree.path(link), QSettings::IniFormat)
                     .value(QStringLiteral("velmora_cleanup_mode"))
                     .toString(),
                 QStringLiteral("Agresivo"));
}

void TestSystem::placesFollowTheEnvironment()
{
    TestEnvironment env;
    const QString root = env.root();
    QCOMPARE(SystemLayout::homeFolder(), env.home());
    QCOMPARE(SystemLayout::userCachesFolder(), env.home() + "/Library/Caches");
    QCOMPARE(SystemLayout::applicationSupportFolder(), env.home() + "/Library/Application Support");
    QCOMPARE(SystemLayout::systemApplicationsFolder(), root + "/Applications");
    QCOMPARE(SystemLayout::systemLibraryFolder(), root + "/Library");
    QCOMPARE(SystemLayout::pathRelativeToRoot(root + "/Applications/X.app"),
             QStringLiteral("/Applications/X.app"));
    QCOMPARE(SystemLayout::pathRelativeToRoot(root), QStringLiteral("/"));
    // A sibling folder that merely starts with the same letters is outside.
    QCOMPARE(SystemLayout::pathRelativeToRoot(root + "x/Library"), root + "x/Library");

    qputenv("VELMORA_ROOT", (root + "/").toUtf8());
    QCOMPARE(SystemLayout::systemRoot(), root);
    qunsetenv("VELMORA_ROOT");
    QCOMPARE(SystemLayout::systemApplicationsFolder(), QStringLiteral("/Applications"));
    QCOMPARE(SystemLayout::pathRelativeToRoot("/tmp/a/../b"), QStringLiteral("/tmp/b"));
    qunsetenv("HOME");
    QVERIFY2(!SystemLayout::homeFolder().isEmpty(), "without HOME the account's home is used");
}

void TestSystem::pathsSizesAndDatesAsText()
{
    using namespace FileLocation;
    using RunningApplications::bundleOfExecutable;
    const QLocale c = QLocale::c(), es(QLocale::Spanish, QLocale::Spain),
                  us(QLocale::English, QLocale::UnitedStates);
    const QDateTime when(QDate(2026, 11, 23), QTime(16, 5), Qt::LocalTime);
    const struct
    {
        QString text, expected;
    } rows[] = {
        {standardizedPath("/a/./b//c/../d"), "/a/b/d"},
        {lastPathComponent("/a/b/file.tar.gz"), "file.tar.gz"},
        {lastPathComponent("/a/b/"), "b"},
        {pathExtension("/a/b/file.tar.gz"), "gz"},
        {pathExtension("/a/.profile"), ""},
        {pathExtension("/a/Editor.app"), "app"},
        {deletingLastPathComponent("/a/b/c.txt"), "/a/b"},
        {deletingLastPathComponent("/c.txt"), "/"},
        {bundleOfExecutable("/Applications/Editor.app/Contents/MacOS/Editor"),
         "/Applications/Editor.app"},
        {bundleOfExecutable("/Applications/Editor.app/Contents/MacOS/Editor (deleted)"),
         "/Applications/Editor.app"},
        // The innermost bundle owns a helper application nested in another.
        {bundleOfExecutable("/A/Host.app/Contents/Helpers/Helper.app/Contents/MacOS/Helper"),
         "/A/Host.app/Contents/Helpers/Helper.app"},
        {bundleOfExecutable("/usr/bin/brew"), ""},
        {bundleOfExecutable("/A/Host.app/Contents/Resources/tool"), ""},
        {bundleOfExecutable("/A/Host.app/Contents/MacOS/sub/tool"), ""},
        // Sizes in decimal units, rounded, never "0 KB" for a byte, never "1000 KB".
        {Formatters::bytes(0, c), "0 KB"},
        {Formatters::bytes(-5, c), "0 KB"},
        {Formatters::bytes(1, c), "1 KB"},
        {Formatters::bytes(1000, c), "1 KB"},
        {Formatters::bytes(1499, c), "1 KB"},
        {Formatters::bytes(1500, c), "2 KB"},
        {Formatters::bytes(999499, c), "999 KB"},
        {Formatters::bytes(999999, c), "1 MB"},
        {Formatters::bytes(1000000, c), "1 MB"},
        {Formatters::bytes(1500000, c), "1.5 MB"},
        {Formatters::bytes(1048576, c), "1 MB"},
        {Formatters::bytes(12345678, c), "12.3 MB"},
        {Formatters::bytes(524288000, c), "524.3 MB"},
        {Formatters::bytes(999950000, c), "1 GB"},
        {Formatters::bytes(2345678901, c), "2.35 GB"},
        {Formatters::bytes(2500000000, c), "2.5 GB"},
        {Formatters::bytes(1500000000000, c), "1.5 TB"},
        {Formatters::bytes(5000000000000000, c), "5000 TB"},
        {Formatters::diskBytes(0, c), "0 GB"},
        {Formatters::diskBytes(500000000, c), "0.5 GB"},
        {Formatters::diskBytes(85312345678, c), "85.31 GB"},
        {Formatters::diskBytes(994000000000, c), "994 GB"},
        {Formatters::diskBytes(1234567890123, c), "1.23 TB"},
        // The decimal separator follows the locale; no grouping inside the number.
        {Formatters::bytes(1500000, es), "1,5 MB"},
        {Formatters::bytes(2345678901, es), "2,35 GB"},
        {Formatters::diskBytes(1234567890123, es), "1,23 TB"},
        {Formatters::bytes(5000000000000000, es), "5000 TB"},
        {Formatters::mediumDate(when, es), "23 nov 2026"},
        {Formatters::mediumDateTime(when, es), "23 nov 2026, 16:05"},
        {Formatters::mediumDate(when, us), "Nov 23, 2026"},
        {Formatters::mediumDate(QDateTime(), us), ""},
    };
    for (const auto &row : rows)
        QCOMPARE(row.text, row.expected);
    QVERIFY(Formatters::mediumDateTime(when, us).startsWith(QLatin1String("Nov 23, 2026, 4:05")));
    // Without a language (LANG unset) the time still has no seconds.
    QVERIFY(Formatters::mediumDateTime(when, c).endsWith(QLatin1String(":05")));
}

void TestSystem::namesGoBackToTheirExactBytes_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QString>("shown"); // what a screen shows
    QTest::newRow("ascii") << QByteArray("/a/b.txt") << QStringLiteral("/a/b.txt");
    QTest::newRow("valid UTF-8") << QByteArray("/caf\xc3\xa9 \xf0\x9f\x93\x81")
                                 << QStringLiteral("/café 📁");
    // U+10080: a pair whose second half lies where kept bytes are kept.
    QTest::newRow("pair like a kept byte")
        << QByteArray("\xf0\x90\x82\x80") << QString::fromUcs4(U"\U00010080", 1);
    QTest::newRow("lone bytes") << QByteArray("/caf\xe9\xff") << QStringLiteral("/caf\uFFFD\uFFFD");
    QTest::newRow("overlong slash") << QByteArray("/a\xe0\x80\xaf"
                                                  "b")
                                    << QStringLiteral("/a\uFFFD\uFFFD\uFFFDb");
    QTest::newRow("encoded surrogate")
        << QByteArray("\xed\xa0\x80") << QStringLiteral("\uFFFD\uFFFD\uFFFD");
    QTest::newRow("beyond U+10FFFF")
        << QByteArray("\xf4\x90\x80\x80") << QStringLiteral("\uFFFD\uFFFD\uFFFD\uFFFD");
    QTest::newRow("cut at the end") << QByteArray("/x\xe6\x97") << QStringLiteral("/x\uFFFD\uFFFD");
    QTest::newRow("mixed") << QByteArray("/\xe6\x97\xa5\xff\xe6\x97\xa5/\x80"
                                         "a")
                           << QStringLiteral("/日\uFFFD日/\uFFFDa");
}

void TestSystem::namesGoBackToTheirExactBytes()
{
    QFETCH(QByteArray, bytes);
    QFETCH(QString, shown);
    const QString path = FileLocation::decode(bytes);
    QCOMPARE(FileLocation::encode(path), bytes);
    QCOMPARE(FileLocation::displayText(path), shown);
    // Path operations keep the bytes of every component.
    const QString inFolder = FileLocation::appendingPathComponent(QStringLiteral("/r/./s"), path);
    QCOMPARE(FileLocation::encode(FileLocation::standardizedPath(inFolder)),
             QByteArray("/r/s/") + (bytes.startsWith('/') ? bytes.mid(1) : bytes));
}

void TestSystem::processStartedFromABundleIsAnApplication()
{
    TestEnvironment env;
    TreeBuilder tree(env.root());
    tree.bundle("Applications/Sleeper.app",
                {{"CFBundleIdentifier", QStringLiteral("com.example.sleeper")},
                 {"CFBundleName", QStringLiteral("Sleeper")},
                 {"CFBundleExecutable", QStringLiteral("Sleeper")}},
                true, 0);
    const QString exe = tree.path("Applications/Sleeper.app/Contents/MacOS/Sleeper");
    QFile::remove(exe);
    QVERIFY(QFile::copy(QStringLiteral("/bin/sleep"), exe));

    QProcess app;
    app.start(exe, {QStringLiteral("30")});
    QVERIFY(app.waitForStarted());
    QProcess tool; // a command-line tool is not an application
    tool.start(QStringLiteral("/bin/sleep"), {QStringLiteral("30")});
    QVERIFY(tool.waitForStarted());

    const QList<RunningApplication> running = RunningApplications::list();
    app.kill();
    tool.kill();
    app.waitForFinished();
    tool.waitForFinished();

    QList<RunningApplication> ours;
    for (const RunningApplication &r : running)
        if (r.bundlePath.startsWith(env.root()))
            ours << r;
    QCOMPARE(ours.size(), 1);
    QCOMPARE(ours.first().bundleIdentifier, QStringLiteral("com.example.sleeper"));
    QCOMPARE(ours.first().localizedName, QStringLiteral("Sleeper"));
    for (const RunningApplication &r : running)
        QVERIFY2(r.localizedName != QLatin1String("sleep"), "plain processes are not applications");
}

void TestSystem::diskShare()
{
    QCOMPARE((DiskInformation{25, 100}).usedPercent(), 75);
    QCOMPARE((DiskInformation{1, 3}).usedPercent(), 66); // truncated, not rounded
    QCOMPARE((DiskInformation{0, 0}).usedShare(), 0.0);
    QCOMPARE((DiskInformation{0, 0}).usedPercent(), 0);
    QCOMPARE((DiskInformation{500, 100}).usedShare(), 0.0); // free above total
    QCOMPARE((DiskInformation{-10, 100}).usedShare(), 1.0);

    DiskStatus status;
    QSignalSpy changed(&status, &DiskStatus::changed);
    status.setTotalBytes(0);
    status.setFreeBytes(0);
    QCOMPARE(status.usedPercent(), 0);
    QCOMPARE(status.freeText(), Formatters::diskBytes(0));
    const int before = changed.count();
    status.setFreeBytes(0);
    QCOMPARE(changed.count(), before); // no signal without a change
}

QTEST_GUILESS_MAIN(TestSystem)
#include "tst_system.moc"
