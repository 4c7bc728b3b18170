#include "RegularFileWalk.h"

#include "FileLocation.h"
#include "FileWalker.h"
#include "FolderListing.h"
#include "PosixEntries.h"
#include "WalkControl.h"
#include "WorkQueue.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <climits>
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

using Listed = FolderListing::Folder;

struct Task
{
    Sink *sink;
    int fd;
    QByteArray path;
    int level;
    const Listed *listed = nullptr;             // the folder in the listing reused, if any
    Listed *record = nullptr;                   // its place in the listing recorded, if any
    std::vector<PosixEntries::Name> names = {}; // already read (the root), else read here
};

// One folder is one unit of work on the pool.
class Walk
{
public:
    Walk(int options, PosixEntries::QuarantineMark quarantine, qint64 recordMinimumBytes)
        : m_options(options), m_quarantine(std::move(quarantine)),
          m_recordMinimumBytes(recordMinimumBytes)
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
        // Stamped before the names are read: a change after that shows in its times.
        struct stat st;
        const qint64 now = task.record ? FolderListing::nowNs() : 0;
        const bool stamped =
            (task.record || (task.listed && task.listed->trusted)) && fstat(task.fd, &st) == 0;
        if (task.names.empty() && task.listed && stamped && task.listed->unchanged(st)) {
            if (!WalkControl::stopRequested()) {
                WalkControl::countEntries(task.listed->entryCount);
                readEntries(task, task.listed->names);
            }
            close(task.fd);
            return;
        }
        folderReached(task.path, task.level);
        if (WalkControl::stopRequested()) {
            close(task.fd); // stopped: what is still queued is only closed
            return;
        }
        if (!task.names.empty() || PosixEntries::readNames(task.fd, &task.names)) {
            if (task.record) {
                if (stamped)
                    task.record->stamp(st, now);
                // The root's names were read before it could be stamped.
                task.record->trusted = task.record->trusted && task.level > 1;
                task.record->entryCount = qint64(task.names.size());
            }
            WalkControl::countEntries(qint64(task.names.size()));
            readEntries(task, task.names);
        } else { // a folder read only in part is left out whole
            skip(task.path, {}, WalkControl::skipReasonFor(errno));
        }
        close(task.fd);
    }

    // Names a later walk must look at again: subfolders, files it may want, and
    // entries that could not be looked at. What it could see without looking
    // (hidden names, links, packages) and small readable files are left out.
    static void list(const Task &task, const QByteArray &name, unsigned char type)
    {
        if (task.record)
            task.record->names.push_back({name, type});
    }

    void readEntries(const Task &task, const std::vector<PosixEntries::Name> &names)
    {
        for (const auto &[name, type] : names) {
            if ((m_options & SkipHiddenFiles) && PosixEntries::isHidden(name))
                continue;
            // Folders and links are known from the listing; only files need a stat.
            if (type == DT_LNK || (type != DT_UNKNOWN && type != DT_DIR && type != DT_REG))
                continue;
            struct stat st;
            if (type != DT_DIR) {
                if (fstatat(task.fd, name.constData(), &st, AT_SYMLINK_NOFOLLOW) != 0) {
                    skip(task.path, name, WalkControl::skipReasonFor(errno));
                    list(task, name, type);
                    continue;
                }
                if (S_ISREG(st.st_mode)) {
                    const bool readable = PosixEntries::isReadable(st);
                    if (!readable) // listed, but its content cannot be read
                        skip(task.path, name, WalkControl::SkipReason::unreadable);
                    task.sink->keep(FileEntry{task.path, name, st, task.level});
                    if (!readable || qint64(st.st_blocks) * 512 >= m_recordMinimumBytes)
                        list(task, name, DT_REG);
                    continue;
                }
                if (!S_ISDIR(st.st_mode))
                    continue;
            }
            if ((m_options & SkipPackageContents) && PosixEntries::isPackage(name))
                continue;
            const int childFd =
                openat(task.fd, name.constData(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
            list(task, name, DT_DIR); // looked at again even when it cannot be opened now
            if (childFd < 0) {
                skip(task.path, name, WalkControl::skipReasonFor(errno));
                continue;
            }
            if (m_quarantine.known && fstat(childFd, &st) == 0 && m_quarantine.is(st)) {
                close(childFd);
                continue;
            }
            Task child{task.sink->spawn(),
                       childFd,
                       task.path + '/' + name,
                       task.level + 1,
                       task.listed ? task.listed->subfolder(name) : nullptr,
                       task.record ? task.record->addSubfolder(name) : nullptr};
            if (m_queued.load() >= kMaxQueued)
                read(child);
            else
                push(std::move(child));
        }
    }

    int m_options;
    PosixEntries::QuarantineMark m_quarantine;
    qint64 m_recordMinimumBytes;
    std::atomic<int> m_queued{0};
    WorkQueue m_queue;
};

} // namespace

bool walk(const QString &root, int options, Sink *top, Listings listings)
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
    if (listings.reuse &&
        (listings.reuse->root() != rootBytes || listings.reuse->options() != options))
        listings.reuse = nullptr;
    if (listings.record)
        listings.record->begin(rootBytes, options);
    if (rootBytes == "/")
        rootBytes.clear(); // children are "/name", not "//name"
    if (names.empty()) {
        close(fd);
        return true;
    }
    Walk(options, std::move(quarantine),
         listings.record ? listings.record->minimumBytes() : LLONG_MAX)
        .run(Task{top, fd, rootBytes, 1, listings.reuse ? &listings.reuse->top() : nullptr,
                  listings.record ? &listings.record->top() : nullptr, std::move(names)});
    return true;
}

} // namespace RegularFileWalk
