#include "PinnedItem.h"

#include "FileLocation.h"

#include <QList>
#include <cerrno>
#include <climits>
#include <fcntl.h>
#include <unistd.h>

namespace {

bool fail(QString *why, const QString &text)
{
    if (why)
        *why = text;
    return false;
}

// Opens a folder below dirFd by one name, refusing a link in its place.
int openFolder(int dirFd, const QByteArray &name)
{
    return openat(dirFd, name.constData(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
}

// Walks from "/" down the given components without following any link.
int openPath(const QList<QByteArray> &components, int fromFd)
{
    int fd = fromFd;
    for (const QByteArray &component : components) {
        if (component.isEmpty())
            continue;
        const int next = component == ".." || component == "." ? -1 : openFolder(fd, component);
        close(fd);
        if (next < 0)
            return -1;
        fd = next;
    }
    return fd;
}

bool matches(const FileIdentity &expected, PinnedItem::Check check, const struct stat &st)
{
    return check == PinnedItem::Check::Unchanged ? expected.unchanged(st) : expected.sameFile(st);
}

} // namespace

std::optional<PinnedItem> PinnedItem::pin(const ResolvedRoot &root, const QString &itemPath,
                                          const FileIdentity &expected, Check check, QString *why)
{
    const std::optional<QString> relative = root.relativePathOf(itemPath);
    if (!root.isValid() || !relative) {
        fail(why, QStringLiteral("outside the analysed folder"));
        return std::nullopt;
    }
    // The root itself, by its resolved path, with no link anywhere on the way.
    const int top = open("/", O_PATH | O_DIRECTORY | O_CLOEXEC);
    if (top < 0) {
        fail(why, QStringLiteral("cannot open /"));
        return std::nullopt;
    }
    int fd = openPath(FileLocation::encode(root.resolved).split('/'), top);
    struct stat st;
    if (fd < 0 || fstat(fd, &st) != 0 || !root.identity.sameFile(st)) {
        if (fd >= 0)
            close(fd);
        fail(why, QStringLiteral("the analysed folder changed"));
        return std::nullopt;
    }
    QList<QByteArray> below = FileLocation::encode(*relative).split('/');
    const QByteArray name = below.takeLast();
    fd = openPath(below, fd);
    if (fd < 0) {
        fail(why, QStringLiteral("a folder on the way changed"));
        return std::nullopt;
    }
    PinnedItem item;
    item.m_parentFd = fd;
    item.m_name = name;
    item.m_expected = expected;
    item.m_check = check;
    item.m_resolvedPath = FileLocation::encode(root.resolved == QLatin1String("/")
                                                   ? QLatin1Char('/') + *relative
                                                   : root.resolved + QLatin1Char('/') + *relative);
    if (name.isEmpty() || name == "." || name == ".." ||
        fstatat(fd, name.constData(), &item.m_status, AT_SYMLINK_NOFOLLOW) != 0) {
        fail(why, QStringLiteral("missing"));
        return std::nullopt;
    }
    if (!matches(expected, check, item.m_status)) {
        fail(why, QStringLiteral("not the file that was analysed"));
        return std::nullopt;
    }
    return item;
}

PinnedItem::PinnedItem(PinnedItem &&other) noexcept
{
    *this = std::move(other);
}

PinnedItem &PinnedItem::operator=(PinnedItem &&other) noexcept
{
    if (this != &other) {
        if (m_parentFd >= 0)
            close(m_parentFd);
        m_parentFd = std::exchange(other.m_parentFd, -1);
        m_name = std::move(other.m_name);
        m_resolvedPath = std::move(other.m_resolvedPath);
        m_status = other.m_status;
        m_expected = other.m_expected;
        m_check = other.m_check;
    }
    return *this;
}

PinnedItem::~PinnedItem()
{
    if (m_parentFd >= 0)
        close(m_parentFd);
}

bool PinnedItem::parentStillAtItsPath() const
{
    char buffer[PATH_MAX];
    const QByteArray link = "/proc/self/fd/" + QByteArray::number(m_parentFd);
    const ssize_t n = readlink(link.constData(), buffer, sizeof buffer);
    if (n <= 0 || n >= ssize_t(sizeof buffer))
        return true;
    const QByteArray parent = m_resolvedPath.left(m_resolvedPath.lastIndexOf('/'));
    return QByteArray(buffer, n) == (parent.isEmpty() ? QByteArray("/") : parent);
}

bool PinnedItem::stillSame() const
{
    struct stat st;
    return fstatat(m_parentFd, m_name.constData(), &st, AT_SYMLINK_NOFOLLOW) == 0 &&
           matches(m_expected, m_check, st);
}
