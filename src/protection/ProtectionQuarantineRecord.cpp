#include "ProtectionQuarantineRecord.h"

#include "FileLocation.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QSet>
#include <QUuid>
#include <cmath>
#include <ctime>

namespace QuarantineIndex {

namespace {

const QString kId = QStringLiteral("id");
const QString kOriginalPath = QStringLiteral("originalPath");
const QString kQuarantinePath = QStringLiteral("quarantinePath");
const QString kName = QStringLiteral("name");
const QString kSize = QStringLiteral("size");
const QString kQuarantinedAt = QStringLiteral("quarantinedAt");
// The original path's bytes, beside it, when they are not valid UTF-8: the text
// of "originalPath" then shows replacement marks.
const QString kOriginalPathBytes = QStringLiteral("originalPathBytes");

bool isPlainAbsolute(const QString &path)
{
    return path.startsWith(QLatin1Char('/')) && !path.contains(QChar(0)) &&
           FileLocation::standardizedPath(path) == path;
}

// The complete objects of an array cut short or spoilt somewhere: each "{…}"
// that closes, read on its own.
QList<QJsonObject> salvagedObjects(const QByteArray &bytes)
{
    QList<QJsonObject> objects;
    int depth = 0;
    bool inString = false, escaped = false;
    qsizetype start = -1;
    for (qsizetype i = 0; i < bytes.size(); ++i) {
        const char c = bytes.at(i);
        if (inString) {
            if (escaped)
                escaped = false;
            else if (c == '\\')
                escaped = true;
            else if (c == '"')
                inString = false;
            continue;
        }
        if (c == '"') {
            inString = true;
            escaped = false;
        } else if (c == '{' && depth++ == 0) {
            start = i;
        } else if (c == '}' && depth > 0 && --depth == 0) {
            const QJsonDocument one = QJsonDocument::fromJson(bytes.mid(start, i - start + 1));
            if (one.isObject())
                objects.append(one.object());
        }
    }
    return objects;
}

} // namespace

// So a record can never name the index, an intent file or an unfinished copy.
bool isItemName(const QString &name)
{
    return name.size() > 37 && name.at(36) == QLatin1Char('_') &&
           !QUuid::fromString(QStringView(name).left(36)).isNull();
}

QString newIdentifier()
{
    return QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper();
}

double now()
{
    struct timespec ts;
    clock_gettime(CLOCK_REALTIME, &ts);
    return double(ts.tv_sec) - kReferenceDate + double(ts.tv_nsec) / 1e9;
}

QDateTime dateOf(double quarantinedAt)
{
    return QDateTime::fromMSecsSinceEpoch(
        qint64(std::llround((quarantinedAt + kReferenceDate) * 1000.0)));
}

QJsonObject toJson(const ProtectionQuarantineRecord &record)
{
    QJsonObject object{
        {kId, record.id},
        {kOriginalPath, record.originalPath.isNull()
                            ? QJsonValue(QJsonValue::Null)
                            : QJsonValue(FileLocation::displayText(record.originalPath))},
        {kQuarantinePath, record.quarantinePath},
        {kName, record.name},
        {kSize, double(record.size)},
        {kQuarantinedAt, record.quarantinedAt}};
    const QByteArray bytes = FileLocation::encode(record.originalPath);
    if (!record.originalPath.isNull() && bytes != record.originalPath.toUtf8())
        object.insert(kOriginalPathBytes, QString::fromLatin1(bytes.toBase64()));
    return object;
}

std::optional<ProtectionQuarantineRecord> fromJson(const QJsonObject &object)
{
    const QJsonValue id = object.value(kId), original = object.value(kOriginalPath),
                     stored = object.value(kQuarantinePath), name = object.value(kName),
                     size = object.value(kSize), at = object.value(kQuarantinedAt);
    if (!id.isString() || !(original.isString() || original.isNull()) || !stored.isString() ||
        !name.isString() || !size.isDouble() || !at.isDouble())
        return std::nullopt;
    const QUuid uuid = QUuid::fromString(id.toString());
    const double bytes = size.toDouble();
    // A size must be a whole number that a signed 64-bit integer holds.
    if (uuid.isNull() || id.toString().size() != 36 || bytes != std::floor(bytes) ||
        std::fabs(bytes) > 9.0e18 || !std::isfinite(at.toDouble()))
        return std::nullopt;
    const QJsonValue originalBytes = object.value(kOriginalPathBytes);
    ProtectionQuarantineRecord record{
        uuid.toString(QUuid::WithoutBraces).toUpper(),
        originalBytes.isString() && original.isString()
            ? FileLocation::decode(QByteArray::fromBase64(originalBytes.toString().toLatin1()))
            : original.toString(),
        stored.toString(),
        name.toString(),
        qint64(bytes),
        at.toDouble()};
    if ((!original.isNull() && !isPlainAbsolute(record.originalPath)) ||
        !isPlainAbsolute(record.quarantinePath))
        return std::nullopt;
    return record;
}

QByteArray encode(const QList<ProtectionQuarantineRecord> &records)
{
    QJsonArray array;
    for (const ProtectionQuarantineRecord &record : records)
        array.append(toJson(record));
    return QJsonDocument(array).toJson(QJsonDocument::Compact);
}

QList<ProtectionQuarantineRecord>
decode(const QByteArray &bytes, const std::function<bool(const QString &)> &isFolder, bool *whole)
{
    const QJsonDocument document = QJsonDocument::fromJson(bytes);
    QList<QJsonObject> objects;
    bool complete = document.isArray();
    if (complete) {
        for (const QJsonValue &value : document.array()) {
            complete = complete && value.isObject();
            objects.append(value.toObject());
        }
    } else {
        objects = salvagedObjects(bytes);
    }
    QList<ProtectionQuarantineRecord> records;
    QSet<QString> paths, ids;
    for (const QJsonObject &object : std::as_const(objects)) {
        const std::optional<ProtectionQuarantineRecord> record = fromJson(object);
        // Only items that lie directly in the quarantine folder are ours to
        // restore or trash; a record pointing anywhere else is not a record.
        if (!record || !isItemName(FileLocation::lastPathComponent(record->quarantinePath)) ||
            !isFolder(FileLocation::deletingLastPathComponent(record->quarantinePath)) ||
            paths.contains(record->quarantinePath) || ids.contains(record->id)) {
            complete = false;
            continue;
        }
        paths.insert(record->quarantinePath);
        ids.insert(record->id);
        records.append(*record);
    }
    if (whole)
        *whole = complete;
    return records;
}

} // namespace QuarantineIndex
