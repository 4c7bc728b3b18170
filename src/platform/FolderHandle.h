#pragma once

#include "ResolvedRoot.h"

#include <QByteArray>
#include <QString>
#include <optional>

// An open folder reached from a resolved root one folder at a time, never
// through a link, so that what is done inside it cannot land anywhere else
// however the path is changed meanwhile.
class FolderHandle
{
public:
    // The folder `path` (the root itself or below it). With `create`, missing
    // folders are made on the way; the last one with `lastMode`, the others
    // with the usual permissions. Nothing, with *error (an errno), when a part
    // of the way is a link (ELOOP) or not a folder, or cannot be opened or made.
    static std::optional<FolderHandle> open(const ResolvedRoot &root, const QString &path,
                                            bool create, int *error, unsigned lastMode = 0777);

    FolderHandle(FolderHandle &&other) noexcept;
    FolderHandle &operator=(FolderHandle &&other) noexcept;
    FolderHandle(const FolderHandle &) = delete;
    FolderHandle &operator=(const FolderHandle &) = delete;
    ~FolderHandle();

    // Takes over a folder descriptor opened elsewhere.
    static FolderHandle adopt(int fd) { return FolderHandle(fd); }

    int fd() const { return m_fd; }
    // Makes the folder's entries (names made, renamed, removed) durable.
    void sync() const;
    // Ours alone: owned by this account, with no permission outside `mode`. A
    // file or folder of ours left open wider is closed first; false for another's.
    static bool keepPrivate(int fd, unsigned mode);
    bool keepPrivate(unsigned mode) const { return keepPrivate(m_fd, mode); }

private:
    explicit FolderHandle(int fd) : m_fd(fd) {}
    int m_fd = -1;
};
