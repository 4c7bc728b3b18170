#include "CodeSignature.h"

#include "DiskFile.h"
#include "FileLocation.h"
#include "MachOFile.h"
#include "PropertyList.h"
#include "SealedResources.h"

#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <fcntl.h>
#include <memory>
#include <openssl/cms.h>
#include <openssl/evp.h>
#include <openssl/x509.h>
#include <sys/stat.h>
#include <unistd.h>

namespace CodeSignature {

namespace {

constexpr quint32 kSuperBlob = 0xfade0cc0;
constexpr quint32 kCodeDirectory = 0xfade0c02;
constexpr quint32 kCmsWrapper = 0xfade0b01;
constexpr quint32 kSlotCodeDirectory = 0;
constexpr quint32 kSlotAlternateFirst = 0x1000;
constexpr quint32 kSlotAlternateLast = 0x1004;
constexpr quint32 kSlotCms = 0x10000;
// Special slots, counted backwards from the code hashes.
constexpr int kSpecialInfo = 1;
constexpr int kSpecialRequirements = 2;
constexpr int kSpecialResources = 3;
constexpr int kSpecialEntitlements = 5;
constexpr int kSpecialDerEntitlements = 7;
// Blob slot types that carry what the special slots hash.
constexpr quint32 kSlotRequirements = 2;
constexpr quint32 kSlotEntitlements = 5;
constexpr quint32 kSlotDerEntitlements = 7;
// Nothing signed is larger: bounds every read the signature asks for.
constexpr qint64 kMaxSignature = 64 * 1024 * 1024;
constexpr qint64 kMaxInfoPlist = 8 * 1024 * 1024;
// Past this, a file is not code any Mac runs: a sparse giant planted to stall the check.
constexpr qint64 kMaxCodeBytes = qint64(4) << 30;

quint32 big32(const QByteArray &b, qint64 at)
{
    return MachO::big32(b.constData() + at);
}

struct Blobs
{
    QHash<quint32, QByteArray> bySlot; // each blob whole, header included
    QList<QByteArray> directories;     // the primary first, then the alternates
};

std::optional<Blobs> readSuperBlob(const QByteArray &sig)
{
    if (sig.size() < 12 || big32(sig, 0) != kSuperBlob)
        return std::nullopt;
    const qint64 length = big32(sig, 4);
    const qint64 count = big32(sig, 8);
    if (length < 12 || length > sig.size() || count > (length - 12) / 8)
        return std::nullopt;
    Blobs blobs;
    for (qint64 i = 0; i < count; ++i) {
        const quint32 slot = big32(sig, 12 + i * 8);
        const qint64 offset = big32(sig, 16 + i * 8);
        if (!MachO::within(offset, 8, length))
            return std::nullopt;
        const qint64 blobLength = big32(sig, offset + 4);
        if (blobLength < 8 || !MachO::within(offset, blobLength, length) ||
            blobs.bySlot.contains(slot))
            return std::nullopt;
        blobs.bySlot.insert(slot, sig.mid(offset, blobLength));
    }
    if (!blobs.bySlot.contains(kSlotCodeDirectory))
        return std::nullopt;
    blobs.directories.append(blobs.bySlot.value(kSlotCodeDirectory));
    for (quint32 slot = kSlotAlternateFirst; slot <= kSlotAlternateLast; ++slot)
        if (blobs.bySlot.contains(slot))
            blobs.directories.append(blobs.bySlot.value(slot));
    return blobs;
}

struct Directory
{
    QByteArray bytes;
    quint32 hashOffset = 0;
    quint32 specialSlots = 0;
    quint32 codeSlots = 0;
    qint64 codeLimit = 0;
    int hashSize = 0;
    const EVP_MD *digest = nullptr;
    int pageShift = 0;
    QString identifier;
    std::optional<QString> team;
};

// A NUL-terminated string inside the directory.
std::optional<QString> stringAt(const QByteArray &bytes, qint64 offset)
{
    if (offset <= 0 || offset >= bytes.size())
        return std::nullopt;
    const qsizetype end = bytes.indexOf('\0', offset);
    if (end < 0)
        return std::nullopt;
    return QString::fromUtf8(bytes.constData() + offset, end - offset);
}

std::optional<Directory> readDirectory(const QByteArray &bytes)
{
    if (bytes.size() < 44 || big32(bytes, 0) != kCodeDirectory || big32(bytes, 4) != bytes.size())
        return std::nullopt;
    Directory d;
    d.bytes = bytes;
    const quint32 version = big32(bytes, 8);
    d.hashOffset = big32(bytes, 16);
    const quint32 identOffset = big32(bytes, 20);
    d.specialSlots = big32(bytes, 24);
    d.codeSlots = big32(bytes, 28);
    d.codeLimit = big32(bytes, 32);
    d.hashSize = static_cast<unsigned char>(bytes.at(36));
    const int hashType = static_cast<unsigned char>(bytes.at(37));
    d.pageShift = static_cast<unsigned char>(bytes.at(39));
    // Each hash type has one size: shorter hashes of a known type are a
    // weaker seal than the type promises.
    int typeSize = 0;
    switch (hashType) {
    case 1:
        d.digest = EVP_sha1();
        typeSize = 20;
        break;
    case 2:
        d.digest = EVP_sha256();
        typeSize = 32;
        break;
    case 3: // SHA-256 cut to the size of a SHA-1
        d.digest = EVP_sha256();
        typeSize = 20;
        break;
    case 4:
        d.digest = EVP_sha384();
        typeSize = 48;
        break;
    default:
        return std::nullopt;
    }
    if (d.hashSize != typeSize || d.pageShift > 24 || (d.pageShift != 0 && d.pageShift < 9))
        return std::nullopt;
    if (version >= 0x20200 && bytes.size() >= 52) {
        const quint32 teamOffset = big32(bytes, 48);
        if (teamOffset != 0) {
            d.team = stringAt(bytes, teamOffset);
            if (!d.team)
                return std::nullopt;
        }
    }
    if (version >= 0x20300 && bytes.size() >= 64) {
        const qint64 limit64 = qint64(quint64(big32(bytes, 56)) << 32 | big32(bytes, 60));
        if (limit64 != 0)
            d.codeLimit = limit64;
    }
    const qint64 specialBytes = qint64(d.specialSlots) * d.hashSize;
    const qint64 codeBytes = qint64(d.codeSlots) * d.hashSize;
    if (specialBytes > d.hashOffset || !MachO::within(d.hashOffset, codeBytes, bytes.size()) ||
        d.hashOffset - specialBytes < 44)
        return std::nullopt;
    const std::optional<QString> identifier = stringAt(bytes, identOffset);
    if (!identifier)
        return std::nullopt;
    d.identifier = *identifier;
    return d;
}

QByteArray digestOf(const EVP_MD *md, const char *data, qint64 length)
{
    unsigned char out[EVP_MAX_MD_SIZE];
    unsigned int size = 0;
    if (EVP_Digest(data, size_t(length), out, &size, md, nullptr) != 1)
        return {};
    return QByteArray(reinterpret_cast<const char *>(out), int(size));
}

QByteArray slotHash(const Directory &d, qint64 slot) // negative: special slots
{
    return d.bytes.mid(d.hashOffset + slot * d.hashSize, d.hashSize);
}

// Every page of the slice up to the code limit hashes to its slot.
bool codeMatches(const MachO::File &file, const MachO::Slice &slice, const Directory &d)
{
    if (d.codeLimit < 0 || d.codeLimit > slice.extent.length)
        return false;
    const qint64 page =
        d.pageShift == 0 ? std::max<qint64>(d.codeLimit, 1) : qint64(1) << d.pageShift;
    const qint64 pages = (d.codeLimit + page - 1) / page;
    if (pages != d.codeSlots)
        return false;
    for (qint64 i = 0; i < pages; ++i) {
        const qint64 length = std::min(page, d.codeLimit - i * page);
        const auto bytes = file.read(slice.extent.offset + i * page, length);
        if (!bytes)
            return false;
        if (digestOf(d.digest, bytes->constData(), length).left(d.hashSize) != slotHash(d, i))
            return false;
    }
    return true;
}

// What the signed code sits in: its bundle, or nothing for a lone tool.
struct Context
{
    QString contents;   // the bundle's Contents folder, empty for a tool
    QString executable; // path of the code
    // The sealed files are hashed once per check, however many directories
    // and slices seal the same resource list.
    mutable std::optional<std::pair<QByteArray, bool>> resourceVerdict;

