#include "Preferences.h"
#include "TestEnvironment.h"
#include "TreeBuilder.h"

#include <QSettings>
#include <QtTest>
#include <cerrno>
#include <cstdio>
#include <functional>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

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

class TestPreferences : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void storedWhereQSettingsKeepsThem();
    void oddEntriesInPlaceOfTheStore_data();
    void oddEntriesInPlaceOfTheStore();
};

void TestPreferences::storedWhereQSettingsKeepsThem()
{
    TestEnvironment env;
    QCOMPARE(writeAndRead(true), 0);
    // The same file QSettings("Velmora", "Velmora") uses, so earlier preferences
    // are still found. QSettings settles that location on its first use in a
    // process, which is this one: no test before this touches it.
    QSettings byName(QStringLiteral("Velmora"), QStringLiteral("Velmora"));
    QCOMPARE(byName.fileName(), storePath(env));
    QSettings byPath(storePath(env), QSettings::IniFormat);
    QCOMPARE(byPath.value(QStringLiteral("velmora_cleanup_mode")).toString(),
             QStringLiteral("Agresivo"));
    // A new private home starts with no preferences.
    TestEnvironment other;
    QVERIFY(!Preferences::contains(QStringLiteral("velmora_cleanup_mode")));
}

void TestPreferences::oddEntriesInPlaceOfTheStore_data()
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

void TestPreferences::oddEntriesInPlaceOfTheStore()
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

QTEST_GUILESS_MAIN(TestPreferences)
#include "tst_preferences.moc"
