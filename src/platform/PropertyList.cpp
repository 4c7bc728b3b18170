#include "PropertyList.h"

#include "DiskFile.h"

#include "FileLocation.h"
#include "PropertyListShape.h"

#include <QDateTime>
#include <QFile>
#include <QVariantList>
#include <fcntl.h>
#include <plist/plist.h>
#include <sys/stat.h>
#include <unistd.h>

namespace PropertyList {

namespace {

constexpr qint64 kMaxPlistBytes = 16 * 1024 * 1024;
constexpr int kMaxDepth = 64; // a crafted list must not exhaust the stack

// libplist 2.2 counts dates from 2001-01-01 (the Mac epoch).
constexpr qint64 kMacEpochOffset = 978307200;

QVariant toVariant(plist_t node, int depth)
{
    if (!node || depth > kMaxDepth)
        return {};
    switch (plist_get_node_type(node)) {
    case PLIST_BOOLEAN: {
        uint8_t value = 0;
        plist_get_bool_val(node, &value);
        return bool(value);
    }
    case PLIST_UINT: {
        uint64_t value = 0;
        plist_get_uint_val(node, &value);
        // Negative integers arrive in two's complement.
        return QVariant::fromValue<qint64>(static_cast<qint64>(value));
    }
    case PLIST_REAL: {
        double value = 0;
        plist_get_real_val(node, &value);
        return value;
    }
    case PLIST_STRING: {
        char *value = nullptr;
        plist_get_string_val(node, &value);
        QString text = value ? QString::fromUtf8(value) : QString();
        free(value);
        return text;
    }
    case PLIST_DATA: {
        char *value = nullptr;
        uint64_t length = 0;
        plist_get_data_val(node, &value, &length);
        QByteArray bytes(value, qsizetype(length));
        free(value);
        return bytes;
    }
    case PLIST_DATE: {
        int32_t sec = 0, usec = 0;
        plist_get_date_val(node, &sec, &usec);
        return QDateTime::fromMSecsSinceEpoch((qint64(sec) + kMacEpochOffset) * 1000 + usec / 1000,
                                              Qt::UTC);
    }
    case PLIST_ARRAY: {
        QVariantList list;
        const uint32_t count = plist_array_get_size(node);
        for (uint32_t i = 0; i < count; ++i)
            list.append(toVariant(plist_array_get_item(node, i), depth + 1));
        return list;
    }
    case PLIST_DICT: {
        QVariantMap map;
        plist_dict_iter it = nullptr;
        plist_dict_new_iter(node, &it);
        while (it) {
            char *key = nullptr;
            plist_t value = nullptr;
            plist_dict_next_item(node, it, &key, &value);
            if (!key)
                break;
            map.insert(QString::fromUtf8(key), toVariant(value, depth + 1));
            free(key);
        }
        free(it);
        return map;
    }
    default:
        return {};
    }
}

plist_t fromVariant(const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::Bool:
        return plist_new_bool(value.toBool());
    case QMetaType::Int:
    case QMetaType::LongLong:
    case QMetaType::UInt:
    case QMetaType::ULongLong:
        return plist_new_uint(value.toULongLong());
    case QMetaType::Double:
        return plist_new_real(value.toDouble());
    case QMetaType::QByteArray: {
        const QByteArray bytes = value.toByteArray();
        return plist_new_data(bytes.constData(), uint64_t(bytes.size()));
    }
    case QMetaType::QDateTime: {
        const qint64 ms = value.toDateTime().toMSecsSinceEpoch() - kMacEpochOffset * 1000;
        return plist_new_date(int32_t(ms / 1000), int32_t((ms % 1000) * 1000));
    }
    case QMetaType::QVariantList:
    case QMetaType::QStringList: {
        plist_t array = plist_new_array();
        for (const QVariant &item : value.toList())
            plist_array_append_item(array, fromVariant(item));
        return array;
    }
    case QMetaType::QVariantMap: {
        plist_t dict = plist_new_dict();
        const QVariantMap map = value.toMap();
        for (auto it = map.cbegin(); it != map.cend(); ++it)
            plist_dict_set_item(dict, it.key().toUtf8().constData(), fromVariant(it.value()));
        return dict;
    }
    default:
        return plist_new_string(value.toString().toUtf8().constData());
    }
}

} // namespace

std::optional<QVariantMap> fromData(const QByteArray &data)
{
    if (data.isEmpty() || data.size() > kMaxPlistBytes)
        return std::nullopt;
    // libplist recurses as deep as the list nests, and copies shared binary objects
    // at every reference: a hostile list is measured before it gets the bytes.
    if (!PropertyListShape::isWithinBounds(data.constData(), std::size_t(data.size()), kMaxDepth))
        return std::nullopt;
    plist_t root = nullptr;
    plist_from_memory(data.constData(), uint32_t(data.size()), &root);
    if (!root)
        return std::nullopt;
    std::optional<QVariantMap> result;
    if (plist_get_node_type(root) == PLIST_DICT)
        result = toVariant(root, 0).toMap();
    plist_free(root);
    return result;
}

std::optional<QVariantMap> read(const QString &path)
{
    const std::optional<QByteArray> bytes = DiskFile::read(path, kMaxPlistBytes);
    return bytes ? fromData(*bytes) : std::nullopt;
}

bool write(const QString &path, const QVariantMap &dict, bool binary)
{
    plist_t root = fromVariant(dict);
    char *out = nullptr;
    uint32_t length = 0;
    if (binary)
        plist_to_bin(root, &out, &length);
    else
        plist_to_xml(root, &out, &length);
    plist_free(root);
    if (!out)
        return false;
    QFile file(path);
    const bool ok = file.open(QIODevice::WriteOnly | QIODevice::Truncate) &&
                    file.write(out, length) == qint64(length);
    binary ? plist_to_bin_free(out) : plist_to_xml_free(out);
    return ok;
}

} // namespace PropertyList

std::optional<BundleInfo> BundleInfo::read(const QString &bundlePath)
{
    auto dict = PropertyList::read(
        FileLocation::appendingPathComponent(bundlePath, QStringLiteral("Contents/Info.plist")));
    if (!dict)
        return std::nullopt;
    BundleInfo bundle;
    bundle.info = std::move(*dict);
    bundle.identifier = bundle.string(QStringLiteral("CFBundleIdentifier"));
    return bundle;
}

QString BundleInfo::string(const QString &key) const
{
    const QVariant value = info.value(key);
    return value.typeId() == QMetaType::QString ? value.toString() : QString();
}

QString BundleInfo::displayName(const QString &bundlePath) const
{
    for (const char *key : {"CFBundleDisplayName", "CFBundleName"}) {
        const QString name = string(QString::fromLatin1(key));
        if (!name.isEmpty())
            return name;
    }
    const QString folder = FileLocation::lastPathComponent(bundlePath);
    const QString ext = FileLocation::pathExtension(folder);
    return ext.isEmpty() ? folder : folder.left(folder.size() - ext.size() - 1);
}
