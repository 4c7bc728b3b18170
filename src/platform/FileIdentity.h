#pragma once

#include <QtGlobal>
#include <optional>
#include <sys/stat.h>

// Which file an entry was when a scan saw it: its device and inode, with its
// logical size and content modification time for checks that care whether it
// changed since.
struct FileIdentity
{
    quint64 device = 0;
    quint64 inode = 0;
    qint64 size = 0;
    std::optional<qint64> modificationTimeMs;

    static FileIdentity of(const struct stat &st);
    // The same file: device and inode.
    bool sameFile(const struct stat &st) const;
    // The same file, with the same length and modification time.
    bool unchanged(const struct stat &st) const;
    bool operator==(const FileIdentity &) const = default;
};

inline FileIdentity FileIdentity::of(const struct stat &st)
{
    return {quint64(st.st_dev), quint64(st.st_ino), qint64(st.st_size),
            qint64(st.st_mtim.tv_sec) * 1000 + st.st_mtim.tv_nsec / 1000000};
}

inline bool FileIdentity::sameFile(const struct stat &st) const
{
    return device == quint64(st.st_dev) && inode == quint64(st.st_ino);
}

inline bool FileIdentity::unchanged(const struct stat &st) const
{
    const FileIdentity now = of(st);
    return sameFile(st) && size == now.size && modificationTimeMs == now.modificationTimeMs;
}
