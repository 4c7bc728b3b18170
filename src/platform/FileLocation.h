#pragma once

#include <QByteArray>
#include <QString>

// Path operations on file locations. A location is identified by its standardized
// path: "." and ".." removed, duplicate separators folded, links left alone.
namespace FileLocation {

QString standardizedPath(const QString &path);
QString lastPathComponent(const QString &path);
QString pathExtension(const QString &path);
QString deletingLastPathComponent(const QString &path);
QString appendingPathComponent(const QString &folder, const QString &name);
QString resolvingSymlinksInPath(const QString &path);

// Linux file names are bytes and need not be UTF-8; a path must name the same
// file after any number of trips between bytes and text. decode() reads valid
// UTF-8 as such and keeps each byte of an invalid sequence as the lone surrogate
// U+DC00 + byte, which no valid UTF-8 produces; encode() turns those back into
// their bytes. So encode(decode(b)) == b for any bytes b.
QString decode(const QByteArray &bytes);
QByteArray encode(const QString &path);
// The text a screen or a report shows: each kept byte as U+FFFD. Never a path
// to act on, only to read.
QString displayText(const QString &path);

} // namespace FileLocation
