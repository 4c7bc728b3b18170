#include "ItemMove.h"

#include "CrashPoint.h"
#include "FileDigest.h"
#include "PosixEntries.h"

#include <cerrno>
#include <fcntl.h>
#include <linux/fs.h>
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

bool fail(int *error, int value)
{
    *error = value;
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
              const QByteArray &toName, int *error)
{
    const Fd in(openat(fromDir, name.constData(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
    struct stat opened;
    if (!in.ok() || fstat(in.get(), &opened) != 0)
        return fail(error, errno);
    if (!sameFile(opened, st))
        return fail(error, ESTALE);
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
        return fail(error, ESTALE);
    if (fstat(out.get(), &written) != 0 || written.st_size != offset)
        return fail(error, EIO);
    const auto original = FileDigest::ofOpenFile(in.get(), FileDigest::Algorithm::sha256);
    const auto copy = FileDigest::ofOpenFile(out.get(), FileDigest::Algorithm::sha256);
    if (!original || !copy || *original != *copy)
        return fail(error, EIO);
    return true;
}

bool copyItem(int fromDir, const QByteArray &name, const struct stat &st, int toDir,
              const QByteArray &toName, int *error);

// A folder and everything in it. The original will be emptied once the copy is
// done, so every folder of it must be one whose entries may be removed.
bool copyFolder(int fromDir, const QByteArray &name, const struct stat &st, int toDir,
                const QByteArray &toName, int *error)
{
    const Fd from(
        openat(fromDir, name.constData(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    struct stat opened;
    if (!from.ok() || fstat(from.get(), &opened) != 0)
        return fail(error, errno);
    if (!sameFile(opened, st))
        return fail(error, ESTALE);
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
    for (const PosixEntries::Name &child : names) {
        struct stat childSt;
        if (fstatat(from.get(), child.bytes.constData(), &childSt, AT_SYMLINK_NOFOLLOW) != 0)
            return fail(error, errno);
        if (!copyItem(from.get(), child.bytes, childSt, to.get(), child.bytes, error))
            return false;
    }
    fsync(to.get());
    fchmod(to.get(), st.st_mode & 07777);
    copyTimes(to.get(), st);
    return true;
}

bool copyItem(int fromDir, const QByteArray &name, const struct stat &st, int toDir,
              const QByteArray &toName, int *error)
{
    if (S_ISREG(st.st_mode))
        return copyFile(fromDir, name, st, toDir, toName, error);
    if (S_ISDIR(st.st_mode))
        return copyFolder(fromDir, name, st, toDir, toName, error);
    if (S_ISLNK(st.st_mode)) {
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

Result failed(int error)
{
    Result r;
    r.error = error;
    return r;
}

} // namespace

Result move(int fromDir, const QByteArray &fromName, const struct stat &expected, int toDir,
            const QByteArray &toName, const QByteArray &tempName,
            const std::function<void()> &beforeRemovingOriginal)
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
    int error = 0;
    if (!copyItem(fromDir, fromName, now, toDir, tempName, &error)) {
        removeTree(toDir, tempName);
        return failed(error);
    }
    CrashPoint::pass();
    if (renameNoReplace(toDir, tempName.constData(), toDir, toName.constData()) != 0) {
        error = errno;
        removeTree(toDir, tempName);
        return failed(error);
    }
    fsync(toDir);
    CrashPoint::pass();
    if (beforeRemovingOriginal)
        beforeRemovingOriginal();
    Result r;
    r.moved = true;
    struct stat still;
    if (fstatat(fromDir, fromName.constData(), &still, AT_SYMLINK_NOFOLLOW) != 0 ||
        !sameFile(still, expected) || !removeTree(fromDir, fromName)) {
        // The copy is whole and checked; what is left of the original stays
        // where it was rather than being guessed about.
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