    bool resourcesMatch(const QByteArray &codeResources) const
    {
        if (!resourceVerdict || resourceVerdict->first != codeResources)
            resourceVerdict = {codeResources,
                               SealedResources::verify(contents, codeResources, executable)};
        return resourceVerdict->second;
    }
};

bool isFilled(const Directory &d, int special)
{
    const QByteArray hash = slotHash(d, -special);
    return special <= int(d.specialSlots) && hash.count('\0') != hash.size();
}

// The special slots that are filled must match what they stand for, and a
// bundle's code must bind its Info.plist and seal its resources: without them
// everything beside the executable could change and the signature still hold.
bool specialSlotsMatch(const Directory &d, const Blobs &blobs, const Context &ctx,
                       const std::optional<QByteArray> &infoSection)
{
    if (!ctx.contents.isEmpty() && (!isFilled(d, kSpecialInfo) || !isFilled(d, kSpecialResources)))
        return false;
    for (int k = 1; k <= int(d.specialSlots); ++k) {
        if (!isFilled(d, k))
            continue; // an empty slot: nothing of that kind is sealed
        const QByteArray expected = slotHash(d, -k);
        std::optional<QByteArray> actual;
        switch (k) {
        case kSpecialInfo:
            actual =
                ctx.contents.isEmpty()
                    ? infoSection
                    : DiskFile::read(ctx.contents + QStringLiteral("/Info.plist"), kMaxInfoPlist);
            break;
        case kSpecialRequirements:
            if (blobs.bySlot.contains(kSlotRequirements))
                actual = blobs.bySlot.value(kSlotRequirements);
            break;
        case kSpecialResources:
            if (!ctx.contents.isEmpty())
                actual = DiskFile::read(
                    ctx.contents + QStringLiteral("/_CodeSignature/CodeResources"), kMaxSignature);
            break;
        case kSpecialEntitlements:
            if (blobs.bySlot.contains(kSlotEntitlements))
                actual = blobs.bySlot.value(kSlotEntitlements);
            break;
        case kSpecialDerEntitlements:
            if (blobs.bySlot.contains(kSlotDerEntitlements))
                actual = blobs.bySlot.value(kSlotDerEntitlements);
            break;
        default:
            continue; // slots we have nothing to compare with
        }
        if (!actual ||
            digestOf(d.digest, actual->constData(), actual->size()).left(d.hashSize) != expected)
            return false;
        if (k == kSpecialResources && !ctx.resourcesMatch(*actual))
            return false;
    }
    return true;
}

// A CMS signature, where there is one, must sign the primary CodeDirectory. The
// chain is not followed to a trust anchor: Apple's are not available here.
bool cmsMatches(const Blobs &blobs)
{
    if (!blobs.bySlot.contains(kSlotCms))
        return true;
    const QByteArray wrapper = blobs.bySlot.value(kSlotCms);
    if (big32(wrapper, 0) != kCmsWrapper)
        return false;
    if (wrapper.size() == 8)
        return true; // an ad-hoc signature carries an empty one
    const auto *der = reinterpret_cast<const unsigned char *>(wrapper.constData() + 8);
    std::unique_ptr<CMS_ContentInfo, decltype(&CMS_ContentInfo_free)> cms(
        d2i_CMS_ContentInfo(nullptr, &der, wrapper.size() - 8), CMS_ContentInfo_free);
    if (!cms)
        return false;
    const QByteArray &signedData = blobs.directories.first();
    std::unique_ptr<BIO, decltype(&BIO_free)> content(
        BIO_new_mem_buf(signedData.constData(), int(signedData.size())), BIO_free);
    std::unique_ptr<X509_STORE, decltype(&X509_STORE_free)> store(X509_STORE_new(),
                                                                  X509_STORE_free);
    return content && store &&
           CMS_verify(cms.get(), nullptr, store.get(), content.get(), nullptr,
                      CMS_BINARY | CMS_NO_SIGNER_CERT_VERIFY) == 1;
}

// The item itself may be a link, read as the system reads it: by the file it
// leads to, which must be a regular file. Inside a bundle no link is followed.
int openCode(const QString &code, const QString &item)
{
    return DiskFile::open(code, kMaxCodeBytes,
                          code == item ? DiskFile::Links::follow : DiskFile::Links::refuse);
}

} // namespace

std::optional<QString> codeOf(const QString &path)
{
    struct stat st;
    if (lstat(FileLocation::encode(path).constData(), &st) != 0)
        return std::nullopt;
    if (S_ISREG(st.st_mode) || S_ISLNK(st.st_mode))
        return path;
    if (!S_ISDIR(st.st_mode))
        return std::nullopt;
    // Without an information list naming it, the code is named after the
    // bundle, as the system finds it: a deleted or unreadable Info.plist must
    // leave the code to be checked, not hide it.
    const std::optional<BundleInfo> info = BundleInfo::read(path);
    const QString name = info && info->info.contains(QStringLiteral("CFBundleExecutable"))
                             ? info->string(QStringLiteral("CFBundleExecutable"))
                             : QFileInfo(path).completeBaseName();
    // The executable's name must stay inside Contents/MacOS.
    if (name.isEmpty() || name == QLatin1String(".") || name == QLatin1String("..") ||
        name.contains(QLatin1Char('/')) || name.contains(QChar(0)))
        return std::nullopt;
    return path + QStringLiteral("/Contents/MacOS/") + name;
}

SignatureInformation signatureInformation(const QString &path)
{
    SignatureInformation none;
    const std::optional<QString> code = codeOf(path);
    if (!code)
        return none;
    const int fd = openCode(*code, path);
    if (fd < 0)
        return none;
    const MachO::File file(fd);
    const MachO::Layout layout = MachO::read(file);
    if (layout.kind != MachO::Kind::Signed) {
        ::close(fd);
        return none;
    }
    SignatureInformation info;
    info.wasCreated = true;
    const Context ctx{*code == path ? QString() : path + QStringLiteral("/Contents"), *code, {}};
    bool valid = true;
    for (int i = 0; i < layout.slices.size(); ++i) {
        const MachO::Slice &slice = layout.slices.at(i);
        std::optional<Blobs> blobs;
        if (slice.signature && !slice.brokenSignature && slice.signature->length <= kMaxSignature)
            if (const auto bytes = file.read(slice.signature->offset, slice.signature->length))
                blobs = readSuperBlob(*bytes);
        std::optional<Directory> primary;
        if (blobs)
            primary = readDirectory(blobs->directories.first());
        if (i == 0 && primary) { // identity comes from the first slice
            info.identifier = primary->identifier;
            info.teamIdentifier = primary->team;
        }
        if (!valid || !blobs || !primary || slice.brokenHeaders) {
            valid = false;
            continue;
        }
        const std::optional<QByteArray> infoSection =
            slice.infoPlist && slice.infoPlist->length <= kMaxInfoPlist
                ? file.read(slice.infoPlist->offset, slice.infoPlist->length)
                : std::nullopt;
        for (const QByteArray &bytes : blobs->directories) {
            const std::optional<Directory> d = readDirectory(bytes);
            if (!d || !codeMatches(file, slice, *d) ||
                !specialSlotsMatch(*d, *blobs, ctx, infoSection)) {
                valid = false;
                break;
            }
        }
        valid = valid && cmsMatches(*blobs);
    }
    ::close(fd);
    info.isValid = valid;
    info.description = valid ? QStringLiteral("Firma digital válida")
                             : QStringLiteral("Firma presente; validación incompleta");
    return info;
}

} // namespace CodeSignature
