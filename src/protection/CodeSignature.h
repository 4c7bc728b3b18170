#pragma once

#include <QString>
#include <optional>

// The three facts the protection rules need of an item's code signature, read
// and verified by our own reader of Mach-O code signatures.
struct SignatureInformation
{
    bool wasCreated = false; // the item is Mach-O code carrying a code signature
    bool isValid = false;    // that signature checks out against the item on disk
    std::optional<QString> identifier;
    std::optional<QString> teamIdentifier;
    QString description = QStringLiteral("Sin firma verificable");

    bool operator==(const SignatureInformation &) const = default;
};

namespace CodeSignature {

// The code of an item: a bundle's main executable (Contents/MacOS/ and its
// CFBundleExecutable, else the bundle's own name), or the file itself (a link
// included: its signature is that of the file it leads to). Nothing when the
// name would lead out of Contents/MacOS.
std::optional<QString> codeOf(const QString &path);

// Never throws; every failure is folded into the answer.
SignatureInformation signatureInformation(const QString &path);

} // namespace CodeSignature
