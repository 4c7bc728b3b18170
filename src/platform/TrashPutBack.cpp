#include "TrashCan.h"

#include "CrashPoint.h"
#include "DiskFile.h"
#include "FileLocation.h"
#include "FolderHandle.h"
#include "ItemMove.h"
#include "ResolvedRoot.h"

#include <QList>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

// Taking items out of a Trash again: the way back of every removal.

namespace {

// A .trashinfo is a few lines; anything larger is not one.
constexpr qint64 kInfoLimit = 64 * 1024;

// The "Path=" of a .trashinfo, as written (percent-encoded).
QByteArray infoPath(const QByteArray &info)
{
    if (!info.startsWith("[Trash Info]\n"))
        return {};
    for (const QByteArray &line : info.split('\n'))
        if (line.startsWith("Path="))
            return line.mid(5);
    return {};
}

} // namespace

QString TrashNames::restoredName(const QString &name, int attempt)
{
    if (attempt == 0)
        return name;
    return attempt == 1 ? name + QStringLiteral(" (restaurado)")
                        : name + QStringLiteral(" (restaurado %1)").arg(attempt);
}

std::optional<TrashCan> TrashCan::openFolder(const QByteArray &folder, QString *why)
{
    const QByteArray uid = QByteArray::number(geteuid());
    const auto volume = [&]() -> std::optional<TrashCan> {
        for (const QByteArray &tail : {"/.Trash-" + uid, "/.Trash/" + uid})
            if (folder.endsWith(tail)) {
                const QByteArray top = folder.chopped(tail.size());
                return forVolume(top.isEmpty() ? QByteArray("/") : top, why);
            }
        return std::nullopt;
    };
    std::optional<TrashCan> can = folder == dataHome() + "/Trash" ? home(why) : volume();
    // A volume's shared Trash may have changed kind since; only this very folder counts.
    if (!can || can->folder() != folder) {
        if (why && can)
            *why = QStringLiteral("not a Trash folder");
        return std::nullopt;
    }
    return can;
}

QByteArray TrashCan::infoPathOf(const QString &originalPath) const
{
    const QByteArray path = FileLocation::encode(originalPath);
    if (m_topdir.isEmpty())
        return TrashNames::percentEncoded(path);
    return TrashNames::percentEncoded(m_topdir == "/" ? path.mid(1)
                                                      : path.mid(m_topdir.size() + 1));
}

bool TrashCan::holds(const QByteArray &name, const FileIdentity &identity,
                     const QString &originalPath) const
{
    // A file must also be unchanged: a file made after the item was emptied
    // from the Trash may get its inode number.
    struct stat st;
    if (fstatat(m_filesFd, name.constData(), &st, AT_SYMLINK_NOFOLLOW) != 0 ||
        !(S_ISDIR(st.st_mode) ? identity.sameFile(st) : identity.unchanged(st)))
        return false;
    const std::optional<QByteArray> info =
        DiskFile::read(m_infoFd, name + ".trashinfo", kInfoLimit, DiskFile::Links::refuse);
    return info && QByteArray::fromPercentEncoding(infoPath(*info)) ==
                       QByteArray::fromPercentEncoding(infoPathOf(originalPath));
}

void TrashCan::dropLeftoverInfo(const QByteArray &name) const
{
    struct stat st;
    if (fstatat(m_filesFd, name.constData(), &st, AT_SYMLINK_NOFOLLOW) != 0 && errno == ENOENT)
        unlinkat(m_infoFd, (name + ".trashinfo").constData(), 0);
}

TrashCan::PutBack TrashCan::putBack(const QByteArray &name, const FileIdentity &identity,
                                    const QString &originalPath,
                                    const std::function<void()> &beforeInfoDropped) const
{
    PutBack out;
    if (!holds(name, identity, originalPath)) {
        out.outcome = PutBack::Outcome::notInTrash;
        return out;
    }
    const QString parentPath = FileLocation::deletingLastPathComponent(originalPath);
    const std::optional<FolderHandle> parent = FolderHandle::open(
        ResolvedRoot::resolve(QStringLiteral("/")), parentPath, true, &out.error);
    if (!parent) {
        out.outcome = out.error == ELOOP ? PutBack::Outcome::throughLink : PutBack::Outcome::failed;
        return out;
    }
    const QString original = FileLocation::lastPathComponent(originalPath);
    for (int attempt = 0; attempt < TrashNames::kRestoredNames; ++attempt) {
        // A place taken keeps what is there; ours goes beside it.
        const QString back = TrashNames::restoredName(original, attempt);
        const QByteArray backName = FileLocation::encode(back);
        if (backName.size() > 255)
            break;
        if (ItemMove::renameNoReplace(m_filesFd, name.constData(), parent->fd(),
                                      backName.constData()) != 0) {
            if (errno == EEXIST || errno == ENOTEMPTY)
                continue;
            out.error = errno;
            return out;
        }
        // What arrived must be the item checked: one swapped in meanwhile goes back.
        struct stat arrived;
        if (fstatat(parent->fd(), backName.constData(), &arrived, AT_SYMLINK_NOFOLLOW) != 0 ||
            !identity.sameFile(arrived)) {
            ItemMove::renameNoReplace(parent->fd(), backName.constData(), m_filesFd,
                                      name.constData());
            out.outcome = PutBack::Outcome::notInTrash;
            return out;
        }
        parent->sync();
        CrashPoint::pass();
        if (beforeInfoDropped)
            beforeInfoDropped();
        unlinkat(m_infoFd, (name + ".trashinfo").constData(), 0);
        out.outcome = PutBack::Outcome::back;
        out.path = parentPath == QLatin1String("/") ? QLatin1Char('/') + back
                                                    : parentPath + QLatin1Char('/') + back;
        return out;
    }
    out.error = EEXIST;
    return out;
}

TrashCan::PutBack TrashCan::moveInto(const QByteArray &name, const FileIdentity &identity,
                                     const QString &originalPath, int toDirFd,
                                     const QByteArray &toName) const
{
    PutBack out;
    if (!holds(name, identity, originalPath)) {
        out.outcome = PutBack::Outcome::notInTrash;
        return out;
    }
    if (ItemMove::renameNoReplace(m_filesFd, name.constData(), toDirFd, toName.constData()) != 0) {
        out.error = errno;
        return out;
    }
    struct stat arrived;
    if (fstatat(toDirFd, toName.constData(), &arrived, AT_SYMLINK_NOFOLLOW) != 0 ||
        !identity.sameFile(arrived)) {
        ItemMove::renameNoReplace(toDirFd, toName.constData(), m_filesFd, name.constData());
        out.outcome = PutBack::Outcome::notInTrash;
        return out;
    }
    fsync(toDirFd);
    CrashPoint::pass();
    unlinkat(m_infoFd, (name + ".trashinfo").constData(), 0);
    out.outcome = PutBack::Outcome::back;
    return out;
}
