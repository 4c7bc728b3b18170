#include "Preferences.h"
#include "TestEnvironment.h"
#include "TreeBuilder.h"

#include <QFile>
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

// Runs `body` in a child process that an alarm ends after `seconds`, so a
// preference call that blocks fails the test instead of hanging it. Gives the
// child's exit status, or minus the signal that ended it.
int inChild(const std::function<int()> &body, unsigned seconds = 10)
{
    std::fflush(nullptr); // nothing buffered may be written twice
    const pid_t pid = fork();
    if (pid < 0)
        return -1000;
    if (pid == 0) {
        alarm(seconds);
        _exit(body());
    }
    int status = 0;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

// Every read gives its default and every write is dropped: 0, or the number of the
// first check that failed.
int everythingIsDefault()
{
    const QString key = QStringLiteral("velmora_cleanup_mode");
    if (Preferences::contains(key))
        return 1;
    if (!Preferences::string(key).isEmpty())
        return 2;
    if (Preferences::boolean(key))
        return 3;
    if (!Preferences::stringList(key).isEmpty())
        return 4;
    Preferences::setString(key, QStringLiteral("Agresivo"));
    Preferences::setBoolean(QStringLiteral("velmora_cleanup_auto_select"), true);
    Preferences::setStringList(QStringLiteral("trusted"),
                               {QStringLiteral("a"), QStringLiteral("b")});
    if (Preferences::contains(key) || !Preferences::string(key).isEmpty())
        return 5;
    if (Preferences::boolean(QStringLiteral("velmora_cleanup_auto_select")))
        return 6;
    if (!Preferences::stringList(QStringLiteral("trusted")).isEmpty())
        return 7;
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
    void namedPipeInPlaceOfTheStore();
    void namedPipeInPlaceOfTheLock();
    void linkToARegularFile();
};

void TestPreferences::storedWhereQSettingsKeepsThem()
{
    TestEnvironment env;
    QVERIFY(!Preferences::contains(QStringLiteral("velmora_cleanup_mode")));
    Preferences::setString(QStringLiteral("velmora_cleanup_mode"), QStringLiteral("Agresivo"));
    Preferences::setBoolean(QStringLiteral("velmora_cleanup_auto_select"), false);
    Preferences::setStringList(QStringLiteral("trusted"),
                               {QStringLiteral("a"), QStringLiteral("b")});
    QCOMPARE(Preferences::string(QStringLiteral("velmora_cleanup_mode")),
             QStringLiteral("Agresivo"));
    QVERIFY(Preferences::contains(QStringLiteral("velmora_cleanup_auto_select")));
    QVERIFY(!Preferences::boolean(QStringLiteral("velmora_cleanup_auto_select")));
    QCOMPARE(Preferences::stringList(QStringLiteral("trusted")),
             QStringList({QStringLiteral("a"), QStringLiteral("b")}));

    // The same file QSettings("Velmora", "Velmora") uses, so earlier preferences
    // are still found. QSettings settles that location on its first use in a
    // process, which is this one: no test before this touches it.
    QVERIFY(QFile::exists(storePath(env)));
    QSettings byName(QStringLiteral("Velmora"), QStringLiteral("Velmora"));
    QCOMPARE(byName.fileName(), storePath(env));
    QCOMPARE(byName.value(QStringLiteral("velmora_cleanup_mode")).toString(),
             QStringLiteral("Agresivo"));
    QSettings byPath(storePath(env), QSettings::IniFormat);
    QCOMPARE(byPath.value(QStringLiteral("velmora_cleanup_mode")).toString(),
             QStringLiteral("Agresivo"));

    // A new private home starts with no preferences.
    TestEnvironment other;
    QVERIFY(!Preferences::contains(QStringLiteral("velmora_cleanup_mode")));
}

void TestPreferences::namedPipeInPlaceOfTheStore()
{
    TestEnvironment env;
    TreeBuilder tree(env.base());
    tree.folder(QStringLiteral("config/Velmora"));
    QCOMPARE(mkfifo(QFile::encodeName(storePath(env)).constData(), 0644), 0);

    // QSettings would block for ever opening a pipe nobody writes to.
    const int result = inChild(everythingIsDefault);
    QVERIFY2(result != -SIGALRM, "a preference call blocked on the named pipe");
    QCOMPARE(result, 0);
    QVERIFY2(isFifo(storePath(env)), "the pipe was replaced");

    // A link to the pipe is no better.
    QVERIFY(QFile::remove(storePath(env)));
    QCOMPARE(mkfifo(QFile::encodeName(tree.path(QStringLiteral("pipe"))).constData(), 0644), 0);
    tree.symlink(QStringLiteral("config/Velmora/Velmora.conf"), tree.path(QStringLiteral("pipe")));
    QCOMPARE(inChild(everythingIsDefault), 0);
}

void TestPreferences::namedPipeInPlaceOfTheLock()
{
    TestEnvironment env;
    TreeBuilder tree(env.base());
    tree.folder(QStringLiteral("config/Velmora"));
    const QString lock = storePath(env) + QStringLiteral(".lock");
    QCOMPARE(mkfifo(QFile::encodeName(lock).constData(), 0644), 0);

    // Writing takes the lock, and QLockFile reads a lock file it finds in place.
    const int result = inChild(everythingIsDefault);
    QVERIFY2(result != -SIGALRM, "a preference call blocked on the named pipe");
    QCOMPARE(result, 0);
    QVERIFY(!QFile::exists(storePath(env)));
    QVERIFY(isFifo(lock));
}

void TestPreferences::linkToARegularFile()
{
    TestEnvironment env;
    TreeBuilder tree(env.base());

    // A link to a regular file is followed: written through and read back.
    tree.file(QStringLiteral("elsewhere/Velmora.conf"));
    tree.symlink(QStringLiteral("config/Velmora/Velmora.conf"),
                 tree.path(QStringLiteral("elsewhere/Velmora.conf")));
    QCOMPARE(inChild([] {
                 Preferences::setString(QStringLiteral("k"), QStringLiteral("v"));
                 return Preferences::string(QStringLiteral("k")) == QLatin1String("v") ? 0 : 1;
             }),
             0);
    QSettings target(tree.path(QStringLiteral("elsewhere/Velmora.conf")), QSettings::IniFormat);
    QCOMPARE(target.value(QStringLiteral("k")).toString(), QStringLiteral("v"));
}

QTEST_GUILESS_MAIN(TestPreferences)
#include "tst_preferences.moc"
