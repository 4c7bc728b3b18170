#include "DuplicateScanner.h"
#include "FileLocation.h"
#include "MacTree.h"
#include "ProtectionQuarantineManager.h"
#include "ProtectionScanner.h"
#include "ProtectionTrustStore.h"
#include "StorageScanner.h"
#include "TestEnvironment.h"
#include "TreeBuilder.h"
#include "UninstallerScanner.h"

#include <QCryptographicHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRegularExpression>
#include <QtTest>
#include <sys/stat.h>

// The quarantine: its index file and what it accepts, the moves in and out (on
// one file system and across two), the folder's own faults, a process killed in
// the middle of every step, and the walks that must never offer its contents.
namespace {

QString quarantineFolder()
{
    return ProtectionQuarantineManager::quarantineDirectory();
}

// A finding for the file as it is now, as a scan would have made it.
SecurityFinding findingFor(const QString &path)
{
    SecurityFinding f;
    f.url = path;
    f.name = FileLocation::lastPathComponent(path);
    f.path = FileLocation::deletingLastPathComponent(path);
    f.level = ThreatLevel::suspicious;
    struct stat st;
    if (lstat(QFile::encodeName(path).constData(), &st) == 0) {
        f.identity = FileIdentity::of(st);
        f.size = st.st_size;
    }
    return f;
}

void waitIdle(const ProtectionQuarantineManager &manager)
{
    QTRY_VERIFY_WITH_TIMEOUT(!manager.isWorking(), 30000);
}

QByteArray contents(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<missing>");
}

bool exists(const QString &path)
{
    struct stat st;
    return lstat(QFile::encodeName(path).constData(), &st) == 0;
}

QStringList quarantineEntries(const QString &folder)
{
    return QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::System |
                                  QDir::NoDotAndDotDot);
}

QJsonObject runProbe(const QStringList &args, const QProcessEnvironment &env = {},
                     int *exitCode = nullptr, QProcess::ExitStatus *status = nullptr)
{
    QProcess probe;
    if (!env.isEmpty())
        probe.setProcessEnvironment(env);
    probe.start(QStringLiteral(VELMORA_PROBE), args);
    probe.waitForFinished(60000);
    if (exitCode)
        *exitCode = probe.exitCode();
    if (status)
        *status = probe.exitStatus();
    return QJsonDocument::fromJson(probe.readAllStandardOutput()).object();
}

} // namespace

class TestQuarantine : public QObject
{
    Q_OBJECT

private slots:
    void indexKeepsOnlyValidRecords();
    void quarantineRestoreAndTrash();
    void restoreOntoOccupiedPathKeepsBoth();
    void lostIndexAndLostItems();
    void recordsPointingElsewhereAreNeverFollowed();
    void folderFaults();
    void acrossFileSystems();
    void killedAtEveryStepLosesNothing();
    void scannerSelectionTrustAndQuarantine();
    void walksNeverOfferTheQuarantine();
    void uninstallerNeverMovesTheQuarantine();
    void probeShapes();
};

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
    const auto decode = [&](const QJsonValue &value) {
        return QuarantineIndex::decode(QJsonDocument(value.isArray()
                                                         ? QJsonDocument(value.toArray())
                                                         : QJsonDocument(value.toObject()))
                                           .toJson(),
                                       folder);
    };

    // Round trip: exactly the six keys, the date as written.
    ProtectionQuarantineRecord r{id, "/h/Downloads/x.sh", folder + "/" + good, "x.sh",
                                 12, 817000000.25};
    const QJsonArray written = QJsonDocument::fromJson(QuarantineIndex::encode({r})).array();
    QCOMPARE(
        written.at(0).toObject().keys(),
        QStringList({"id", "name", "originalPath", "quarantinePath", "quarantinedAt", "size"}));
    QCOMPARE(QuarantineIndex::decode(QuarantineIndex::encode({r}), folder),
             QList<ProtectionQuarantineRecord>{r});
    QVERIFY(QuarantineIndex::newIdentifier().contains(
        QRegularExpression("^[0-9A-F]{8}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{12}$")));

    // Not an index at all.
    QVERIFY(QuarantineIndex::decode("", folder).isEmpty());
    QVERIFY(QuarantineIndex::decode("[{\"id\":", folder).isEmpty());
    QVERIFY(QuarantineIndex::decode("{\"id\": 1}", folder).isEmpty());
    QVERIFY(QuarantineIndex::decode(QByteArray(5000, '['), folder).isEmpty());

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

    ProtectionQuarantineManager manager;
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
    ProtectionQuarantineManager reread;
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
    QCOMPARE(ProtectionQuarantineManager().records(), manager.records());

    // Unknown records change nothing.
    manager.restore(QStringLiteral("0A1B2C3D-4E5F-4071-8293-A4B5C6D7E8F9"));
    manager.moveToTrash(QStringLiteral("0A1B2C3D-4E5F-4071-8293-A4B5C6D7E8F9"));
    waitIdle(manager);
    QCOMPARE(manager.recordCount(), 1);

    // Nothing selected.
    manager.quarantine({});
    QCOMPARE(manager.errorMessage(), QStringLiteral("No hay elementos seleccionados."));
}

