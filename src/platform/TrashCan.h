#pragma once

#include "PinnedItem.h"

#include <QByteArray>
#include <QString>
#include <functional>
#include <optional>
#include <sys/types.h>

// One freedesktop Trash folder, open and checked: its "files" and "info" folders
// are real folders (never links) of the current user. The home Trash lives under
// the data home; another volume has its own at its top folder.
class TrashCan
{
public:
    // The data home: XDG_DATA_HOME when absolute (a relative one is ignored, as
    // the base-directory rules say), else ~/.local/share.
    static QByteArray dataHome();
    static std::optional<TrashCan> home(QString *why);
    // $topdir/.Trash/$uid when $topdir/.Trash is a real, sticky folder, else
    // $topdir/.Trash-$uid.
    static std::optional<TrashCan> forVolume(const QByteArray &topdir, QString *why);
    // The device of the path's nearest existing folder.
    static dev_t deviceHolding(QByteArray path);
    // The mount point holding a resolved path, from the mount table.
    static QByteArray mountPointOf(const QByteArray &resolvedPath);

    dev_t device() const;

    TrashCan(TrashCan &&other) noexcept;
    TrashCan(const TrashCan &) = delete;
    TrashCan &operator=(const TrashCan &) = delete;
    ~TrashCan();

    enum class Result
    {
        Moved,
        CrossDevice, // nothing done: the item is on another file system than this Trash
        Failed,      // nothing done either, *why says what stopped it
    };
    // Writes the item's .trashinfo (created exclusively, complete and flushed),
    // then renames the item into "files". A failure undoes what was done.
    // `stillValid`, when given, is asked right before the rename too: the item
    // goes only while it holds.
    // `restorePath`, when given, is where the Trash's restore puts the item
    // back and the name it is kept under (an item held elsewhere for a while);
    // a path outside this Trash's volume is ignored.
    Result take(const PinnedItem &item, QString *why, const std::function<bool()> &stillValid = {},
                const QByteArray &restorePath = {});

private:
    TrashCan() = default;
    // What the .trashinfo of an item at this resolved path says.
    QByteArray infoFor(const QByteArray &resolvedPath) const;
    // Its "files" and "info" below an open Trash folder, which it closes.
    static std::optional<TrashCan> openFolders(int trashFd, const QByteArray &topdir, QString *why);
    int m_filesFd = -1;
    int m_infoFd = -1;
    QByteArray m_topdir; // empty for the home Trash, whose paths are absolute
};

namespace TrashNames {
// A name of at most `limit` bytes, cut on a UTF-8 character boundary.
QByteArray shortened(const QByteArray &name, int limit);
// Bytes escaped as in URLs, "/" kept.
QByteArray percentEncoded(const QByteArray &path);
} // namespace TrashNames
