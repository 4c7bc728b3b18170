#include "OperationJournal.h"

#include "DiskFile.h"
#include "ErrorText.h"
#include "FileLocation.h"
#include "ItemMove.h"
#include "ResolvedRoot.h"
#include "SystemLayout.h"

#include <QHash>
#include <QJsonDocument>
#include <QMutex>
#include <QUuid>
#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

const QByteArray kFileName = QByteArrayLiteral("operations.journal");
// Thirty days of removals are far below this; a larger file is not ours.
constexpr qint64 kLimit = 64 * 1024 * 1024;

QMutex clockLock;
std::function<QDateTime()> clockOverride;

thread_local OperationRecording *recording = nullptr;

// The folder is locked while a line is added or the file written anew, so
// that two removals running at once never lose each other's lines.
class FolderLock
{
public:
    explicit FolderLock(int fd) : m_fd(fd) { flock(m_fd, LOCK_EX); }
    ~FolderLock() { flock(m_fd, LOCK_UN); }

private:
    int m_fd;
};

bool isIdentifier(const QJsonValue &value)
{
    return value.isString() && !QUuid::fromString(value.toString()).isNull();
}

bool isPath(const QJsonValue &value)
{
    const QString path = value.toString();
    return value.isString() && path.startsWith(QLatin1Char('/')) &&
           FileLocation::standardizedPath(path) == path;
}

bool isName(const QJsonValue &value)
{
    const QString name = value.toString();
    return value.isString() && !name.isEmpty() && !name.contains(QLatin1Char('/')) &&
           name != QLatin1String(".") && name != QLatin1String("..");
}

// A line this program could have written: its kind, with the fields of that kind.
bool isValid(const QJsonObject &line)
{
    const QString kind = line.value(QStringLiteral("k")).toString();
    const QJsonValue index = line.value(QStringLiteral("i"));
    if (!isIdentifier(line.value(QStringLiteral("op"))) || !index.isDouble() ||
        index.toDouble() < 0 || index.toDouble() > 1e7 || index.toDouble() != double(index.toInt()))
        return false;
    if (kind == QLatin1String("intend"))
        return line.value(QStringLiteral("module")).isString() &&
               QDateTime::fromString(line.value(QStringLiteral("date")).toString(), Qt::ISODate)
                   .isValid() &&
               isPath(line.value(QStringLiteral("path"))) &&
               line.value(QStringLiteral("dev")).isDouble() &&
               line.value(QStringLiteral("ino")).isDouble() &&
               line.value(QStringLiteral("size")).isDouble();
    if (kind == QLatin1String("trash"))
        return isPath(line.value(QStringLiteral("folder"))) &&
               isName(line.value(QStringLiteral("name")));
    if (kind == QLatin1String("quarantine"))
        return isIdentifier(line.value(QStringLiteral("record")));
    if (kind == QLatin1String("back"))
        return isPath(line.value(QStringLiteral("path")));
    return kind == QLatin1String("stayed") || kind == QLatin1String("undo") ||
           kind == QLatin1String("undo-end");
}

QByteArray encoded(const QJsonObject &line)
{
    return QJsonDocument(line).toJson(QJsonDocument::Compact) + '\n';
}

} // namespace

QString OperationJournal::path()
{
    return SystemLayout::applicationSupportFolder() + QStringLiteral("/Velmora/History/") +
           QString::fromLatin1(kFileName);
}

void OperationJournal::setClock(std::function<QDateTime()> clock)
{
    const QMutexLocker locker(&clockLock);
    clockOverride = std::move(clock);
}

QDateTime OperationJournal::now()
{
    const QMutexLocker locker(&clockLock);
    return clockOverride ? clockOverride() : QDateTime::currentDateTimeUtc();
}

