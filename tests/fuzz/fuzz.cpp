#include "../support/PlistBytes.h"
#include "CodeSignature.h"
#include "MachOSigner.h"
#include "PropertyList.h"
#include "PropertyListShape.h"

#include <QDateTime>
#include <QFile>
#include <QTemporaryDir>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>
#include <limits>
#include <random>
#include <sys/resource.h>
#include <unistd.h>

// Feeds the property-list reader (with its depth guard) or the code-signature
// reader mutated and generated input for a number of seconds. A crash, a broken
// promise, one input running for 20 s or the process past 4 GiB fails the run.
// The seed is fixed, so a failure replays by running again under a debugger.
//     fuzz propertylist|codesignature SECONDS [SOURCE_DIR]

namespace {

using Random = std::mt19937_64; // its output is fixed by the standard, unlike distributions
using namespace PlistBytes;

constexpr qsizetype kMaxInput = 4 * 1024 * 1024;
constexpr int kMaxDepth = 64; // PropertyList's own limit

std::uint64_t below(Random &random, std::uint64_t bound)
{
    return bound ? random() % bound : 0;
}

template <typename T, std::size_t N> const T &pick(Random &random, const T (&from)[N])
{
    return from[below(random, N)];
}

// Markup, markers and bytes that mean something to one format or another, and
// integers that do as counts, offsets and sizes.
const QByteArrayList kTokens =
    QByteArray("<array>|</array>|<dict>|</dict>|<array/>|<key>k</key>|<string>|<!--|-->|"
               "<![CDATA[|]]>|<?|<!DOCTYPE plist>|<plist>|\"|<|>|&lt;|&#60;|bplist00|\xEF\xBB\xBF|"
               "\xA1|\xAF\x12|\xD1|\x5F\x10|\xfa\xde\x0c\xc0|\xfa\xde\x0c\x02")
        .split('|');
// clang-format off
const std::uint64_t kIntegers[] = {0, 1, 2, 7, 8, 15, 16, 0x7F, 0x80, 0xFF, 4096, 0xFFFF, 0x7FFFFFFF,
    0x80000000, 0xFFFFFFF0, 0xFFFFFFFF, 0x4000000000000001, 0x7FFFFFFFFFFFFFFF, 0xFFFFFFFFFFFFFFFF};
// clang-format on

void mutate(QByteArray &data, Random &random, const std::vector<QByteArray> &seeds)
{
    const auto at = [&](bool end) {
        return qsizetype(below(random, std::uint64_t(data.size()) + (end ? 1 : 0)));
    };
    switch (below(random, 8)) {
    case 0: // flip bits
        for (int n = 1 + int(below(random, 8)); n > 0 && !data.isEmpty(); --n)
            data[at(false)] ^= char(1 << below(random, 8));
        break;
    case 1: // random bytes, a few or a run
        data.insert(at(true), QByteArray(qsizetype(1 + below(random, below(random, 8) ? 16 : 5000)),
                                         char(random())));
        break;
    case 2:
        data.insert(at(true), kTokens[qsizetype(below(random, kTokens.size()))]);
        break;
    case 3: // cut out a piece, or cut short
        data.remove(at(false), below(random, 2) ? qsizetype(1 + below(random, 64)) : data.size());
        break;
    case 4: { // the start of this input, the end of another
        const QByteArray &other = seeds[below(random, seeds.size())];
        data = data.left(at(true)) +
               other.mid(qsizetype(below(random, std::uint64_t(other.size()) + 1)));
        break;
    }
    case 5: // a piece repeated, up to deep nesting
        if (!data.isEmpty()) {
            const qsizetype where = at(false);
            const QByteArray piece = data.mid(where, qsizetype(1 + below(random, 32)));
            const qsizetype times = pick(random, {2, 3, 10, 64, 65, 1000, 50000, 200000});
            data.insert(where,
                        piece.repeated(std::min(times, (kMaxInput - data.size()) / piece.size())));
        }
        break;
    default: { // an integer of either byte order, often in a binary trailer's fields
        const int width = 1 << below(random, 4);
        if (data.size() < width)
            break;
        qsizetype where = at(false);
        if (data.startsWith("bplist00") && data.size() >= 40 && below(random, 2))
            where = data.size() - 32 + qsizetype(below(random, 32));
        QByteArray bytes;
        appendBigEndian(bytes, pick(random, kIntegers), width);
        if (below(random, 2))
            std::reverse(bytes.begin(), bytes.end());
        data.replace(std::min(where, data.size() - width), width, bytes);
    }
    }
    data.truncate(std::min(data.size(), kMaxInput));
}

// Values of every binary kind, each as its marker and bytes: an ASCII string, a
// 1-byte integer, true, the real 1.0, a date, data, a UTF-16 string, a UID, and
// a string with its count as an integer.
const QByteArrayList kValues = [] {
    QByteArrayList out;
    for (const QByteArray &hex : QByteArray("516b 1005 09 233ff0000000000000 3341c0000000000000 "
                                            "420001 610041 8007 5f1003616263")
                                     .split(' '))
        out << QByteArray::fromHex(hex);
    return out;
}();

// A reference size that can name `objects` objects, often wider.
int refSizeFor(Random &random, std::uint64_t objects)
{
    int needed = 1;
    while (needed < 8 && (objects >> (8 * needed)) != 0)
        ++needed;
    return std::max(needed, 1 << below(random, 4));
}

// A small binary list from a random object graph (objects shared, in loops, or
// pointing past the last now and then), a chain up to 300,000 deep, or XML
// nested around and far past the limit.
QByteArray generatedList(Random &random)
{
    switch (below(random, 3)) {
    case 0: {
        const std::uint64_t count = 1 + below(random, 16);
        const int refSize = refSizeFor(random, count);
        QList<QByteArray> objects;
        for (std::uint64_t i = 0; i < count; ++i) {
            const int kind = below(random, 3) ? pick(random, {0xA, 0xC, 0xD}) : 0;
            std::uint64_t refs = below(random, 10) ? below(random, 6) : 15 + below(random, 20);
            QList<quint64> to;
            for (refs *= kind == 0xD ? 2 : 1; kind && refs > 0; --refs)
                to << (below(random, 12) ? below(random, count) : count + below(random, 3));
            objects << (kind ? container(kind, to, refSize)
                             : kValues[qsizetype(below(random, kValues.size()))]);
        }
        return binary(objects, below(random, 8) ? 0 : below(random, count + 1), refSize,
                      below(random, 2) ? 8 : 4);
    }
    case 1: {
        const std::uint64_t depth = pick(random, {1, 10, 62, 63, 64, 65, 1000, 100000, 300000});
        return chain(depth, below(random, 3) ? 1 : 2, below(random, 5) == 0,
                     below(random, 2) ? random() : 0, refSizeFor(random, depth + 3),
                     kValues[qsizetype(below(random, kValues.size()))]);
    }
    default: {
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
    }
}

QByteArray written(const QVariantMap &dict, bool binary)
{
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("seed.plist"));
    QFile file(path);
    return PropertyList::write(path, dict, binary) && file.open(QIODevice::ReadOnly)
               ? file.readAll()
               : QByteArray();
}

std::vector<QByteArray> listSeeds()
{
    // Every kind of value, escapes included.
    const QVariantMap info{
        {"CFBundleName", "Viewer & <Co>"},
        {"CFBundleVersion", qint64(42)},
        {"LSMinimumSystemVersion", 10.15},
        {"NSHighResolutionCapable", true},
        {"Built", QDateTime::fromSecsSinceEpoch(1700000000, Qt::UTC)},
        {"Icon", QByteArray("\x00\x01\x02\xff", 4)},
        {"CFBundleDocumentTypes", QVariantList{QVariantMap{{"Extensions", QVariantList{"png"}}}}},
        {"Empty", QVariantList{}},
    };
    return {written(info, false), written(info, true),
            "<?xml version=\"1.0\"?>\n<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
            "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n<plist version=\"1.0\">"
            "<dict><!-- a <array> in a comment --><key>a</key><string><![CDATA[<dict>]]> "
            "&lt;&amp;</string><key>b</key><array><dict/><array/><integer>-1</integer>"
            "<real>2.5</real><date>2024-01-01T00:00:00Z</date><data>AAEC</data><true/><false/>"
            "</array></dict></plist>\n",
            // Twenty references to one string, so the count follows the marker.
            binary({container(0xD, {1, 3}, 1), ascii("k"), ascii("x"),
                    container(0xA, QList<quint64>(20, 2), 1)},
                   0, 1, 1),
            // Lists at and past every limit: deep, shared without bound, looping.
            nestedXml(64), nestedXml(65, "<dict><key>k</key>", "</dict>"), nestedXml(200000),
            chain(64, 1, false, 0x5555), chain(200000, 1, false, 0), chain(40, 2, false, 0, 1),
            chain(10, 1, true, 0xAAAA, 1)};
}

// Containers on the deepest path below a value read back, the top counting as
// one. The reader never hands back more than its limit, so this stays shallow.
int depthOf(const QVariant &value)
{
    const bool list = value.typeId() == QMetaType::QVariantList;
    if (!list && value.typeId() != QMetaType::QVariantMap)
        return 0;
    int below = 0;
    for (const QVariant &item : list ? value.toList() : value.toMap().values())
        below = std::max(below, depthOf(item));
    return below + 1;
}

// What the guard and the reader say must agree with each other.
const char *checkList(const QByteArray &, const QByteArray &input)
{
    const auto within = [&](int depth) {
        return PropertyListShape::isWithinBounds(input.constData(), std::size_t(input.size()),
                                                 depth);
    };
    const bool guarded = within(kMaxDepth);
    if (guarded && (!within(kMaxDepth + 1) || !within(std::numeric_limits<int>::max())))
        return "accepted at 64 but refused deeper";
    if (within(0) && !guarded)
        return "accepted at 0 but refused at 64";
    const auto read = PropertyList::fromData(input);
    if (read && !guarded)
        return "read a list the guard refused";
    if (read && depthOf(*read) > kMaxDepth)
        return "read a list deeper than the limit";
    return nullptr;
}

std::vector<QByteArray> codeSeeds(const QString &source)
{
    MachOSigner::Options team, sha1;
    team.team = QStringLiteral("ABCDE12345");
    team.entitlements = team.embeddedInfo = QByteArray("<plist><dict/></plist>");
    MachOSigner::Options cms = team;
    cms.cms = true;
    sha1.hashType = 1;
    std::vector<QByteArray> seeds{MachOSigner::signedSlice(true, team),
                                  MachOSigner::signedSlice(false, sha1),
                                  MachOSigner::signedSlice(true, cms)};
    seeds.push_back(MachOSigner::universal({seeds[0], seeds[1]}));
    for (const char *name : {"llvm-adhoc-arm64", "llvm-adhoc-universal"}) {
        QFile f(source + "/tests/protection/fixtures/" + name);
        if (f.open(QIODevice::ReadOnly))
            seeds.push_back(f.readAll());
    }
    return seeds;
}

// Every answer must come back, and a thin file whose signed bytes (all before
// its signature) changed must never verify. Other changes may: a universal
// header and an ad-hoc CodeDirectory's own fields are signed by nothing.
const char *checkCode(const QString &path, const QByteArray &seed, const QByteArray &input)
{
    QFile f(path);
    if (!f.open(QIODevice::WriteOnly | QIODevice::Truncate) || f.write(input) != input.size())
        return "could not write the input";
    f.close();
    if (!CodeSignature::signatureInformation(path).isValid || input.size() != seed.size())
        return nullptr;
    const qsizetype signedBytes =
        seed.startsWith("\xca\xfe\xba\xbe") ? 0 : seed.indexOf("\xfa\xde\x0c\xc0");
    qsizetype firstChange = 0;
    while (firstChange < seed.size() && seed[firstChange] == input[firstChange])
        ++firstChange;
    return firstChange < signedBytes ? "changed code verified as valid" : nullptr;
}

} // namespace

