#pragma once

#include <QByteArray>
#include <QFile>
#include <QString>
#include <QTemporaryDir>
#include <QTest>

// A private home for one test: HOME, XDG_DATA_HOME, XDG_CONFIG_HOME and
// VELMORA_ROOT all point inside a fresh temporary folder, so no test can touch
// the real home, the real Trash or the real preferences.
class TestEnvironment
{
public:
    TestEnvironment();
    ~TestEnvironment();

    bool isValid() const { return m_dir.isValid(); }
    QString base() const { return m_dir.path(); }
    QString home() const { return m_dir.path() + QStringLiteral("/home"); }
    QString root() const { return m_dir.path() + QStringLiteral("/root"); }
    QString dataHome() const { return m_dir.path() + QStringLiteral("/data"); }
    QString trashFiles() const { return dataHome() + QStringLiteral("/Trash/files"); }

private:
    QTemporaryDir m_dir;
};

// Runs the named test function of this executable again as the unprivileged user
// "nobody", for checks that need entries root could still read. Returns true when
// the rerun passed; *skipReason is set when the rerun is not possible.
bool rerunUnprivileged(const char *testFunction, QString *skipReason, QString *output);
bool runningAsRoot();

// At the top of a test function that needs entries its user cannot read: as
// root, the function runs again as "nobody" and this one ends with its verdict.
#define VELMORA_RERUN_UNPRIVILEGED()                                                               \
    do {                                                                                           \
        if (runningAsRoot() && qEnvironmentVariableIsEmpty("VELMORA_UNPRIVILEGED_RERUN")) {        \
            QString reason_, output_;                                                              \
            const bool passed_ =                                                                   \
                rerunUnprivileged(QTest::currentTestFunction(), &reason_, &output_);               \
            if (!reason_.isEmpty())                                                                \
                QSKIP(qPrintable(reason_));                                                        \
            QVERIFY2(passed_, qPrintable(output_));                                                \
            return;                                                                                \
        }                                                                                          \
    } while (false)

// A small tmpfs of its own at `where` (root only): a second file system, a full
// volume. False with *why when this machine does not allow it.
bool mountTmpfs(const QString &where, const QString &size, QString *why);
void unmount(const QString &where);

// A file's bytes by its path's bytes, without following a link; empty when unreadable.
QByteArray fileContents(const QByteArray &path);
inline QByteArray fileContents(const QString &path)
{
    return fileContents(QFile::encodeName(path));
}
