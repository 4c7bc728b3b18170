#include "MachOSigner.h"

#include "PropertyList.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <openssl/cms.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>
#include <openssl/x509.h>
#include <unistd.h>

namespace MachOSigner {

namespace {

void put32le(QByteArray &b, qint64 at, quint32 v)
{
    for (int i = 0; i < 4; ++i)
        b[at + i] = char(v >> (8 * i));
}
void put64le(QByteArray &b, qint64 at, quint64 v)
{
    put32le(b, at, quint32(v));
    put32le(b, at + 4, quint32(v >> 32));
}
void put32be(QByteArray &b, qint64 at, quint32 v)
{
    for (int i = 0; i < 4; ++i)
        b[at + i] = char(v >> (24 - 8 * i));
}
QByteArray be32(quint32 v)
{
    QByteArray b(4, '\0');
    put32be(b, 0, v);
    return b;
}

QByteArray hashOf(const QByteArray &data, bool sha1)
{
    return QCryptographicHash::hash(data,
                                    sha1 ? QCryptographicHash::Sha1 : QCryptographicHash::Sha256);
}

int sizeOf(const Options &o)
{
    if (o.hashSize > 0)
        return o.hashSize;
    return o.hashType == 1 || o.hashType == 3 ? 20 : o.hashType == 4 ? 48 : 32;
}

// A hash of the CodeDirectory's kind, cut to its size.
QByteArray hashOf(const QByteArray &data, const Options &o)
{
    const auto algorithm = o.hashType == 1   ? QCryptographicHash::Sha1
                           : o.hashType == 4 ? QCryptographicHash::Sha384
                                             : QCryptographicHash::Sha256;
    return QCryptographicHash::hash(data, algorithm).left(sizeOf(o));
}

QByteArray blob(quint32 magic, const QByteArray &payload)
{
    return be32(magic) + be32(quint32(8 + payload.size())) + payload;
}

// A detached CMS signature over `data` by a fresh key and self-signed certificate.
QByteArray cmsSignature(const QByteArray &data)
{
    EVP_PKEY *key = EVP_RSA_gen(2048);
    X509 *cert = X509_new();
    X509_set_version(cert, 2);
    ASN1_INTEGER_set(X509_get_serialNumber(cert), 1);
    X509_gmtime_adj(X509_getm_notBefore(cert), 0);
    X509_gmtime_adj(X509_getm_notAfter(cert), 3600);
    X509_set_pubkey(cert, key);
    X509_NAME *name = X509_get_subject_name(cert);
    X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC,
                               reinterpret_cast<const unsigned char *>("Velmora test signer"), -1,
                               -1, 0);
    X509_set_issuer_name(cert, name);
    X509_sign(cert, key, EVP_sha256());
    BIO *in = BIO_new_mem_buf(data.constData(), int(data.size()));
    CMS_ContentInfo *cms =
        CMS_sign(cert, key, nullptr, in, CMS_DETACHED | CMS_BINARY | CMS_NOSMIMECAP);
    QByteArray der;
    if (cms) {
        unsigned char *out = nullptr;
        const int length = i2d_CMS_ContentInfo(cms, &out);
        if (length > 0)
            der = QByteArray(reinterpret_cast<const char *>(out), length);
        OPENSSL_free(out);
        CMS_ContentInfo_free(cms);
    }
    BIO_free(in);
    X509_free(cert);
    EVP_PKEY_free(key);
    return der;
}

// The signature of `code` (every byte before the signature).
QByteArray signature(const QByteArray &code, const Options &o)
{
    const int hashSize = sizeOf(o);
    const QByteArray requirements = blob(0xfade0c01, be32(0)); // an empty requirement set
    const QByteArray entitlements =
        o.entitlements ? blob(0xfade7171, *o.entitlements) : QByteArray();
    QList<QByteArray> special(7); // slots 1..7, empty when absent
    if (o.infoPlist)
        special[0] = hashOf(*o.infoPlist, o);
    else if (o.embeddedInfo)
        special[0] = hashOf(*o.embeddedInfo, o);
    if (o.requirements)
        special[1] = hashOf(requirements, o);
    if (o.codeResources)
        special[2] = hashOf(*o.codeResources, o);
    if (o.entitlements)
        special[4] = hashOf(entitlements, o);
    int specialSlots = 0;
    for (int k = 0; k < special.size(); ++k)
        if (!special[k].isEmpty())
            specialSlots = k + 1;

    const int pages = int((code.size() + 4095) / 4096);
    const QByteArray ident = o.identifier.toUtf8() + '\0';
    const QByteArray team = o.team ? o.team->toUtf8() + '\0' : QByteArray();
    const int headerSize = 88; // version 0x20400
    const int identOffset = headerSize;
    const int teamOffset = o.team ? identOffset + int(ident.size()) : 0;
    const int hashOffset =
        identOffset + int(ident.size()) + int(team.size()) + specialSlots * hashSize;
    QByteArray cd(hashOffset + pages * hashSize, '\0');
    put32be(cd, 0, 0xfade0c02);
    put32be(cd, 4, quint32(cd.size()));
    put32be(cd, 8, 0x20400);
    put32be(cd, 12, o.cms ? 0 : 0x2); // adhoc flag
    put32be(cd, 16, quint32(hashOffset));
    put32be(cd, 20, quint32(identOffset));
    put32be(cd, 24, quint32(specialSlots));
    put32be(cd, 28, quint32(pages));
    put32be(cd, 32, quint32(code.size()));
    cd[36] = char(hashSize);
    cd[37] = char(o.hashType);
    cd[39] = char(12);
    put32be(cd, 48, quint32(teamOffset));
    cd.replace(identOffset, ident.size(), ident);
    if (o.team)
        cd.replace(teamOffset, team.size(), team);
    for (int k = 0; k < specialSlots; ++k)
        if (!special[k].isEmpty())
            cd.replace(hashOffset - (k + 1) * hashSize, hashSize, special[k]);
    for (int i = 0; i < pages; ++i)
        cd.replace(hashOffset + i * hashSize, hashSize, hashOf(code.mid(i * 4096, 4096), o));

    QList<std::pair<quint32, QByteArray>> blobs{{0, cd}};
    if (o.requirements)
        blobs.append({2, requirements});
    if (o.entitlements)
        blobs.append({5, entitlements});
    blobs.append({0x10000, blob(0xfade0b01, o.cms ? cmsSignature(cd) : QByteArray())});
    QByteArray super = be32(0xfade0cc0) + be32(0) + be32(quint32(blobs.size()));
    qint64 offset = 12 + 8 * blobs.size();
    for (const auto &[slot, bytes] : blobs) {
        super += be32(slot) + be32(quint32(offset));
        offset += bytes.size();
    }
    for (const auto &[slot, bytes] : blobs)
        super += bytes;
    put32be(super, 4, quint32(super.size()));
    return super;
}

// Header, one __TEXT segment (with __text and, when given, __info_plist) and
// LC_CODE_SIGNATURE when signed; the code follows the commands.
QByteArray slice(bool is64, const Options *signing, int codeBytes)
{
    const int header = is64 ? 32 : 28;
    const bool embedded = signing && signing->embeddedInfo;
    const int sections = embedded ? 2 : 1;
    const int segment = (is64 ? 72 : 56) + sections * (is64 ? 80 : 68);
    const int commands = segment + (signing ? 16 : 0);
    const int codeStart = header + commands;
    QByteArray info = embedded ? *signing->embeddedInfo : QByteArray();
    QByteArray body(codeBytes, '\0');
    for (int i = 0; i < codeBytes; ++i)
        body[i] = char((i * 31 + 7) & 0xff);
    QByteArray code(codeStart, '\0');
    code += body + info;
    while (code.size() % 16)
        code += '\0';
    put32le(code, 0, is64 ? 0xfeedfacf : 0xfeedface);
    put32le(code, 4, is64 ? 0x0100000c : 7); // arm64 or i386
    put32le(code, 12, 2);                    // MH_EXECUTE
    put32le(code, 16, signing ? 2 : 1);
    put32le(code, 20, quint32(commands));
    qint64 at = header;
    put32le(code, at, is64 ? 0x19 : 0x1);
    put32le(code, at + 4, quint32(segment));
    code.replace(at + 8, 6, "__TEXT");
    put32le(code, at + (is64 ? 64 : 48), quint32(sections));
    const qint64 sect = at + (is64 ? 72 : 56);
    for (int s = 0; s < sections; ++s) {
        const qint64 p = sect + s * (is64 ? 80 : 68);
        const QByteArray name = s == 0 ? "__text" : "__info_plist";
        code.replace(p, name.size(), name);
        code.replace(p + 16, 6, "__TEXT");
        const qint64 offset = s == 0 ? codeStart : codeStart + codeBytes;
        const qint64 length = s == 0 ? codeBytes : info.size();
        if (is64) {
            put64le(code, p + 40, quint64(length));
            put32le(code, p + 48, quint32(offset));
        } else {
            put32le(code, p + 36, quint32(length));
            put32le(code, p + 40, quint32(offset));
        }
    }
    if (!signing)
        return code;
    const qint64 cs = at + segment;
    // The command's size is part of what is hashed: the signature is sized
    // first, then made for good and padded, as codesign pads it.
    put32le(code, cs, 0x1d);
    put32le(code, cs + 4, 16);
    put32le(code, cs + 8, quint32(code.size()));
    const qint64 room = signature(code, *signing).size() + 256;
    put32le(code, cs + 12, quint32(room));
    QByteArray sig = signature(code, *signing);
    sig.append(QByteArray(room - sig.size(), '\0'));
    return code + sig;
}

} // namespace

