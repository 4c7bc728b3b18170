#pragma once

#include <QString>
#include <QTemporaryDir>

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
