#pragma once

#include "PosixEntries.h"

#include <QByteArray>
#include <memory>
#include <vector>

struct stat;

// What one walk saw of a tree, kept for a later walk of the same tree with the
// same options that only wants its larger files: every folder with its identity
// and times as they were just before its names were read, its subfolders, and of
// its other entries only those the later walk must look at again - regular files
// of at least minimumBytes on disk, files it may not read, and names it could not
// look at. Small readable files are left out, which keeps a listing of a home of
// millions of files to a few megabytes.
//
// A folder whose identity and times are the same when the later walk reaches it
// holds the same names, so they are taken from here instead of being read again;
// a folder that changed is read from the disk, and its subfolders are still taken
// from here where they did not change. The files named are always looked at
// again (lstat): a file written in place leaves its folder's times as they were.
class FolderListing
{
public:
    struct Folder
    {
        quint64 device = 0;
        quint64 inode = 0;
        qint64 modifiedNs = 0;
        qint64 changedNs = 0;
        // Its names were all read, and its last change lay far enough behind
        // the reading for its times to tell a later change (see settleNs).
        bool trusted = false;
        qint64 entryCount = 0;                 // every name it held, for the walk's progress
        std::vector<PosixEntries::Name> names; // bytewise, as PosixEntries::readNames
        std::vector<std::pair<QByteArray, std::unique_ptr<Folder>>> subfolders; // bytewise

        // What fstat said of it, `nowNs` (CLOCK_REALTIME_COARSE) taken before.
        void stamp(const struct stat &st, qint64 nowNs);
        bool unchanged(const struct stat &st) const;
        const Folder *subfolder(const QByteArray &name) const;
        // Subfolders are added in the order of the names.
        Folder *addSubfolder(const QByteArray &name);
    };

    explicit FolderListing(qint64 minimumBytes) : m_minimumBytes(minimumBytes) {}

    // Set by the walk that records it: its root as the walk spells it, and its options.
    void begin(QByteArray root, int options)
    {
        m_root = std::move(root);
        m_options = options;
    }
    const QByteArray &root() const { return m_root; }
    int options() const { return m_options; }
    qint64 minimumBytes() const { return m_minimumBytes; }
    Folder &top() { return m_top; }
    const Folder &top() const { return m_top; }

    // How long before its reading a folder's last change must lie for its times
    // to be trusted. File systems with coarse times (a second on HFS+, two on
    // FAT) could give a change made in the same tick the very same time.
    static qint64 settleNs();
    static void setSettleNs(qint64 ns); // tests: trust at once
    static qint64 nowNs();

private:
    QByteArray m_root;
    int m_options = 0;
    qint64 m_minimumBytes;
    Folder m_top;
};
