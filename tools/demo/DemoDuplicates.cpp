// Files with identical content (written from equal seeds) spread over the home
// folder with different dates, and the near misses the duplicate finder must
// not group.
#include "DemoAreas.h"
#include "DemoTree.h"

#include <QList>

namespace {

struct Copy
{
    const char *path;
    double daysOld;
};

struct DuplicateSet
{
    qint64 bytes;
    quint32 seed;
    QList<Copy> copies; // the oldest is the one the finder keeps
};

void writeSet(DemoTree &tree, const DuplicateSet &set)
{
    for (const Copy &copy : set.copies) {
        const QString path = DemoTree::home(QString::fromUtf8(copy.path));
        tree.builder().patternFile(path, set.bytes, set.seed);
        tree.setDate(path, DemoTree::daysBeforeReference(copy.daysOld));
        tree.expectAllocated(path, set.bytes);
    }
}

} // namespace

namespace Demo {

void buildDuplicates(DemoTree &tree)
{
    const QList<DuplicateSet> sets = {
        {12 * MiB,
         101,
         {{"Documents/Informe anual 2025.pdf", 300},
          {"Desktop/Informe anual 2025.pdf", 120},
          {"Downloads/Informe anual 2025.pdf", 15}}},
        {40 * MiB,
         102,
         {{"Movies/Boda Ana y Luis.mp4", 420}, {"Downloads/Boda Ana y Luis.mp4", 33}}},
        {24 * MiB,
         103,
         {{"Music/Sesión estudio.wav", 200},
          {"Documents/Proyectos/Sesión estudio (copia).wav", 60}}},
        {18 * MiB,
         104,
         {{"Documents/Archivo/Catálogo primavera.zip", 150},
          {"Downloads/Catálogo primavera.zip", 90},
          {"Downloads/Catálogo primavera (1).zip", 89}}},
        // Same size as the report, other content: shares the size bucket but
        // not the digest.
        {12 * MiB, 201, {{"Documents/Informe anual 2025 (borrador).pdf", 45}}},
        // Identical but under the 10 MiB floor: never grouped.
        {6 * MiB, 105, {{"Documents/Factura marzo.pdf", 230}, {"Downloads/Factura marzo.pdf", 7}}},
    };
    for (const DuplicateSet &set : sets)
        writeSet(tree, set);
    // A link to one copy is not a copy.
    tree.builder().symlink(DemoTree::home(QStringLiteral("Desktop/Boda (enlace).mp4")),
                           QStringLiteral("../Movies/Boda Ana y Luis.mp4"));
}

} // namespace Demo
