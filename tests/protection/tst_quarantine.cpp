#include "DuplicateScanner.h"
#include "ErrorText.h"
#include "FileLocation.h"
#include "ItemMove.h"
#include "MacTree.h"
#include "ProtectionQuarantineManager.h"
#include "ProtectionScanner.h"
#include "ProtectionTrustStore.h"
#include "QuarantineTesting.h"
#include "StorageScanner.h"
#include "TestEnvironment.h"
#include "TreeBuilder.h"
#include "UninstallerScanner.h"

#include <QCryptographicHash>
#include <QDirIterator>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRegularExpression>
#include <QtTest>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

// The quarantine: its index file and what it accepts, the moves in and out (on
// one file system and across two), and the folder's own faults.
using namespace QuarantineTesting;

class TestQuarantine : public QObject
{
    Q_OBJECT

private slots:
    void indexKeepsOnlyValidRecords();
    void quarantineRestoreAndTrash();
    void nameNotValidUtf8GoesAndComesBackByteForByte();
    void restoreOntoOccupiedPathKeepsBoth();
    void lostIndexAndLostItems();
    void recordsPointingElsewhereAreNeverFollowed();
    void folderFaults();
    void acrossFileSystems();
    void changesDuringACopyCancelTheMove_data();
    void changesDuringACopyCancelTheMove();
};

namespace {

// A folder on another file system than the test tree, or nothing.
std::unique_ptr<QTemporaryDir> otherFileSystem(const QString &than)
{
    auto other = std::make_unique<QTemporaryDir>(QStringLiteral("/dev/shm/velmora-XXXXXX"));
    struct stat a, b;
    if (!other->isValid() || stat(QFile::encodeName(other->path()).constData(), &a) != 0 ||
        stat(QFile::encodeName(than).constData(), &b) != 0 || a.st_dev == b.st_dev)
        return nullptr;
    return other;
}

} // namespace

