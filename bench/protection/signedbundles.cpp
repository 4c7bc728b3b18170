// Writes COUNT signed application bundles of about MB megabytes each (one large
// sealed resource, a few small ones and a signed executable) below FOLDER, for
// bench/protection/run.sh.
//
//   velmora-bench-signed FOLDER COUNT MB
#include "MachOSigner.h"

#include <QCoreApplication>
#include <QDir>
#include <QRandomGenerator>
#include <cstdio>

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    if (argc != 4) {
        std::fprintf(stderr, "usage: velmora-bench-signed FOLDER COUNT MB\n");
        return 2;
    }
    const QString folder = QString::fromLocal8Bit(argv[1]);
    const int count = std::atoi(argv[2]);
    const qint64 bytes = qint64(std::atoi(argv[3])) << 20;
    QDir().mkpath(folder);
    QRandomGenerator random(50);
    QByteArray big(int(bytes - 64 * 1024), Qt::Uninitialized);
    for (int i = 0; i < count; ++i) {
        // Different content in every bundle: nothing can be shared between checks.
        auto *words = reinterpret_cast<quint32 *>(big.data());
        random.fillRange(words, big.size() / 4);
        QMap<QString, QByteArray> resources{{"Resources/Assets.car", big}};
        for (int r = 0; r < 8; ++r)
            resources.insert(QStringLiteral("Resources/es.lproj/String%1.strings").arg(r),
                             QByteArray(4096, char('a' + r)));
        MachOSigner::Options o;
        o.identifier = QStringLiteral("com.bench.app%1").arg(i);
        o.team = QStringLiteral("BENCH00001");
        if (!MachOSigner::writeBundle(folder + QStringLiteral("/App%1.app").arg(i),
                                      QStringLiteral("App%1").arg(i), resources, o)) {
            std::fprintf(stderr, "could not write bundle %d\n", i);
            return 1;
        }
    }
    std::printf("%d bundles of %s MB in %s\n", count, argv[3], argv[1]);
    return 0;
}
