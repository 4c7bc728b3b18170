#pragma once

#include <QByteArray>
#include <optional>

// Reading and hashing files by offset, shared by the duplicate finder and the
// signature check. Hashing reads in large chunks, stops when the walk is told
// to, and counts the bytes it read as the walk's progress.
namespace FileDigest {

enum class Algorithm
{
    sha1,
    sha256,
};

inline constexpr qint64 kChunkBytes = 512 * 1024;

// Reads up to `length` bytes at `offset`, retrying short reads; -1 on error.
qint64 readAt(int fd, char *buffer, qint64 length, qint64 offset);

// The digest of an open file from its start: its first `length` bytes, or all
// of it when no length is given; nothing when it cannot be read that far, or
// the walk was stopped.
std::optional<QByteArray> ofOpenFile(int fd, Algorithm algorithm,
                                     std::optional<qint64> length = std::nullopt);

} // namespace FileDigest