void TestQuarantine::restoreOntoOccupiedPathKeepsBoth()
{
    MacTree tree;
    const QString item = tree.root.file("Users/ana/Downloads/run.sh", "quarantined");
    ProtectionQuarantineManager manager;
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
        ProtectionQuarantineManager manager;
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
    QCOMPARE(ProtectionQuarantineManager().recordCount(), 1);
    QCOMPARE(quarantineEntries(quarantineFolder()).size(), 2);

    // A truncated index: nothing is listed, nothing is moved or deleted.
    QFile index(quarantineFolder() + "/records.json");
    QVERIFY(index.open(QIODevice::ReadWrite));
    const QByteArray whole = index.readAll();
    QVERIFY(index.resize(whole.size() / 2));
    index.close();
    const QStringList before = quarantineEntries(quarantineFolder());
    QCOMPARE(ProtectionQuarantineManager().recordCount(), 0);
    QCOMPARE(quarantineEntries(quarantineFolder()), before);
    // No index at all.
    QVERIFY(QFile::remove(quarantineFolder() + "/records.json"));
    QCOMPARE(ProtectionQuarantineManager().recordCount(), 0);
}

void TestQuarantine::recordsPointingElsewhereAreNeverFollowed()
{
    MacTree tree;
    ProtectionQuarantineManager first; // makes the folder
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

    ProtectionQuarantineManager manager;
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
    ProtectionQuarantineManager again;
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
        ProtectionQuarantineManager manager;
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
        ProtectionQuarantineManager manager;
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
}