void TestQuarantine::indexKeepsOnlyValidRecords()
{
    const QString folder = QStringLiteral("/h/Library/Application Support/Velmora/Quarantine");
    const QString id = QStringLiteral("0A1B2C3D-4E5F-4071-8293-A4B5C6D7E8F9");
    const auto record = [&](const QString &rid, const QString &item) {
        return QJsonObject{{"id", rid},
                           {"originalPath", "/h/Downloads/x.sh"},
                           {"quarantinePath", folder + "/" + item},
                           {"name", "x.sh"},
                           {"size", 12},
                           {"quarantinedAt", 817000000.25}};
    };
    const QString good = id + "_x.sh";
    const auto isFolder = [&](const QString &f) { return f == folder; };
    const auto decode = [&](const QJsonValue &value) {
        return QuarantineIndex::decode(QJsonDocument(value.isArray()
                                                         ? QJsonDocument(value.toArray())
                                                         : QJsonDocument(value.toObject()))
                                           .toJson(),
                                       isFolder);
    };

    // Round trip: exactly the six keys, the date as written.
    ProtectionQuarantineRecord r{id, "/h/Downloads/x.sh", folder + "/" + good, "x.sh",
                                 12, 817000000.25};
    const QJsonArray written = QJsonDocument::fromJson(QuarantineIndex::encode({r})).array();
    QCOMPARE(
        written.at(0).toObject().keys(),
        QStringList({"id", "name", "originalPath", "quarantinePath", "quarantinedAt", "size"}));
    bool whole = false;
    QCOMPARE(QuarantineIndex::decode(QuarantineIndex::encode({r}), isFolder, &whole),
             QList<ProtectionQuarantineRecord>{r});
    QVERIFY(whole);
    // Cut short anywhere, or spoilt in the middle: every record still whole in
    // it is kept, and the index is known not to be whole. An origin may be
    // unknown (null), with a quote and a brace in a name.
    ProtectionQuarantineRecord s = r;
    s.id = "1C1B2C3D-4E5F-4071-8293-A4B5C6D7E8F9";
    s.quarantinePath = folder + "/" + s.id + "_{\\\"}";
    s.originalPath = QString();
    const QByteArray two = QuarantineIndex::encode({s, r});
    QVERIFY(QJsonDocument::fromJson(two).array().at(0).toObject().value("originalPath").isNull());
    for (const QByteArray &spoilt :
         {two.chopped(2), two.chopped(40), QByteArray(two).insert(1, "@")}) {
        const QList<ProtectionQuarantineRecord> expected =
            spoilt.size() < two.size() ? QList<ProtectionQuarantineRecord>() << s
                                       : QList<ProtectionQuarantineRecord>() << s << r;
        QCOMPARE(QuarantineIndex::decode(spoilt, isFolder, &whole), expected);
    }
    QVERIFY(!whole);
    QVERIFY(QuarantineIndex::newIdentifier().contains(
        QRegularExpression("^[0-9A-F]{8}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{12}$")));

    // Not an index at all.
    QVERIFY(QuarantineIndex::decode("", isFolder).isEmpty());
    QVERIFY(QuarantineIndex::decode("[{\"id\":", isFolder).isEmpty());
    QVERIFY(QuarantineIndex::decode("{\"id\": 1}", isFolder).isEmpty());
    QVERIFY(QuarantineIndex::decode(QByteArray(5000, '['), isFolder).isEmpty());

    QJsonArray mixed;
    mixed.append(record(id, good)); // kept
    QJsonObject wrongType =
        record("1B1B2C3D-4E5F-4071-8293-A4B5C6D7E8F9", "1B1B2C3D-4E5F-4071-8293-A4B5C6D7E8F9_y");
    wrongType["size"] = "12";
    mixed.append(wrongType);
    mixed.append(record("not-a-uuid", "not-a-uuid_z"));
    // The kept record's identifier again, in lower case.
    mixed.append(record(id.toLower(), id.toLower() + "_l"));
    // Outside the folder, climbing out of it, or the folder itself.
    QJsonObject outside = record("2C1B2C3D-4E5F-4071-8293-A4B5C6D7E8F9", "x");
    outside["quarantinePath"] = "/h/Documents/2C1B2C3D-4E5F-4071-8293-A4B5C6D7E8F9_tax.pdf";
    mixed.append(outside);
    mixed.append(record("3D1B2C3D-4E5F-4071-8293-A4B5C6D7E8F9",
                        "../3D1B2C3D-4E5F-4071-8293-A4B5C6D7E8F9_up"));
    mixed.append(record("4E1B2C3D-4E5F-4071-8293-A4B5C6D7E8F9", "sub/x"));
    QJsonObject relative =
        record("5F1B2C3D-4E5F-4071-8293-A4B5C6D7E8F9", "5F1B2C3D-4E5F-4071-8293-A4B5C6D7E8F9_r");
    relative["originalPath"] = "Downloads/x.sh";
    mixed.append(relative);
    // A second record for the kept record's file.
    mixed.append(record("6A1B2C3D-4E5F-4071-8293-A4B5C6D7E8F9", good));
    mixed.append(QJsonValue(42));
    mixed.append(QJsonArray{1, 2});
    const QList<ProtectionQuarantineRecord> kept = decode(mixed);
    QCOMPARE(kept.size(), 1);
    QCOMPARE(kept.first().id, id);

    // A huge array of junk is read quickly and yields nothing.
    QJsonArray huge;
    for (int i = 0; i < 200000; ++i)
        huge.append(QJsonObject{{"id", i}});
    QVERIFY(decode(huge).isEmpty());
}