int main(int argc, char **argv)
{
    const QByteArray target = argc > 1 ? argv[1] : "";
    const int seconds = argc > 2 ? std::atoi(argv[2]) : 5;
    const bool lists = target == "propertylist";
    if ((!lists && target != "codesignature") || seconds < 0) {
        std::fprintf(stderr, "usage: %s propertylist|codesignature SECONDS [SOURCE_DIR]\n",
                     argv[0]);
        return 2;
    }
    QTemporaryDir dir;
    const QString codePath = dir.filePath(QStringLiteral("code"));
    std::vector<QByteArray> seeds = lists ? listSeeds() : codeSeeds(argc > 3 ? argv[3] : "");
    std::erase_if(seeds, [](const QByteArray &seed) { return seed.isEmpty(); });
    if (seeds.size() < 4) {
        std::fprintf(stderr, "fuzz: could not make the seeds\n");
        return 1;
    }
    // A reader that let a small list unfold into billions of values would take
    // the machine's memory long before the test's time limit: fail on allocation.
    const rlimit cap{rlim_t(4) << 30, rlim_t(4) << 30};
    setrlimit(RLIMIT_AS, &cap);

    Random random(20240601);
    std::uint64_t tried = 0;
    const auto run = [&](const QByteArray &seed, const QByteArray &input) {
        alarm(20); // the slowest ordinary input takes well under a second
        const char *failure = lists ? checkList(seed, input) : checkCode(codePath, seed, input);
        alarm(0);
        ++tried;
        if (failure)
            std::fprintf(stderr, "fuzz %s: %s (input %llu)\n", target.constData(), failure,
                         static_cast<unsigned long long>(tried));
        return !failure;
    };
    for (const QByteArray &seed : seeds)
        if (!run(seed, seed))
            return 1;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
    std::size_t origin = 0; // the seed the input grew from
    for (QByteArray input; std::chrono::steady_clock::now() < deadline;) {
        // Half the time work on the last input further, so mutations pile up.
        if (lists && below(random, 4) == 0) {
            input = generatedList(random);
        } else {
            if (below(random, 2) || input.isEmpty() || input.size() > 64 * 1024)
                input = seeds[origin = below(random, seeds.size())];
            for (int n = 1 + int(below(random, 3)); n > 0; --n)
                mutate(input, random, seeds);
        }
        if (!run(seeds[origin], input))
            return 1;
    }
    std::printf("fuzz %s: %llu inputs in %d s\n", target.constData(),
                static_cast<unsigned long long>(tried), seconds);
    return 0;
}