QByteArray signedSlice(bool is64, const Options &options, int codeBytes)
{
    return slice(is64, &options, codeBytes);
}

QByteArray unsignedSlice(bool is64, int codeBytes)
{
    return slice(is64, nullptr, codeBytes);
}

QByteArray universal(const QList<QByteArray> &slices)
{
    QByteArray out = be32(0xcafebabe) + be32(quint32(slices.size()));
    qint64 offset = 4096;
    QByteArray table;
    for (const QByteArray &s : slices) {
        table += be32(s.startsWith("\xcf\xfa\xed\xfe") ? 0x0100000c : 7) + be32(0) +
                 be32(quint32(offset)) + be32(quint32(s.size())) + be32(12);
        offset += (s.size() + 4095) / 4096 * 4096;
    }
    out += table;
    for (const QByteArray &s : slices) {
        out.append(QByteArray((4096 - out.size() % 4096) % 4096, '\0'));
        out += s;
    }
    return out;
}

bool writeBundle(const QString &bundle, const QString &executable,
                 const QMap<QString, QByteArray> &resources, Options options)
{
    const QString contents = bundle + QStringLiteral("/Contents");
    QVariantMap info{{QStringLiteral("CFBundleExecutable"), executable},
                     {QStringLiteral("CFBundleIdentifier"), options.identifier},
                     {QStringLiteral("CFBundleShortVersionString"), QStringLiteral("1.0")}};
    if (!QDir().mkpath(contents + QStringLiteral("/MacOS")) ||
        !QDir().mkpath(contents + QStringLiteral("/_CodeSignature")) ||
        !PropertyList::write(contents + QStringLiteral("/Info.plist"), info, false))
        return false;
    QVariantMap files;
    for (auto it = resources.cbegin(); it != resources.cend(); ++it) {
        const QString path = contents + QLatin1Char('/') + it.key();
        QDir().mkpath(QFileInfo(path).path());
        QFile f(path);
        if (!f.open(QIODevice::WriteOnly) || f.write(it.value()) != it.value().size())
            return false;
        files.insert(it.key(), QVariantMap{{QStringLiteral("hash"), hashOf(it.value(), true)},
                                           {QStringLiteral("hash2"), hashOf(it.value(), false)}});
    }
    for (auto it = options.links.cbegin(); it != options.links.cend(); ++it) {
        const QString path = contents + QLatin1Char('/') + it.key();
        QDir().mkpath(QFileInfo(path).path());
        if (::symlink(QFile::encodeName(it.value()).constData(),
                      QFile::encodeName(path).constData()) != 0)
            return false;
        files.insert(it.key(), QVariantMap{{QStringLiteral("symlink"), it.value()}});
    }
    const QVariantMap rules{
        {QStringLiteral("^.*"), true},
        {QStringLiteral("^Info\\.plist$"),
         QVariantMap{{QStringLiteral("omit"), true}, {QStringLiteral("weight"), 20.0}}},
        {QStringLiteral("^PkgInfo$"),
         QVariantMap{{QStringLiteral("omit"), true}, {QStringLiteral("weight"), 20.0}}},
        {QStringLiteral("^(.*/)?\\.DS_Store$"),
         QVariantMap{{QStringLiteral("omit"), true}, {QStringLiteral("weight"), 2000.0}}},
    };
    const QString sealPath = contents + QStringLiteral("/_CodeSignature/CodeResources");
    if (!PropertyList::write(
            sealPath,
            QVariantMap{{QStringLiteral("files2"), files}, {QStringLiteral("rules2"), rules}},
            false))
        return false;
    QFile seal(sealPath), plist(contents + QStringLiteral("/Info.plist"));
    if (!seal.open(QIODevice::ReadOnly) || !plist.open(QIODevice::ReadOnly))
        return false;
    options.codeResources = seal.readAll();
    options.infoPlist = plist.readAll();
    QFile exe(contents + QStringLiteral("/MacOS/") + executable);
    const QByteArray code = signedSlice(true, options);
    return exe.open(QIODevice::WriteOnly) && exe.write(code) == code.size() &&
           exe.setPermissions(exe.permissions() | QFileDevice::ExeOwner);
}

} // namespace MachOSigner
