#include "TrashCan.h"

#include "FileLocation.h"
#include "ItemMove.h"

#include <QDateTime>
#include <QFile>
#include <QList>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <linux/fs.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

// A .trashinfo name must fit too: 255 bytes less ".trashinfo".
constexpr int kNameLimit = 245;
constexpr int kNameTries = 100;

bool fail(QString *why, const QString &text)
{
    if (why)
        *why = text;
    return false;
}

QString errorText(int error)
{
    return QString::fromLocal8Bit(strerror(error));
}

// A folder below dirFd, made when missing, opened without following a link, and
// accepted only as a real folder owned by the current user.
int ownFolder(int dirFd, const char *name, QString *why)
{
    if (mkdirat(dirFd, name, 0700) != 0 && errno != EEXIST) {
        fail(why,
             QStringLiteral("cannot create %1: %2").arg(QLatin1String(name), errorText(errno)));
        return -1;
    }
    const int fd = openat(dirFd, name, O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    struct stat st;
    if (fd < 0 || fstat(fd, &st) != 0 || !S_ISDIR(st.st_mode) || st.st_uid != geteuid()) {
        if (fd >= 0)
            close(fd);
        fail(why, QStringLiteral("%1 is not a folder of this user").arg(QLatin1String(name)));
        return -1;
    }
    return fd;
}

// Undoes octal escapes of the mount table ("\040" for a space).
QByteArray unescapeMountField(const QByteArray &field)
{
    QByteArray out;
    for (qsizetype i = 0; i < field.size(); ++i) {
        if (field[i] == '\\' && i + 3 < field.size()) {
            bool ok = false;
            const int value = field.mid(i + 1, 3).toInt(&ok, 8);
            if (ok) {
                out += char(value);
                i += 3;
                continue;
            }
        }
        out += field[i];
    }
    return out;
}

} // namespace

namespace TrashNames {

QByteArray shortened(const QByteArray &name, int limit)
{
    if (name.size() <= limit)
        return name;
    qsizetype cut = limit;
    // Never split a character: step back over its continuation bytes (three at
    // most in UTF-8).
    for (int step = 0; step < 3 && cut > 0 && (uchar(name[cut]) & 0xC0) == 0x80; ++step)
        --cut;
    return name.left(cut);
}

QByteArray percentEncoded(const QByteArray &path)
{
    static const char kHex[] = "0123456789ABCDEF";
    QByteArray out;
    out.reserve(path.size() * 3);
    for (const char c : path) {
        const uchar u = uchar(c);
        if ((u >= 'a' && u <= 'z') || (u >= 'A' && u <= 'Z') || (u >= '0' && u <= '9') ||
            std::strchr("-_.!~*'()/", c)) {
            out += c;
        } else {
            out += '%';
            out += kHex[u >> 4];
            out += kHex[u & 15];
        }
    }
    return out;
}

} // namespace TrashNames

QByteArray TrashCan::dataHome()
{
    const QByteArray xdg = qgetenv("XDG_DATA_HOME");
    if (xdg.startsWith('/'))
        return xdg;
    return qgetenv("HOME") + "/.local/share";
}

std::optional<TrashCan> TrashCan::home(QString *why)
{
    const QByteArray data = dataHome();
    if (!data.startsWith('/')) {
        fail(why, QStringLiteral("no home folder"));
        return std::nullopt;
    }
    // The data home itself may be reached through links; the Trash below it not.
    QByteArray current;
    for (const QByteArray &part : data.split('/')) {
        if (part.isEmpty())
            continue;
        current += '/' + part;
        if (mkdir(current.constData(), 0700) != 0 && errno != EEXIST) {
            fail(why, QStringLiteral("cannot create %1")
                          .arg(FileLocation::displayText(FileLocation::decode(current))));
            return std::nullopt;
        }
    }
    const int dataFd = open(data.constData(), O_PATH | O_DIRECTORY | O_CLOEXEC);
    if (dataFd < 0) {
        fail(why, QStringLiteral("cannot open %1")
                      .arg(FileLocation::displayText(FileLocation::decode(data))));
        return std::nullopt;
    }
    const int trashFd = ownFolder(dataFd, "Trash", why);
    close(dataFd);
    std::optional<TrashCan> can = openFolders(trashFd, {}, why);
    if (can)
        can->m_folder = data + "/Trash";
    return can;
}

