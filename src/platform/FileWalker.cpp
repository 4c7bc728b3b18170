#include "FileWalker.h"

#include "FileLocation.h"
#include "PosixEntries.h"
#include "WalkControl.h"

#include <QSet>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace FileSystemNames {

bool isPackageName(const QString &name)
{
    static const QSet<QString> extensions = {
        QStringLiteral("app"),
        QStringLiteral("appex"),
        QStringLiteral("bundle"),
        QStringLiteral("component"),
        QStringLiteral("driver"),
        QStringLiteral("framework"),
        QStringLiteral("kext"),
        QStringLiteral("mdimporter"),
        QStringLiteral("plugin"),
        QStringLiteral("prefpane"),
        QStringLiteral("qlgenerator"),
        QStringLiteral("saver"),
        QStringLiteral("systemextension"),
        QStringLiteral("wdgt"),
        QStringLiteral("xpc"),
        QStringLiteral("rtfd"),
        QStringLiteral("photoslibrary"),
        QStringLiteral("pkg"),
        QStringLiteral("mpkg"),
    };
    const QString ext = FileLocation::pathExtension(name).toLower();
    return !ext.isEmpty() && extensions.contains(ext);
}

} // namespace FileSystemNames

namespace {

struct WalkContext
{
    int options = 0;
    const FileWalker::Visitor &visitor;
    const FileWalker::ErrorHandler &onError;
    PosixEntries::QuarantineMark quarantine;
    bool stopped = false;

    void reportError(const QString &path, int errorNumber) const
    {
        WalkControl::countSkipped(path, WalkControl::skipReasonFor(errorNumber));
        if (onError)
            onError(path, errorNumber);
    }
};

void walkFolder(WalkContext &ctx, int fd, const QString &folderPath, int level,
                const std::vector<PosixEntries::Name> &names)
{
    if (WalkControl::stopRequested())
        ctx.stopped = true;
    WalkControl::countEntries(qint64(names.size()));
    for (const auto &[raw, type] : names) {
        if (ctx.stopped)
            return;
        if (PosixEntries::isHidden(raw) && (ctx.options & SkipHiddenFiles))
            continue;
        EntryInfo info;
        info.name = FileLocation::decode(raw);
        info.path = FileLocation::appendingPathComponent(folderPath, info.name);
        info.level = level;
        struct stat st;
        if (fstatat(fd, raw.constData(), &st, AT_SYMLINK_NOFOLLOW) != 0) {
            ctx.reportError(info.path, errno); // vanished or unreadable: left out
            continue;
        }
        if (ctx.quarantine.is(st))
            continue;
        PosixEntries::fill(&info, st);
        const FileWalker::Action action = ctx.visitor(info);
        if (action == FileWalker::Action::Stop) {
            ctx.stopped = true;
            return;
        }
        if (!info.isDirectory || action == FileWalker::Action::SkipDescendants)
            continue;
        if (info.isPackage && (ctx.options & SkipPackageContents))
            continue;
        // Opened relative to its parent, never by path, so a folder swapped for a
        // link meanwhile cannot lead the walk elsewhere. A tree deeper than the
        // descriptor limit reports its deepest folders as errors.
        const int childFd =
            openat(fd, raw.constData(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
        if (childFd < 0) {
            ctx.reportError(info.path, errno);
            continue;
        }
        std::vector<PosixEntries::Name> childNames;
        if (PosixEntries::readNames(childFd, &childNames))
            walkFolder(ctx, childFd, info.path, level + 1, childNames);
        else
            ctx.reportError(info.path, errno);
        close(childFd);
    }
}

} // namespace

bool FileWalker::walk(const QString &root, int options, const Visitor &visitor,
                      const ErrorHandler &onError)
{
    const QString rootPath = FileLocation::standardizedPath(root);
    if (rootPath.isEmpty())
        return false;
    std::vector<PosixEntries::Name> names;
    const int fd = PosixEntries::openRoot(FileLocation::encode(rootPath),
                                          !(options & DoNotFollowRootLink), &names);
    if (fd < 0)
        return false;
    WalkContext ctx{options, visitor, onError, {}};
    if (options & SkipQuarantine) {
        ctx.quarantine = PosixEntries::QuarantineMark::read();
        if (ctx.quarantine.covers(FileLocation::encode(rootPath))) {
            close(fd); // inside the quarantine there is nothing to offer
            return true;
        }
    }
    walkFolder(ctx, fd, rootPath, 1, names);
    close(fd);
    return true;
}
