#pragma once

#include "FileIdentity.h"
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
    // `takenName`, when given, gets the item's name in "files".
    Result take(const PinnedItem &item, QString *why, const std::function<bool()> &stillValid = {},
                const QByteArray &restorePath = {}, QByteArray *takenName = nullptr);

    // The Trash folder (holding "files" and "info"), as a path.
    const QByteArray &folder() const { return m_folder; }
    // The Trash whose folder is `folder`: the home Trash or a volume's.
    static std::optional<TrashCan> openFolder(const QByteArray &folder, QString *why);

    // An item of "files" is still the one put there: the same file, and its
    // .trashinfo still names `originalPath`. Another tool that put it back, or
    // an emptied Trash, makes it not.
    bool holds(const QByteArray &name, const FileIdentity &identity,
               const QString &originalPath) const;
    struct PutBack
    {
        enum class Outcome
        {
            back,
            notInTrash,  // see holds()
            throughLink, // a folder on the way back is a link now
            failed,
        } outcome = Outcome::failed;
        QString path; // where it is back: the original path or "{name} (restaurado)" beside
        int error = 0;
    };
    // Moves an item of "files" back to its original place, reached from "/"
    // without following a link (missing folders are made), then drops its
    // .trashinfo. Nothing is replaced: a place taken gets it as
    // "{name} (restaurado)" beside it. `beforeInfoDropped` runs between the two.
    // The .trashinfo of an item no longer in "files" (put back before a crash
    // let its information go).
    void dropLeftoverInfo(const QByteArray &name) const;
    // Moves an item of "files" into an open folder under `toName` (never
    // replacing), then drops its .trashinfo: the way back of an item that was
    // held elsewhere (the quarantine) before it came to the Trash.
    PutBack moveInto(const QByteArray &name, const FileIdentity &identity,
                     const QString &originalPath, int toDirFd, const QByteArray &toName) const;
    PutBack putBack(const QByteArray &name, const FileIdentity &identity,
                    const QString &originalPath,
                    const std::function<void()> &beforeInfoDropped = {}) const;

private:
    TrashCan() = default;
    // What the .trashinfo of an item at this resolved path says.
    QByteArray infoFor(const QByteArray &resolvedPath) const;
    // Its "files" and "info" below an open Trash folder, which it closes.
    static std::optional<TrashCan> openFolders(int trashFd, const QByteArray &topdir, QString *why);
    int m_filesFd = -1;
    int m_infoFd = -1;
    // What its .trashinfo files call a path: relative to the top folder of a volume.
    QByteArray infoPathOf(const QString &originalPath) const;
    QByteArray m_topdir; // empty for the home Trash, whose paths are absolute
    QByteArray m_folder;
};

namespace TrashNames {
// A name of at most `limit` bytes, cut on a UTF-8 character boundary.
QByteArray shortened(const QByteArray &name, int limit);
// Bytes escaped as in URLs, "/" kept.
QByteArray percentEncoded(const QByteArray &path);
// What an item put back is called: `name` itself (attempt 0), or, where that
// is taken, "{name} (restaurado)", then "{name} (restaurado 2)"…
QString restoredName(const QString &name, int attempt);
// How many of those names are tried before giving up.
constexpr int kRestoredNames = 100;
} // namespace TrashNames