void TestQuarantine::quarantineRestoreAndTrash()
{
    MacTree tree;
    // Two items of one name from two folders, and one the system owns.
    const QString first = tree.root.file("Users/ana/Downloads/Setup.pkg", "first installer");
    const QString second = tree.root.file("Users/ana/Downloads/old/Setup.pkg", "second installer");
    const QString script = tree.root.file("Users/ana/Downloads/run.sh", "#!/bin/sh\necho run\n");
    const QString bundle =
        tree.root.file("Users/ana/Downloads/Tool.app/Contents/MacOS/tool", QByteArray(70000, 't'));
    const QString system = tree.root.file("Library/LaunchDaemons/com.x.plist", "daemon");
    const QString bundleFolder = tree.root.path("Users/ana/Downloads/Tool.app");

    LoadedQuarantine manager;
    QVERIFY(QFileInfo(quarantineFolder()).isDir());
    QCOMPARE(QFileInfo(quarantineFolder()).permissions() & (QFile::ReadOther | QFile::ReadGroup),
             QFileDevice::Permissions());
    QVERIFY(!ProtectionQuarantineManager::canQuarantine(findingFor(system)));
    QVERIFY(!ProtectionQuarantineManager::canQuarantine(findingFor(quarantineFolder())));
    QVERIFY(!ProtectionQuarantineManager::canQuarantine(
        findingFor(tree.root.path("Users/ana/Library"))));

    manager.quarantine({findingFor(first), findingFor(second), findingFor(script),
                        findingFor(bundleFolder), findingFor(system)});
    QVERIFY(manager.isWorking());
    QCOMPARE(manager.statusText(), QStringLiteral("Moviendo elementos a cuarentena…"));
    waitIdle(manager);
    QCOMPARE(manager.statusText(), QStringLiteral("4 elemento(s) en cuarentena."));
    QCOMPARE(manager.errorMessage(), QString());
    QVERIFY(exists(system)); // never taken from /Library
    for (const QString &p : {first, second, script, bundleFolder})
        QVERIFY2(!exists(p), qPrintable(p));

    // Newest first, each in a file of its own directly in the folder.
    QCOMPARE(manager.recordCount(), 4);
    QCOMPARE(manager.records().first().originalPath, bundleFolder);
    QSet<QString> places;
    for (const ProtectionQuarantineRecord &r : manager.records()) {
        QCOMPARE(FileLocation::deletingLastPathComponent(r.quarantinePath), quarantineFolder());
        QVERIFY(exists(r.quarantinePath));
        places.insert(r.quarantinePath);
    }
    QCOMPARE(places.size(), 4);
    QCOMPARE(quarantineEntries(quarantineFolder()).size(), 5); // and records.json, nothing else

    // The file lists what the manager shows, and a new manager reads it back.
    LoadedQuarantine reread;
    QCOMPARE(reread.records(), manager.records());

    // Restore: the folder it came from is made again, the bytes are the same.
    QVERIFY(QDir(tree.root.path("Users/ana/Downloads/old")).removeRecursively());
    const auto recordOf = [&](const QString &original) {
        for (const ProtectionQuarantineRecord &r : manager.records())
            if (r.originalPath == original)
                return r;
        return ProtectionQuarantineRecord{};
    };
    manager.restore(recordOf(second).id);
    waitIdle(manager);
    QCOMPARE(manager.statusText(), QStringLiteral("Setup.pkg fue restaurado."));
    QCOMPARE(contents(second), QByteArray("second installer"));
    manager.restore(recordOf(bundleFolder).id);
    waitIdle(manager);
    QCOMPARE(contents(bundle), QByteArray(70000, 't'));
    QCOMPARE(manager.recordCount(), 2);

    // Trash: gone from the quarantine, in the Trash under its own name, and the
    // Trash puts it back where it was found.
    const ProtectionQuarantineRecord trashed = recordOf(script);
    manager.moveToTrash(trashed.id);
    waitIdle(manager);
    QCOMPARE(manager.statusText(), QStringLiteral("run.sh fue movido a la Papelera."));
    QCOMPARE(contents(tree.env.trashFiles() + "/run.sh"), QByteArray("#!/bin/sh\necho run\n"));
    QVERIFY(contents(tree.env.dataHome() + "/Trash/info/run.sh.trashinfo")
                .contains("Path=" + QUrl::toPercentEncoding(script, "/")));
    QVERIFY(!exists(trashed.quarantinePath));
    QCOMPARE(manager.recordCount(), 1);
    QCOMPARE(LoadedQuarantine().records(), manager.records());

    // Unknown records change nothing.
    manager.restore(QStringLiteral("0A1B2C3D-4E5F-4071-8293-A4B5C6D7E8F9"));
    manager.moveToTrash(QStringLiteral("0A1B2C3D-4E5F-4071-8293-A4B5C6D7E8F9"));
    waitIdle(manager);
    QCOMPARE(manager.recordCount(), 1);

    // Nothing selected.
    manager.quarantine({});
    QCOMPARE(manager.errorMessage(), QStringLiteral("No hay elementos seleccionados."));
}

