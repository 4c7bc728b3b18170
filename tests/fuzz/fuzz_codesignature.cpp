#include "CodeSignature.h"
#include "MachOSigner.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <unistd.h>
#include <vector>

// Feeds the code-signature reader mutated Mach-O files for a number of seconds:
// bytes flipped, words replaced by extreme values (counts, offsets, sizes),
// files cut short or grown. Every answer must come back, no input may run for
// 20 seconds, and a thin file whose signed bytes (everything before its
// signature) changed must never verify. Other changes may: a universal header
// and an ad-hoc CodeDirectory's own fields are signed by nothing. The generator starts from a fixed
// seed, so a run always tries the same inputs.
//
//     fuzz_codesignature SECONDS SOURCE_DIR

namespace {

using Random = std::mt19937_64;

QByteArray readAll(const QString &path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

void mutate(QByteArray &data, Random &random)
{
    if (data.isEmpty())
        return;
    const auto pick = [&](qint64 n) { return qint64(random() % quint64(std::max<qint64>(n, 1))); };
    switch (random() % 5) {
    case 0: // flip a few bytes
        for (int i = 0, n = 1 + int(random() % 4); i < n; ++i)
            data[pick(data.size())] = char(random());
        break;
    case 1: { // an extreme word, where counts and offsets live
        static const quint32 words[] = {0, 1, 0x7fffffff, 0xffffffff, 0x80000000, 0xfffffff0, 4096};
        const qint64 at = pick(data.size() - 3) & ~qint64(3);
        const quint32 w = words[random() % std::size(words)];
        for (int i = 0; i < 4 && at + i < data.size(); ++i)
            data[at + i] = char(w >> (8 * (random() % 2 ? i : 3 - i)));
        break;
    }
    case 2: // cut short
        data.truncate(pick(data.size()));
        break;
    case 3: // grow
        data.append(QByteArray(int(random() % 5000), char(random())));
        break;
    default: // splice a run from elsewhere
    {
        const qint64 from = pick(data.size()), to = pick(data.size());
        const qint64 n = std::min<qint64>({pick(256), data.size() - from, data.size() - to});
        data.replace(to, n, data.mid(from, n));
    }
    }
}

void onAlarm(int)
{
    const char message[] = "fuzz_codesignature: one input ran for 20 seconds\n";
    [[maybe_unused]] auto written = write(2, message, sizeof message - 1);
    std::abort();
}

} // namespace

int main(int argc, char **argv)
{
    const int seconds = argc > 1 ? std::atoi(argv[1]) : 5;
    const QString source = argc > 2 ? QString::fromLocal8Bit(argv[2]) : QString();
    std::vector<QByteArray> seeds;
    MachOSigner::Options team;
    team.team = QStringLiteral("ABCDE12345");
    team.entitlements = QByteArray("<plist><dict/></plist>");
    team.embeddedInfo = QByteArray("<plist><dict/></plist>");
    MachOSigner::Options cms = team;
    cms.cms = true;
    MachOSigner::Options sha1;
    sha1.hashType = 1;
    seeds.push_back(MachOSigner::signedSlice(true, team));
    seeds.push_back(MachOSigner::signedSlice(false, sha1));
    seeds.push_back(MachOSigner::signedSlice(true, cms));
    seeds.push_back(MachOSigner::universal({seeds[0], seeds[1]}));
    for (const char *name : {"llvm-adhoc-arm64", "llvm-adhoc-universal"})
        if (const QByteArray bytes = readAll(source + "/tests/protection/fixtures/" + name);
            !bytes.isEmpty())
            seeds.push_back(bytes);

    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("code"));
    std::signal(SIGALRM, onAlarm);
    Random random(20261125);
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
    long runs = 0, valid = 0;
    while (std::chrono::steady_clock::now() < end) {
        const QByteArray &seed = seeds[random() % seeds.size()];
        QByteArray data = seed;
        for (int i = 0, n = 1 + int(random() % 3); i < n; ++i)
            mutate(data, random);
        QFile f(path);
        if (!f.open(QIODevice::WriteOnly | QIODevice::Truncate) || f.write(data) != data.size())
            return 1;
        f.close();
        alarm(20);
        const SignatureInformation info = CodeSignature::signatureInformation(path);
        alarm(0);
        ++runs;
        const qint64 signedBytes =
            seed.startsWith("\xca\xfe\xba\xbe") ? 0 : seed.indexOf("\xfa\xde\x0c\xc0");
        qint64 firstChange = 0;
        while (firstChange < std::min(seed.size(), data.size()) &&
               seed.at(firstChange) == data.at(firstChange))
            ++firstChange;
        if (info.isValid && data.size() == seed.size() && firstChange < signedBytes) {
            std::fprintf(stderr, "fuzz_codesignature: changed code verified as valid (run %ld)\n",
                         runs);
            return 1;
        }
        valid += info.isValid;
    }
    std::printf("fuzz_codesignature: %ld inputs, %ld still valid, no failure\n", runs, valid);
    return 0;
}
