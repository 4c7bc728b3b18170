#pragma once

#include "FileIdentity.h"
#include "ResolvedRoot.h"

#include <QByteArray>
#include <QString>
#include <optional>
#include <sys/stat.h>

// An item a scan listed, reached again for a removal: from the scan's resolved
// root, one folder at a time, never through a link. Holding the item's parent
// folder open means a later rename of an outer folder, or a link swapped in for
// it, cannot send the removal anywhere else.
class PinnedItem
{
public:
    enum class Check
    {
        SameFile,  // device and inode as the scan saw them
        Unchanged, // and the same length and modification time
    };

    // Nothing (with *why) when a folder on the way is a link or gone, the root is
    // no longer the folder the scan started from, or the item is not the file
    // the scan saw.
    static std::optional<PinnedItem> pin(const ResolvedRoot &root, const QString &itemPath,
                                         const FileIdentity &expected, Check check,
                                         QString *why = nullptr);

    PinnedItem(PinnedItem &&other) noexcept;
    PinnedItem &operator=(PinnedItem &&other) noexcept;
    PinnedItem(const PinnedItem &) = delete;
    PinnedItem &operator=(const PinnedItem &) = delete;
    ~PinnedItem();

    int parentFd() const { return m_parentFd; }
    const QByteArray &name() const { return m_name; }
    const struct stat &status() const { return m_status; }
    // The item's real location: the resolved root and the path below it.
    const QByteArray &resolvedPath() const { return m_resolvedPath; }
    // Looks again, right before acting: still the same file under that name.
    bool stillSame() const;
    // The pinned parent folder is still found at the path the item's resolved
    // path names (true where the system cannot tell).
    bool parentStillAtItsPath() const;

private:
    PinnedItem() = default;
    int m_parentFd = -1;
    QByteArray m_name;
    QByteArray m_resolvedPath;
    struct stat m_status = {};
    FileIdentity m_expected;
    Check m_check = Check::SameFile;
};