void TestQuarantine::nameNotValidUtf8GoesAndComesBackByteForByte()
{
    MacTree tree;
    const QByteArray bytes = QFile::encodeName(tree.home) + "/Downloads/caf\xe9 \xff.sh";
    TreeBuilder(tree.home).file("Downloads/x", "");
    QFile file;
    QVERIFY(file.open(fopen(bytes.constData(), "w"), QIODevice::WriteOnly, QFile::AutoCloseHandle));
    file.write("odd name");
    file.close();
    const QString path = FileLocation::decode(bytes);
    {
        LoadedQuarantine manager;
        manager.quarantine({findingFor(path)});
        waitIdle(manager);
        QCOMPARE(manager.errorMessage(), QString());
    }
    QVERIFY(!exists(path));
    LoadedQuarantine again; // from the index on disk
    QCOMPARE(again.recordCount(), 1);
    again.restore(again.records().first().id);
    waitIdle(again);
    QCOMPARE(again.errorMessage(), QString());
    QCOMPARE(contents(path), QByteArray("odd name"));
}

void TestQuarantine::restoreOntoOccupiedPathKeepsBoth()
{
    MacTree tree;
    const QString item = tree.root.file("Users/ana/Downloads/run.sh", "quarantined");
    LoadedQuarantine manager;
    manager.quarantine({findingFor(item)});
    waitIdle(manager);
    QCOMPARE(manager.recordCount(), 1);
    tree.root.file("Users/ana/Downloads/run.sh", "new one");
    manager.restore(manager.records().first().id);
    waitIdle(manager);
    QCOMPARE(manager.errorMessage(),
             QStringLiteral("No se pudo restaurar: Ya existe un elemento con ese nombre en la "
                            "ubicación original."));
    QCOMPARE(contents(item), QByteArray("new one"));
    QCOMPARE(manager.recordCount(), 1);
    QCOMPARE(contents(manager.records().first().quarantinePath), QByteArray("quarantined"));

    // An item changed since the scan stays where it is.
    const QString changed = tree.root.file("Users/ana/Downloads/b.sh", "scanned");
    const SecurityFinding stale = findingFor(changed);
    QVERIFY(QFile::remove(changed));
    tree.root.file("Users/ana/Downloads/b.sh", "replaced after the scan");
    manager.quarantine({stale});
    waitIdle(manager);
    QCOMPARE(manager.errorMessage(),
             QStringLiteral("No se pudo mover b.sh: El elemento cambió desde el análisis."));
    QCOMPARE(contents(changed), QByteArray("replaced after the scan"));
    QCOMPARE(manager.recordCount(), 1);
}

