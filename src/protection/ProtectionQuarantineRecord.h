#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QJsonObject>
#include <QList>
#include <QString>
#include <functional>
#include <optional>

// One item in quarantine, as "records.json" lists it.
struct ProtectionQuarantineRecord
{
    QString id;             // a UUID, upper case with hyphens
    QString originalPath;   // where the item was; null when that is not known
    QString quarantinePath; // where it lies now, directly inside the quarantine folder
    QString name;           // the finding's name when it was quarantined
    qint64 size = 0;
    double quarantinedAt = 0; // seconds since 2001-01-01 00:00:00 UTC

    bool operator==(const ProtectionQuarantineRecord &) const = default;
};

// Records are identified by their own identifier, not by a path.
inline QString resultItemId(const ProtectionQuarantineRecord &record)
{
    return record.id;
}

namespace QuarantineIndex {

// Seconds between 1970-01-01 and 2001-01-01, the index's reference date.
inline constexpr double kReferenceDate = 978307200.0;

QString newIdentifier();
double now();
QDateTime dateOf(double quarantinedAt);

QJsonObject toJson(const ProtectionQuarantineRecord &record);
// A record from its JSON object; nothing when a key is missing or of the wrong
// type, the identifier is not a UUID, or a path is not absolute and plain.
std::optional<ProtectionQuarantineRecord> fromJson(const QJsonObject &object);

// The compact JSON array of the records.
QByteArray encode(const QList<ProtectionQuarantineRecord> &records);
// The valid records of an index whose items lie directly in the quarantine
// folder (`isFolder` says whether a folder path is it), in file order, each path
// once (the first record keeps it). An index cut short or spoilt gives the
// records that are still whole in it. *whole says whether every byte of the
// index was a valid record.
QList<ProtectionQuarantineRecord> decode(const QByteArray &bytes,
                                         const std::function<bool(const QString &)> &isFolder,
                                         bool *whole = nullptr);
// "<UUID>_<original name>": the only names the quarantine gives its items.
bool isItemName(const QString &name);

} // namespace QuarantineIndex
