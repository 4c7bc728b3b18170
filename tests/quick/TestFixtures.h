#pragma once

#include "Preferences.h"
#include "TestEnvironment.h"
#include "TreeBuilder.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QObject>

// What the screen tests need from outside QML: files on disk in a private home,
// and the preferences the screens read.
class TestFixtures : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QString home READ home CONSTANT)

public:
    QString home() const { return m_env.home(); }

    Q_INVOKABLE QString allocate(const QString &relative, double megabytes)
    {
        return TreeBuilder(home()).allocatedFile(relative, qint64(megabytes * 1024 * 1024));
    }
    Q_INVOKABLE bool remove(const QString &path)
    {
        return QFileInfo(path).isDir() ? QDir(path).removeRecursively() : QFile::remove(path);
    }
    Q_INVOKABLE bool exists(const QString &path) const { return QFile::exists(path); }
    Q_INVOKABLE bool link(const QString &path, const QString &target)
    {
        return QFile::link(target, path);
    }
    Q_INVOKABLE bool inTrash(const QString &name) const
    {
        return QFileInfo::exists(m_env.trashFiles() + QLatin1Char('/') + name);
    }

    // A cache folder of a logical size (sparse) last changed `ageDays` ago.
    Q_INVOKABLE void cache(const QString &name, double megabytes, double ageDays)
    {
        TreeBuilder tree(home() + QStringLiteral("/Library/Caches"));
        tree.sparseFile(name + QStringLiteral("/blob"), qint64(megabytes * 1024 * 1024));
        tree.setModificationTime(name,
                                 QDateTime::currentDateTimeUtc().addSecs(qint64(-ageDays * 86400)));
    }
    Q_INVOKABLE void clearCaches()
    {
        QDir(home() + QStringLiteral("/Library/Caches")).removeRecursively();
        QDir().mkpath(home() + QStringLiteral("/Library/Caches"));
    }
    Q_INVOKABLE void setPreference(const QString &key, const QVariant &value)
    {
        value.typeId() == QMetaType::Bool ? Preferences::setBoolean(key, value.toBool())
                                          : Preferences::setString(key, value.toString());
    }
    Q_INVOKABLE QString preference(const QString &key) const { return Preferences::string(key); }

    // An application bundle in the system root with `megabytes` reserved inside.
    Q_INVOKABLE void application(const QString &name, const QString &identifier, double megabytes)
    {
        TreeBuilder tree(m_env.root());
        const QString bundle = QStringLiteral("Applications/") + name + QStringLiteral(".app");
        tree.bundle(bundle, {{QStringLiteral("CFBundleIdentifier"), identifier}}, false, 0);
        tree.allocatedFile(bundle + QStringLiteral("/Contents/Resources/data.bin"),
                           qint64(megabytes * 1024 * 1024));
    }
    Q_INVOKABLE void clearApplications()
    {
        for (const QString &base : {home(), m_env.root()})
            QDir(base + QStringLiteral("/Applications")).removeRecursively();
        QDir(home() + QStringLiteral("/Library")).removeRecursively();
        QDir().mkpath(home() + QStringLiteral("/Library/Caches"));
    }

private:
    TestEnvironment m_env;
};
