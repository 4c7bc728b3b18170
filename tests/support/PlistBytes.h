#pragma once

#include <QByteArray>
#include <QList>
#include <algorithm>

// Property lists written byte by byte, so that they can say what no writer
// would: any reference, any count, any trailer, nesting far past any limit.
namespace PlistBytes {

inline void appendBigEndian(QByteArray &out, quint64 value, int width)
{
    for (int shift = (width - 1) * 8; shift >= 0; shift -= 8)
        out.append(char((value >> shift) & 0xFF));
}

// A binary array (kind 0xA), set (0xC) or dictionary (0xD: keys, then values).
inline QByteArray container(int kind, const QList<quint64> &refs, int refSize = 4)
{
    const qsizetype count = kind == 0xD ? refs.size() / 2 : refs.size();
    QByteArray out(1, char(kind << 4 | int(count < 15 ? count : 0xF)));
    if (count >= 15) {
        out.append(char(0x12)); // the count follows as a four-byte integer
        appendBigEndian(out, quint64(count), 4);
    }
    for (quint64 ref : refs)
        appendBigEndian(out, ref, refSize);
    return out;
}

inline QByteArray ascii(const QByteArray &text)
{
    return char(0x50 | text.size()) + text;
}

// "bplist00", the objects, their offset table and the trailer.
inline QByteArray binary(const QList<QByteArray> &objects, quint64 top = 0, int refSize = 4,
                         int offsetSize = 4)
{
    QByteArray out("bplist00");
    QList<quint64> offsets;
    for (const QByteArray &object : objects) {
        offsets.append(quint64(out.size()));
        out.append(object);
    }
    const quint64 table = quint64(out.size());
    for (quint64 offset : offsets)
        appendBigEndian(out, offset, offsetSize);
    out.append(QByteArray(6, '\0'));
    out.append(char(offsetSize));
    out.append(char(refSize));
    appendBigEndian(out, quint64(objects.size()), 8);
    appendBigEndian(out, top, 8);
    appendBigEndian(out, table, 8);
    return out;
}

// {"a": L0} in binary, where each of `depth` levels holds the next `width`
// times (2: shared 2^depth ways) and the last holds `value`, or the first again
// when `loop`. Level i is a dictionary {"a": next} when bit i % 64 of
// `dictBits` is set. Object 0 is the top dictionary, 1 the key, 2… the levels.
inline QByteArray chain(quint64 depth, int width = 1, bool loop = false, quint64 dictBits = 0,
                        int refSize = 4, const QByteArray &value = ascii("x"))
{
    QList<QByteArray> objects{container(0xD, {1, 2}, refSize), ascii("a")};
    objects.reserve(qsizetype(depth) + 3);
    for (quint64 i = 0; i < depth; ++i) {
        const quint64 next = i + 1 < depth ? 3 + i : (loop ? 2 : 2 + depth);
        objects.append((dictBits >> (i % 64)) & 1
                           ? container(0xD, {1, next}, refSize)
                           : container(0xA, QList<quint64>(width, next), refSize));
    }
    objects.append(value);
    return binary(objects, 0, refSize, std::max(refSize, 4));
}

// {"a": …} as XML with `open` repeated `times` around a string, then `close`.
inline QByteArray nestedXml(int times, const QByteArray &open = "<array>",
                            const QByteArray &close = "</array>")
{
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n"
           "<dict><key>a</key>" +
           open.repeated(times) + "<string>x</string>" + close.repeated(times) +
           "</dict></plist>\n";
}

} // namespace PlistBytes
