#pragma once

#include "EntryInfo.h"

#include <functional>

// Walk options, with the values the scanners pass.
enum WalkOption : int
{
    SkipPackageContents = 2, // a bundle is handed out, its inside is not walked
    SkipHiddenFiles = 4,     // hidden entries are neither handed out nor entered
    DoNotFollowRootLink = 8, // a root that is a symbolic link cannot be opened
    SkipQuarantine = 16,     // the quarantine folder is neither handed out nor entered
};

// Depth-first walk below a root (the root itself is not handed out). Links are
// handed out as links and never followed. Entries of one folder come in byte
// order of their names so that a walk of the same tree always meets files in
// the same order.
class FileWalker
{
public:
    enum class Action
    {
        Continue,
        SkipDescendants,
        Stop
    };
    using Visitor = std::function<Action(const EntryInfo &)>;
    // Called for an entry that could not be read; the walk always goes on.
    using ErrorHandler = std::function<void(const QString &path, int errorNumber)>;

    // Returns false, without calling the visitor, when the root cannot be opened.
    static bool walk(const QString &root, int options, const Visitor &visitor,
                     const ErrorHandler &onError = {});
};

namespace FileSystemNames {
// True when a folder of that name is a bundle the platform shows as one item.
bool isPackageName(const QString &name);
} // namespace FileSystemNames
