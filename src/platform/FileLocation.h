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

// Linux file names are bytes. A name is usable only when decoding and re-encoding it
// gives back the same bytes; anything else could name a different file.
bool decodeExactly(const QByteArray &bytes, QString *out);
QByteArray encode(const QString &path);

} // namespace FileLocation
