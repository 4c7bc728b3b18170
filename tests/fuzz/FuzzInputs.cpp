#include "FuzzInputs.h"

#include "../support/PlistBytes.h"
#include "PropertyList.h"

#include <QDateTime>
#include <QFile>
#include <QTemporaryDir>
#include <QVariantList>
#include <QVariantMap>

namespace FuzzInputs {

namespace {

using namespace PlistBytes;

constexpr qsizetype kMaxInput = 4 * 1024 * 1024; // the longest input tried

std::uint64_t below(Random &random, std::uint64_t bound)
{
    return bound ? random() % bound : 0;
}

template <typename T, std::size_t N> const T &pick(Random &random, const T (&from)[N])
{
    return from[below(random, N)];
}

QByteArray written(const QVariantMap &dict, bool binary)
{
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("seed.plist"));
    QFile file(path);
    return dir.isValid() && PropertyList::write(path, dict, binary) &&
                   file.open(QIODevice::ReadOnly)
               ? file.readAll()
               : QByteArray();
}

// Values of every binary kind, each as its marker and bytes.
const QByteArray kValues[] = {
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

// A reference size that can name `objects` objects, often wider.
int refSizeFor(Random &random, std::uint64_t objects)
{
    int needed = 1;
    while (needed < 8 && (objects >> (8 * needed)) != 0)
        ++needed;
    return std::max(needed, 1 << below(random, 4));
}

// A small binary list from a random object graph: objects shared, in loops, or
// pointing past the last now and then.
QByteArray randomGraph(Random &random)
{
    const std::uint64_t count = 1 + below(random, 16);
    const int refSize = refSizeFor(random, count);
    QList<QByteArray> objects;
    for (std::uint64_t i = 0; i < count; ++i) {
        const int kind = below(random, 3) ? pick(random, {0xA, 0xC, 0xD}) : 0;
        std::uint64_t refs = below(random, 10) ? below(random, 6) : 15 + below(random, 20);
        QList<quint64> to;
        for (refs *= kind == 0xD ? 2 : 1; kind && refs > 0; --refs)
            to << (below(random, 12) ? below(random, count) : count + below(random, 3));
        objects << (kind ? container(kind, to, refSize) : pick(random, kValues));
    }
    return binary(objects, below(random, 8) ? 0 : below(random, count + 1), refSize,
                  below(random, 2) ? 8 : 4);
}

// A chain up to 300,000 deep, sometimes shared, sometimes looping back, its
// levels arrays or dictionaries as random bits fall.
QByteArray randomChain(Random &random)
{
    const std::uint64_t depth = pick(random, {1, 10, 62, 63, 64, 65, 1000, 100000, 300000});
    return chain(depth, below(random, 3) ? 1 : 2, below(random, 5) == 0,
                 below(random, 2) ? random() : 0, refSizeFor(random, depth + 3),
                 pick(random, kValues));
}

// XML nested to a depth around and far past the limit, well formed or nearly: a
// short random run of arrays and dictionaries, repeated.
QByteArray deepXml(Random &random)
{
    const int depth = pick(random, {1, 62, 63, 64, 65, 1000, 200000});
    const int period = 1 + int(below(random, 3));
    QByteArray opens, closes;
    for (int i = 0; i < period; ++i) {
        const bool dict = below(random, 2);
        opens.append(dict ? "<dict><key>k</key>" : "<array>");
        closes.prepend(dict ? "</dict>" : "</array>");
    }
    QByteArray out = nestedXml(std::max(1, depth / period), opens, closes);
    if (below(random, 4) == 0)
        out.truncate(qsizetype(below(random, std::uint64_t(out.size()))));
    return out;
}

// Markup, markers and bytes that mean something to one format or the other,
// and integers that do in a binary trailer.
const QByteArrayList kTokens =
    QByteArray("<array>|</array>|<dict>|</dict>|<array/>|<dict/>|<key>k</key>|<string>|"
               "</string>|<!--|-->|<![CDATA[|]]>|<?|?>|<!DOCTYPE plist>|<plist>|</plist>|\"|'|<|>|"
               "/|&lt;|&#60;|bplist00|\xEF\xBB\xBF|\xA1|\xAF\x12|\xD1|\xC1|\x5F\x10")
        .split('|');
const QByteArray kBytes("\x00\x0F\x10\x13\x50\x5F\xA0\xAF\xC0\xD0\xDF\xFF<>/!?-[]\"'", 22);
// clang-format off
const std::uint64_t kIntegers[] = {0, 1, 2, 7, 8, 14, 15, 16, 0x7F, 0x80, 0xFF, 0xFFFF, 0x7FFFFFFF,
    0xFFFFFFFF, 0x4000000000000001, 0x7FFFFFFFFFFFFFFF, 0xFFFFFFFFFFFFFFFF};
// clang-format on

void mutate(QByteArray &data, Random &random, const std::vector<QByteArray> &seeds)
{
    const auto at = [&](bool end) {
        return qsizetype(below(random, std::uint64_t(data.size()) + (end ? 1 : 0)));
    };
    switch (below(random, 9)) {
    case 0: // flip bits
        for (int n = 1 + int(below(random, 8)); n > 0 && !data.isEmpty(); --n)
            data[at(false)] ^= char(1 << below(random, 8));
        break;
    case 1:
        if (!data.isEmpty())
            data[at(false)] = kBytes[qsizetype(below(random, 22))];
        break;
    case 2: // random bytes
        for (int n = 1 + int(below(random, 16)); n > 0; --n)
            data.insert(at(true), char(random()));
        break;
    case 3:
        data.insert(at(true), kTokens[qsizetype(below(random, kTokens.size()))]);
        break;
    case 4: // cut out a piece, or cut short
        data.remove(at(false), below(random, 2) ? qsizetype(1 + below(random, 64)) : data.size());
        break;
    case 5: { // the start of this input, the end of another
        const QByteArray &other = seeds[below(random, seeds.size())];
        data = data.left(at(true)) +
               other.mid(qsizetype(below(random, std::uint64_t(other.size()) + 1)));
        break;
    }
    case 6: // a piece repeated, up to deep nesting
        if (!data.isEmpty()) {
            const qsizetype where = at(false);
            const QByteArray piece = data.mid(where, qsizetype(1 + below(random, 32)));
            const qsizetype times = pick(random, {2, 3, 10, 64, 65, 1000, 50000, 200000});
            data.insert(where,
                        piece.repeated(std::min(times, (kMaxInput - data.size()) / piece.size())));
        }
        break;
    default: { // a big-endian integer, often in a binary trailer's fields
        const int width = 1 << below(random, 4);
        if (data.size() < width)
            break;
        qsizetype where = at(false);
        if (data.startsWith("bplist00") && data.size() >= 40 && below(random, 2))
            where = data.size() - 32 + qsizetype(below(random, 32));
        QByteArray bytes;
        appendBigEndian(bytes, pick(random, kIntegers), width);
        data.replace(std::min(where, data.size() - width), width, bytes);
    }
    }
    data.truncate(std::min(data.size(), kMaxInput));
}

} // namespace

std::vector<QByteArray> hostileInputs(Random &random)
{
    std::vector<QByteArray> out;
    for (int depth : {63, 64, 200000}) {
        out.push_back(nestedXml(depth));
        out.push_back(nestedXml(depth, "<dict><key>k</key>", "</dict>"));
        out.push_back(chain(std::uint64_t(depth), 1, false, random()));
    }
    out.push_back(chain(40, 2, false, 0, 1));
    out.push_back(chain(10, 1, true, random(), 1));
    return out;
}

std::vector<QByteArray> seeds()
{
    // Every kind of value, escapes included.
    const QVariantMap info{
        {"CFBundleIdentifier", "com.example.viewer"},
        {"CFBundleName", "Viewer & <Co>"},
        {"CFBundleVersion", qint64(42)},
        {"LSMinimumSystemVersion", 10.15},
        {"NSHighResolutionCapable", true},
        {"Built", QDateTime::fromSecsSinceEpoch(1700000000, Qt::UTC)},
        {"Icon", QByteArray("\x00\x01\x02\xff", 4)},
        {"CFBundleDocumentTypes",
         QVariantList{QVariantMap{{"Extensions", QVariantList{"png"}}, {"Role", "Viewer"}}}},
        {"Empty", QVariantList{}},
    };
    std::vector<QByteArray> out{
        written(info, false), written(info, true),
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST "
        "1.0//EN\" \"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n<plist version=\"1.0\">"
        "<dict><!-- a <array> in a comment --><key>a</key><string><![CDATA[<dict>]]> "
        "&lt;&amp;</string><key>b</key><array><dict/><array/><integer>-1</integer>"
        "<real>2.5</real><date>2024-01-01T00:00:00Z</date><data>AAEC</data><true/><false/>"
        "</array></dict></plist>\n",
        // Twenty references to one string, so the count follows the marker.
        binary({container(0xD, {1, 3}, 1), ascii("k"), ascii("x"),
                container(0xA, QList<quint64>(20, 2), 1)},
               0, 1, 1)};
    std::erase_if(out, [](const QByteArray &seed) { return seed.isEmpty(); });
    return out;
}

QByteArray next(Random &random, const std::vector<QByteArray> &seeds, const QByteArray &previous)
{
    switch (below(random, 12)) {
    case 0:
        return randomGraph(random);
    case 1:
        return randomChain(random);
    case 2:
        return deepXml(random);
    default:
        // Half the time work on the last input further, so mutations pile up.
        QByteArray input =
            below(random, 2) && !previous.isEmpty() ? previous : seeds[below(random, seeds.size())];
        for (int n = 1 + int(below(random, 4)); n > 0; --n)
            mutate(input, random, seeds);
        return input;
    }
}

} // namespace FuzzInputs
