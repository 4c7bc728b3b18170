#include "FuzzInputs.h"

#include "PropertyList.h"
#include <QByteArray>
#include <QDateTime>
#include <QFile>
#include <QTemporaryDir>
#include <QVariantList>
#include <QVariantMap>
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <iterator>
#include <random>
#include <unistd.h>
#include <vector>

namespace FuzzInputs {

std::uint64_t below(Random &random, std::uint64_t bound)
{
    return bound ? random() % bound : 0;
}

// ---- Seeds ----------------------------------------------------------------------

QByteArray written(const QVariantMap &dict, bool binary)
{
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("seed.plist"));
    if (!dir.isValid() || !PropertyList::write(path, dict, binary))
        return {};
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// Writes `value` big-endian into the `width` bytes at `to`.
void putBigEndian(char *to, std::uint64_t value, int width)
{
    for (int i = width - 1; i >= 0; --i, value >>= 8)
        to[i] = char(value & 0xFF);
}

void appendBigEndian(QByteArray &out, std::uint64_t value, int width)
{
    char bytes[8];
    putBigEndian(bytes, value, width);
    out.append(bytes, width);
}

int bytesFor(std::uint64_t value)
{
    int width = 1;
    while (width < 8 && (value >> (8 * width)) != 0)
        ++width;
    return width;
}

struct BinaryObject
{
    int kind = 0; // 0 a value (bytes in `value`), 0xA array, 0xC set, 0xD dictionary
    std::vector<std::uint64_t> refs; // dictionaries: keys, then values
    QByteArray value;
};

// The offset table and the trailer after the objects.
void finishBinary(QByteArray &out, const std::vector<std::uint64_t> &offsets, std::uint64_t top,
                  int refSize, int offsetSize)
{
    const std::uint64_t table = std::uint64_t(out.size());
    const qsizetype tableBytes = qsizetype(offsets.size()) * offsetSize;
    out.resize(out.size() + tableBytes);
    char *to = out.data() + table;
    for (std::uint64_t offset : offsets) {
        putBigEndian(to, offset, offsetSize);
        to += offsetSize;
    }
    out.append(QByteArray(6, '\0'));
    out.append(char(offsetSize));
    out.append(char(refSize));
    appendBigEndian(out, offsets.size(), 8);
    appendBigEndian(out, top, 8);
    appendBigEndian(out, table, 8);
}

QByteArray binaryList(const std::vector<BinaryObject> &objects, std::uint64_t top, int refSize,
                      int offsetSize)
{
    QByteArray out("bplist00");
    std::vector<std::uint64_t> offsets;
    for (const BinaryObject &object : objects) {
        offsets.push_back(std::uint64_t(out.size()));
        if (object.kind == 0) {
            out.append(object.value);
            continue;
        }
        const std::uint64_t count =
            object.kind == 0xD ? object.refs.size() / 2 : object.refs.size();
        if (count < 15) {
            out.append(char(object.kind << 4 | int(count)));
        } else {
            out.append(char(object.kind << 4 | 0xF));
            out.append(char(0x12));
            appendBigEndian(out, count, 4);
        }
        for (std::uint64_t ref : object.refs)
            appendBigEndian(out, ref, refSize);
    }
    finishBinary(out, offsets, top, refSize, offsetSize);
    return out;
}

// Values of every binary kind, each as its marker and bytes.
const QByteArray kBinaryValues[] = {
    QByteArray("\x51k", 2),                    // ASCII string
    QByteArray("\x10\x05", 2),                 // 1-byte integer
    QByteArray("\x09", 1),                     // true
    QByteArray("\x23\x3f\xf0\0\0\0\0\0\0", 9), // real 1.0
    QByteArray("\x33\x41\xc0\0\0\0\0\0\0", 9), // date
    QByteArray("\x42\x00\x01", 3),             // data
    QByteArray("\x61\x00\x41", 3),             // UTF-16 string
    QByteArray("\x80\x07", 2),                 // UID
    QByteArray("\x5f\x10\x03"
               "abc",
               6), // string with its count as an integer
};

int randomRefSize(Random &random, std::uint64_t objects)
{
    return std::max(bytesFor(objects), 1 << below(random, 4));
}

// A small binary list from a random object graph: objects shared, in loops, or
// pointing past the last now and then.
QByteArray randomBinary(Random &random)
{
    const std::uint64_t count = 1 + below(random, 16);
    std::vector<BinaryObject> objects;
    const int kinds[] = {0xA, 0xC, 0xD};
    for (std::uint64_t i = 0; i < count; ++i) {
        const int kind = below(random, 3) ? kinds[below(random, 3)] : 0;
        BinaryObject object{kind, {}, {}};
        if (kind == 0) {
            object.value = kBinaryValues[below(random, std::size(kBinaryValues))];
        } else {
            std::uint64_t refs = below(random, 6);
            if (below(random, 10) == 0)
                refs = 15 + below(random, 20);
            if (kind == 0xD)
                refs *= 2;
            for (std::uint64_t r = 0; r < refs; ++r)
                object.refs.push_back(below(random, 12) ? below(random, count)
                                                        : count + below(random, 3));
        }
        objects.push_back(object);
    }
    const std::uint64_t top = below(random, 8) ? 0 : below(random, count + 1);
    return binaryList(objects, top, randomRefSize(random, count), below(random, 2) ? 8 : 4);
}

struct Chain
{
    std::uint64_t depth;
    bool shared;    // arrays hold the next level twice: 2^n values unfolded
    bool loop;      // the last level holds the first again
    bool withDicts; // some levels are dictionaries, as random bits fall
    int refSize;
    int offsetSize;
};

// {"k": chain} in binary: object 0 the top dictionary, 1 the key every dictionary
// uses, 2… the chain, each level holding the next, and last a value.
QByteArray chainBinary(const Chain &chain, Random &random)
{
    const std::uint64_t depth = chain.depth;
    const int refSize = chain.refSize;
    const QByteArray value = kBinaryValues[below(random, std::size(kBinaryValues))];
    // Written in place: appending level by level is what would make this slow.
    QByteArray out(qsizetype(8 + (depth + 2) * std::uint64_t(1 + 2 * refSize)) + value.size(),
                   '\0');
    char *at = out.data();
    std::vector<std::uint64_t> offsets;
    offsets.reserve(depth + 3);
    const auto object = [&](char marker) {
        offsets.push_back(std::uint64_t(at - out.data()));
        *at++ = marker;
    };
    const auto ref = [&](std::uint64_t index) {
        putBigEndian(at, index, refSize);
        at += refSize;
    };
    std::memcpy(at, "bplist00", 8);
    at += 8;
    object(char(0xD1));
    ref(1);
    ref(2);
    object(0x51);
    *at++ = 'k';
    std::uint64_t bits = 0;
    for (std::uint64_t i = 0; i < depth; ++i) {
        const std::uint64_t next = i + 1 < depth ? 3 + i : (chain.loop ? 2 : 2 + depth);
        if (i % 64 == 0)
            bits = chain.withDicts ? random() : 0;
        if ((bits >> (i % 64)) & 1) {
            object(char(0xD1));
            ref(1);
        } else {
            object(char(chain.shared ? 0xA2 : 0xA1));
            if (chain.shared)
                ref(next);
        }
        ref(next);
    }
    offsets.push_back(std::uint64_t(at - out.data()));
    std::memcpy(at, value.constData(), std::size_t(value.size()));
    at += value.size();
    out.truncate(at - out.data());
    finishBinary(out, offsets, 0, refSize, chain.offsetSize);
    return out;
}

// A chain up to 300,000 deep, sometimes shared, sometimes looping back.
QByteArray randomChainBinary(Random &random)
{
    static const std::uint64_t depths[] = {1, 10, 62, 63, 64, 65, 1000, 100000, 300000};
    Chain chain{};
    chain.depth = depths[below(random, std::size(depths))];
    chain.shared = below(random, 3) == 0;
    chain.loop = below(random, 5) == 0;
    chain.withDicts = below(random, 2);
    chain.refSize = randomRefSize(random, chain.depth + 3);
    chain.offsetSize = below(random, 2) ? 8 : 4;
    return chainBinary(chain, random);
}

// {"a": …} as XML with `opens` repeated inside, then `closes`, then the rest.
QByteArray nestedXml(const QByteArray &opens, const QByteArray &closes, int repeats)
{
    return "<?xml version=\"1.0\"?>\n<plist version=\"1.0\"><dict><key>a</key>" +
           opens.repeated(repeats) + "<string>x</string>" + closes.repeated(repeats) +
           "</dict></plist>";
}

// XML nested to a depth around and far past the limit, well formed or nearly: a
// short random run of arrays and dictionaries, repeated.
QByteArray deepXml(Random &random)
{
    static const int depths[] = {1, 62, 63, 64, 65, 1000, 200000};
    const int depth = depths[below(random, std::size(depths))];
    const int period = 1 + int(below(random, 3));
    QByteArray opens, closes;
    for (int i = 0; i < period; ++i) {
        const bool dict = below(random, 2);
        opens.append(dict ? "<dict><key>k</key>" : "<array>");
        closes.prepend(dict ? "</dict>" : "</array>");
    }
    QByteArray out = nestedXml(opens, closes, std::max(1, depth / period));
    if (below(random, 4) == 0)
        out.truncate(qsizetype(below(random, std::uint64_t(out.size()))));
    return out;
}

// The shapes this reader has to survive, tried first in every run: far too deep in
// both formats, right at the limit and one past it, shared 2^40 ways, and a loop.
std::vector<QByteArray> hostileInputs(Random &random)
{
    std::vector<QByteArray> out;
    for (int arrays : {63, 64, 200000}) {
        out.push_back(nestedXml("<array>", "</array>", arrays));
        out.push_back(nestedXml("<dict><key>k</key>", "</dict>", arrays));
        out.push_back(chainBinary({std::uint64_t(arrays), false, false, true, 4, 4}, random));
    }
    out.push_back(chainBinary({40, true, false, false, 1, 1}, random));
    out.push_back(chainBinary({10, false, true, true, 1, 1}, random));
    return out;
}

std::vector<QByteArray> seeds()
{
    const QVariantMap info{
        {QStringLiteral("CFBundleIdentifier"), QStringLiteral("com.example.viewer")},
        {QStringLiteral("CFBundleName"), QStringLiteral("Viewer & <Co>")},
        {QStringLiteral("CFBundleVersion"), qint64(42)},
        {QStringLiteral("LSMinimumSystemVersion"), 10.15},
        {QStringLiteral("NSHighResolutionCapable"), true},
        {QStringLiteral("Built"), QDateTime::fromSecsSinceEpoch(1700000000, Qt::UTC)},
        {QStringLiteral("Icon"), QByteArray("\x00\x01\x02\xff", 4)},
        {QStringLiteral("CFBundleDocumentTypes"),
         QVariantList{QVariantMap{
             {QStringLiteral("CFBundleTypeExtensions"),
              QVariantList{QStringLiteral("png"), QStringLiteral("jpg")}},
             {QStringLiteral("CFBundleTypeRole"), QStringLiteral("Viewer")},
         }}},
        {QStringLiteral("Empty"), QVariantList{}},
    };
    std::vector<QByteArray> out{written(info, false), written(info, true)};
    out.push_back(QByteArray("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                             "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
                             "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
                             "<plist version=\"1.0\"><dict><!-- a <array> in a comment -->"
                             "<key>a</key><string><![CDATA[<dict>]]> &lt;&amp;</string>"
                             "<key>b</key><array><dict/><array/><integer>-1</integer>"
                             "<real>2.5</real><date>2024-01-01T00:00:00Z</date>"
                             "<data>AAEC</data><true/><false/></array></dict></plist>\n"));
    // Twenty references to one string, so the count follows the marker.
    std::vector<BinaryObject> wide{{0xD, {1, 3}, {}},
                                   {0, {}, QByteArray("\x51k", 2)},
                                   {0, {}, QByteArray("\x51x", 2)},
                                   {0xA, {}, {}}};
    wide[3].refs.assign(20, 2);
    out.push_back(binaryList(wide, 0, 1, 1));
    std::erase_if(out, [](const QByteArray &seed) { return seed.isEmpty(); });
    return out;
}

// ---- Mutations ------------------------------------------------------------------

const char *const kTokens[] = {
    "<array>",
    "</array>",
    "<dict>",
    "</dict>",
    "<array/>",
    "<dict/>",
    "<key>k</key>",
    "<string>",
    "</string>",
    "<!--",
    "-->",
    "<![CDATA[",
    "]]>",
    "<?",
    "?>",
    "<!DOCTYPE plist>",
    "<plist>",
    "</plist>",
    "\"",
    "'",
    "<",
    ">",
    "/",
    "&lt;",
    "&#60;",
    "bplist00",
    "\xEF\xBB\xBF",
    "\xA1",
    "\xAF\x12",
    "\xD1",
    "\xC1",
    "\x5F\x10",
};

const char kBytes[] = {'\x00', '\x0F', '\x10', '\x13', '\x50', '\x5F', '\xA0', '\xAF',
                       '\xC0', '\xD0', '\xDF', '\xFF', '<',    '>',    '/',    '!',
                       '?',    '-',    '[',    ']',    '"',    '\''};

const std::uint64_t kIntegers[] = {0,
                                   1,
                                   2,
                                   7,
                                   8,
                                   14,
                                   15,
                                   16,
                                   31,
                                   32,
                                   0x7F,
                                   0x80,
                                   0xFF,
                                   0xFFFF,
                                   0x7FFFFFFF,
                                   0xFFFFFFFF,
                                   0x4000000000000001,
                                   0x7FFFFFFFFFFFFFFF,
                                   0xFFFFFFFFFFFFFFFF};

void mutate(QByteArray &data, Random &random, const std::vector<QByteArray> &seeds)
{
    const auto position = [&](bool end) {
        return qsizetype(below(random, std::uint64_t(data.size()) + (end ? 1 : 0)));
    };
    switch (below(random, 9)) {
    case 0: // flip bits
        for (int n = 1 + int(below(random, 8)); n > 0 && !data.isEmpty(); --n)
            data[position(false)] ^= char(1 << below(random, 8));
        break;
    case 1: // a byte that means something to one format or the other
        if (!data.isEmpty())
            data[position(false)] = kBytes[below(random, std::size(kBytes))];
        break;
    case 2: { // random bytes
        QByteArray bytes;
        for (int n = 1 + int(below(random, 16)); n > 0; --n)
            bytes.append(char(random()));
        data.insert(position(true), bytes);
        break;
    }
    case 3: // a token
        data.insert(position(true), kTokens[below(random, std::size(kTokens))]);
        break;
    case 4: { // cut out a piece
        const qsizetype at = position(false);
        data.remove(at, qsizetype(1 + below(random, 64)));
        break;
    }
    case 5: { // the start of this input, the end of another
        const QByteArray &other = seeds[below(random, seeds.size())];
        data = data.left(position(true)) +
               other.mid(qsizetype(below(random, std::uint64_t(other.size()) + 1)));
        break;
    }
    case 6: // cut short
        data.truncate(position(true));
        break;
    case 7: { // a piece repeated, up to deep nesting
        if (data.isEmpty())
            break;
        const qsizetype at = position(false);
        const QByteArray piece = data.mid(at, qsizetype(1 + below(random, 32)));
        static const std::uint64_t times[] = {2, 3, 10, 64, 65, 1000, 50000, 200000};
        const std::uint64_t wanted = times[below(random, std::size(times))];
        const std::uint64_t fits =
            std::uint64_t(kMaxInput - data.size()) / std::uint64_t(piece.size());
        data.insert(at, piece.repeated(qsizetype(std::min(wanted, fits))));
        break;
    }
    case 8: { // a big-endian integer, often in a binary trailer's fields
        const int width = 1 << below(random, 4);
        if (data.size() < width)
            break;
        qsizetype at = position(false);
        if (data.startsWith("bplist00") && data.size() >= 40 && below(random, 2))
            at = data.size() - 32 + qsizetype(below(random, 32));
        at = std::min(at, data.size() - width);
        QByteArray bytes;
        appendBigEndian(bytes, kIntegers[below(random, std::size(kIntegers))], width);
        data.replace(at, width, bytes);
        break;
    }
    }
    if (data.size() > kMaxInput)
        data.truncate(kMaxInput);
}

} // namespace FuzzInputs
