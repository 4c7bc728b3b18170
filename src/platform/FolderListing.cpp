#include "FolderListing.h"

#include <algorithm>
#include <atomic>
#include <sys/stat.h>
#include <time.h>

namespace {

std::atomic<qint64> g_settleNs{2'000'000'000};

qint64 nanoseconds(const timespec &t)
{
    return qint64(t.tv_sec) * 1'000'000'000 + t.tv_nsec;
}

bool byName(const std::pair<QByteArray, std::unique_ptr<FolderListing::Folder>> &entry,
            const QByteArray &name)
{
    return entry.first < name;
}

} // namespace

void FolderListing::Folder::stamp(const struct stat &st, qint64 nowNs)
{
    device = quint64(st.st_dev);
    inode = quint64(st.st_ino);
    modifiedNs = nanoseconds(st.st_mtim);
    changedNs = nanoseconds(st.st_ctim);
    // Any change to the folder sets its change time, which nobody can set back.
    trusted = changedNs < nowNs - settleNs();
}

bool FolderListing::Folder::unchanged(const struct stat &st) const
{
    return trusted && device == quint64(st.st_dev) && inode == quint64(st.st_ino) &&
           modifiedNs == nanoseconds(st.st_mtim) && changedNs == nanoseconds(st.st_ctim);
}

const FolderListing::Folder *FolderListing::Folder::subfolder(const QByteArray &name) const
{
    const auto at = std::lower_bound(subfolders.begin(), subfolders.end(), name, byName);
    return at != subfolders.end() && at->first == name ? at->second.get() : nullptr;
}

FolderListing::Folder *FolderListing::Folder::addSubfolder(const QByteArray &name)
{
    subfolders.emplace_back(name, std::make_unique<Folder>());
    return subfolders.back().second.get();
}

qint64 FolderListing::settleNs()
{
    return g_settleNs.load();
}

void FolderListing::setSettleNs(qint64 ns)
{
    g_settleNs.store(ns);
}

qint64 FolderListing::nowNs()
{
    timespec now{};
    clock_gettime(CLOCK_REALTIME_COARSE, &now);
    return nanoseconds(now);
}
