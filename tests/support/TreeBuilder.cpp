#include "TreeBuilder.h"

#include "FileLocation.h"
#include "PropertyList.h"

#include <QDir>
#include <QFile>
#include <QRandomGenerator>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

TreeBuilder::TreeBuilder(const QString &root) : m_root(FileLocation::standardizedPath(root))
{
    QDir().mkpath(m_root);
}

QString TreeBuilder::path(const QString &relative) const
{
    return relative.isEmpty() ? m_root : FileLocation::appendingPathComponent(m_root, relative);
}

QString TreeBuilder::prepare(const QString &relative)
{
    const QString full = path(relative);
    QDir().mkpath(FileLocation::deletingLastPathComponent(full));
    return full;
}

QString TreeBuilder::folder(const QString &relative)
{
    const QString full = path(relative);
    QDir().mkpath(full);
    return full;
}

QString TreeBuilder::file(const QString &relative, const QByteArray &contents)
{
    const QString full = prepare(relative);
    QFile f(full);
    if (f.open(QIODevice::WriteOnly | QIODevice::Truncate))
        f.write(contents);
    return full;
}

QString TreeBuilder::allocatedFile(const QString &relative, qint64 bytes)
{
    const QString full = prepare(relative);
    const int fd = open(QFile::encodeName(full).constData(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    if (fd < 0)
        return full;
    if (bytes > 0 && posix_fallocate(fd, 0, bytes) != 0) {
        // No fallocate on this file system: write the zeros.
        const QByteArray zeros(1 << 20, '\0');
        for (qint64 left = bytes; left > 0;) {
            const qint64 n = std::min<qint64>(left, zeros.size());
            if (write(fd, zeros.constData(), size_t(n)) != n)
                break;
            left -= n;
        }
    }
    close(fd);
    return full;
}

QString TreeBuilder::sparseFile(const QString &relative, qint64 logicalBytes)
{
    const QString full = prepare(relative);
    QFile f(full);
    if (f.open(QIODevice::WriteOnly | QIODevice::Truncate))
        f.resize(logicalBytes);
    return full;
}

QString TreeBuilder::patternFile(const QString &relative, qint64 bytes, quint32 seed)
{
    const QString full = prepare(relative);
    QFile f(full);
    if (!f.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return full;
    QRandomGenerator rng(seed);
    QByteArray chunk(1 << 20, Qt::Uninitialized);
    for (qint64 left = bytes; left > 0;) {
        const qsizetype n = qsizetype(std::min<qint64>(left, chunk.size()));
        rng.fillRange(reinterpret_cast<quint32 *>(chunk.data()), chunk.size() / 4);
        f.write(chunk.constData(), n);
        left -= n;
    }
    return full;
}

QString TreeBuilder::symlink(const QString &relative, const QString &target)
{
    const QString full = prepare(relative);
    ::symlink(QFile::encodeName(target).constData(), QFile::encodeName(full).constData());
    return full;
}

QString TreeBuilder::executableFile(const QString &relative, const QByteArray &contents)
{
    const QString full = file(relative, contents);
    ::chmod(QFile::encodeName(full).constData(), 0755);
    return full;
}

bool TreeBuilder::setModificationTime(const QString &relative, const QDateTime &when)
{
    const qint64 ms = when.toMSecsSinceEpoch();
    timespec times[2];
    times[0].tv_sec = times[1].tv_sec = ms / 1000;
    times[0].tv_nsec = times[1].tv_nsec = (ms % 1000) * 1000000;
    return utimensat(AT_FDCWD, QFile::encodeName(path(relative)).constData(), times,
                     AT_SYMLINK_NOFOLLOW) == 0;
}

QString TreeBuilder::plist(const QString &relative, const QVariantMap &dict, bool binary)
{
    const QString full = prepare(relative);
    PropertyList::write(full, dict, binary);
    return full;
}

QString TreeBuilder::bundle(const QString &relative, const QVariantMap &info, bool binaryPlist,
                            qint64 executableBytes)
{
    const QString full = folder(relative);
    plist(relative + QStringLiteral("/Contents/Info.plist"), info, binaryPlist);
    QString executable = info.value(QStringLiteral("CFBundleExecutable")).toString();
    if (executable.isEmpty()) {
        executable = FileLocation::lastPathComponent(full);
        executable.chop(4);
    }
    const QString exe =
        allocatedFile(relative + QStringLiteral("/Contents/MacOS/") + executable, executableBytes);
    ::chmod(QFile::encodeName(exe).constData(), 0755);
    return full;
}
