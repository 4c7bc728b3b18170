#pragma once

#include "FileLocation.h"
#include "ProtectionQuarantineManager.h"
#include "TestEnvironment.h"

#include <QAbstractItemModelTester>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QtTest>
#include <sys/stat.h>

// What the quarantine's tests share: findings made from files on disk, a
// manager driven one action at a time, and the folder's listing.
namespace QuarantineTesting {

const QString kId = QStringLiteral("0A1B2C3D-4E5F-4071-8293-A4B5C6D7E8F9");

inline QString otherId(char first)
{
    return QString(kId).replace(0, 2, QString(2, QLatin1Char(first)));
}

inline QString quarantineFolder()
{
    return ProtectionQuarantineManager::quarantineDirectory();
}

inline QString indexPath()
{
    return quarantineFolder() + "/records.json";
}

// A finding for the file as it is now, as a scan would have made it.
inline SecurityFinding findingFor(const QString &path)
{
    SecurityFinding f;
    f.url = path;
    f.name = FileLocation::lastPathComponent(path);
    f.path = FileLocation::deletingLastPathComponent(path);
    f.level = ThreatLevel::suspicious;
    struct stat st;
    if (lstat(FileLocation::encode(path).constData(), &st) == 0) {
        f.identity = FileIdentity::of(st);
        f.size = st.st_size;
    }
    return f;
}

inline void waitIdle(const ProtectionQuarantineManager &manager)
{
    QTRY_VERIFY_WITH_TIMEOUT(!manager.isWorking(), 30000);
}

// A manager once it has opened its folder and read its records, its list
// checked against the item-model rules all along; each action waits for its end.
struct LoadedQuarantine : ProtectionQuarantineManager
{
    QAbstractItemModelTester tester{recordsModel(),
                                    QAbstractItemModelTester::FailureReportingMode::QtTest};
    LoadedQuarantine() { waitIdle(*this); }
    void take(const QStringList &paths)
    {
        QList<SecurityFinding> findings;
        for (const QString &path : paths)
            findings << findingFor(path);
        quarantine(findings);
        waitIdle(*this);
    }
    void restoreNow(const QString &id)
    {
        restore(id);
        waitIdle(*this);
    }
    void trashNow(const QString &id)
    {
        moveToTrash(id);
        waitIdle(*this);
    }
    ProtectionQuarantineRecord recordOf(const QString &originalPath) const
    {
        for (const ProtectionQuarantineRecord &r : records())
            if (r.originalPath == originalPath)
                return r;
        return {};
    }
};

inline QByteArray contents(const QString &path)
{
    return fileContents(FileLocation::encode(path));
}

inline bool exists(const QString &path)
{
    struct stat st;
    return lstat(FileLocation::encode(path).constData(), &st) == 0;
}

inline QStringList quarantineEntries(const QString &folder)
{
    return QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::System |
                                  QDir::NoDotAndDotDot);
}

} // namespace QuarantineTesting
