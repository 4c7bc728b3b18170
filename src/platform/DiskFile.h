#pragma once

#include <QByteArray>
#include <QString>
#include <optional>

// Files read because the disk named them (property lists, signatures and their
// seals, Mach-O code, the quarantine's index and intents, preferences,
// .trashinfo files). A name can stand for anything: a named pipe that never
// answers, a device that never ends, a sparse file of tens of gigabytes, a loop
// of links. So every such file is opened without blocking, taken only when it
// is a regular file, and read only up to a bound that fits its format; anything
// else is simply unreadable to the caller.
namespace DiskFile {

enum class Links
{
    follow, // a link to a regular file is read
    refuse, // a link in the last place is unreadable
};

// An open descriptor of a regular file of at most `bound` bytes, or -1 with
// errno set (EINVAL for a file that is not regular, EFBIG past the bound).
// `dirFd` may be AT_FDCWD for an absolute `name`.
int open(int dirFd, const QByteArray &name, qint64 bound, Links links);
int open(const QString &path, qint64 bound, Links links);

// The whole content of a file opened as above, or nothing when it grew past
// the bound or a read failed. The descriptor stays open.
std::optional<QByteArray> readAll(int fd, qint64 bound);

// The whole content of such a file, or nothing.
std::optional<QByteArray> read(int dirFd, const QByteArray &name, qint64 bound, Links links);
std::optional<QByteArray> read(const QString &path, qint64 bound, Links links = Links::follow);

} // namespace DiskFile
