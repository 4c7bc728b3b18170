#include "RegularFileWalk.h"

#include "FileLocation.h"
#include "FileWalker.h"
#include "PosixEntries.h"
#include "WalkControl.h"
#include "WorkQueue.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

QString FileEntry::path() const
{
    QByteArray full = folder;
    full.append('/').append(name.data(), name.size());
    return FileLocation::decode(full);
}

QString FileEntry::fileName() const
{
    return FileLocation::decode(name.toByteArray());
}
QString FileEntry::folderPath() const
{
    return folder.isEmpty() ? QStringLiteral("/") : FileLocation::decode(folder);
}
bool FileEntry::isReadable() const
{
    return PosixEntries::isReadable(st);
}

std::optional<qint64> FileEntry::modificationTimeMs() const
{
    return qint64(st.st_mtim.tv_sec) * 1000 + st.st_mtim.tv_nsec / 1000000;
}

namespace RegularFileWalk {

namespace {

// Past this many folders waiting, a folder's subfolders are read where they are
// met instead of being queued, which bounds the descriptors the queue holds open.
constexpr int kMaxQueued = 64;

// Only what is left out is ever decoded, so the walk itself stays on bytes.
void skip(const QByteArray &folder, const QByteArray &name, WalkControl::SkipReason reason)
{
    WalkControl::countSkipped(FileLocation::decode(name.isEmpty() ? folder : folder + '/' + name),
                              reason);
}

struct Task
{
    Sink *sink;
    int fd;
    QByteArray path;
    int level;
    std::vector<PosixEntries::Name> names = {}; // already read (the root), else read here
};

// One folder is one unit of work on the pool.
class Walk
{
public:
    explicit Walk(int options, PosixEntries::QuarantineMark quarantine)
        : m_options(options), m_quarantine(std::move(quarantine))
    {}

    void run(Task root)
    {
        push(std::move(root));
        m_queue.run();
    }

private:
    void push(Task task)
    {
        ++m_queued;
        m_queue.push([this, task = std::move(task)]() mutable {
            --m_queued;
            read(task);
        });
    }

    void read(Task &task)
    {
        folderReached(task.path, task.level);
        if (WalkControl::stopRequested()) {
            close(task.fd); // stopped: what is still queued is only closed
            return;
        }
        if (!task.names.empty() || PosixEntries::readNames(task.fd, &task.names))
            readEntries(task);
        else // a folder read only in part is left out whole
            skip(task.path, {}, WalkControl::skipReasonFor(errno));
        close(task.fd);
    }

    void readEntries(const Task &task)
    {
        WalkControl::countEntries(qint64(task.names.size()));
        for (const auto &[name, type] : task.names) {
            if ((m_options & SkipHiddenFiles) && PosixEntries::isHidden(name))
                continue;
            // Folders and links are known from the listing; only files need a stat.
            if (type == DT_LNK || (type != DT_UNKNOWN && type != DT_DIR && type != DT_REG))
                continue;
            struct stat st;
            if (type != DT_DIR) {
                if (fstatat(task.fd, name.constData(), &st, AT_SYMLINK_NOFOLLOW) != 0) {
                    skip(task.path, name, WalkControl::skipReasonFor(errno));
                    continue;
                }
                if (S_ISREG(st.st_mode)) {
                    if (!PosixEntries::isReadable(st)) // listed, but its content cannot be read
                        skip(task.path, name, WalkControl::SkipReason::unreadable);
                    task.sink->keep(FileEntry{task.path, name, st, task.level});
                    continue;
                }
                if (!S_ISDIR(st.st_mode))
                    continue;
            }
            if ((m_options & SkipPackageContents) && PosixEntries::isPackage(name))
                continue;
            const int childFd =
                openat(task.fd, name.constData(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
            if (childFd < 0) {
                skip(task.path, name, WalkControl::skipReasonFor(errno));
                continue;
            }
            if (m_quarantine.known && fstat(childFd, &st) == 0 && m_quarantine.is(st)) {
                close(childFd);
                continue;
            }
            Task child{task.sink->spawn(), childFd, task.path + '/' + name, task.level + 1};
            if (m_queued.load() >= kMaxQueued)
                read(child);
            else
                push(std::move(child));
        }
    }

    int m_options;
    PosixEntries::QuarantineMark m_quarantine;
    std::atomic<int> m_queued{0};
    WorkQueue m_queue;
};

} // namespace

bool walk(const QString &root, int options, Sink *top)
{
    const QString rootPath = FileLocation::standardizedPath(root);
    if (rootPath.isEmpty())
        return false;
    QByteArray rootBytes = FileLocation::encode(rootPath);
    std::vector<PosixEntries::Name> names;
    const int fd = PosixEntries::openRoot(rootBytes, true, &names);
    if (fd < 0)
        return false;
    PosixEntries::QuarantineMark quarantine;
    if (options & SkipQuarantine) {
        quarantine = PosixEntries::QuarantineMark::read();
        if (quarantine.covers(rootBytes)) {
            close(fd); // inside the quarantine there is nothing to offer
            return true;
        }
    }
    if (rootBytes == "/")
        rootBytes.clear(); // children are "/name", not "//name"
    if (names.empty()) {
        close(fd);
        return true;
    }
    Walk(options, std::move(quarantine)).run(Task{top, fd, rootBytes, 1, std::move(names)});
    return true;
}

} // namespace RegularFileWalk
