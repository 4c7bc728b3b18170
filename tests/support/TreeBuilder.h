#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QString>
#include <QVariantMap>

// Builds file trees for tests, benchmarks and the demo: files of a given size on
// disk, sparse files, dates, links, bundles with information lists. Every path
// is relative to the root given at construction; nothing is written outside it.
class TreeBuilder
{
public:
    explicit TreeBuilder(const QString &root);

    QString root() const { return m_root; }
    QString path(const QString &relative) const;

    QString folder(const QString &relative);
    QString file(const QString &relative, const QByteArray &contents = {});
    // A file whose blocks are reserved on disk (fallocate), read as zeros.
    QString allocatedFile(const QString &relative, qint64 bytes);
    // A file with a logical length but no blocks on disk.
    QString sparseFile(const QString &relative, qint64 logicalBytes);
    // A file of pseudo-random bytes from a seed: equal seeds give equal contents.
    QString patternFile(const QString &relative, qint64 bytes, quint32 seed);
    QString symlink(const QString &relative, const QString &target);
    // A file with the given contents that its owner, group and others may execute.
    QString executableFile(const QString &relative, const QByteArray &contents);
    bool setModificationTime(const QString &relative, const QDateTime &when);

    QString plist(const QString &relative, const QVariantMap &dict, bool binary);
    // "X.app" with Contents/Info.plist and Contents/MacOS/<executable>.
    QString bundle(const QString &relative, const QVariantMap &info, bool binaryPlist,
                   qint64 executableBytes = 4096);

private:
    QString prepare(const QString &relative);
    QString m_root;
};