void TestQuarantine::lostIndexAndLostItems()
{
    MacTree tree;
    const QString a = tree.root.file("Users/ana/Downloads/a.sh", "a");
    const QString b = tree.root.file("Users/ana/Downloads/b.sh", "b");
    {
        LoadedQuarantine manager;
        manager.quarantine({findingFor(a), findingFor(b)});
        waitIdle(manager);
        QCOMPARE(manager.recordCount(), 2);

        // An item gone from the quarantine: restore says so, trash forgets it.
        const ProtectionQuarantineRecord gone = manager.records().first();
        QVERIFY(QFile::remove(gone.quarantinePath));
        manager.restore(gone.id);
        waitIdle(manager);
        QCOMPARE(manager.errorMessage(), QStringLiteral("El archivo de cuarentena ya no existe."));
        manager.clearError();
        manager.moveToTrash(gone.id);
        waitIdle(manager);
        QCOMPARE(manager.recordCount(), 1);
    }
    // Files of a write cut short by a kill are cleared at the next start.
    TreeBuilder folder(quarantineFolder());
    folder.file(".records.json.5f3a.tmp", "[");
    folder.file(".0A1B2C3D-4E5F-4071-8293-A4B5C6D7E8F9.pending.77.tmp", "{");
    QCOMPARE(LoadedQuarantine().recordCount(), 1);
    QCOMPARE(quarantineEntries(quarantineFolder()).size(), 2);

    // An index cut short keeps every record still whole in it, and is kept
    // aside as it was; an item no record lists is adopted, its origin unknown.
    const QString kept = LoadedQuarantine().records().first().originalPath;
    QFile index(quarantineFolder() + "/records.json");
    for (const int cut : {1, 2000}) {
        QVERIFY(index.open(QIODevice::ReadWrite));
        const QByteArray whole = index.readAll();
        QVERIFY(index.resize(std::max<qint64>(0, whole.size() - cut)));
        index.close();
        LoadedQuarantine again;
        QCOMPARE(again.recordCount(), 1);
        QCOMPARE(again.records().first().originalPath, cut == 1 ? kept : QString());
        const QStringList aside = QDir(quarantineFolder()).entryList({"records.json.*"});
        QCOMPARE(aside.size(), cut == 1 ? 1 : 2);
        QVERIFY(contents(quarantineFolder() + "/" + aside.last()).size() < whole.size());
    }
    // No index at all: the item is adopted again.
    QVERIFY(QFile::remove(quarantineFolder() + "/records.json"));
    LoadedQuarantine last;
    QCOMPARE(last.recordCount(), 1);
    QVERIFY(last.records().first().originalPath.isNull());
}

void TestQuarantine::recordsPointingElsewhereAreNeverFollowed()
{
    MacTree tree;
    LoadedQuarantine first; // makes the folder
    const QString precious = tree.root.file("Users/ana/Documents/tax.pdf", "precious");
    const QString id = QStringLiteral("7A1B2C3D-4E5F-4071-8293-A4B5C6D7E8F9");
    const QString inside = quarantineFolder() + "/" + id + "_link";
    // One record names a file outside the folder; another lies inside it but is
    // a link to that file.
    QVERIFY(QFile::link(precious, inside));
    const QJsonArray records{QJsonObject{{"id", "8B1B2C3D-4E5F-4071-8293-A4B5C6D7E8F9"},
                                         {"originalPath", tree.home + "/Downloads/tax.pdf"},
                                         {"quarantinePath", precious},
                                         {"name", "tax.pdf"},
                                         {"size", 8},
                                         {"quarantinedAt", 1.0}},
                             QJsonObject{{"id", id},
                                         {"originalPath", tree.home + "/Downloads/link"},
                                         {"quarantinePath", inside},
                                         {"name", "link"},
                                         {"size", 8},
                                         {"quarantinedAt", 2.0}}};
    QFile index(quarantineFolder() + "/records.json");
    QVERIFY(index.open(QIODevice::WriteOnly));
    index.write(QJsonDocument(records).toJson());
    index.close();

    LoadedQuarantine manager;
    QCOMPARE(manager.recordCount(), 1);
    QCOMPARE(manager.records().first().id, id);
    // Restoring the link moves the link, never what it points at.
    manager.restore(id);
    waitIdle(manager);
    QCOMPARE(contents(precious), QByteArray("precious"));
    QVERIFY(QFileInfo(tree.home + "/Downloads/link").isSymLink());
    manager.moveToTrash(QStringLiteral("8B1B2C3D-4E5F-4071-8293-A4B5C6D7E8F9"));
    waitIdle(manager);
    QCOMPARE(contents(precious), QByteArray("precious"));

    // A restore only ever goes into the home or the applications folder.
    const QString item = tree.root.file("Users/ana/Downloads/c.sh", "c");
    manager.quarantine({findingFor(item)});
    waitIdle(manager);
    QVERIFY(index.open(QIODevice::ReadOnly));
    QByteArray text = index.readAll();
    index.close();
    text.replace(QFile::encodeName(item), QFile::encodeName(tree.root.path("Library/c.sh")));
    QVERIFY(index.open(QIODevice::WriteOnly | QIODevice::Truncate));
    index.write(text);
    index.close();
    LoadedQuarantine again;
    QCOMPARE(again.recordCount(), 1);
    again.restore(again.records().first().id);
    waitIdle(again);
    QCOMPARE(again.errorMessage(),
             QStringLiteral("No se pudo restaurar: La ubicación original está fuera de la carpeta "
                            "personal y de Aplicaciones."));
    QVERIFY(!exists(tree.root.path("Library/c.sh")));
    QCOMPARE(again.recordCount(), 1);
}

