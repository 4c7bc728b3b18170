#pragma once

#include <QByteArray>
#include <QList>
#include <QMap>
#include <QString>
#include <optional>

// Makes small Mach-O programs and signs them the way codesign lays signatures
// out, for the tests and the demo tree: thin or universal, 32- or 64-bit,
// ad-hoc or with a CMS signature from a throw-away certificate, with a team,
// entitlements, an embedded information list and sealed bundle resources.
namespace MachOSigner {

struct Options
{
    QString identifier = QStringLiteral("com.example.tool");
    std::optional<QString> team;
    // The CodeDirectory's hash: 1 SHA-1, 2 SHA-256, 3 SHA-256 cut to 20 bytes,
    // 4 SHA-384; any other number is written as given over SHA-256 hashes.
    int hashType = 2;
    int hashSize = 0; // 0: the type's own size; less cuts every hash short
    bool cms = false; // a CMS signature over the CodeDirectory
    bool requirements = true;
    std::optional<QByteArray> entitlements;
    std::optional<QByteArray> infoPlist;     // sealed in slot 1 (bundles pass theirs)
    std::optional<QByteArray> codeResources; // sealed in slot 3
    std::optional<QByteArray> embeddedInfo;  // a __TEXT,__info_plist section
    QMap<QString, QString> links;            // bundles: sealed links inside Contents, to their text
};

// One signed slice: a little code, then the signature.
QByteArray signedSlice(bool is64, const Options &options, int codeBytes = 9000);
// An unsigned slice.
QByteArray unsignedSlice(bool is64, int codeBytes = 9000);
// Several slices in a universal file.
QByteArray universal(const QList<QByteArray> &slices);

// A signed bundle at `bundle` (X.app): Contents/Info.plist naming `executable`,
// the resources given (relative to Contents) and the options' links,
// _CodeSignature/CodeResources sealing them, and the signed executable in
// Contents/MacOS.
bool writeBundle(const QString &bundle, const QString &executable,
                 const QMap<QString, QByteArray> &resources, Options options);

} // namespace MachOSigner
