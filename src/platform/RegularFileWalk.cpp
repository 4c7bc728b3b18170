#include "RegularFileWalk.h"

#include "StopToken.h"

#include "FileLocation.h"
#include "FileWalker.h"
#include "PosixEntries.h"

#include <QThread>
#include <algorithm>
#include <condition_variable>
#include <deque>
#include <dirent.h>
#include <fcntl.h>
#include <mutex>
#include <thread>
#include <unistd.h>
#include <vector>

QString FileEntry::path() const
{
    QByteArray full = folder;
    full.append('/').append(name.data(), name.size());
    return QString::fromUtf8(full);
}

QString FileEntry::fileName() const
{
    return QString::fromUtf8(name.data(), name.size());
}
QString FileEntry::folderPath() const
{
    return folder.isEmpty() ? QStringLiteral("/") : QString::fromUtf8(folder);
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

// Past this many folders waiting, a worker reads subfolders itself instead of
// queueing them, which bounds the descriptors held open by the queue.
constexpr size_t kMaxQueued = 64;

struct Name
{
    QByteArray bytes;
    unsigned char type;
};

bool isValidUtf8(const QByteArray &bytes)
{
    for (char c : bytes)
        if (static_cast<unsigned char>(c) >= 0x80) {
            QString ignored;
            return FileLocation::decodeExactly(bytes, &ignored);
        }
    return true;
}

bool isPackage(const QByteArray &name)
{
    const qsizetype dot = name.lastIndexOf('.');
    return dot > 0 && FileSystemNames::isPackageName(QString::fromUtf8(name));
}

bool readFolder(int fd, std::vector<Name> *names)
{
    const int dupFd = fcntl(fd, F_DUPFD_CLOEXEC, 0);
    if (dupFd < 0)
        return false;
    DIR *dir = fdopendir(dupFd);
    if (!dir) {
        close(dupFd);
        return false;
    }
    rewinddir(dir);
    errno = 0;
    while (dirent *e = readdir(dir)) {
        const char *n = e->d_name;
        if (n[0] == '.' && (n[1] == '\0' || (n[1] == '.' && n[2] == '\0')))
            continue;
        names->push_back({QByteArray(n), e->d_type});
    }
    const int readError = errno;
    closedir(dir);
    if (readError != 0)
        return false; // a folder read only in part is left out, like an unreadable one
    std::sort(names->begin(), names->end(),
              [](const Name &a, const Name &b) { return a.bytes < b.bytes; });
    return true;
}

struct Task
{
    Sink *sink;
    int fd;
    QByteArray path;
    int level;
    std::vector<Name> names = {}; // already read (the root), else read by the worker
};

class Walk
{
public:
    Walk(int options) : m_options(options) {}

    void push(Task task)
    {
        std::lock_guard lock(m_mutex);
        m_queue.push_back(std::move(task));
        m_wake.notify_one();
    }

    void work()
    {
        for (;;) {
            Task task;
            {
                std::unique_lock lock(m_mutex);
                m_wake.wait(lock, [this] { return !m_queue.empty() || m_busy == 0; });
                if (m_queue.empty())
                    return; // nothing queued and nobody busy: the walk is over
                task = std::move(m_queue.front());
                m_queue.pop_front();
                ++m_busy;
            }
            readTask(task);
            {
                std::lock_guard lock(m_mutex);
                --m_busy;
                if (m_busy == 0 && m_queue.empty())
                    m_wake.notify_all();
            }
        }
    }

private:
    bool queueIsFull()
    {
        std::lock_guard lock(m_mutex);
        return m_queue.size() >= kMaxQueued;
    }

    void readTask(const Task &task)
    {
        if (StopToken::requested()) {
            close(task.fd); // stopped: what is still queued is only closed
            return;
        }
        if (!task.names.empty()) {
            readEntries(task, task.names);
        } else {
            std::vector<Name> names;
            if (readFolder(task.fd, &names))
                readEntries(task, names);
        }
        close(task.fd);
    }

    void readEntries(const Task &task, const std::vector<Name> &names)
    {
        for (const Name &n : names) {
            if ((m_options & SkipHiddenFiles) && n.bytes.startsWith('.'))
                continue;
            if (!isValidUtf8(n.bytes))
                continue;
            // Folders and links are known from the listing; only files need a stat.
            if (n.type == DT_LNK || (n.type != DT_UNKNOWN && n.type != DT_DIR && n.type != DT_REG))
                continue;
            struct stat st;
            if (n.type != DT_DIR) {
                if (fstatat(task.fd, n.bytes.constData(), &st, AT_SYMLINK_NOFOLLOW) != 0)
                    continue; // vanished since the listing
                if (S_ISREG(st.st_mode)) {
                    task.sink->keep(FileEntry{task.path, n.bytes, st, task.level});
                    continue;
                }
                if (!S_ISDIR(st.st_mode))
                    continue;
            }
            if ((m_options & SkipPackageContents) && isPackage(n.bytes))
                continue;
            const int childFd = openat(task.fd, n.bytes.constData(),
                                       O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
            if (childFd < 0)
                continue; // unreadable folder: left out
            Task child{task.sink->spawn(), childFd, task.path + '/' + n.bytes, task.level + 1};
            if (queueIsFull())
                readTask(child);
            else
                push(std::move(child));
        }
    }

    int m_options;
    std::mutex m_mutex;
    std::condition_variable m_wake;
    std::deque<Task> m_queue;
    int m_busy = 0;
};

} // namespace

bool walk(const QString &root, int options, Sink *top, int threads)
{
    const QString rootPath = FileLocation::standardizedPath(root);
    if (rootPath.isEmpty())
        return false;
    QByteArray rootBytes = FileLocation::encode(rootPath);
    const int fd = open(rootBytes.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0)
        return false;
    std::vector<Name> names;
    if (!readFolder(fd, &names)) {
        close(fd);
        return false;
    }
    if (rootBytes == "/")
        rootBytes.clear(); // children are "/name", not "//name"
    if (threads <= 0)
        threads = std::max(1, QThread::idealThreadCount());

    Walk walk(options);
    walk.push(Task{top, fd, rootBytes, 1, std::move(names)});
    const StopToken::Flag stop = StopToken::current();
    std::vector<std::thread> helpers;
    for (int i = 1; i < threads; ++i)
        helpers.emplace_back([&walk, stop] {
            const StopToken::Scope scope(stop);
            walk.work();
        });
    walk.work();
    for (std::thread &t : helpers)
        t.join();
    return true;
}

} // namespace RegularFileWalk