void TestQuarantine::folderFaults()
{
    {
        // The quarantine folder is a link: refused, nothing moved, the target
        // untouched.
        MacTree tree;
        const QString elsewhere = tree.root.folder("Users/ana/elsewhere");
        tree.root.folder("Users/ana/Library/Application Support/Velmora");
        QVERIFY(QFile::link(elsewhere, quarantineFolder()));
        const QString item = tree.root.file("Users/ana/Downloads/run.sh", "x");
        LoadedQuarantine manager;
        QCOMPARE(manager.errorMessage(),
                 QStringLiteral("No se pudo crear la cuarentena: La carpeta de cuarentena es un "
                                "enlace simbólico."));
        manager.clearError();
        manager.quarantine({findingFor(item)});
        waitIdle(manager);
        // Each item then fails on its own.
        QCOMPARE(manager.errorMessage(),
                 QStringLiteral("No se pudo mover run.sh: La carpeta de cuarentena es un enlace "
                                "simbólico."));
        QVERIFY(exists(item));
        QVERIFY(quarantineEntries(elsewhere).isEmpty());
    }
    {
        // A file where a folder on the way should be.
        MacTree tree;
        tree.root.file("Users/ana/Library/Application Support/Velmora", "not a folder");
        const QString item = tree.root.file("Users/ana/Downloads/run.sh", "x");
        LoadedQuarantine manager;
        QVERIFY(
            manager.errorMessage().startsWith(QStringLiteral("No se pudo crear la cuarentena: ")));
        QVERIFY(manager.errorMessage().size() > 32);
        manager.clearError();
        manager.quarantine({findingFor(item)});
        waitIdle(manager);
        QVERIFY(manager.errorMessage().startsWith(QStringLiteral("No se pudo mover run.sh: ")));
        QVERIFY(exists(item));
        QCOMPARE(contents(tree.root.path("Users/ana/Library/Application Support/Velmora")),
                 QByteArray("not a folder"));
    }
    {
        // The same home under another spelling (through a link) keeps every
        // record, and a restore finds its way back.
        MacTree tree;
        const QString item = tree.root.file("Users/ana/Downloads/run.sh", "x");
        {
            LoadedQuarantine manager;
            manager.quarantine({findingFor(item)});
            waitIdle(manager);
        }
        const QString linked = tree.root.symlink("home-link", tree.home);
        qputenv("HOME", QFile::encodeName(linked));
        LoadedQuarantine manager;
        QCOMPARE(manager.recordCount(), 1);
        QCOMPARE(manager.records().first().originalPath, linked + "/Downloads/run.sh");
        manager.restore(manager.records().first().id);
        waitIdle(manager);
        QCOMPARE(manager.errorMessage(), QString());
        QCOMPARE(contents(item), QByteArray("x"));
    }
    if (geteuid() != 0)
        QSKIP("giving folders to another account needs root");
    for (const QString &owned : {QStringLiteral("Velmora"), QStringLiteral("Velmora/Quarantine")}) {
        // Made by another account: refused, and nothing moves in.
        MacTree tree;
        LoadedQuarantine().recordCount();
        const QString support = tree.home + "/Library/Application Support/";
        QCOMPARE(chown(QFile::encodeName(support + owned).constData(), 65534, 65534), 0);
        const QString item = tree.root.file("Users/ana/Downloads/run.sh", "x");
        LoadedQuarantine manager;
        QCOMPARE(manager.errorMessage(), QStringLiteral("No se pudo crear la cuarentena: La "
                                                        "carpeta de cuarentena pertenece a otra "
                                                        "cuenta."));
        manager.quarantine({findingFor(item)});
        waitIdle(manager);
        QVERIFY(exists(item));
        QCOMPARE(quarantineEntries(quarantineFolder()), QStringList());
    }
    {
        // Ours, but left open to everyone: closed before use.
        MacTree tree;
        LoadedQuarantine().recordCount();
        const QByteArray index =
            QFile::encodeName(TreeBuilder(quarantineFolder()).file("records.json", "[]"));
        QCOMPARE(chmod(QFile::encodeName(quarantineFolder()).constData(), 0777), 0);
        QCOMPARE(chmod(index.constData(), 0666), 0);
        const QString item = tree.root.file("Users/ana/Downloads/run.sh", "x");
        LoadedQuarantine manager;
        manager.quarantine({findingFor(item)});
        waitIdle(manager);
        QCOMPARE(manager.recordCount(), 1);
        struct stat folder, file;
        QCOMPARE(stat(QFile::encodeName(quarantineFolder()).constData(), &folder), 0);
        QCOMPARE(stat(index.constData(), &file), 0);
        QCOMPARE(folder.st_mode & 07777, 0700u);
        QCOMPARE(file.st_mode & 07777, 0600u);
    }
}