std::optional<OperationJournal> OperationJournal::open(bool create, QString *error)
{
    const auto failed = [error](const QString &why) {
        if (error)
            *error = why;
        return std::nullopt;
    };
    // The Velmora folder and the journal's own, both ours alone: whoever could
    // rename inside them could put another journal in its place.
    const QString folderPath = FileLocation::deletingLastPathComponent(path());
    int why = 0;
    std::optional<FolderHandle> velmora =
        FolderHandle::open(ResolvedRoot::resolve(SystemLayout::homeFolder()),
                           FileLocation::deletingLastPathComponent(folderPath), create, &why, 0700);
    if (!velmora || !velmora->keepPrivate(0700))
        return failed(velmora ? QStringLiteral("La carpeta de Velmora pertenece a otra cuenta.")
                              : ErrorText::describe(why));
    std::optional<FolderHandle> folder = FolderHandle::open(
        ResolvedRoot::resolve(SystemLayout::homeFolder()), folderPath, create, &why, 0700);
    if (!folder || !folder->keepPrivate(0700))
        return failed(folder ? QStringLiteral("El historial pertenece a otra cuenta.")
                             : ErrorText::describe(why));
    OperationJournal journal(std::move(*folder));
    const FolderLock lock(journal.m_folder.fd());
    const Lines read = journal.readLines();
    if (!read.readable)
        return failed(QStringLiteral("El historial no se puede leer."));
    // Only what can still be undone is kept: a month of operations.
    const QDateTime oldest = now().addDays(-kKeptDays);
    QSet<QString> old;
    for (const QJsonObject &line : read.lines)
        if (line.value(QStringLiteral("k")).toString() == QLatin1String("intend") &&
            QDateTime::fromString(line.value(QStringLiteral("date")).toString(), Qt::ISODate) <
                oldest)
            old.insert(line.value(QStringLiteral("op")).toString());
    if (!read.whole || !old.isEmpty()) {
        QList<QJsonObject> kept;
        for (const QJsonObject &line : read.lines)
            if (!old.contains(line.value(QStringLiteral("op")).toString()))
                kept << line;
        if (!journal.rewrite(kept, !read.whole))
            return failed(QStringLiteral("El historial no se puede escribir."));
    }
    return journal;
}

OperationJournal::Lines OperationJournal::readLines() const
{
    Lines out;
    const int fd = DiskFile::open(m_folder.fd(), kFileName, kLimit, DiskFile::Links::refuse);
    if (fd < 0) {
        out.readable = errno == ENOENT;
        return out;
    }
    struct stat st;
    const std::optional<QByteArray> bytes = fstat(fd, &st) == 0 && st.st_uid == geteuid()
                                                ? DiskFile::readAll(fd, kLimit)
                                                : std::nullopt;
    close(fd);
    if (!bytes) {
        out.readable = false;
        return out;
    }
    const QList<QByteArray> raw = bytes->split('\n');
    // The last piece is empty when the file ends a line; anything else there is
    // a line a crash cut short.
    out.whole = raw.last().isEmpty();
    for (qsizetype i = 0; i + 1 < raw.size(); ++i) {
        QJsonParseError parsed;
        const QJsonDocument document = QJsonDocument::fromJson(raw.at(i), &parsed);
        if (parsed.error == QJsonParseError::NoError && document.isObject() &&
            isValid(document.object()))
            out.lines << document.object();
        else
            out.whole = false;
    }
    return out;
}

bool OperationJournal::rewrite(const QList<QJsonObject> &lines, bool keepAside) const
{
    const int dir = m_folder.fd();
    if (keepAside) {
        const QByteArray aside =
            kFileName + '.' + now().toString(QStringLiteral("yyyyMMdd-HHmmss")).toLatin1();
        bool kept = false;
        for (int n = 0; n < 100 && !kept; ++n) {
            const QByteArray name = n == 0 ? aside : aside + '-' + QByteArray::number(n);
            kept =
                ItemMove::renameNoReplace(dir, kFileName.constData(), dir, name.constData()) == 0;
            if (!kept && errno != EEXIST)
                return false;
        }
        if (!kept)
            return false;
    }
    QByteArray bytes;
    for (const QJsonObject &line : lines)
        bytes += encoded(line);
    return ItemMove::replaceFile(dir, kFileName, bytes);
}

bool OperationJournal::append(QJsonObject line) const
{
    const FolderLock lock(m_folder.fd());
    const int fd =
        openat(m_folder.fd(), kFileName.constData(),
               O_WRONLY | O_APPEND | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0600);
    if (fd < 0)
        return false;
    struct stat st;
    const QByteArray bytes = encoded(line);
    const bool written = fstat(fd, &st) == 0 && S_ISREG(st.st_mode) && st.st_uid == geteuid() &&
                         ItemMove::writeAll(fd, bytes) && fdatasync(fd) == 0;
    close(fd);
    return written;
}

namespace {

QJsonObject line(const char *kind, const QString &operation, int index)
{
    return {{QStringLiteral("k"), QLatin1String(kind)},
            {QStringLiteral("op"), operation},
            {QStringLiteral("i"), index}};
}

} // namespace

