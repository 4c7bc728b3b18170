// The user cache folder: caches that the system protects, caches of the demo's
// applications, and sizes and ages on both sides of every smart-mode limit.
#include "DemoAreas.h"
#include "DemoTree.h"

#include <QFile>
#include <sys/stat.h>

namespace {

using Demo::KiB;
using Demo::MiB;
constexpr qint64 kHour = 3600;
constexpr qint64 kDay = 24 * kHour;

enum class Entry
{
    Folder,
    File,
    Fifo
};

struct Cache
{
    const char *name;
    qint64 bytes; // logical: the cleanup counts logical sizes
    qint64 age;   // seconds before the moment the tree is built
    Entry entry = Entry::Folder;
};

// Which modes pick each one (conservative: ≥ 100 MiB and ≥ 30 days; balanced:
// ≥ 25 MiB and ≥ 3 days, or ≥ 500 MiB at any age; aggressive: ≥ 10 MiB and ≥ 1 day).
const Cache kCaches[] = {
    {"com.tidewave.Player", 600 * MiB, 1 * kHour},            // balanced only
    {"com.lumenlabs.LumenNotes", 260 * MiB, 60 * kDay},       // all, unless Lumen Notes runs
    {"com.driftbrowser.Drift", 180 * MiB, 40 * kDay},         // all
    {"com.aurorasoft.AuroraPhoto", 140 * MiB, 10 * kDay},     // balanced, aggressive
    {"org.cadence.player", 120 * MiB, 12 * kHour},            // none: too young
    {"com.inkwell.Sketchpad", 100 * MiB, 30 * kDay},          // all: exactly at the limits
    {"com.quillapp.Quill", 50 * MiB, 20 * kDay},              // balanced, aggressive
    {"com.lumenlabs.LumenNotes.ShipIt", 30 * MiB, 10 * kDay}, // same, unless Lumen Notes runs
    {"com.atlasmaps.Atlas", 26 * MiB, 2 * kDay},              // aggressive only: young for balanced
    {"Homebrew", 20 * MiB, 5 * kDay},                         // aggressive only: small for balanced
    {"tessera-render", 15 * MiB, 20 * kHour},                 // none: under a day
    {"pip", 8 * MiB, 90 * kDay},                              // none: under 10 MiB
    {"SafariHelper", 3 * MiB, 2 * kDay},                      // not protected: only "Safari" is
    {"com.ledgerworks.Ledger.db", 2 * MiB, 45 * kDay, Entry::File},
    {"session-relay.fifo", 0, 6 * kDay, Entry::Fifo}, // neither folder nor file: no files
    // Protected whatever their size and age.
    {"com.apple.nsurlsessiond", 300 * MiB, 60 * kDay},
    {"com.apple.Safari", 90 * MiB, 40 * kDay}, // the prefix rule comes first
    {"CloudKit", 40 * MiB, 35 * kDay},
    {"Safari", 35 * MiB, 50 * kDay}, // a built-in feature by its exact name
    {"com.apple.mail", 22 * MiB, 15 * kDay},
    {"GeoServices", 12 * MiB, 70 * kDay},
    {"familycircle", 1 * MiB, 100 * kDay},
};

QString caches(const QString &relative)
{
    return DemoTree::home(QStringLiteral("Library/Caches/") + relative);
}

// A few small files with real bytes, then one sparse store for the rest: the
// sizes add up exactly, and the large caches take no room on disk.
void fillFolder(TreeBuilder &b, const QString &folder, qint64 bytes, quint32 seed)
{
    qint64 left = bytes;
    for (int i = 0; i < 6 && left > 64 * KiB; ++i) {
        const qint64 piece = 4 * KiB + (seed * 7919 + quint32(i) * 4099) % (20 * KiB);
        const QString name = QString::number(seed * 2654435761u + quint32(i), 16).toUpper();
        b.patternFile(folder + QStringLiteral("/fsCachedData/") + name, piece, seed * 100 + i);
        left -= piece;
    }
    b.sparseFile(folder + QStringLiteral("/Cache.db"), left);
}

void buildCache(DemoTree &tree, const Cache &cache, quint32 seed)
{
    const QString path = caches(QString::fromUtf8(cache.name));
    switch (cache.entry) {
    case Entry::Folder:
        fillFolder(tree.builder(), path, cache.bytes, seed);
        break;
    case Entry::File:
        tree.builder().sparseFile(path, cache.bytes);
        break;
    case Entry::Fifo:
        mkfifo(QFile::encodeName(tree.path(path)).constData(), 0644);
        break;
    }
    // The smart modes compare ages with the clock, so these dates follow the day
    // the tree is built rather than the fixed reference date; the ages drift as
    // the tree gets older, and --force builds it again with fresh ones.
    tree.setDate(path, QDateTime::currentDateTimeUtc().addSecs(-cache.age));
}

} // namespace

namespace Demo {

void buildCaches(DemoTree &tree)
{
    quint32 seed = 700;
    for (const Cache &cache : kCaches)
        buildCache(tree, cache, seed++);
    TreeBuilder &b = tree.builder();
    // Never listed: hidden entries, at the top and inside a cache, and a link.
    b.patternFile(caches(QStringLiteral(".DS_Store")), 6 * KiB, 41);
    b.sparseFile(caches(QStringLiteral(".com.driftbrowser.Drift.tmp/partial")), 50 * MiB);
    b.file(caches(QStringLiteral("com.driftbrowser.Drift/.lock")), "4711\n");
    b.sparseFile(caches(QStringLiteral("com.driftbrowser.Drift/.staging/update.bin")), 400 * MiB);
    b.symlink(caches(QStringLiteral("Drift Browser Data")),
              QStringLiteral("../Application Support/Drift Browser"));
}

} // namespace Demo
