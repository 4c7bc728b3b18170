#include "ResolvedRoot.h"

#include "FileLocation.h"

#include <climits>
#include <cstdlib>
#include <sys/stat.h>

ResolvedRoot ResolvedRoot::resolve(const QString &path)
{
    ResolvedRoot root;
    root.path = FileLocation::standardizedPath(path);
    char buffer[PATH_MAX];
    struct stat st;
    if (realpath(FileLocation::encode(root.path).constData(), buffer) && lstat(buffer, &st) == 0 &&
        S_ISDIR(st.st_mode)) {
        root.resolved = FileLocation::decode(QByteArray(buffer));
        root.identity = FileIdentity::of(st);
    }
    return root;
}

std::optional<QString> ResolvedRoot::relativePathOf(const QString &itemPath) const
{
    const QString item = FileLocation::standardizedPath(itemPath);
    const QString prefix = path.endsWith(QLatin1Char('/')) ? path : path + QLatin1Char('/');
    if (!item.startsWith(prefix) || item.size() == prefix.size())
        return std::nullopt;
    return item.mid(prefix.size());
}
