#include "ErrorText.h"
#include "FileLocation.h"
#include "ItemMove.h"
#include "MacTree.h"
#include "QuarantineTesting.h"
#include "TreeBuilder.h"

#include <QDirIterator>
#include <QtTest>
#include <fcntl.h>
#include <memory>
#include <unistd.h>

// The quarantine's moves: in, back and to the Trash, on one file system and
// across two, and what changes during a copy.
using namespace QuarantineTesting;

class TestQuarantine : public QObject
{
    Q_OBJECT

private slots:
    void quarantineRestoreAndTrash();
    void occupiedOrChangedItemsStay();
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

// Every entry below `root` with a digest of its contents and its mode.
QStringList listing(const QString &root)
{
    QStringList out;
    QDirIterator it(root, QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot,
                    QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString path = it.next();
        out << path.mid(root.size()) + "=" + QString::number(qHash(contents(path))) + "," +
                   QString::number(QFileInfo(path).permissions());
    }
    out.sort();
    return out;
}

} // namespace

void TestQuarantine::quarantineRestoreAndTrash()
{
    MacTree tree;
    // Two items of one name from two folders, a name that is not UTF-8, a
    // bundle, and one the system owns.
    const QString first = tree.root.file("Users/ana/Downloads/Setup.pkg", "first installer");
    const QString second = tree.root.file("Users/ana/Downloads/old/Setup.pkg", "second installer");
    const QString script = tree.root.file("Users/ana/Downloads/run.sh", "#!/bin/sh\necho run\n");
    const QString bundle =
        tree.root.file("Users/ana/Downloads/Tool.app/Contents/MacOS/tool", QByteArray(70000, 't'));
    const QString system = tree.root.file("Library/LaunchDaemons/com.x.plist", "daemon");
    const QString bundleFolder = tree.root.path("Users/ana/Downloads/Tool.app");
    const QByteArray oddBytes = QFile::encodeName(tree.home) + "/Downloads/caf\xe9 \xff.sh";
    QFile file;
    QVERIFY(
        file.open(fopen(oddBytes.constData(), "w"), QIODevice::WriteOnly, QFile::AutoCloseHandle));
    file.write("odd name");
    file.close();
    const QString odd = FileLocation::decode(oddBytes);

    LoadedQuarantine manager;
    QVERIFY(QFileInfo(quarantineFolder()).isDir());
    QCOMPARE(QFileInfo(quarantineFolder()).permissions() & (QFile::ReadOther | QFile::ReadGroup),
             QFileDevice::Permissions());
    for (const QString &never : {system, quarantineFolder(), tree.home + "/Library"})
        QVERIFY2(!ProtectionQuarantineManager::canQuarantine(findingFor(never)), qPrintable(never));

    manager.quarantine({findingFor(first), findingFor(second), findingFor(script), findingFor(odd),
                        findingFor(bundleFolder), findingFor(system)});
    QVERIFY(manager.isWorking());
    QCOMPARE(manager.statusText(), QStringLiteral("Moviendo elementos a cuarentena…"));
    waitIdle(manager);
    QCOMPARE(manager.statusText(), QStringLiteral("5 elemento(s) en cuarentena."));
    QCOMPARE(manager.errorMessage(), QString());
    QVERIFY(exists(system)); // never taken from /Library
    for (const QString &p : {first, second, script, odd, bundleFolder})
        QVERIFY2(!exists(p), qPrintable(p));

    // Newest first, each in a file of its own directly in the folder.
    QCOMPARE(manager.recordCount(), 5);
    QCOMPARE(manager.records().first().originalPath, bundleFolder);
    QSet<QString> places;
    for (const ProtectionQuarantineRecord &r : manager.records()) {
        QCOMPARE(FileLocation::deletingLastPathComponent(r.quarantinePath), quarantineFolder());
        QVERIFY(exists(r.quarantinePath));
        places.insert(r.quarantinePath);
    }
    QCOMPARE(places.size(), 5);
    QCOMPARE(quarantineEntries(quarantineFolder()).size(), 6); // and records.json, nothing else
    // The file lists what the manager shows (the odd name by its bytes), and a
    // new manager reads it back.
    QCOMPARE(LoadedQuarantine().records(), manager.records());

    // Restore: the folder it came from is made again, the bytes are the same.
    QVERIFY(QDir(tree.root.path("Users/ana/Downloads/old")).removeRecursively());
    manager.restoreNow(manager.recordOf(second).id);
    QCOMPARE(manager.statusText(), QStringLiteral("Setup.pkg fue restaurado."));
    QCOMPARE(contents(second), QByteArray("second installer"));
    manager.restoreNow(manager.recordOf(bundleFolder).id);
    QCOMPARE(contents(bundle), QByteArray(70000, 't'));
    manager.restoreNow(manager.recordOf(odd).id);
    QCOMPARE(contents(odd), QByteArray("odd name"));
    QCOMPARE(manager.recordCount(), 2);
    QVERIFY(exists(manager.recordOf(first).quarantinePath));

    // Trash: gone from the quarantine, in the Trash under its own name, and the
    // Trash puts it back where it was found.
    const ProtectionQuarantineRecord trashed = manager.recordOf(script);
    manager.trashNow(trashed.id);
    QCOMPARE(manager.statusText(), QStringLiteral("run.sh fue movido a la Papelera."));
    QCOMPARE(contents(tree.env.trashFiles() + "/run.sh"), QByteArray("#!/bin/sh\necho run\n"));
    QVERIFY(contents(tree.env.dataHome() + "/Trash/info/run.sh.trashinfo")
                .contains("Path=" + QUrl::toPercentEncoding(script, "/")));
    QVERIFY(!exists(trashed.quarantinePath));
    QCOMPARE(manager.records(), QList<ProtectionQuarantineRecord>{manager.recordOf(first)});
    QCOMPARE(LoadedQuarantine().records(), manager.records());

    // Unknown records change nothing.
    manager.restoreNow(QStringLiteral("0A1B2C3D-4E5F-4071-8293-A4B5C6D7E8F9"));
    manager.trashNow(QStringLiteral("0A1B2C3D-4E5F-4071-8293-A4B5C6D7E8F9"));
    QCOMPARE(manager.recordCount(), 1);
    // Nothing selected.
    manager.quarantine({});
    QCOMPARE(manager.errorMessage(), QStringLiteral("No hay elementos seleccionados."));
}

