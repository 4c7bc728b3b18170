#include "DemoVerify.h"

#include "DemoGuard.h"

#include <QDirIterator>
#include <QFile>
#include <QImageReader>
#include <cstdio>

namespace {

// The sizes of every image in one icon file, or an empty list when one fails.
QStringList readIcon(const QString &path)
{
    QImageReader reader(path, "icns");
    const int count = reader.imageCount();
    QStringList sizes;
    for (int i = 0; i < count; ++i) {
        if (!reader.jumpToImage(i))
            return {};
        const QImage image = reader.read();
        if (image.isNull())
            return {};
        sizes << QStringLiteral("%1x%2").arg(image.width()).arg(image.height());
    }
    return sizes;
}

} // namespace

namespace DemoVerify {

int run(const QString &folder)
{
    QFile marker(folder + QLatin1Char('/') + QLatin1String(DemoGuard::kMarkerName));
    if (!marker.open(QIODevice::ReadOnly) || marker.readAll() != DemoGuard::markerContents()) {
        std::fprintf(stderr, "velmora-demo: %s holds no complete demo tree\n", qPrintable(folder));
        return 1;
    }
    int icons = 0;
    int failures = 0;
    QDirIterator it(folder, {QStringLiteral("*.icns")}, QDir::Files | QDir::Hidden,
                    QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString path = it.next();
        const QStringList sizes = readIcon(path);
        ++icons;
        if (sizes.isEmpty())
            ++failures;
        std::printf("%s %s: %s\n", sizes.isEmpty() ? "FAIL" : "ok  ",
                    qPrintable(path.mid(folder.size() + 1)),
                    sizes.isEmpty() ? "unreadable" : qPrintable(sizes.join(QLatin1String(", "))));
    }
    std::printf("velmora-demo: %d icons, %d unreadable\n", icons, failures);
    return icons > 0 && failures == 0 ? 0 : 1;
}

} // namespace DemoVerify
