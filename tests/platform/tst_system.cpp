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
    const QString mode = "velmora_cleanup_mode", auto_ = "auto", trusted = "trusted";
    if (Preferences::contains(mode) || !Preferences::string(mode).isEmpty() ||
        Preferences::boolean(auto_) || !Preferences::stringList(trusted).isEmpty())
        return 1;
    Preferences::setString(mode, "Agresivo");
    Preferences::setBoolean(auto_, true);
    Preferences::setStringList(trusted, {"a", "b"});
    if (Preferences::contains(mode) != stored)
        return 2;
    if (Preferences::string(mode) != (stored ? QStringLiteral("Agresivo") : QString()))
        return 3;
    if (Preferences::boolean(auto_) != stored)
        return 4;
    if (Preferences::stringList(trusted).size() != (stored ? 2 : 0))
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
    void storedWhereQSettingsKeepsThem()
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

    void oddEntriesInPlaceOfTheStore_data()
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
        QTest::newRow("pipe as the lock")
            << "config/Velmora/Velmora.conf.lock" << QString() << false;
        QTest::newRow("link to a file") << QString() << "elsewhere/Velmora.conf" << true;
    }

    void oddEntriesInPlaceOfTheStore()
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

    void placesFollowTheEnvironment()
    {
        TestEnvironment env;
        const QString root = env.root();
        QCOMPARE(SystemLayout::homeFolder(), env.home());
        QCOMPARE(SystemLayout::userCachesFolder(), env.home() + "/Library/Caches");
        QCOMPARE(SystemLayout::applicationSupportFolder(),
                 env.home() + "/Library/Application Support");
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

    void pathsSizesAndDatesAsText()
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
        // Sizes in decimal units, rounded, never "0 KB" for a byte, never "1000 KB";
        // disks in GB at least. Rows of count=text.
        const auto sizes = [&](auto format, const char *rows) {
            for (const QString &row : QString::fromLatin1(rows).split(QLatin1Char('|'))) {
                const QStringList pair = row.split(QLatin1Char('='));
                QCOMPARE(format(pair[0].toLongLong(), c), pair[1]);
            }
        };
        sizes(&Formatters::bytes,
              "0=0 KB|-5=0 KB|1=1 KB|1000=1 KB|1499=1 KB|1500=2 KB|999499=999 KB|999999=1 MB|"
              "1000000=1 MB|1500000=1.5 MB|1048576=1 MB|12345678=12.3 MB|524288000=524.3 MB|"
              "999950000=1 GB|2345678901=2.35 GB|2500000000=2.5 GB|1500000000000=1.5 TB|"
              "5000000000000000=5000 TB");
        sizes(&Formatters::diskBytes, "0=0 GB|500000000=0.5 GB|85312345678=85.31 GB|"
                                      "994000000000=994 GB|1234567890123=1.23 TB");
        QVERIFY(
            Formatters::mediumDateTime(when, us).startsWith(QLatin1String("Nov 23, 2026, 4:05")));
        // Without a language (LANG unset) the time still has no seconds.
        QVERIFY(Formatters::mediumDateTime(when, c).endsWith(QLatin1String(":05")));
    }

    void namesGoBackToTheirExactBytes()
    {
        // A name's bytes, and what a screen shows for them.
        const std::pair<QByteArray, QString> rows[] = {
            {"/a/b.txt", "/a/b.txt"},
            {"/caf\xc3\xa9 \xf0\x9f\x93\x81", "/café 📁"},
            // U+10080: a pair whose second half lies where kept bytes are kept.
            {"\xf0\x90\x82\x80", QString::fromUcs4(U"\U00010080", 1)},
            {"/caf\xe9\xff", "/caf\uFFFD\uFFFD"},                          // lone bytes
            {QByteArray("/a\xe0\x80\xaf") + 'b', "/a\uFFFD\uFFFD\uFFFDb"}, // an overlong slash
            {"\xed\xa0\x80", "\uFFFD\uFFFD\uFFFD"},                        // an encoded surrogate
            {"\xf4\x90\x80\x80", "\uFFFD\uFFFD\uFFFD\uFFFD"},              // beyond U+10FFFF
            {"/x\xe6\x97", "/x\uFFFD\uFFFD"},                              // cut at the end
            {QByteArray("/\xe6\x97\xa5\xff\xe6\x97\xa5/\x80") + 'a', "/日\uFFFD日/\uFFFDa"},
        };
        for (const auto &[bytes, shown] : rows) {
            const QString path = FileLocation::decode(bytes);
            QCOMPARE(FileLocation::encode(path), bytes);
            QCOMPARE(FileLocation::displayText(path), shown);
            // Path operations keep the bytes of every component.
            const QString inFolder = FileLocation::appendingPathComponent("/r/./s", path);
            QCOMPARE(FileLocation::encode(FileLocation::standardizedPath(inFolder)),
                     "/r/s/" + (bytes.startsWith('/') ? bytes.mid(1) : bytes));
        }
    }

    void processStartedFromABundleIsAnApplication()
    {
        TestEnvironment env;
        TreeBuilder tree(env.root());
        tree.bundle("Applications/Sleeper.app",
                    {{"CFBundleIdentifier", "com.example.sleeper"},
                     {"CFBundleName", "Sleeper"},
                     {"CFBundleExecutable", "Sleeper"}},
                    true, 0);
        const QString exe = tree.path("Applications/Sleeper.app/Contents/MacOS/Sleeper");
        QFile::remove(exe);
        QVERIFY(QFile::copy("/bin/sleep", exe));
        QProcess app, tool; // a command-line tool is not an application
        app.start(exe, {"30"});
        tool.start("/bin/sleep", {"30"});
        QVERIFY(app.waitForStarted() && tool.waitForStarted());

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
            QVERIFY2(r.localizedName != QLatin1String("sleep"),
                     "plain processes are not applications");
    }

    void diskShare()
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
};

QTEST_GUILESS_MAIN(TestSystem)
#include "tst_system.moc"