void TestQuarantine::occupiedOrChangedItemsStay()
{
    // A restore onto an occupied path keeps both where they are.
    MacTree tree;
    const QString item = tree.root.file("Users/ana/Downloads/run.sh", "quarantined");
    LoadedQuarantine manager;
    manager.take({item});
    QCOMPARE(manager.recordCount(), 1);
    tree.root.file("Users/ana/Downloads/run.sh", "new one");
    manager.restoreNow(manager.records().first().id);
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

void TestQuarantine::acrossFileSystems()
{
    // The home on one file system, the applications folder on another: a move
    // between them copies, checks and only then removes the original.
    MacTree tree;
    const auto other = otherFileSystem(tree.env.root());
    if (!other)
        QSKIP("needs /dev/shm on a file system of its own");
    const QByteArray savedRoot = qgetenv("VELMORA_ROOT");
    qputenv("VELMORA_ROOT", QFile::encodeName(other->path()));
    TreeBuilder apps(other->path());
    const QString bundle = apps.folder("Applications/Evil.app");
    const QString evil =
        apps.patternFile("Applications/Evil.app/Contents/MacOS/evil", 3 * 1024 * 1024 + 17, 7);
    apps.file("Applications/Evil.app/Contents/Info.plist", "<plist/>");
    QFile::setPermissions(evil, QFileDevice::Permissions(0x7555)); // rwxr-xr-x
    apps.symlink("Applications/Evil.app/Contents/current", "MacOS");
    const QStringList before = listing(bundle);

    LoadedQuarantine manager;
    manager.take({bundle});
    QCOMPARE(manager.errorMessage(), QString());
    QVERIFY(!exists(bundle));
    const ProtectionQuarantineRecord record = manager.records().first();
    QCOMPARE(listing(record.quarantinePath), before); // contents and modes
    QVERIFY(QFileInfo(record.quarantinePath + "/Contents/current").isSymLink());
    QCOMPARE(quarantineEntries(quarantineFolder()).size(), 2); // no partial copy left

    manager.restoreNow(record.id);
    QCOMPARE(manager.errorMessage(), QString());
    QCOMPARE(listing(bundle), before);
    QCOMPARE(QFile::symLinkTarget(bundle + "/Contents/current"), bundle + "/Contents/MacOS");
    QCOMPARE(quarantineEntries(quarantineFolder()), QStringList{"records.json"});
    qputenv("VELMORA_ROOT", savedRoot);
}

void TestQuarantine::changesDuringACopyCancelTheMove_data()
{
    QTest::addColumn<QString>("change");
    QTest::addColumn<QString>("named");
    const char *const rows[][3] = {
        {"nothing", "", ""},
        {"a file appended to", "append", "Contents/MacOS/tool"},
        {"a file saved anew", "save", "Contents/Info.plist"},
        {"a file made in a listed folder", "add", "Contents/Resources/new.txt"},
        {"a file removed", "remove", "Contents/Resources/a.txt"},
        {"a file's mode changed", "chmod", "Contents/MacOS/tool"},
    };
    for (const auto &row : rows)
        QTest::newRow(row[0]) << QString(row[1]) << QString(row[2]);
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
    const QString path = bundle + "/" + named;
    const QString to = tree.root.folder("to");
    const auto changeIt = [&] {
        if (change == "append") {
            QFile f(path);
            QVERIFY(f.open(QIODevice::Append));
            f.write("late");
        } else if (change == "save") {
            const QString saved = from.file("Tool.app/" + named + ".new", "<plist>late</plist>");
            QCOMPARE(
                rename(QFile::encodeName(saved).constData(), QFile::encodeName(path).constData()),
                0);
        } else if (change == "add") {
            from.file("Tool.app/" + named, "late");
        } else if (change == "remove") {
            QVERIFY(QFile::remove(path));
        } else if (change == "chmod") {
            QVERIFY(QFile::setPermissions(path, QFileDevice::ReadOwner));
        }
    };
    const int fromFd = open(QFile::encodeName(other->path()).constData(), O_RDONLY | O_DIRECTORY);
    const int toFd = open(QFile::encodeName(to).constData(), O_RDONLY | O_DIRECTORY);
    struct stat st;
    QCOMPARE(fstatat(fromFd, "Tool.app", &st, AT_SYMLINK_NOFOLLOW), 0);
    const QStringList copied = listing(bundle);
    QStringList changed;
    const ItemMove::Result result =
        ItemMove::move(fromFd, "Tool.app", st, toFd, "Tool.app", ".Tool.partial", [&] {
            changeIt();
            changed = listing(bundle);
        });
    close(fromFd);
    close(toFd);
    if (change.isEmpty()) {
        QVERIFY(result.moved && !result.originalLeft);
        QVERIFY(!exists(bundle));
        QCOMPARE(listing(to + "/Tool.app"), copied);
        return;
    }
    QVERIFY(!result.moved);
    QCOMPARE(QString::fromUtf8(result.changedPath), named);
    QCOMPARE(ErrorText::ofMove(result.error, result.changedPath, "Tool"),
             "Tool/" + named + " cambió mientras se movía. No se movió nada.");
    QVERIFY(quarantineEntries(to).isEmpty()); // the copy is gone
    QVERIFY(changed != copied);
    QCOMPARE(listing(bundle), changed); // the original, whole, late change included
}

QTEST_GUILESS_MAIN(TestQuarantine)
#include "tst_quarantine.moc"
