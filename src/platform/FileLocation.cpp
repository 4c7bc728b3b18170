#include "FileLocation.h"

#include <QDir>
#include <climits>
#include <cstdlib>

namespace FileLocation {

namespace {

// A byte kept from a name that is not UTF-8 (only bytes from 0x80 up can be).
bool isKeptByte(char16_t c)
{
    return c >= 0xDC80 && c <= 0xDCFF;
}

// The length of the well-formed UTF-8 sequence at s, with its code point, or 0.
// Strict: no overlong forms, no encoded surrogates, nothing past U+10FFFF, so
// that every byte sequence has exactly one reading.
int sequenceAt(const uchar *s, qsizetype left, char32_t *codePoint)
{
    int length;
    char32_t c, least;
    if (s[0] >= 0xC2 && s[0] <= 0xDF) {
        length = 2;
        c = s[0] & 0x1F;
        least = 0x80;
    } else if (s[0] >= 0xE0 && s[0] <= 0xEF) {
        length = 3;
        c = s[0] & 0x0F;
        least = 0x800;
    } else if (s[0] >= 0xF0 && s[0] <= 0xF4) {
        length = 4;
        c = s[0] & 0x07;
        least = 0x10000;
    } else {
        return 0;
    }
    if (left < length)
        return 0;
    for (int k = 1; k < length; ++k) {
        if ((s[k] & 0xC0) != 0x80)
            return 0;
        c = (c << 6) | (s[k] & 0x3F);
    }
    if (c < least || c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF))
        return 0;
    *codePoint = c;
    return length;
}

// Calls keptByte(index) for each kept byte of the text; a surrogate pair, even
// one whose second half lies in the kept range, is a character and not a byte.
template <typename KeptByte> void forEachKeptByte(QStringView text, KeptByte keptByte)
{
    const char16_t *s = text.utf16();
    for (qsizetype i = 0; i < text.size(); ++i) {
        if (QChar::isHighSurrogate(s[i]) && i + 1 < text.size() && QChar::isLowSurrogate(s[i + 1]))
            ++i;
        else if (isKeptByte(s[i]))
            keptByte(i);
    }
}

bool hasKeptBytes(QStringView text)
{
    // Most paths are plain: one pass without a branch taken settles them.
    for (const QChar c : text)
        if (isKeptByte(c.unicode()))
            return true;
    return false;
}

} // namespace

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
    char buffer[PATH_MAX];
    if (path.isEmpty() || !realpath(encode(path).constData(), buffer))
        return standardizedPath(path);
    return decode(QByteArray(buffer));
}

QString decode(const QByteArray &bytes)
{
    const auto *s = reinterpret_cast<const uchar *>(bytes.constData());
    const qsizetype size = bytes.size();
    qsizetype i = 0;
    while (i < size && s[i] < 0x80)
        ++i;
    if (i == size)
        return QString::fromLatin1(bytes); // plain ASCII, by far the most names
    // Never more UTF-16 units than bytes: a four-byte character takes two.
    QString out(size, Qt::Uninitialized);
    char16_t *d = reinterpret_cast<char16_t *>(out.data());
    char16_t *const begin = d;
    for (qsizetype k = 0; k < i; ++k)
        *d++ = s[k];
    while (i < size) {
        char32_t c;
        if (s[i] < 0x80) {
            *d++ = s[i++];
        } else if (const int length = sequenceAt(s + i, size - i, &c)) {
            if (QChar::requiresSurrogates(c)) {
                *d++ = QChar::highSurrogate(c);
                *d++ = QChar::lowSurrogate(c);
            } else {
                *d++ = char16_t(c);
            }
            i += length;
        } else {
            *d++ = char16_t(0xDC00 + s[i++]);
        }
    }
    out.truncate(d - begin);
    return out;
}

QByteArray encode(const QString &path)
{
    if (!hasKeptBytes(path))
        return path.toUtf8();
    QByteArray out;
    qsizetype from = 0;
    forEachKeptByte(path, [&](qsizetype at) {
        out += QStringView(path).mid(from, at - from).toUtf8();
        out += char(path.at(at).unicode() - 0xDC00);
        from = at + 1;
    });
    out += QStringView(path).mid(from).toUtf8();
    return out;
}

QString displayText(const QString &path)
{
    if (!hasKeptBytes(path))
        return path;
    QString out = path;
    forEachKeptByte(path, [&](qsizetype at) { out[at] = QChar::ReplacementCharacter; });
    return out;
}

} // namespace FileLocation
