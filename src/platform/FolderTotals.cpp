#include "FolderTotals.h"

#include "FileLocation.h"
#include "PosixEntries.h"
#include "RegularFileWalk.h"
#include "WalkControl.h"
#include "WorkQueue.h"

#include <algorithm>
#include <cerrno>
#include <dirent.h>
#include <fcntl.h>
#include <mutex>
#include <queue>
#include <sys/stat.h>
#include <unistd.h>

namespace FolderTotals {

namespace {

// Past this many folders waiting, a folder's subfolders are read where they are
// met instead of being queued, which bounds the descriptors the queue holds open.
constexpr int kMaxQueued = 64;

using Kind = Node::Kind;

// A name of a file that has more than one: which of its names carries the
// bytes is settled once the walk is over.
struct Link
{
    dev_t device;
    ino_t inode;
    qint64 bytes;
    QByteArray path;
    Node *target;
    QByteArray name;
};

// The order of a depth-first walk with each folder's names in byte order: that
// of the paths compared name by name, so "a/z" comes before "a-b".
bool walkOrder(const QByteArray &a, const QByteArray &b)
{
    const qsizetype n = std::min(a.size(), b.size());
    for (qsizetype i = 0; i < n; ++i) {
        const auto x = a[i] == '/' ? 0u : unsigned(quint8(a[i]));
        const auto y = b[i] == '/' ? 0u : unsigned(quint8(b[i]));
        if (x != y)
            return x < y;
    }
    return a.size() < b.size();
}

struct Task
{
    int fd;
    QByteArray path;
    int level;    // 0 for the root
    Node *node;   // the folder's own node; none inside a bundle
    Node *target; // where its entries count: its node, or the bundle's
};

void skip(const QByteArray &path, WalkControl::SkipReason reason)
{
    WalkControl::countSkipped(FileLocation::decode(path), reason);
}

// A folder's files by name: all of them, or its largest above the minimum.
class KeptFiles
{
public:
    KeptFiles(bool all, const Options &options)
        : m_all(all), m_minimum(options.keptFileMinimum), m_most(size_t(options.keptFilesPerFolder))
    {}

    void offer(qint64 bytes, const char *name)
    {
        if (m_all) {
            m_files.emplace_back(bytes, QByteArray(name));
            return;
        }
        if (bytes < m_minimum || m_most == 0)
            return;
        if (m_files.size() == m_most) {
            if (bytes <= m_files.front().first)
                return;
            std::pop_heap(m_files.begin(), m_files.end(), smallestFirst);
            m_files.pop_back();
        }
        m_files.emplace_back(bytes, QByteArray(name));
        std::push_heap(m_files.begin(), m_files.end(), smallestFirst);
    }

    void moveInto(Node &folder)
    {
        for (auto &[bytes, name] : m_files) {
            auto file = std::make_unique<Node>();
            file->name = std::move(name);
            file->kind = Kind::file;
            file->ownSize = bytes;
            file->ownFiles = 1;
            folder.children.push_back(std::move(file));
        }
    }

private:
    static bool smallestFirst(const std::pair<qint64, QByteArray> &a,
                              const std::pair<qint64, QByteArray> &b)
    {
        return a.first > b.first;
    }

    bool m_all;
    qint64 m_minimum;
    size_t m_most;
    std::vector<std::pair<qint64, QByteArray>> m_files;
};

class Walk
{
public:
    Walk(dev_t device, const Options &options) : m_device(device), m_options(options) {}

    void run(Task root)
    {
        push(std::move(root));
        m_queue.run();
    }

    std::vector<Link> takeLinks() { return std::move(m_links); }

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
        RegularFileWalk::folderReached(task.path, task.level + 1);
        DIR *dir = WalkControl::stopRequested() ? nullptr : fdopendir(task.fd);
        if (!dir) {
            if (!WalkControl::stopRequested())
                skip(task.path, WalkControl::skipReasonFor(errno));
            task.target->broken = true;
            close(task.fd);
            return;
        }
        rewinddir(dir); // the root's names were read through a duplicate of its descriptor
        KeptFiles kept(task.level < m_options.allFilesAbove, m_options);
        std::vector<QByteArray> folders;
        qint64 bytes = 0;
        qint64 files = 0;
        qint64 entries = 0;
        std::vector<Link> links;
        errno = 0;
        while (const dirent *entry = readdir(dir)) {
            const char *name = entry->d_name;
            if (name[0] == '.' && (name[1] == '\0' || (name[1] == '.' && name[2] == '\0')))
                continue;
            if ((entries & 4095) == 4095 && WalkControl::stopRequested()) {
                task.target->broken = true; // a folder of 100,000 files still stops at once
                break;
            }
            ++entries;
            if (entry->d_type == DT_DIR) {
                folders.emplace_back(name);
                continue;
            }
            struct stat st;
            if (fstatat(task.fd, name, &st, AT_SYMLINK_NOFOLLOW) != 0) {
                skip(task.path + '/' + name, WalkControl::skipReasonFor(errno));
                task.target->broken = true;
                errno = 0;
                continue;
            }
            if (S_ISDIR(st.st_mode)) {
                folders.emplace_back(name);
                continue;
            }
            const qint64 allocated = qint64(st.st_blocks) * 512;
            bytes += allocated;
            ++files;
            if (st.st_nlink > 1)
                links.push_back({st.st_dev, st.st_ino, allocated, task.path + '/' + name,
                                 task.target, QByteArray(name)});
            if (task.node)
                kept.offer(allocated, name);
        }
        if (errno != 0) { // a folder read in part counts what it gave
            skip(task.path, WalkControl::skipReasonFor(errno));
            task.target->broken = true;
        }
        WalkControl::countEntries(entries);
        task.target->ownSize += bytes;
        task.target->ownFiles += files;
        if (task.node)
            kept.moveInto(*task.node);
        if (!links.empty()) {
            std::lock_guard lock(m_linksMutex);
            std::move(links.begin(), links.end(), std::back_inserter(m_links));
        }
        for (const QByteArray &name : folders) {
            if (WalkControl::stopRequested()) {
                task.target->broken = true; // its subfolders were never opened
                break;
            }
            enter(task, name);
        }
        closedir(dir);
    }

