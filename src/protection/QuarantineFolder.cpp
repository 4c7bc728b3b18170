#include "QuarantineFolder.h"

#include "CrashPoint.h"
#include "DiskFile.h"
#include "ErrorText.h"
#include "FileLocation.h"
#include "ItemMove.h"
#include "PosixEntries.h"
#include "ProtectionRules.h"
#include "SystemLayout.h"
#include "TrashCan.h"

#include <QDateTime>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRandomGenerator>
#include <QSet>
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

// A small regular file of the folder, never through a link.
std::optional<QByteArray> readSmallFile(int dirFd, const QByteArray &name)
{
    return DiskFile::read(dirFd, name, kIndexLimit, DiskFile::Links::refuse);
}

} // namespace

QString QuarantineFolder::path()
{
    return SystemLayout::quarantineFolder();
}

namespace {

const QString kOtherOwner = QStringLiteral("La carpeta de cuarentena pertenece a otra cuenta.");

} // namespace

std::optional<QuarantineFolder> QuarantineFolder::open(bool create, QString *error)
{
    const auto failed = [error](const QString &why) {
        if (error)
            *error = why;
        return std::nullopt;
    };
    // The Velmora folder first: whoever may rename inside it could put another
    // folder where the quarantine was.
    int why = 0;
    const std::optional<FolderHandle> velmora =
        FolderHandle::open(ResolvedRoot::resolve(SystemLayout::homeFolder()),
                           FileLocation::deletingLastPathComponent(path()), create, &why, 0700);
    if (!velmora)
        return failed(why == ELOOP
                          ? QStringLiteral("La carpeta de cuarentena es un enlace simbólico.")
                          : ErrorText::describe(why));
    if (!velmora->keepPrivate(0700))
        return failed(kOtherOwner);
    const QByteArray name = FileLocation::encode(FileLocation::lastPathComponent(path()));
    if (create && mkdirat(velmora->fd(), name.constData(), 0700) != 0 && errno != EEXIST)
        return failed(ErrorText::describe(errno));
    const int fd =
        openat(velmora->fd(), name.constData(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (fd < 0)
        return failed(errno == ELOOP || errno == ENOTDIR
                          ? QStringLiteral("La carpeta de cuarentena es un enlace simbólico.")
                          : ErrorText::describe(errno));
    QuarantineFolder folder{FolderHandle::adopt(fd)};
    if (!FolderHandle::keepPrivate(fd, 0700))
        return failed(kOtherOwner);
    struct stat st;
    fstat(fd, &st);
    folder.m_identity = FileIdentity::of(st);
    return folder;
}

bool QuarantineFolder::isThisFolder(const QString &folderPath) const
{
    if (folderPath == path())
        return true;
    // The same folder reached by another spelling of the home (through a link).
    struct stat st;
    return stat(FileLocation::encode(folderPath).constData(), &st) == 0 && m_identity.sameFile(st);
}

ProtectionQuarantineRecord QuarantineFolder::spelledHere(ProtectionQuarantineRecord record) const
{
    const QString folder = FileLocation::deletingLastPathComponent(record.quarantinePath);
    if (folder == path())
        return record;
    // Written under another spelling of the home: that home is this one.
    const QString home = SystemLayout::homeFolder();
    const QString suffix = path().mid(home.size());
    if (folder.endsWith(suffix) && !record.originalPath.isNull()) {
        const QString oldHome = folder.chopped(suffix.size());
        if (record.originalPath.startsWith(oldHome + QLatin1Char('/')))
            record.originalPath = home + record.originalPath.mid(oldHome.size());
    }
    record.quarantinePath = FileLocation::appendingPathComponent(
        path(), FileLocation::lastPathComponent(record.quarantinePath));
    return record;
}

QuarantineFolder::Index QuarantineFolder::readIndex() const
{
    Index index;
    const int fd = DiskFile::open(this->fd(), kIndexName, kIndexLimit, DiskFile::Links::refuse);
    if (fd < 0) {
        index.whole = errno == ENOENT;
        return index;
    }
    FolderHandle::keepPrivate(fd, 0600);
    const std::optional<QByteArray> bytes = DiskFile::readAll(fd, kIndexLimit);
    close(fd);
    if (!bytes)
        return index;
    const QList<ProtectionQuarantineRecord> records = QuarantineIndex::decode(
        *bytes, [this](const QString &folder) { return isThisFolder(folder); }, &index.whole);
    for (const ProtectionQuarantineRecord &record : records)
        index.records.append(spelledHere(record));
    return index;
}

bool QuarantineFolder::keepIndexAside() const
{
    const QByteArray aside =
        kIndexName + "." +
        QDateTime::currentDateTimeUtc().toString(QStringLiteral("yyyyMMdd-HHmmss")).toLatin1();
    for (int n = 0; n < 100; ++n) {
        const QByteArray name = n == 0 ? aside : aside + "-" + QByteArray::number(n);
        if (ItemMove::renameNoReplace(fd(), kIndexName.constData(), fd(), name.constData()) == 0) {
            sync();
            return true;
        }
        if (errno != EEXIST)
            return errno == ENOENT;
    }
    return false;
}

bool QuarantineFolder::writeIndex(const QList<ProtectionQuarantineRecord> &records) const
{
    // An index that cannot be read whole may hold more than was understood of
    // it: it is kept aside, never written over.
    if (!readIndex().whole && !keepIndexAside())
        return false;
    return ItemMove::replaceFile(fd(), kIndexName, QuarantineIndex::encode(records));
}

bool QuarantineFolder::writeIntent(const Intent &intent) const
{
    const QJsonObject object{{QStringLiteral("operation"), operationName(intent.operation)},
                             {QStringLiteral("record"), QuarantineIndex::toJson(intent.record)}};
    return ItemMove::replaceFile(fd(), intent.record.id.toLatin1() + kIntentSuffix,
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
            QuarantineIndex::isItemName(FileLocation::lastPathComponent(record->quarantinePath)) &&
            isThisFolder(FileLocation::deletingLastPathComponent(record->quarantinePath))) {
            intent.record = spelledHere(*record);
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

// What ItemMove::replaceFile() leaves when the process dies between creating its file and
// renaming it: ".records.json.<hex>.tmp" or ".<UUID>.pending.<hex>.tmp".
bool QuarantineFolder::isLeftoverTemporary(const QByteArray &name)
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

QList<ProtectionQuarantineRecord> QuarantineFolder::recover() const
{
    removeLeftoverTemporaries();
    const Index index = readIndex();
    QList<ProtectionQuarantineRecord> records = index.records;
    // An index not read whole is rewritten, which keeps the old one aside.
    bool changed = !index.whole;
    const QList<Intent> pending = intents();
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
        } else if (intent.operation == Operation::restore && !record.originalPath.isNull()) {
            // A copy to another volume that never took the original's name.
            int ignored = 0;
            if (const auto folder = openOriginalFolder(record.originalPath, false, &ignored))
                ItemMove::removeTree(folder->fd(), temporaryName(record.id));
        }
    }
    changed = adoptUnlisted(records, pending) || changed;
    if (changed && !writeIndex(records))
        return records; // the intents stay, so the next start tries again
    for (const Intent &intent : pending)
        dropIntent(intent.record.id);
    return records;
}

bool QuarantineFolder::isBookkeeping(const QByteArray &name)
{
    return name == "." || name == ".." || name == kIndexName || name.startsWith(kIndexName + ".") ||
           name.endsWith(kIntentSuffix) || isLeftoverTemporary(name) ||
           (name.startsWith('.') && name.endsWith(".partial"));
}

bool QuarantineFolder::adoptUnlisted(QList<ProtectionQuarantineRecord> &records,
                                     const QList<Intent> &pending) const
{
    std::vector<PosixEntries::Name> names;
    if (!PosixEntries::readNames(fd(), &names))
        return false;
    QSet<QByteArray> listed;
    for (const ProtectionQuarantineRecord &record : std::as_const(records))
        listed.insert(itemName(record));
    bool adopted = false;
    for (const PosixEntries::Name &entry : names) {
        if (listed.contains(entry.bytes) || isBookkeeping(entry.bytes))
            continue;
        // Its intent still tells where it came from.
        const auto intent = std::find_if(pending.cbegin(), pending.cend(), [&](const Intent &i) {
            return !i.record.quarantinePath.isEmpty() && itemName(i.record) == entry.bytes;
        });
        const std::optional<ProtectionQuarantineRecord> record =
            intent != pending.cend() ? std::optional(intent->record) : recordOfStray(entry.bytes);
        if (record) {
            records.append(*record);
            adopted = true;
        }
    }
    return adopted;
}

std::optional<ProtectionQuarantineRecord> QuarantineFolder::recordOfStray(QByteArray name) const
{
    ProtectionQuarantineRecord record;
    record.id = QuarantineIndex::newIdentifier();
    // A name the quarantine did not give takes one of its own, so its record
    // is a valid one from now on.
    if (!QuarantineIndex::isItemName(FileLocation::decode(name))) {
        const QByteArray ours = newItemName(name);
        if (ItemMove::renameNoReplace(fd(), name.constData(), fd(), ours.constData()) != 0)
            return std::nullopt;
        name = ours;
    }
    struct stat st;
    if (fstatat(fd(), name.constData(), &st, AT_SYMLINK_NOFOLLOW) != 0)
        return std::nullopt;
    record.quarantinePath =
        FileLocation::appendingPathComponent(path(), FileLocation::decode(name));
    record.name = FileLocation::displayText(FileLocation::decode(name.mid(37)));
    record.size = S_ISDIR(st.st_mode)
                      ? ProtectionRules::directoryStatistics(record.quarantinePath).first
                      : (st.st_blocks > 0 ? qint64(st.st_blocks) * 512 : qint64(st.st_size));
    // It came in when its name last changed, which is when it was moved here.
    record.quarantinedAt = double(st.st_ctim.tv_sec) - QuarantineIndex::kReferenceDate +
                           double(st.st_ctim.tv_nsec) / 1e9;
    return record;
}

QByteArray QuarantineFolder::itemName(const ProtectionQuarantineRecord &record)
{
    return FileLocation::encode(FileLocation::lastPathComponent(record.quarantinePath));
}

QByteArray QuarantineFolder::newItemName(const QByteArray &originalName)
{
    // Valid UTF-8 whatever the original's bytes, so the index (JSON, text)
    // always names the item exactly; the original name is kept in the record.
    const QByteArray readable =
        FileLocation::displayText(FileLocation::decode(originalName)).toUtf8();
    return QuarantineIndex::newIdentifier().toLatin1() + "_" +
           TrashNames::shortened(readable, 255 - 37);
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
