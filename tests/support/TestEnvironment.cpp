#include "TestEnvironment.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <fcntl.h>
#include <ftw.h>
#include <sys/stat.h>
#include <unistd.h>

TestEnvironment::TestEnvironment()
{
    // Reachable by the unprivileged reruns too.
    ::chmod(QFile::encodeName(m_dir.path()).constData(), 0755);
    for (const QString &folder : {home(), root(), dataHome(), base() + QStringLiteral("/config")})
        QDir().mkpath(folder);
    qputenv("HOME", home().toUtf8());
    qputenv("VELMORA_ROOT", root().toUtf8());
    qputenv("XDG_DATA_HOME", dataHome().toUtf8());
    qputenv("XDG_CONFIG_HOME", (base() + QStringLiteral("/config")).toUtf8());
    QStandardPaths::setTestModeEnabled(false);
}

TestEnvironment::~TestEnvironment()
{
    // Qt removes a tree by names it decodes, which misses names that are not
    // UTF-8: the tree goes by its bytes.
    nftw(
        QFile::encodeName(m_dir.path()).constData(),
        [](const char *path, const struct stat *, int type, FTW *) {
            if (type == FTW_DP)
                rmdir(path);
            else
                unlink(path);
            return 0;
        },
        16, FTW_DEPTH | FTW_PHYS);
}

bool runningAsRoot()
{
    return geteuid() == 0;
}

bool rerunUnprivileged(const char *testFunction, QString *skipReason, QString *output)
{
    const QString setpriv = QStandardPaths::findExecutable(QStringLiteral("setpriv"));
    if (setpriv.isEmpty()) {
        *skipReason = QStringLiteral("setpriv is not installed; cannot drop root");
        return false;
    }
    // The build folder may sit where "nobody" cannot reach (a home of mode 700):
    // run a copy of this executable from a folder anyone can enter.
    QTemporaryDir copyDir(QStringLiteral("/tmp/velmora-rerun-XXXXXX"));
    const QString copy = copyDir.filePath(QStringLiteral("test"));
    if (!copyDir.isValid() || !QFile::copy(QCoreApplication::applicationFilePath(), copy)) {
        *skipReason = QStringLiteral("cannot copy the test executable for the unprivileged rerun");
        return false;
    }
    ::chmod(QFile::encodeName(copyDir.path()).constData(), 0755);
    ::chmod(QFile::encodeName(copy).constData(), 0755);
    QProcess child;
    // The rerun builds its own tree in a folder nobody can write to.
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("TMPDIR"), QStringLiteral("/tmp"));
    env.insert(QStringLiteral("VELMORA_UNPRIVILEGED_RERUN"), QStringLiteral("1"));
    child.setProcessEnvironment(env);
    child.setProcessChannelMode(QProcess::MergedChannels);
    child.setWorkingDirectory(QStringLiteral("/tmp"));
    child.start(setpriv, {"--reuid=65534", "--regid=65534", "--clear-groups", copy, testFunction});
    // A rerun that hangs fails like one that does not pass.
    const bool finished = child.waitForFinished(60000);
    *output = QString::fromLocal8Bit(child.readAll());
    return finished && child.exitStatus() == QProcess::NormalExit && child.exitCode() == 0;
}

bool mountTmpfs(const QString &where, const QString &size, QString *why)
{
    if (!runningAsRoot()) {
        *why = QStringLiteral("mounting a tmpfs needs root");
        return false;
    }
    QDir().mkpath(where);
    QProcess mount;
    mount.setProcessChannelMode(QProcess::MergedChannels);
    mount.start(QStringLiteral("mount"),
                {QStringLiteral("-t"), QStringLiteral("tmpfs"), QStringLiteral("-o"),
                 QStringLiteral("size=") + size, QStringLiteral("tmpfs"), where});
    if (!mount.waitForFinished(10000) || mount.exitCode() != 0) {
        *why = QStringLiteral("this machine does not allow mounting a tmpfs: ") +
               QString::fromLocal8Bit(mount.readAll()).trimmed();
        return false;
    }
    return true;
}

void unmount(const QString &where)
{
    QProcess::execute(QStringLiteral("umount"), {QStringLiteral("-l"), where});
}

QByteArray fileContents(const QByteArray &path)
{
    const int fd = ::open(path.constData(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC);
    QByteArray out;
    char buffer[65536];
    for (ssize_t n; fd >= 0 && (n = ::read(fd, buffer, sizeof buffer)) > 0;)
        out.append(buffer, n);
    if (fd >= 0)
        ::close(fd);
    return out;
}