void TestQuarantine::acrossFileSystems()
{
    // The home on one file system, the applications folder on another: a move
    // between them copies, checks and only then removes the original.
    QTemporaryDir shm(QStringLiteral("/dev/shm/velmora-XXXXXX"));
    MacTree tree;
    struct stat a, b;
    if (!shm.isValid() || stat(QFile::encodeName(shm.path()).constData(), &a) != 0 ||
        stat(QFile::encodeName(tree.env.root()).constData(), &b) != 0 || a.st_dev == b.st_dev)
        QSKIP("needs /dev/shm on a file system of its own");
    const QByteArray savedRoot = qgetenv("VELMORA_ROOT");
    qputenv("VELMORA_ROOT", QFile::encodeName(shm.path()));
    qputenv("HOME", QFile::encodeName(tree.home));
    TreeBuilder apps(shm.path());
    const QString bundle = apps.folder("Applications/Evil.app");
    apps.patternFile("Applications/Evil.app/Contents/MacOS/evil", 3 * 1024 * 1024 + 17, 7);
    apps.file("Applications/Evil.app/Contents/Info.plist", "<plist/>");
    apps.symlink("Applications/Evil.app/Contents/current", "MacOS");
    const QByteArray before = contents(shm.path() + "/Applications/Evil.app/Contents/MacOS/evil");

    ProtectionQuarantineManager manager;
    manager.quarantine({findingFor(bundle)});
    waitIdle(manager);
    QCOMPARE(manager.errorMessage(), QString());
    QVERIFY(!exists(bundle));
    const ProtectionQuarantineRecord record = manager.records().first();
    QCOMPARE(contents(record.quarantinePath + "/Contents/MacOS/evil"), before);
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

namespace {

// A home with four scripts to quarantine, and the probe's environment on it.
struct CrashTree : MacTree
{
    QStringList originals;
    QProcessEnvironment probeEnv = QProcessEnvironment::systemEnvironment();
    CrashTree()
    {
        for (int i = 0; i < 4; ++i)
            originals << root.file(QStringLiteral("Users/ana/Downloads/s%1.sh").arg(i),
                                   QByteArray("script ") + QByteArray::number(i));
        probeEnv.insert("HOME", home);
        probeEnv.insert("VELMORA_ROOT", env.root());
        probeEnv.insert("XDG_DATA_HOME", env.dataHome());
    }
    // Runs the probe killed at the given step (0: not killed); true when it
    // ended by itself.
    bool run(const QStringList &args, int killAt)
    {
        QProcessEnvironment killing = probeEnv;
        if (killAt > 0)
            killing.insert("VELMORA_KILL_AT", QString::number(killAt));
        QProcess::ExitStatus status;
        runProbe(args, killing, nullptr, &status);
        return status == QProcess::NormalExit;
    }
    QJsonArray records() { return runProbe({"quarantine"}, probeEnv).value("records").toArray(); }

    // Every item is where it was, in the Trash, or in the quarantine with a
    // record naming it; the quarantine holds nothing else.
    void checkInvariant(const QString &when)
    {
        QSet<QString> recordedOriginals, recordedFiles;
        for (const QJsonValue &v : records()) { // the start also finishes the steps
            const QJsonObject r = v.toObject();
            QVERIFY2(exists(r.value("quarantinePath").toString()), qPrintable(when));
            recordedOriginals.insert(r.value("originalPath").toString());
            recordedFiles.insert(
                FileLocation::lastPathComponent(r.value("quarantinePath").toString()));
        }
        for (const QString &original : originals) {
            const bool trashed =
                exists(env.trashFiles() + "/" + FileLocation::lastPathComponent(original));
            QVERIFY2(exists(original) || recordedOriginals.contains(original) || trashed,
                     qPrintable(when + ": lost " + original));
        }
        for (const QString &entry : quarantineEntries(quarantineFolder()))
            QVERIFY2(entry == "records.json" || recordedFiles.contains(entry),
                     qPrintable(when + ": unlisted " + entry));
    }
};

} // namespace

void TestQuarantine::killedAtEveryStepLosesNothing()
{
    // A whole quarantine run, killed at each of its steps in turn on a fresh
    // tree, until a run ends by itself.
    int kills = 0;
    for (int at = 1;; ++at) {
        QVERIFY(at < 80);
        CrashTree tree;
        const bool finished = tree.run({"protection", "--quarantine-selected"}, at);
        tree.checkInvariant("quarantine killed at step " + QString::number(at));
        if (QTest::currentTestFailed())
            return;
        if (finished) {
            QCOMPARE(tree.records().size(), 4);
            break;
        }
        ++kills;
    }
    // Before, between and after each item's move and index write.
    QVERIFY2(kills >= 4 * 3, qPrintable(QString::number(kills)));

    // A restore and a move to the Trash, likewise.
    for (const QString &action : {QStringLiteral("--restore"), QStringLiteral("--trash")}) {
        kills = 0;
        for (int at = 1;; ++at) {
            QVERIFY(at < 40);
            CrashTree tree;
            QVERIFY(tree.run({"protection", "--quarantine-selected"}, 0));
            const QString id = tree.records().first().toObject().value("id").toString();
            const bool finished = tree.run({"quarantine", action, id}, at);
            tree.checkInvariant(action + " killed at step " + QString::number(at));
            if (QTest::currentTestFailed())
                return;
            if (finished) {
                QCOMPARE(tree.records().size(), 3);
                break;
            }
            ++kills;
        }
        QVERIFY2(kills >= 3, qPrintable(action));
    }

    // And at arbitrary instants, while the items go back one by one.
    CrashTree tree;
    QVERIFY(tree.run({"protection", "--quarantine-selected"}, 0));
    for (int round = 0; round < 8; ++round) {
        const QJsonArray left = tree.records();
        if (left.isEmpty())
            break;
        QProcess probe;
        probe.setProcessEnvironment(tree.probeEnv);
        probe.start(QStringLiteral(VELMORA_PROBE),
                    {"quarantine", "--restore", left.first().toObject().value("id").toString()});
        QVERIFY(probe.waitForStarted());
        QThread::usleep(1000 * (round * 7 % 23));
        probe.kill();
        probe.waitForFinished();
        tree.checkInvariant("restore killed at round " + QString::number(round));
    }
}

void TestQuarantine::scannerSelectionTrustAndQuarantine()
{
    MacTree tree;
    const QString run = tree.root.file("Users/ana/Downloads/run.sh", "#!/bin/sh\n");
    const QString fix = tree.root.file("Users/ana/Downloads/fix.command", "#!/bin/sh\n");
    const QString keep = tree.root.file("Users/ana/Downloads/keep.sh", "#!/bin/sh\n");
    const QString daemon = tree.root.file("Library/PrivilegedHelperTools/.hidden-helper", "x");
    Q_UNUSED(daemon);

    ProtectionTrustStore trust;
    ProtectionQuarantineManager manager;
    ProtectionScanner scanner;
    scanner.setTrustStore(&trust);
    scanner.setQuarantine(&manager);
    const int before = scanner.completedScanCount();
    scanner.runFullScan();
    QTRY_VERIFY_WITH_TIMEOUT(scanner.completedScanCount() > before, 30000);
    scanner.selectRecommendedFindings();
    QCOMPARE(scanner.selectedCount(), 3);

    // Trusting takes a finding out of the selection and out of every later
    // recommended selection, and is remembered.
    scanner.toggleTrust(keep);
    QCOMPARE(scanner.selectedCount(), 2);
    scanner.selectRecommendedFindings();
    QCOMPARE(scanner.selectedCount(), 2);
    QVERIFY(ProtectionTrustStore().isTrusted(keep));
    scanner.toggleSelection(keep); // not selectable while trusted
    QCOMPARE(scanner.selectedCount(), 2);

    // One selected item vanishes before the move: it is skipped, the other goes.
    QVERIFY(QFile::remove(fix));
    scanner.quarantineSelected();
    QTRY_VERIFY_WITH_TIMEOUT(!manager.isWorking() && !scanner.hasSelection(), 30000);
    QCOMPARE(manager.recordCount(), 1);
    QVERIFY(!exists(run));
    QStringList left;
    for (const SecurityFinding &f : scanner.findings())
        left << f.name;
    QVERIFY(!left.contains("run.sh"));
    QVERIFY(left.contains("keep.sh"));

    // Untrusting makes it selectable again.
    scanner.toggleTrust(keep);
    QVERIFY(!ProtectionTrustStore().isTrusted(keep));
    scanner.selectRecommendedFindings();
    QCOMPARE(scanner.selectedFindings().size(), 1);
    QCOMPARE(scanner.selectedFindings().first().url, keep);
}

void TestQuarantine::walksNeverOfferTheQuarantine()
{
    MacTree tree;
    const QString big = tree.root.allocatedFile("Users/ana/Downloads/big.iso", 3 * 1024 * 1024);
    tree.root.file("Users/ana/Downloads/twin-a.sh", QByteArray(2 * 1024 * 1024, 'd'));
    tree.root.file("Users/ana/Downloads/twin-b.sh", QByteArray(2 * 1024 * 1024, 'd'));
    ProtectionQuarantineManager manager;
    manager.quarantine({findingFor(big), findingFor(tree.home + "/Downloads/twin-a.sh")});
    waitIdle(manager);
    QCOMPARE(manager.recordCount(), 2);
    // A hidden executable in the quarantine would be rated by the walk of the
    // application-support folder.
    const QString hidden = quarantineFolder() + "/.tool";
    tree.root.executableFile(hidden.mid(tree.env.root().size() + 1), "#!/bin/sh\n");

    StorageScanner large;
    large.scan(tree.home, 1);
    QTRY_VERIFY_WITH_TIMEOUT(large.completedScanCount() == 1, 30000);
    QCOMPARE(large.fileCount(), 1); // twin-b.sh, still in Downloads
    QCOMPARE(large.files().first().name, QStringLiteral("twin-b.sh"));
    large.scan(quarantineFolder(), 1);
    QTRY_VERIFY_WITH_TIMEOUT(large.completedScanCount() == 2, 30000);
    QCOMPARE(large.fileCount(), 0);

    DuplicateScanner duplicates;
    duplicates.scan(tree.home, 1);
    QTRY_VERIFY_WITH_TIMEOUT(duplicates.completedScanCount() == 1, 30000);
    QCOMPARE(duplicates.groupCount(), 0);

    ProtectionScanner protection;
    protection.runFullScan();
    QTRY_VERIFY_WITH_TIMEOUT(protection.completedScanCount() == 1, 30000);
    for (const SecurityFinding &f : protection.findings())
        QVERIFY2(!f.url.startsWith(quarantineFolder()), qPrintable(f.url));
    protection.scanCustom(tree.home + "/Library");
    QTRY_VERIFY_WITH_TIMEOUT(protection.completedScanCount() == 2, 30000);
    for (const SecurityFinding &f : protection.findings())
        QVERIFY2(!f.url.startsWith(quarantineFolder()), qPrintable(f.url));
}

void TestQuarantine::uninstallerNeverMovesTheQuarantine()
{
    // An application whose name matches our own folder: the folder is listed
    // with it, but stays, with what the quarantine holds.
    MacTree tree;
    const QString app = tree.root.bundle("Applications/Velmora.app",
                                         {{"CFBundleIdentifier", "org.other.velmora"}}, false);
    const QString item = tree.root.file("Users/ana/Downloads/run.sh", "isolated");
    const QString cache = tree.root.file("Users/ana/Library/Caches/org.other.velmora/c", "c");
    ProtectionQuarantineManager manager;
    manager.quarantine({findingFor(item)});
    waitIdle(manager);
    QCOMPARE(manager.recordCount(), 1);
    const QString isolated = manager.records().first().quarantinePath;

    UninstallerScanner scanner;
    scanner.scanApplications();
    QTRY_VERIFY_WITH_TIMEOUT(scanner.completedScanCount() == 1, 30000);
    QCOMPARE(scanner.applications().size(), 1);
    QVERIFY(scanner.applications().first().relatedFiles.contains(
        tree.home + "/Library/Application Support/Velmora"));
    scanner.toggleSelection(scanner.applications().first());
    scanner.uninstallSelected();
    QTRY_VERIFY_WITH_TIMEOUT(!scanner.isRemoving(), 30000);
    QVERIFY(!exists(app));
    QVERIFY(!exists(cache));
    QCOMPARE(contents(isolated), QByteArray("isolated"));
    QCOMPARE(ProtectionQuarantineManager().recordCount(), 1);
}

void TestQuarantine::probeShapes()
{
    MacTree tree;
    const QString run = tree.root.file("Users/ana/Downloads/run.sh", "#!/bin/sh\n");
    const QString keep = tree.root.file("Users/ana/Downloads/keep.sh", "#!/bin/sh\n");
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert("HOME", tree.home);
    env.insert("VELMORA_ROOT", tree.env.root());
    const QString marker = tree.env.base() + "/before-remove";

    const QJsonObject out = runProbe({"protection", "--trust", keep, "--quarantine-selected",
                                      "--before-remove", "touch '" + marker + "'"},
                                     env);
    QVERIFY(exists(marker));
    QCOMPARE(out.value("selected").toArray(), QJsonArray());
    QCOMPARE(out.value("errorMessage"), QJsonValue(QJsonValue::Null));
    QCOMPARE(out.value("quarantine").toObject(),
             QJsonObject({{"statusText", "1 elemento(s) en cuarentena."},
                          {"errorMessage", QJsonValue::Null}}));
    QCOMPARE(out.value("items").toArray().size(), 1); // keep.sh, trusted, stays
    QVERIFY(exists(keep));
    QVERIFY(!exists(run));

    QFile::remove(marker);
    const QJsonObject listed = runProbe({"quarantine"}, env);
    QCOMPARE(listed.keys(), QStringList({"errorMessage", "module", "records", "statusText"}));
    const QJsonObject record = listed.value("records").toArray().first().toObject();
    QCOMPARE(record.keys(), QStringList({"id", "name", "originalPath", "quarantinePath",
                                         "quarantinedAt", "size"}));
    QCOMPARE(record.value("originalPath").toString(), run);
    const double now = QDateTime::currentSecsSinceEpoch() - 978307200.0;
    QVERIFY(qAbs(record.value("quarantinedAt").toDouble() - now) < 120);

    const QJsonObject restored = runProbe({"quarantine", "--restore", record.value("id").toString(),
                                           "--before-remove", "touch '" + marker + "'"},
                                          env);
    QVERIFY(exists(marker));
    QCOMPARE(restored.value("statusText").toString(), QStringLiteral("run.sh fue restaurado."));
    QCOMPARE(restored.value("records").toArray(), QJsonArray());
    QVERIFY(exists(run));
}

QTEST_GUILESS_MAIN(TestQuarantine)
#include "tst_quarantine.moc"
