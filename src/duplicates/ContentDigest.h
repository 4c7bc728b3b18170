#pragma once

#include "FileDigest.h"

#include <QByteArray>
#include <QString>
#include <optional>

// Digests of file contents, read in large sequential chunks.
namespace ContentDigest {

inline constexpr qint64 kChunkBytes = FileDigest::kChunkBytes;

// SHA-256 of the whole file as 64 lower-case hexadecimal digits; nothing when
// the file cannot be opened or read to its end.
std::optional<QString> fileHash(const QString &path);

// A cheap fingerprint of a file known to be `size` bytes long: its first and last
// 4 KiB. Files whose fingerprints differ cannot be identical; nothing when the
// file cannot be read or is no longer that long.
std::optional<QByteArray> edgeFingerprint(const QString &path, qint64 size);

// SHA-256 of an open file from its start: its first `length` bytes, or all of
// it when no length is given; nothing when it cannot be read that far, or the
// walk was stopped.
std::optional<QString> hashOpenFile(int fd, std::optional<qint64> length = std::nullopt);

// Opens a file for reading (links are not followed) and counts it; -1 on failure.
int openForReading(const QString &path);

// How many files the digests have opened since the process started (for the
// probe, which shows that files of unique size are never opened).
qint64 filesOpened();

} // namespace ContentDigest