void TestQuarantine::acrossFileSystems()
{
    // The home on one file system, the applications folder on another: a move
    // between them copies, checks and only then removes the original.
    MacTree tree;
    const auto other = otherFileSystem(tree.env.root());
    if (!other)
        QSKIP("needs /dev/shm on a file system of its own");
    QTemporaryDir &shm = *other;
    const QByteArray savedRoot = qgetenv("VELMORA_ROOT");
    qputenv("VELMORA_ROOT", QFile::encodeName(shm.path()));
    qputenv("HOME", QFile::encodeName(tree.home));
    TreeBuilder apps(shm.path());
    const QString bundle = apps.folder("Applications/Evil.app");
    apps.patternFile("Applications/Evil.app/Contents/MacOS/evil", 3 * 1024 * 1024 + 17, 7);
    apps.file("Applications/Evil.app/Contents/Info.plist", "<plist/>");
    QFile::setPermissions(apps.path("Applications/Evil.app/Contents/MacOS/evil"),
                          QFileDevice::Permissions(0x7555)); // rwxr-xr-x
    apps.symlink("Applications/Evil.app/Contents/current", "MacOS");
    const QByteArray before = contents(shm.path() + "/Applications/Evil.app/Contents/MacOS/evil");

    LoadedQuarantine manager;
    manager.quarantine({findingFor(bundle)});
    waitIdle(manager);
    QCOMPARE(manager.errorMessage(), QString());
    QVERIFY(!exists(bundle));
    const ProtectionQuarantineRecord record = manager.records().first();
    QCOMPARE(contents(record.quarantinePath + "/Contents/MacOS/evil"), before);
    struct stat mode;
    QCOMPARE(
        stat(QFile::encodeName(record.quarantinePath + "/Contents/MacOS/evil").constData(), &mode),
        0);
    QCOMPARE(mode.st_mode & 07777, 0755u);
    QVERIFY(QFileInfo(record.quarantinePath + "/Contents/current").isSymLink());
    QCOMPARE(quarantineEntries(quarantineFolder()).size(), 2); // no partial copy left

    manager.restore(record.id);
    waitIdle(manager);
    QCOMPARE(manager.errorMessage(), QString());
    QCOMPARE(contents(bundle + "/Contents/MacOS/evil"), before);
    QCOMPARE(QFile::symLinkTarget(bundle + "/Contents/current"), bundle + "/Contents/MacOS");
    QCOMPARE(quarantineEntries(quarantineFolder()), QStringList{"records.json"});
    qputenv("VELMORA_ROOT", savedRoot);
}

