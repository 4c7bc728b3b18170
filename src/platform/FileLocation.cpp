#include "FileLocation.h"

#include <QDir>
#include <QFileInfo>

namespace FileLocation {

QString standardizedPath(const QString &path)
{
    if (path.isEmpty())
        return path;
    return QDir::cleanPath(path);
}

QString lastPathComponent(const QString &path)
{
    const QString clean = standardizedPath(path);
    if (clean == QLatin1String("/"))
        return clean;
    return clean.mid(clean.lastIndexOf(QLatin1Char('/')) + 1);
}

QString pathExtension(const QString &path)
{
    const QString name = lastPathComponent(path);
    const qsizetype dot = name.lastIndexOf(QLatin1Char('.'));
    // A leading dot starts a hidden name, not an extension.
    if (dot <= 0 || dot == name.size() - 1)
        return {};
    return name.mid(dot + 1);
}

QString deletingLastPathComponent(const QString &path)
{
    const QString clean = standardizedPath(path);
    const qsizetype slash = clean.lastIndexOf(QLatin1Char('/'));
    if (slash < 0)
        return QStringLiteral(".");
    if (slash == 0)
        return QStringLiteral("/");
    return clean.left(slash);
}

QString appendingPathComponent(const QString &folder, const QString &name)
{
    if (folder.endsWith(QLatin1Char('/')))
        return folder + name;
    return folder + QLatin1Char('/') + name;
}

QString resolvingSymlinksInPath(const QString &path)
{
    const QString resolved = QFileInfo(path).canonicalFilePath();
    return resolved.isEmpty() ? standardizedPath(path) : resolved;
}

bool decodeExactly(const QByteArray &bytes, QString *out)
{
    QString decoded = QString::fromUtf8(bytes);
    if (decoded.toUtf8() != bytes)
        return false;
    *out = std::move(decoded);
    return true;
}

QByteArray encode(const QString &path)
{
    return path.toUtf8();
}

} // namespace FileLocation
