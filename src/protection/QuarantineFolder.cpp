#include "QuarantineFolder.h"

#include "CrashPoint.h"
#include "ErrorText.h"
#include "FileLocation.h"
#include "ItemMove.h"
#include "SystemLayout.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QRandomGenerator>
#include <algorithm>
#include <cerrno>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

const QByteArray kIndexName = QByteArrayLiteral("records.json");
const QByteArray kIntentSuffix = QByteArrayLiteral(".pending");
// An index larger than this is not one the program wrote.
constexpr qint64 kIndexLimit = 64 * 1024 * 1024;

const char *operationName(QuarantineFolder::Operation operation)
{
    switch (operation) {
    case QuarantineFolder::Operation::quarantine:
        return "quarantine";
    case QuarantineFolder::Operation::restore:
        return "restore";
    case QuarantineFolder::Operation::trash:
        return "trash";
    }
    return "";
}

// A small regular file of the folder, never through a link and never blocking
// on a pipe planted in its place.
std::optional<QByteArray> readSmallFile(int dirFd, const QByteArray &name)
{
    const int fd = openat(dirFd, name.constData(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0)
        return std::nullopt;
    struct stat st;
    QByteArray bytes;
    bool ok = fstat(fd, &st) == 0 && S_ISREG(st.st_mode) && st.st_size <= kIndexLimit;
    if (ok) {
        bytes.resize(qsizetype(st.st_size));
        qsizetype done = 0;
        while (done < bytes.size()) {
            const ssize_t n = read(fd, bytes.data() + done, size_t(bytes.size() - done));
            if (n < 0 && errno == EINTR)
                continue;
            if (n <= 0)
                break;
            done += n;
        }
        bytes.resize(done);
    }
    close(fd);
    return ok ? std::optional(bytes) : std::nullopt;
}

// Writes a whole new file under `name`: created beside it under a name of its
// own, flushed, then renamed over it, so readers see the old or the new one.
bool replaceFile(int dirFd, const QByteArray &name, const QByteArray &bytes)
{
    const QByteArray temporary = "." + name + "." +
                                 QByteArray::number(QRandomGenerator::global()->generate64(), 16) +
                                 ".tmp";
    const int fd = openat(dirFd, temporary.constData(),
                          O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (fd < 0)
        return false;
    const bool written = ItemMove::writeAll(fd, bytes) && fsync(fd) == 0;
    close(fd);
    if (!written || renameat(dirFd, temporary.constData(), dirFd, name.constData()) != 0) {
        unlinkat(dirFd, temporary.constData(), 0);
        return false;
    }
    fsync(dirFd);
    return true;
}

} // namespace

QString QuarantineFolder::path()
{
    return SystemLayout::quarantineFolder();
}

std::optional<QuarantineFolder> QuarantineFolder::open(bool create, QString *error)
{
    int why = 0;
    std::optional<FolderHandle> folder = FolderHandle::open(
        ResolvedRoot::resolve(SystemLayout::homeFolder()), path(), create, &why, 0700);
    if (!folder) {
        if (error)
            *error = why == ELOOP
                         ? QStringLiteral("La carpeta de cuarentena es un enlace simbólico.")
                         : ErrorText::describe(why);
        return std::nullopt;
    }
    return QuarantineFolder(std::move(*folder));
}

QList<ProtectionQuarantineRecord> QuarantineFolder::readIndex() const
{
    const std::optional<QByteArray> bytes = readSmallFile(fd(), kIndexName);
    return bytes ? QuarantineIndex::decode(*bytes, path()) : QList<ProtectionQuarantineRecord>();
}

bool QuarantineFolder::writeIndex(const QList<ProtectionQuarantineRecord> &records) const
{
    return replaceFile(fd(), kIndexName, QuarantineIndex::encode(records));
}

bool QuarantineFolder::writeIntent(const Intent &intent) const
{
    const QJsonObject object{{QStringLiteral("operation"), operationName(intent.operation)},
                             {QStringLiteral("record"), QuarantineIndex::toJson(intent.record)}};
    return replaceFile(fd(), intent.record.id.toLatin1() + kIntentSuffix,
                       QJsonDocument(object).toJson(QJsonDocument::Compact));
}

void QuarantineFolder::dropIntent(const QString &recordId) const
{
    unlinkat(fd(), (recordId.toLatin1() + kIntentSuffix).constData(), 0);
    fsync(fd());
}

QList<QuarantineFolder::Intent> QuarantineFolder::intents() const
{
    QList<Intent> found;
    const int listing = openat(fd(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    DIR *dir = listing >= 0 ? fdopendir(listing) : nullptr;
    if (!dir) {
        if (listing >= 0)
            close(listing);
        return found;
    }
    while (const dirent *entry = readdir(dir)) {
        const QByteArray name(entry->d_name);
        if (!name.endsWith(kIntentSuffix))
            continue;
        Intent intent;
        const std::optional<QByteArray> bytes = readSmallFile(fd(), name);
        const QJsonObject object = bytes ? QJsonDocument::fromJson(*bytes).object() : QJsonObject();
        const std::optional<ProtectionQuarantineRecord> record =
            QuarantineIndex::fromJson(object.value(QStringLiteral("record")).toObject());
        const QString operation = object.value(QStringLiteral("operation")).toString();
        if (record && record->id.toLatin1() + kIntentSuffix == name &&
            FileLocation::deletingLastPathComponent(record->quarantinePath) == path()) {
            intent.record = *record;
            intent.operation = operation == QLatin1String("restore") ? Operation::restore
                               : operation == QLatin1String("trash") ? Operation::trash
                                                                     : Operation::quarantine;
        } else {
            // Written only in part: the process died before the move began.
            intent.record.id = QString::fromLatin1(name.chopped(kIntentSuffix.size()));
            intent.operation = Operation::restore; // nothing to add, nothing to remove
        }
        found.append(intent);
    }
    closedir(dir);
    return found;
}

// What replaceFile() leaves when the process dies between creating its file and
// renaming it: ".records.json.<hex>.tmp" or ".<UUID>.pending.<hex>.tmp".
static bool isLeftoverTemporary(const QByteArray &name)
{
    if (!name.startsWith('.') || !name.endsWith(".tmp"))
        return false;
    const QByteArray inner = name.mid(1, name.lastIndexOf('.', name.size() - 5) - 1);
    return inner == "records.json" ||
           (inner.size() == 36 + int(kIntentSuffix.size()) && inner.endsWith(kIntentSuffix));
}

void QuarantineFolder::removeLeftoverTemporaries() const
{
    const int listing = openat(fd(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    DIR *dir = listing >= 0 ? fdopendir(listing) : nullptr;
    if (!dir) {
        if (listing >= 0)
            close(listing);
        return;
    }
    QList<QByteArray> leftovers;
    while (const dirent *entry = readdir(dir))
        if (isLeftoverTemporary(entry->d_name))
            leftovers.append(entry->d_name);
    closedir(dir);
    for (const QByteArray &name : leftovers)
        unlinkat(fd(), name.constData(), 0);
}

QList<ProtectionQuarantineRecord>
QuarantineFolder::recover(QList<ProtectionQuarantineRecord> records) const
{
    removeLeftoverTemporaries();
    const QList<Intent> pending = intents();
    bool changed = false;
    for (const Intent &intent : pending) {
        const ProtectionQuarantineRecord &record = intent.record;
        if (record.quarantinePath.isEmpty())
            continue;
        const bool listed = std::any_of(records.cbegin(), records.cend(),
                                        [&](const auto &r) { return r.id == record.id; });
        if (intent.operation == Operation::quarantine) {
            if (holds(record) && !listed) {
                records.prepend(record); // moved in before the index was written
                changed = true;
            } else if (!holds(record)) {
                ItemMove::removeTree(fd(), temporaryName(record.id)); // the original stayed
            }
        } else if (!holds(record)) {
            if (listed) { // restored or trashed before the index was written
                records.removeIf([&](const auto &r) { return r.id == record.id; });
                changed = true;
            }
        } else if (intent.operation == Operation::restore) {
            // A copy to another volume that never took the original's name.
            int ignored = 0;
            if (const auto folder = openOriginalFolder(record.originalPath, false, &ignored))
                ItemMove::removeTree(folder->fd(), temporaryName(record.id));
        }
    }
    if (changed && !writeIndex(records))
        return records; // the intents stay, so the next start tries again
    for (const Intent &intent : pending)
        dropIntent(intent.record.id);
    return records;
}

QByteArray QuarantineFolder::itemName(const ProtectionQuarantineRecord &record)
{
    return FileLocation::encode(FileLocation::lastPathComponent(record.quarantinePath));
}

QByteArray QuarantineFolder::temporaryName(const QString &recordId)
{
    return "." + recordId.toLatin1() + ".partial";
}

bool QuarantineFolder::holds(const ProtectionQuarantineRecord &record) const
{
    struct stat st;
    return fstatat(fd(), itemName(record).constData(), &st, AT_SYMLINK_NOFOLLOW) == 0;
}

std::optional<FolderHandle> QuarantineFolder::openOriginalFolder(const QString &originalPath,
                                                                 bool create, int *error)
{
    const QString parent = FileLocation::deletingLastPathComponent(originalPath);
    const QString home = SystemLayout::homeFolder();
    const QString applications = SystemLayout::systemApplicationsFolder();
    for (const QString &base : {home, applications}) {
        if (parent == base || parent.startsWith(base + QLatin1Char('/')))
            return FolderHandle::open(ResolvedRoot::resolve(base), parent, create, error);
    }
    if (error)
        *error = EPERM;
    return std::nullopt;
}