bool OperationJournal::itemIntended(const QString &operation, const QString &module, int index,
                                    const QString &originalPath, const FileIdentity &identity) const
{
    QJsonObject l = line("intend", operation, index);
    l.insert(QStringLiteral("module"), module);
    l.insert(QStringLiteral("date"), now().toUTC().toString(Qt::ISODateWithMs));
    l.insert(QStringLiteral("path"), originalPath);
    l.insert(QStringLiteral("dev"), double(identity.device));
    l.insert(QStringLiteral("ino"), double(identity.inode));
    l.insert(QStringLiteral("size"), double(identity.size));
    if (identity.modificationTimeMs)
        l.insert(QStringLiteral("mtime"), double(*identity.modificationTimeMs));
    return append(l);
}

bool OperationJournal::itemInTrash(const QString &operation, int index, const QString &trashFolder,
                                   const QString &trashName,
                                   const QJsonObject &quarantineRecord) const
{
    QJsonObject l = line("trash", operation, index);
    l.insert(QStringLiteral("folder"), trashFolder);
    l.insert(QStringLiteral("name"), trashName);
    if (!quarantineRecord.isEmpty())
        l.insert(QStringLiteral("from"), quarantineRecord);
    return append(l);
}

bool OperationJournal::itemInQuarantine(const QString &operation, int index,
                                        const QString &recordId) const
{
    QJsonObject l = line("quarantine", operation, index);
    l.insert(QStringLiteral("record"), recordId);
    return append(l);
}

bool OperationJournal::itemStayed(const QString &operation, int index) const
{
    return append(line("stayed", operation, index));
}

bool OperationJournal::putBackIntended(const QString &operation, int index) const
{
    return append(line("undo", operation, index));
}

bool OperationJournal::itemPutBack(const QString &operation, int index, const QString &where) const
{
    QJsonObject l = line("back", operation, index);
    l.insert(QStringLiteral("path"), where);
    return append(l);
}

bool OperationJournal::putBackEnded(const QString &operation, int index) const
{
    return append(line("undo-end", operation, index));
}

QList<JournalOperation> OperationJournal::operations() const
{
    QList<JournalOperation> out;
    QHash<QString, qsizetype> at;
    using Place = JournalItem::Place;
    for (const QJsonObject &l : readLines().lines) {
        const QString op = l.value(QStringLiteral("op")).toString();
        const int index = l.value(QStringLiteral("i")).toInt();
        const QString kind = l.value(QStringLiteral("k")).toString();
        const auto s = [&l](const char *key) { return l.value(QLatin1String(key)).toString(); };
        if (kind == QLatin1String("intend")) {
            if (!at.contains(op)) {
                at.insert(op, out.size());
                out.append({op, s("module"), QDateTime::fromString(s("date"), Qt::ISODate), {}});
            }
            QList<JournalItem> &items = out[at.value(op)].items;
            if (index != items.size())
                continue; // items are written down in order, each once
            JournalItem item;
            item.originalPath = s("path");
            item.identity = {
                quint64(l.value(QStringLiteral("dev")).toDouble()),
                quint64(l.value(QStringLiteral("ino")).toDouble()),
                qint64(l.value(QStringLiteral("size")).toDouble()),
                l.contains(QStringLiteral("mtime"))
                    ? std::optional<qint64>(qint64(l.value(QStringLiteral("mtime")).toDouble()))
                    : std::nullopt};
            items.append(item);
            continue;
        }
        if (!at.contains(op) || index >= out[at.value(op)].items.size())
            continue;
        JournalItem &item = out[at.value(op)].items[index];
        if (kind == QLatin1String("trash")) {
            item.place = Place::trash;
            item.trashFolder = s("folder");
            item.trashName = s("name");
            item.quarantineRecord = l.value(QStringLiteral("from")).toObject();
        } else if (kind == QLatin1String("quarantine")) {
            item.place = Place::quarantine;
            item.recordId = s("record");
        } else if (kind == QLatin1String("stayed")) {
            item.place = Place::stayed;
        } else if (kind == QLatin1String("undo")) {
            item.undoing = true;
        } else if (kind == QLatin1String("back")) {
            item.place = Place::restored;
            item.restoredPath = s("path");
            item.undoing = false;
        } else if (kind == QLatin1String("undo-end")) {
            item.undoing = false;
        }
    }
    return out;
}

OperationRecording::OperationRecording(const QString &module)
    : m_journal(OperationJournal::open(true)),
      m_id(QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper()), m_module(module),
      m_outer(recording)
{
    recording = this;
}

OperationRecording::~OperationRecording()
{
    recording = m_outer;
}

OperationRecording *OperationRecording::current()
{
    return recording;
}

QString OperationRecording::finish()
{
    return m_moved ? m_id : QString();
}