    void enter(const Task &task, const QByteArray &name)
    {
        QByteArray path = task.path + '/' + name;
        const int fd =
            openat(task.fd, name.constData(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
        struct stat st;
        if (fd < 0 || fstat(fd, &st) != 0) {
            skip(path, WalkControl::skipReasonFor(errno));
            task.target->broken = true;
            if (fd >= 0)
                close(fd);
            return;
        }
        if (st.st_dev != m_device) { // another file system mounted here
            close(fd);
            return;
        }
        Node *node = nullptr;
        Node *target = task.target;
        if (task.node) {
            auto child = std::make_unique<Node>();
            child->name = name;
            child->kind = PosixEntries::isPackage(name) ? Kind::package : Kind::folder;
            target = child.get();
            if (child->kind == Kind::folder)
                node = child.get();
            task.node->children.push_back(std::move(child));
        }
        Task child{fd, std::move(path), task.level + 1, node, target};
        if (m_queued.load() >= kMaxQueued)
            read(child);
        else
            push(std::move(child));
    }

    dev_t m_device;
    const Options &m_options;
    std::atomic<int> m_queued{0};
    std::mutex m_linksMutex;
    std::vector<Link> m_links;
    WorkQueue m_queue;
};

// Each file with several names counts once, under the name a walk in byte
// order meets first, whatever order the cores met them in.
void settleLinks(std::vector<Link> links)
{
    std::sort(links.begin(), links.end(), [](const Link &a, const Link &b) {
        if (a.device != b.device)
            return a.device < b.device;
        if (a.inode != b.inode)
            return a.inode < b.inode;
        return walkOrder(a.path, b.path);
    });
    for (size_t i = 1; i < links.size(); ++i) {
        const Link &link = links[i];
        if (link.device != links[i - 1].device || link.inode != links[i - 1].inode)
            continue; // the first name: it keeps the bytes
        link.target->ownSize -= link.bytes;
        link.target->ownFiles -= 1;
        for (const std::unique_ptr<Node> &child : link.target->children)
            if (child->kind == Kind::file && child->name == link.name) {
                child->ownSize = 0;
                child->ownFiles = 0;
            }
    }
}

void finish(Node &node)
{
    node.size = node.ownSize;
    node.files = node.ownFiles;
    if (node.kind == Kind::file)
        return;
    node.whole = !node.broken;
    qint64 keptSize = 0;
    qint64 keptFiles = 0;
    for (const std::unique_ptr<Node> &child : node.children) {
        finish(*child);
        if (child->isFolder()) {
            node.size += child->size;
            node.files += child->files;
            node.whole = node.whole && child->whole;
        } else {
            keptSize += child->size;
            keptFiles += child->files;
        }
    }
    node.restSize = node.ownSize - keptSize;
    node.restFiles = node.ownFiles - keptFiles;
    std::sort(node.children.begin(), node.children.end(),
              [](const std::unique_ptr<Node> &a, const std::unique_ptr<Node> &b) {
                  if (a->size != b->size)
                      return a->size > b->size;
                  return a->name < b->name;
              });
}

} // namespace

std::unique_ptr<Node> walk(const QString &root, const Options &options)
{
    const QString rootPath = FileLocation::standardizedPath(root);
    if (rootPath.isEmpty())
        return nullptr;
    QByteArray rootBytes = FileLocation::encode(rootPath);
    // A root that opens but cannot be listed is as unusable as a missing one.
    std::vector<PosixEntries::Name> names;
    const int fd = PosixEntries::openRoot(rootBytes, true, &names);
    struct stat st;
    if (fd < 0 || fstat(fd, &st) != 0) {
        if (fd >= 0)
            close(fd);
        return nullptr;
    }
    auto top = std::make_unique<Node>();
    top->name = rootBytes;
    if (rootBytes == "/")
        rootBytes.clear(); // children are "/name", not "//name"
    Walk walk(st.st_dev, options);
    walk.run(Task{fd, rootBytes, 0, top.get(), top.get()});
    settleLinks(walk.takeLinks());
    finish(*top);
    return top;
}

} // namespace FolderTotals