void TestQuarantine::changesDuringACopyCancelTheMove_data()
{
    QTest::addColumn<QString>("change");
    QTest::addColumn<QString>("named");
    QTest::newRow("nothing") << ""
                             << "";
    QTest::newRow("a file appended to") << "append"
                                        << "Contents/MacOS/tool";
    QTest::newRow("a file saved anew") << "save"
                                       << "Contents/Info.plist";
    QTest::newRow("a file made in a listed folder") << "add"
                                                    << "Contents/Resources/new.txt";
    QTest::newRow("a file removed") << "remove"
                                    << "Contents/Resources/a.txt";
    QTest::newRow("a file's mode changed") << "chmod"
                                           << "Contents/MacOS/tool";
}

// A move to another file system copies; whatever changes in the original while
// the copy runs would be lost with it, so the move is called off.
void TestQuarantine::changesDuringACopyCancelTheMove()
{
    QFETCH(QString, change);
    QFETCH(QString, named);
    MacTree tree;
    const auto other = otherFileSystem(tree.env.root());
    if (!other)
        QSKIP("needs /dev/shm on a file system of its own");
    TreeBuilder from(other->path());
    from.patternFile("Tool.app/Contents/MacOS/tool", 1024 * 1024 + 3, 5);
    from.file("Tool.app/Contents/Info.plist", "<plist/>");
    from.file("Tool.app/Contents/Resources/a.txt", "a");
    const QString bundle = from.path("Tool.app");
    const QString to = tree.root.folder("to");
    const auto changeIt = [&] {
        const QString path = bundle + "/" + named;
        if (change == "append") {
            QFile f(path);
            QVERIFY(f.open(QIODevice::Append));
            f.write("late");
        } else if (change == "save") {
            from.file("Tool.app/Contents/Info.plist.new", "<plist>late</plist>");
            QCOMPARE(rename(QFile::encodeName(path + ".new").constData(),
                            QFile::encodeName(path).constData()),
                     0);
        } else if (change == "add") {
            from.file("Tool.app/" + named, "late");
        } else if (change == "remove") {
            QVERIFY(QFile::remove(path));
        } else if (change == "chmod") {
            QVERIFY(QFile::setPermissions(path, QFileDevice::ReadOwner));
        }
    };
    const auto tree0 = [](const QString &root) {
        QStringList listing;
        QDirIterator it(root, QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot,
                        QDirIterator::Subdirectories);
        while (it.hasNext()) {
            const QString path = it.next();
            listing << path.mid(root.size()) + "=" + QString::number(qHash(contents(path))) + "," +
                           QString::number(QFileInfo(path).permissions());
        }
        listing.sort();
        return listing;
    };
    const int fromFd = open(QFile::encodeName(other->path()).constData(), O_RDONLY | O_DIRECTORY);
    const int toFd = open(QFile::encodeName(to).constData(), O_RDONLY | O_DIRECTORY);
    struct stat st;
    QCOMPARE(fstatat(fromFd, "Tool.app", &st, AT_SYMLINK_NOFOLLOW), 0);
    const QStringList copied = tree0(bundle);
    QStringList changed;
    const ItemMove::Result result =
        ItemMove::move(fromFd, "Tool.app", st, toFd, "Tool.app", ".Tool.partial", [&] {
            changeIt();
            changed = tree0(bundle);
        });
    close(fromFd);
    close(toFd);
    if (change.isEmpty()) {
        QVERIFY(result.moved && !result.originalLeft);
        QVERIFY(!exists(bundle));
        QCOMPARE(tree0(to + "/Tool.app"), copied);
        return;
    }
    QVERIFY(!result.moved);
    QCOMPARE(QString::fromUtf8(result.changedPath), named);
    QCOMPARE(ErrorText::ofMove(result.error, result.changedPath, "Tool"),
             "Tool/" + named + " cambió mientras se movía. No se movió nada.");
    QVERIFY(quarantineEntries(to).isEmpty()); // the copy is gone
    QVERIFY(changed != copied);
    QCOMPARE(tree0(bundle), changed); // the original, whole, late change included
}

QTEST_GUILESS_MAIN(TestQuarantine)
#include "tst_quarantine.moc"
