#include "ItemMove.h"

#include "CrashPoint.h"
#include "FileDigest.h"
#include "PosixEntries.h"

#include <QRandomGenerator>

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <linux/fs.h>
#include <optional>
#include <sys/syscall.h>
#include <unistd.h>
#include <vector>

namespace ItemMove {

bool writeAll(int fd, const char *data, qint64 length)
{
    while (length > 0) {
        const ssize_t n = write(fd, data, size_t(length));
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        data += n;
        length -= n;
    }
    return true;
}

int renameNoReplace(int fromDir, const char *from, int toDir, const char *to)
{
#ifdef SYS_renameat2
    const int done = int(syscall(SYS_renameat2, fromDir, from, toDir, to, RENAME_NOREPLACE));
    if (done == 0 || (errno != ENOSYS && errno != EINVAL))
        return done;
#endif
    // Without renameat2, check then rename: the window is small, and the
    // destination names are ours alone.
    struct stat st;
    if (fstatat(toDir, to, &st, AT_SYMLINK_NOFOLLOW) == 0) {
        errno = EEXIST;
        return -1;
    }
    return renameat(fromDir, from, toDir, to);
}

namespace {

bool sameFile(const struct stat &a, const struct stat &b)
{
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

bool sameTime(const struct timespec &a, const struct timespec &b)
{
    return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
}

// Nothing was written to it, renamed over it or changed about it since.
bool untouched(const struct stat &now, const struct stat &seen)
{
    return sameFile(now, seen) && now.st_mode == seen.st_mode && now.st_size == seen.st_size &&
           sameTime(now.st_mtim, seen.st_mtim) && sameTime(now.st_ctim, seen.st_ctim);
}

class Fd
{
public:
    explicit Fd(int fd) : m_fd(fd) {}
    ~Fd()
    {
        if (m_fd >= 0)
            close(m_fd);
    }
    Fd(const Fd &) = delete;
    Fd &operator=(const Fd &) = delete;
    int get() const { return m_fd; }
    bool ok() const { return m_fd >= 0; }

private:
    int m_fd;
};

QByteArray joined(const QByteArray &folder, const QByteArray &name)
{
    return folder.isEmpty() ? name : folder + '/' + name;
}

// Why a copy failed, and where below the item when the original changed.
struct Failure
{
    int error = 0;
    QByteArray path;
};

bool fail(Failure *why, int value, const QByteArray &path = {})
{
    why->error = value;
    why->path = path;
    return false;
}

void copyTimes(int fd, const struct stat &st)
{
    const struct timespec times[2] = {st.st_atim, st.st_mtim};
    futimens(fd, times);
}

// One file: its bytes, then its permissions and times; then both are read
// again and must have the same length and digest, and the original must not
// have changed while it was read.
bool copyFile(int fromDir, const QByteArray &name, const struct stat &st, int toDir,
              const QByteArray &toName, const QByteArray &path, Seen *seen, Failure *error)
{
    // Never blocking: a pipe swapped in since the listing must not hold the move.
    const Fd in(openat(fromDir, name.constData(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    struct stat opened;
    if (!in.ok() || fstat(in.get(), &opened) != 0)
        return fail(error, errno == ENOENT ? ESTALE : errno, path);
    if (!sameFile(opened, st))
        return fail(error, ESTALE, path);
    seen->status = opened;
    const Fd out(openat(toDir, toName.constData(),
                        O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!out.ok())
        return fail(error, errno);
    std::vector<char> buffer(size_t(FileDigest::kChunkBytes));
    qint64 offset = 0;
    for (;;) {
        const qint64 n = FileDigest::readAt(in.get(), buffer.data(), qint64(buffer.size()), offset);
        if (n < 0)
            return fail(error, errno ? errno : EIO);
        if (n == 0)
            break;
        if (!writeAll(out.get(), buffer.data(), n))
            return fail(error, errno ? errno : EIO);
        offset += n;
    }
    if (fsync(out.get()) != 0)
        return fail(error, errno);
    fchmod(out.get(), st.st_mode & 07777);
    copyTimes(out.get(), st);
    struct stat after, written;
    if (fstat(in.get(), &after) != 0 || after.st_size != offset ||
        after.st_mtim.tv_sec != opened.st_mtim.tv_sec ||
        after.st_mtim.tv_nsec != opened.st_mtim.tv_nsec)
        return fail(error, ESTALE, path);
    if (fstat(out.get(), &written) != 0 || written.st_size != offset)
        return fail(error, EIO);
    const auto original = FileDigest::ofOpenFile(in.get(), FileDigest::Algorithm::sha256);
    const auto copy = FileDigest::ofOpenFile(out.get(), FileDigest::Algorithm::sha256);
    if (!original || !copy || *original != *copy)
        return fail(error, EIO);
    return true;
}

bool copyItem(int fromDir, const QByteArray &name, const struct stat &st, int toDir,
              const QByteArray &toName, const QByteArray &path, Seen *seen, Failure *error);

// A folder and everything in it. The original will be emptied once the copy is
// done, so every folder of it must be one whose entries may be removed.
bool copyFolder(int fromDir, const QByteArray &name, const struct stat &st, int toDir,
                const QByteArray &toName, const QByteArray &path, Seen *seen, Failure *error)
{
    const Fd from(
        openat(fromDir, name.constData(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    struct stat opened;
    if (!from.ok() || fstat(from.get(), &opened) != 0)
        return fail(error, errno == ENOENT ? ESTALE : errno, path);
    if (!sameFile(opened, st))
        return fail(error, ESTALE, path);
    seen->status = opened;
    if (faccessat(from.get(), ".", W_OK | X_OK, AT_EACCESS) != 0)
        return fail(error, errno);
    std::vector<PosixEntries::Name> names;
    if (!PosixEntries::readNames(from.get(), &names))
        return fail(error, errno);
    if (mkdirat(toDir, toName.constData(), 0700) != 0)
        return fail(error, errno);
    const Fd to(openat(toDir, toName.constData(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!to.ok())
        return fail(error, errno);
    seen->children.resize(names.size());
    for (size_t i = 0; i < names.size(); ++i) {
        const QByteArray &child = names[i].bytes;
        seen->children[i].first = child;
        struct stat childSt;
        if (fstatat(from.get(), child.constData(), &childSt, AT_SYMLINK_NOFOLLOW) != 0)
            return fail(error, errno == ENOENT ? ESTALE : errno, joined(path, child));
        if (!copyItem(from.get(), child, childSt, to.get(), child, joined(path, child),
                      &seen->children[i].second, error))
            return false;
    }
    fsync(to.get());
    fchmod(to.get(), st.st_mode & 07777);
    copyTimes(to.get(), st);
    return true;
}

bool copyItem(int fromDir, const QByteArray &name, const struct stat &st, int toDir,
              const QByteArray &toName, const QByteArray &path, Seen *seen, Failure *error)
{
    if (S_ISREG(st.st_mode))
        return copyFile(fromDir, name, st, toDir, toName, path, seen, error);
    if (S_ISDIR(st.st_mode))
        return copyFolder(fromDir, name, st, toDir, toName, path, seen, error);
    if (S_ISLNK(st.st_mode)) {
        seen->status = st;
        std::vector<char> target(size_t(st.st_size > 0 ? st.st_size : 4096) + 1);
        const ssize_t n = readlinkat(fromDir, name.constData(), target.data(), target.size());
        if (n < 0 || size_t(n) >= target.size())
            return fail(error, n < 0 ? errno : ESTALE);
        target[size_t(n)] = '\0';
        if (symlinkat(target.data(), toDir, toName.constData()) != 0)
            return fail(error, errno);
        return true;
    }
    return fail(error, EOPNOTSUPP); // pipes, sockets and devices are not copied
}

Result failed(int error, QByteArray changed = {})
{
    Result r;
    r.error = error;
    r.changedPath = std::move(changed);
    return r;
}

// The original against what the copy saw of it, entry by entry, never through a
// link. Empty when all is as copied, else the path (below the item) of the first
// thing that changed, appeared or vanished.
std::optional<QByteArray> firstChange(int dirFd, const QByteArray &name, const Seen &seen,
                                      const QByteArray &path)
{
    struct stat now;
    if (fstatat(dirFd, name.constData(), &now, AT_SYMLINK_NOFOLLOW) != 0 ||
        !sameFile(now, seen.status) || now.st_mode != seen.status.st_mode)
        return path;
    if (!S_ISDIR(now.st_mode))
        return untouched(now, seen.status) ? std::nullopt : std::optional(path);
    // A folder's own times follow its entries: what changed in it is named first.
    const Fd folder(
        openat(dirFd, name.constData(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    std::vector<PosixEntries::Name> names;
    if (!folder.ok() || !PosixEntries::readNames(folder.get(), &names))
        return path;
    std::vector<QByteArray> listed;
    for (const PosixEntries::Name &entry : names)
        listed.push_back(entry.bytes);
    std::sort(listed.begin(), listed.end());
    std::vector<QByteArray> copied;
    for (const auto &[child, childSeen] : seen.children)
        copied.push_back(child);
    std::sort(copied.begin(), copied.end());
    if (listed != copied) {
        std::vector<QByteArray> different;
        std::set_symmetric_difference(listed.begin(), listed.end(), copied.begin(), copied.end(),
                                      std::back_inserter(different));
        return joined(path, different.front());
    }
    for (const auto &[child, childSeen] : seen.children)
        if (auto changed = firstChange(folder.get(), child, childSeen, joined(path, child)))
            return changed;
    return untouched(now, seen.status) ? std::nullopt : std::optional(path);
}

// Removes the original as it was copied: each entry only while it is still
// what the copy saw, so a late change stops the removal and stays on disk.
bool removeCopied(int dirFd, const QByteArray &name, const Seen &seen)
{
    struct stat now;
    if (fstatat(dirFd, name.constData(), &now, AT_SYMLINK_NOFOLLOW) != 0 ||
        !untouched(now, seen.status))
        return false;
    if (!S_ISDIR(now.st_mode))
        return unlinkat(dirFd, name.constData(), 0) == 0;
    const Fd folder(
        openat(dirFd, name.constData(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!folder.ok())
        return false;
    for (const auto &[child, childSeen] : seen.children)
        if (!removeCopied(folder.get(), child, childSeen))
            return false;
    // Anything that appeared meanwhile keeps the folder: the removal fails.
    return unlinkat(dirFd, name.constData(), AT_REMOVEDIR) == 0;
}

} // namespace

Result move(int fromDir, const QByteArray &fromName, const struct stat &expected, int toDir,
            const QByteArray &toName, const QByteArray &tempName,
            const std::function<void()> &afterCopy)
{
    struct stat now;
    if (fstatat(fromDir, fromName.constData(), &now, AT_SYMLINK_NOFOLLOW) != 0)
        return failed(errno);
    if (!sameFile(now, expected))
        return failed(ESTALE);
    if (renameNoReplace(fromDir, fromName.constData(), toDir, toName.constData()) == 0) {
        // What arrived must be what was checked: an item swapped in at the last
        // instant goes back.
        struct stat arrived;
        if (fstatat(toDir, toName.constData(), &arrived, AT_SYMLINK_NOFOLLOW) == 0 &&
            sameFile(arrived, expected)) {
            Result r;
            r.moved = true;
            return r;
        }
        renameNoReplace(toDir, toName.constData(), fromDir, fromName.constData());
        return failed(ESTALE);
    }
    if (errno != EXDEV)
        return failed(errno);

    // Another file system: copy, check, name, then remove the original.
    struct stat taken;
    if (fstatat(toDir, toName.constData(), &taken, AT_SYMLINK_NOFOLLOW) == 0)
        return failed(EEXIST);
    Failure why;
    Seen seen;
    const QByteArray itself(""); // empty, not null: the item itself
    if (!copyItem(fromDir, fromName, now, toDir, tempName, itself, &seen, &why)) {
        removeTree(toDir, tempName);
        return failed(why.error, why.path);
    }
    if (afterCopy)
        afterCopy();
    // Whatever changed, appeared or vanished while the copy ran would be lost
    // with the original: the move is called off and the original stays whole.
    if (std::optional<QByteArray> changed = firstChange(fromDir, fromName, seen, itself)) {
        removeTree(toDir, tempName);
        return failed(ESTALE, *changed);
    }
    CrashPoint::pass();
    if (renameNoReplace(toDir, tempName.constData(), toDir, toName.constData()) != 0) {
        const int error = errno;
        removeTree(toDir, tempName);
        return failed(error);
    }
    fsync(toDir);
    CrashPoint::pass();
    Result r;
    r.moved = true;
    if (!removeCopied(fromDir, fromName, seen)) {
        // The copy is whole and checked; what is left of the original, changed
        // after the check, stays where it was rather than being guessed about.
        r.originalLeft = true;
        r.error = errno ? errno : EBUSY;
    }
    return r;
}

bool removeTree(int dirFd, const QByteArray &name)
{
    struct stat st;
    if (fstatat(dirFd, name.constData(), &st, AT_SYMLINK_NOFOLLOW) != 0)
        return errno == ENOENT;
    if (S_ISDIR(st.st_mode)) {
        const Fd folder(
            openat(dirFd, name.constData(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
        std::vector<PosixEntries::Name> names;
        if (!folder.ok() || !PosixEntries::readNames(folder.get(), &names))
            return false;
        for (const PosixEntries::Name &child : names)
            if (!removeTree(folder.get(), child.bytes))
                return false;
        return unlinkat(dirFd, name.constData(), AT_REMOVEDIR) == 0;
    }
    return unlinkat(dirFd, name.constData(), 0) == 0;
}

} // namespace ItemMove

bool ItemMove::replaceFile(int dirFd, const QByteArray &name, const QByteArray &bytes)
{
    const QByteArray temporary = "." + name + "." +
                                 QByteArray::number(QRandomGenerator::global()->generate64(), 16) +
                                 ".tmp";
    const int fd = openat(dirFd, temporary.constData(),
                          O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (fd < 0)
        return false;
    const bool written = writeAll(fd, bytes) && fsync(fd) == 0;
    close(fd);
    if (!written || renameat(dirFd, temporary.constData(), dirFd, name.constData()) != 0) {
        unlinkat(dirFd, temporary.constData(), 0);
        return false;
    }
    fsync(dirFd);
    return true;
}
