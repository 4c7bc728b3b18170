// The home folder's ordinary places, its large files and the names that are
// awkward to handle.
#include "DemoAreas.h"
#include "DemoTree.h"

#include <QFile>
#include <fcntl.h>
#include <unistd.h>

namespace Demo {

void buildHomeFolders(DemoTree &tree)
{
    TreeBuilder &b = tree.builder();
    for (const char *place :
         {"Downloads", "Documents", "Desktop", "Movies", "Music", "Pictures", "Applications",
          "Library/Caches", "Library/Application Support", "Library/Preferences", "Library/Logs",
          "Library/Saved Application State", "Library/Containers", "Library/Group Containers",
          "Library/LaunchAgents"})
        b.folder(DemoTree::home(QString::fromLatin1(place)));
    b.folder(QStringLiteral("Users/Shared"));
    // A few small everyday files, so the folders do not look staged.
    const struct
    {
        const char *path;
        qint64 bytes;
        double daysOld;
    } everyday[] = {
        {"Documents/Contrato alquiler.pdf", 412 * KiB, 210},
        {"Documents/Notas reunión.txt", 3 * KiB, 18},
        {"Documents/Presupuesto 2026.numbers", 280 * KiB, 75},
        {"Desktop/Captura de pantalla 2026-10-28 a las 9.41.12.png", 1400 * KiB, 4},
        {"Pictures/Atardecer.jpg", 3800 * KiB, 140},
        {"Music/Lista de reproducción.m3u", 2 * KiB, 300},
    };
    quint32 seed = 11;
    for (const auto &file : everyday) {
        const QString path = DemoTree::home(QString::fromUtf8(file.path));
        b.patternFile(path, file.bytes, seed++);
        tree.setDate(path, DemoTree::daysBeforeReference(file.daysOld));
    }
}

void buildLargeFiles(DemoTree &tree)
{
    TreeBuilder &b = tree.builder();
    // Reserved on disk but never written: only the size on disk matters to the
    // large-file list, and writing 3.7 GB would make the demo slow to build.
    const struct
    {
        const char *path;
        qint64 bytes;
        double daysOld;
    } large[] = {
        {"Movies/Vacaciones Islandia 4K.mov", 1'900'000'000, 95},
        {"Downloads/Instalador Aurora Photo 5.dmg", 820'000'000, 12},
        {"Downloads/Fotos 2025 (copia de seguridad).zip", 640'000'000, 40},
        // Exactly 100 MiB: a 100 MB threshold lists it, the comparison is inclusive.
        {"Desktop/Grabación de pantalla 2026-10-03.mov", 100 * MiB, 29},
        {"Documents/Proyectos/Maqueta revista.psd", 110 * MiB, 63},
        {"Movies/Entrevista podcast.mp4", 125 * MiB, 8},
        // Never listed: hidden, and inside an application bundle.
        {"Downloads/.Instalador incompleto.dmg.part", 101 * MiB, 2},
        {"Applications/Sketchpad.app/Contents/Resources/Brushes.pack", 104 * MiB, 50},
    };
    for (const auto &file : large) {
        const QString path = DemoTree::home(QString::fromUtf8(file.path));
        b.allocatedFile(path, file.bytes);
        tree.setDate(path, DemoTree::daysBeforeReference(file.daysOld));
        tree.expectAllocated(path, file.bytes);
    }
    // 8 GiB long but with no blocks on disk: judged by its allocation, it is not large.
    const QString sparse =
        DemoTree::home(QStringLiteral("Documents/Máquinas virtuales/Windows 11.vmdk"));
    b.sparseFile(sparse, 8 * 1024 * MiB);
    tree.setDate(sparse, DemoTree::daysBeforeReference(22));
}

void buildOddNames(DemoTree &tree)
{
    TreeBuilder &b = tree.builder();
    b.patternFile(DemoTree::home(QStringLiteral("Downloads/Presupuesto reforma – versión final "
                                                "(ñandú).pdf")),
                  180 * KiB, 31);
    b.file(DemoTree::home(QStringLiteral("Downloads/Notas\nde la reunión.txt")),
           "Una línea en el nombre de archivo.\n");
    // A name that is not UTF-8: Linux allows any bytes, and no QString can carry
    // them, so it is written with the raw bytes.
    const QByteArray name =
        QFile::encodeName(tree.path(DemoTree::home(QStringLiteral("Downloads")))) +
        QByteArrayLiteral("/\xff\xfe informe.bin");
    const int fd = open(name.constData(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    const QByteArray contents(64 * KiB, '\x5a');
    const bool written =
        fd >= 0 && write(fd, contents.constData(), size_t(contents.size())) == contents.size();
    if (fd >= 0)
        close(fd);
    if (!written)
        tree.reportProblem(QStringLiteral("Downloads/<non-UTF-8 name>"));
}

} // namespace Demo
