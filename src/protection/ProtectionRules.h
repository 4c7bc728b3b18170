#pragma once

#include "CodeSignature.h"
#include "EntryInfo.h"
#include "SecurityFinding.h"

#include <functional>

// The rating rules: one pure function per kind of item, each a decision table
// with fixed reasons. Paths are judged relative to the system root, so a Mac
// tree below any folder rates as it would at "/".
namespace ProtectionRules {

using SignatureOf = std::function<SignatureInformation(const QString &path)>;

const QStringList &downloadExtensions();
const QStringList &downloadedScriptExtensions();
const QStringList &scriptExtensions();

// Summed size and count of a bundle's visible, readable regular files.
std::pair<qint64, int> directoryStatistics(const QString &path);
// The path as the rules read it: relative to the system root, in lower case.
QString lowerPath(const QString &path);
bool isLaunchLocation(const QString &path);

SecurityFinding analyzeApplication(const EntryInfo &entry, const SignatureOf &signatureOf);
SecurityFinding analyzeDownloadedItem(const EntryInfo &entry);
SecurityFinding analyzeLaunchItem(const EntryInfo &entry);
SecurityFinding analyzePrivilegedHelper(const EntryInfo &entry, const SignatureOf &signatureOf);
std::optional<SecurityFinding> analyzeExecutable(const EntryInfo &entry, bool isScript,
                                                 const SignatureOf &signatureOf);

} // namespace ProtectionRules
