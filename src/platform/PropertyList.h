#pragma once

#include <QString>
#include <QVariantMap>
#include <optional>

// Property lists, XML or binary. Values become QVariant: dictionaries QVariantMap,
// arrays QVariantList, strings QString, integers qint64, reals double, booleans bool, dates
// QDateTime (UTC), data QByteArray.
namespace PropertyList {

// The top-level dictionary of a property-list file; nothing when the file is
// missing, unreadable, larger than a property list has any reason to be, not a
// property list, or not a dictionary at the top.
std::optional<QVariantMap> read(const QString &path);
std::optional<QVariantMap> fromData(const QByteArray &data);

// For tools and tests that build trees: writes a dictionary as XML or binary.
bool write(const QString &path, const QVariantMap &dict, bool binary);

} // namespace PropertyList

// The information list of a bundle folder ("X.app/Contents/Info.plist").
struct BundleInfo
{
    QString identifier; // CFBundleIdentifier, empty when absent or not a string
    QVariantMap info;   // the whole dictionary

    static std::optional<BundleInfo> read(const QString &bundlePath);
    // A string value of the information list; empty when absent or of another type.
    QString string(const QString &key) const;
    // CFBundleDisplayName, else CFBundleName, else the folder name without extension.
    QString displayName(const QString &bundlePath) const;
};