std::optional<TrashCan> TrashCan::forVolume(const QByteArray &topdir, QString *why)
{
    const int topFd = open(topdir.constData(), O_PATH | O_DIRECTORY | O_CLOEXEC);
    if (topFd < 0) {
        fail(why, QStringLiteral("cannot open %1")
                      .arg(FileLocation::displayText(FileLocation::decode(topdir))));
        return std::nullopt;
    }
    const QByteArray uid = QByteArray::number(geteuid());
    int trashFd = -1;
    // The administrator's shared .Trash counts only as a real, sticky folder.
    const int shared = openat(topFd, ".Trash", O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    struct stat st;
    const QByteArray top = topdir == "/" ? QByteArray() : topdir;
    QByteArray folder = top + "/.Trash/" + uid;
    if (shared >= 0 && fstat(shared, &st) == 0 && S_ISDIR(st.st_mode) && (st.st_mode & S_ISVTX))
        trashFd = ownFolder(shared, uid.constData(), why);
    if (shared >= 0)
        close(shared);
    if (trashFd < 0) {
        trashFd = ownFolder(topFd, (".Trash-" + uid).constData(), why);
        folder = top + "/.Trash-" + uid;
    }
    close(topFd);
    std::optional<TrashCan> can = openFolders(trashFd, topdir, why);
    if (can)
        can->m_folder = folder;
    return can;
}

std::optional<TrashCan> TrashCan::openFolders(int trashFd, const QByteArray &topdir, QString *why)
{
    if (trashFd < 0)
        return std::nullopt;
    TrashCan can;
    can.m_topdir = topdir;
    can.m_filesFd = ownFolder(trashFd, "files", why);
    can.m_infoFd = can.m_filesFd >= 0 ? ownFolder(trashFd, "info", why) : -1;
    close(trashFd);
    if (can.m_infoFd < 0)
        return std::nullopt;
    return can;
}

dev_t TrashCan::deviceHolding(QByteArray path)
{
    struct stat st;
    while (stat(path.constData(), &st) != 0) {
        const qsizetype slash = path.lastIndexOf('/');
        if (slash <= 0)
            return stat("/", &st) == 0 ? st.st_dev : dev_t(-1);
        path.truncate(slash);
    }
    return st.st_dev;
}

dev_t TrashCan::device() const
{
    struct stat st;
    return fstat(m_filesFd, &st) == 0 ? st.st_dev : dev_t(-1);
}

QByteArray TrashCan::mountPointOf(const QByteArray &resolvedPath)
{
    QFile table(QStringLiteral("/proc/self/mountinfo"));
    QByteArray best = "/";
    if (!table.open(QIODevice::ReadOnly))
        return best;
    for (const QByteArray &line : table.readAll().split('\n')) {
        const QList<QByteArray> fields = line.split(' ');
        if (fields.size() < 5)
            continue;
        const QByteArray point = unescapeMountField(fields.at(4));
        const bool holds =
            point == "/" || resolvedPath == point || resolvedPath.startsWith(point + '/');
        if (holds && point.size() > best.size())
            best = point;
    }
    return best;
}

TrashCan::TrashCan(TrashCan &&other) noexcept
    : m_filesFd(std::exchange(other.m_filesFd, -1)), m_infoFd(std::exchange(other.m_infoFd, -1)),
      m_topdir(std::move(other.m_topdir)), m_folder(std::move(other.m_folder))
{}

TrashCan::~TrashCan()
{
    if (m_filesFd >= 0)
        close(m_filesFd);
    if (m_infoFd >= 0)
        close(m_infoFd);
}

QByteArray TrashCan::infoFor(const QByteArray &resolvedPath) const
{
    QByteArray path = resolvedPath;
    if (!m_topdir.isEmpty())
        path = m_topdir == "/" ? resolvedPath.mid(1) : resolvedPath.mid(m_topdir.size() + 1);
    return "[Trash Info]\nPath=" + TrashNames::percentEncoded(path) + "\nDeletionDate=" +
           QDateTime::currentDateTime()
               .toString(QStringLiteral("yyyy-MM-dd'T'HH:mm:ss"))
               .toLatin1() +
           "\n";
}

TrashCan::Result TrashCan::take(const PinnedItem &item, QString *why,
                                const std::function<bool()> &stillValid,
                                const QByteArray &restorePath, QByteArray *takenName)
{
    // The restore path names where the item really is: a folder on the way
    // renamed since it was pinned would make it name another place.
    if (!item.parentStillAtItsPath()) {
        fail(why, QStringLiteral("a folder on the way changed"));
        return Result::Failed;
    }
    const bool restoreElsewhere =
        restorePath.startsWith('/') && restorePath.size() > 1 && !restorePath.endsWith('/') &&
        (m_topdir.isEmpty() || m_topdir == "/" || restorePath.startsWith(m_topdir + '/'));
    const QByteArray info = infoFor(restoreElsewhere ? restorePath : item.resolvedPath());
    const QByteArray base = TrashNames::shortened(
        restoreElsewhere ? restorePath.mid(restorePath.lastIndexOf('/') + 1) : item.name(),
        kNameLimit);
    for (int attempt = 0; attempt < kNameTries; ++attempt) {
        const QByteArray suffix =
            attempt == 0 ? QByteArray() : '.' + QByteArray::number(attempt + 1);
        const QByteArray name =
            TrashNames::shortened(base, kNameLimit - int(suffix.size())) + suffix;
        const QByteArray infoName = name + ".trashinfo";
        const int fd = openat(m_infoFd, infoName.constData(),
                              O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
        if (fd < 0 && errno == EEXIST)
            continue;
        if (fd < 0) {
            fail(why, QStringLiteral("the Trash information cannot be written: %1")
                          .arg(errorText(errno)));
            return Result::Failed;
        }
        const bool written = ItemMove::writeAll(fd, info) && fsync(fd) == 0;
        const int writeError = errno;
        const bool closed = close(fd) == 0;
        if (!written || !closed) {
            unlinkat(m_infoFd, infoName.constData(), 0);
            fail(why, QStringLiteral("the Trash information cannot be written: %1")
                          .arg(errorText(written ? errno : writeError)));
            return Result::Failed;
        }
        if (!item.stillSame() || (stillValid && !stillValid())) {
            unlinkat(m_infoFd, infoName.constData(), 0);
            fail(why, QStringLiteral("not the file that was analysed"));
            return Result::Failed;
        }
        if (ItemMove::renameNoReplace(item.parentFd(), item.name().constData(), m_filesFd,
                                      name.constData()) == 0) {
            // What arrived must be what was checked: an item swapped in the
            // instant between the check and the rename goes back.
            struct stat arrived;
            if (fstatat(m_filesFd, name.constData(), &arrived, AT_SYMLINK_NOFOLLOW) == 0 &&
                arrived.st_dev == item.status().st_dev && arrived.st_ino == item.status().st_ino) {
                if (takenName)
                    *takenName = name;
                return Result::Moved;
            }
            if (ItemMove::renameNoReplace(m_filesFd, name.constData(), item.parentFd(),
                                          item.name().constData()) == 0)
                unlinkat(m_infoFd, infoName.constData(), 0);
            fail(why, QStringLiteral("not the file that was analysed"));
            return Result::Failed;
        }
        const int moveError = errno;
        unlinkat(m_infoFd, infoName.constData(), 0);
        if (moveError == EEXIST || moveError == ENOTEMPTY)
            continue;
        if (moveError == EXDEV)
            return Result::CrossDevice;
        fail(why, errorText(moveError));
        return Result::Failed;
    }
    fail(why, QStringLiteral("no free name in the Trash"));
    return Result::Failed;
}
