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

// The quarantine's moves (in, back and to the Trash, across file systems too),
// its index, what a start recovers and writes back, and its folder's faults.
using namespace QuarantineTesting;

class TestQuarantine : public QObject
{
    Q_OBJECT

private slots:
    void quarantineRestoreAndTrash();
    void acrossFileSystems_data();
    void acrossFileSystems();
    void indexKeepsOnlyValidRecords();
    void lostIndexAndLostItems();
    void folderFaults_data();
    void folderFaults();
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

// A bundle with an executable of a few MB, a resource and a link.
QString toolBundle(const QString &folder)
{
    TreeBuilder t(folder);
    const QString tool = t.patternFile("Tool.app/Contents/MacOS/tool", 3 * 1024 * 1024 + 17, 7);
    QFile::setPermissions(tool, QFileDevice::Permissions(0x7555)); // rwxr-xr-x
    t.file("Tool.app/Contents/Info.plist", "<plist/>");
    t.file("Tool.app/Contents/Resources/a.txt", "a");
    t.symlink("Tool.app/Contents/current", "MacOS");
    return t.path("Tool.app");
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
    // One the system owns (passed over, the rest still goes), two items of one
    // name from two folders, a name that is not UTF-8, and a bundle.
    const QString system = tree.root.file("Library/LaunchDaemons/com.x.plist", "daemon");
    const QString first = tree.root.file("Users/ana/Downloads/Setup.pkg", "first installer");
    const QString second = tree.root.file("Users/ana/Downloads/old/Setup.pkg", "second installer");
    const QString script = tree.root.file("Users/ana/Downloads/run.sh", "#!/bin/sh\necho run\n");
    const QString bundle =
        tree.root.file("Users/ana/Downloads/Tool.app/Contents/MacOS/tool", QByteArray(70000, 't'));
    const QString bundleFolder = tree.root.path("Users/ana/Downloads/Tool.app");
    const QByteArray oddBytes = QFile::encodeName(tree.home) + "/Downloads/caf\xe9 \xff.sh";
    FILE *oddFile = fopen(oddBytes.constData(), "w");
    QVERIFY(oddFile && fputs("odd name", oddFile) >= 0 && fclose(oddFile) == 0);
    const QString odd = FileLocation::decode(oddBytes);

    // A folder and an index left open to others are closed.
    LoadedQuarantine().recordCount();
    QCOMPARE(chmod(FileLocation::encode(quarantineFolder()).constData(), 0777), 0);
    QVERIFY(QFile::setPermissions(TreeBuilder(quarantineFolder()).file("records.json", "[]"),
                                  QFileDevice::Permissions(0x6666)));
    LoadedQuarantine manager;
    const auto openToOthers = [](const QString &path) {
        return QFileInfo(path).permissions() & QFileDevice::Permissions(0x77);
    };
    QCOMPARE(openToOthers(quarantineFolder()), QFileDevice::Permissions());
    for (const QString &never : {system, quarantineFolder(), tree.home + "/Library"})
        QVERIFY2(!ProtectionQuarantineManager::canQuarantine(findingFor(never)), qPrintable(never));

    manager.quarantine({findingFor(system), findingFor(first), findingFor(second),
                        findingFor(script), findingFor(odd), findingFor(bundleFolder)});
    QCOMPARE(manager.statusText(), QStringLiteral("Moviendo elementos a cuarentena…"));
    waitIdle(manager);
    QCOMPARE(manager.statusText(), QStringLiteral("5 elemento(s) en cuarentena."));
    QCOMPARE(manager.errorMessage(), QString());
    QVERIFY(exists(system));
    for (const QString &p : {first, second, script, odd, bundleFolder})
        QVERIFY2(!exists(p), qPrintable(p));

    // Newest first, each in a file of its own directly in the folder (a
    // record sharing a file would be dropped on reading the index back).
    QCOMPARE(manager.recordCount(), 5);
    QCOMPARE(manager.records().first().originalPath, bundleFolder);
    for (const ProtectionQuarantineRecord &r : manager.records())
        QCOMPARE(FileLocation::deletingLastPathComponent(r.quarantinePath), quarantineFolder());
    QCOMPARE(quarantineEntries(quarantineFolder()).size(), 6); // and records.json, nothing else
    QCOMPARE(openToOthers(indexPath()), QFileDevice::Permissions());
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

    // Trash: gone from the quarantine, in the Trash under its own name, and the
    // Trash puts it back where it was found. Unknown records change nothing.
    const ProtectionQuarantineRecord trashed = manager.recordOf(script);
    manager.trashNow(trashed.id);
    QCOMPARE(manager.statusText(), QStringLiteral("run.sh fue movido a la Papelera."));
    QCOMPARE(contents(tree.env.trashFiles() + "/run.sh"), QByteArray("#!/bin/sh\necho run\n"));
    QVERIFY(contents(tree.env.dataHome() + "/Trash/info/run.sh.trashinfo")
                .contains("Path=" + QUrl::toPercentEncoding(script, "/")));
    QVERIFY(!exists(trashed.quarantinePath));
    manager.restoreNow(kId);
    manager.trashNow(kId);
    QCOMPARE(manager.records(), QList<ProtectionQuarantineRecord>{manager.recordOf(first)});
    QCOMPARE(LoadedQuarantine().records(), manager.records());
    // An item gone from the quarantine: restore says so, trash forgets it.
    QVERIFY(QFile::remove(manager.records().first().quarantinePath));
    manager.restoreNow(manager.recordOf(first).id);
    QCOMPARE(manager.errorMessage(), QStringLiteral("El archivo de cuarentena ya no existe."));
    manager.trashNow(manager.recordOf(first).id);
    QCOMPARE(manager.recordCount(), 0);
    manager.quarantine({});
    QCOMPARE(manager.errorMessage(), QStringLiteral("No hay elementos seleccionados."));
}

void TestQuarantine::acrossFileSystems_data()
{
    QTest::addColumn<QString>("change");
    QTest::addColumn<QString>("named");
    const char *const rows[][3] = {
        {"a file appended to", "append", "Contents/MacOS/tool"},
        {"a file saved anew", "save", "Contents/Info.plist"},
        {"a file made in a listed folder", "add", "Contents/Resources/new.txt"},
        {"a file removed", "remove", "Contents/Resources/a.txt"},
        {"a file's mode changed", "chmod", "Contents/MacOS/tool"},
        {"nothing: in and back through the quarantine", "", ""},
    };
    for (const auto &row : rows)
        QTest::newRow(row[0]) << QString(row[1]) << QString(row[2]);
}

// A move to another file system copies, checks and only then removes the
// original. Whatever changes in the original while the copy runs would be lost
// with it, so the move is called off.
void TestQuarantine::acrossFileSystems()
{
    QFETCH(QString, change);
    QFETCH(QString, named);
    MacTree tree;
    const auto other = otherFileSystem(tree.env.root());
    if (!other)
        QSKIP("needs /dev/shm on a file system of its own");
    const QString bundle = toolBundle(other->path() + "/Applications");
    const QStringList copied = listing(bundle);
    if (change.isEmpty()) { // the applications folder is on the other one
        const QByteArray savedRoot = qgetenv("VELMORA_ROOT");
        qputenv("VELMORA_ROOT", QFile::encodeName(other->path()));
        const auto restoreRoot = qScopeGuard([&] { qputenv("VELMORA_ROOT", savedRoot); });
        LoadedQuarantine manager;
        manager.take({bundle});
        QCOMPARE(manager.errorMessage(), QString());
        QVERIFY(!exists(bundle));
        const ProtectionQuarantineRecord record = manager.records().first();
        QCOMPARE(listing(record.quarantinePath), copied); // contents, modes, the link as a link
        QCOMPARE(quarantineEntries(quarantineFolder()).size(), 2); // no partial copy left
        manager.restoreNow(record.id);
        QCOMPARE(manager.errorMessage(), QString());
        QCOMPARE(listing(bundle), copied);
        QCOMPARE(QFile::symLinkTarget(bundle + "/Contents/current"), bundle + "/Contents/MacOS");
        QCOMPARE(quarantineEntries(quarantineFolder()), QStringList{"records.json"});
        return;
    }
    const QString path = bundle + "/" + named;
    TreeBuilder inside(bundle);
    const QString to = tree.root.folder("to");
    const int fromFd = open(QFile::encodeName(other->path() + "/Applications").constData(),
                            O_RDONLY | O_DIRECTORY);
    const int toFd = open(QFile::encodeName(to).constData(), O_RDONLY | O_DIRECTORY);
    struct stat st;
    QCOMPARE(fstatat(fromFd, "Tool.app", &st, AT_SYMLINK_NOFOLLOW), 0);
    QStringList changed;
    const ItemMove::Result result =
        ItemMove::move(fromFd, "Tool.app", st, toFd, "Tool.app", ".Tool.partial", [&] {
            QFile f(path);
            if (change == "append")
                QVERIFY(f.open(QIODevice::Append) && f.write("late") == 4);
            else if (change == "save")
                QCOMPARE(::rename(QFile::encodeName(inside.file(named + ".new", "late")),
                                  QFile::encodeName(path)),
                         0);
            else if (change == "add")
                inside.file(named, "late");
            else if (change == "remove")
                QVERIFY(f.remove());
            else
                QVERIFY(f.setPermissions(QFileDevice::ReadOwner));
            f.close();
            changed = listing(bundle);
        });
    close(fromFd), close(toFd);
    QVERIFY(!result.moved);
    QCOMPARE(QString::fromUtf8(result.changedPath), named);
    QCOMPARE(ErrorText::ofMove(result.error, result.changedPath, "Tool"),
             "Tool/" + named + " cambió mientras se movía. No se movió nada.");
    QVERIFY(quarantineEntries(to).isEmpty()); // the copy is gone
    QVERIFY(changed != copied);
    QCOMPARE(listing(bundle), changed); // the original, whole, late change included
}

void TestQuarantine::indexKeepsOnlyValidRecords()
{
    const QString folder = QStringLiteral("/h/Library/Application Support/Velmora/Quarantine");
    const auto isFolder = [&](const QString &f) { return f == folder; };
    const QString good = kId + "_x.sh";
    const ProtectionQuarantineRecord r{kId, "/h/Downloads/x.sh", folder + "/" + good, "x.sh",
                                       12,  817000000.25};
    // Exactly the six keys. An origin may be unknown (null), with a quote and a
    // brace in a name.
    ProtectionQuarantineRecord s = r;
    s.id = otherId('1');
    s.quarantinePath = folder + "/" + s.id + "_{\\\"}";
    s.originalPath = QString();
    const QByteArray two = QuarantineIndex::encode({s, r});
    const QJsonObject written = QJsonDocument::fromJson(two).array()[0].toObject();
    QCOMPARE(written.keys(), QStringList({"id", "name", "originalPath", "quarantinePath",
                                          "quarantinedAt", "size"}));
    QVERIFY(written.value("originalPath").isNull());
    bool whole = false;
    QCOMPARE(QuarantineIndex::decode(two, isFolder, &whole), QList({s, r}));
    QVERIFY(whole);
    // Cut short anywhere, or spoilt in the middle: every record still whole in
    // it is kept, and the index is known not to be whole.
    for (const QByteArray &spoilt :
         {two.chopped(2), two.chopped(40), QByteArray(two).insert(1, "@")}) {
        QList<ProtectionQuarantineRecord> expected{s};
        if (spoilt.size() > two.size())
            expected << r;
        QCOMPARE(QuarantineIndex::decode(spoilt, isFolder, &whole), expected);
        QVERIFY(!whole);
    }
    for (const QByteArray &junk :
         {QByteArray(), QByteArray("[{\"id\":"), QByteArray("{\"id\": 1}"), QByteArray(5000, '[')})
        QVERIFY(QuarantineIndex::decode(junk, isFolder).isEmpty());

    // One good record among records each wrong in one way.
    const auto record = [&](const QString &id, const QString &item, const char *key = "",
                            const QJsonValue &value = {}) {
        QJsonObject o{{"id", id},
                      {"originalPath", "/h/Downloads/x.sh"},
                      {"quarantinePath", folder + "/" + item},
                      {"name", "x.sh"},
                      {"size", 12},
                      {"quarantinedAt", 817000000.25}};
        if (*key)
            o[key] = value;
        return o;
    };
    const QJsonArray mixed{
        record(kId, good),
        record(otherId('2'), otherId('2') + "_y", "size", "12"),
        record(otherId('7'), otherId('7') + "_y", "originalPath", "Downloads/x.sh"),
        record(otherId('3'), "", "quarantinePath", "/h/Documents/" + otherId('3') + "_tax.pdf"),
        record("not-a-uuid", "not-a-uuid_z"),
        record(kId.toLower(), kId.toLower() + "_l"), // the same identifier
        record(otherId('4'), "../" + otherId('4') + "_up"),
        record(otherId('5'), "sub/x"),
        record(otherId('6'), good), // the same item
        42,
        QJsonArray{1, 2}};
    const QList<ProtectionQuarantineRecord> kept =
        QuarantineIndex::decode(QJsonDocument(mixed).toJson(), isFolder);
    QCOMPARE(kept.size(), 1);
    QCOMPARE(kept.first().id, kId);
}

void TestQuarantine::lostIndexAndLostItems()
{
    MacTree tree;
    LoadedQuarantine().take({tree.root.file("Users/ana/Downloads/a.sh", "a")});
    // Files of a write cut short by a kill are cleared at the next start.
    TreeBuilder folder(quarantineFolder());
    folder.file(".records.json.5f3a.tmp", "[");
    folder.file("." + kId + ".pending.77.tmp", "{");
    QCOMPARE(LoadedQuarantine().recordCount(), 1);
    QCOMPARE(quarantineEntries(quarantineFolder()).size(), 2);

    // An index cut short keeps every record still whole in it, and is kept
    // aside as it was; an item no record lists is adopted, its origin unknown.
    const QString kept = LoadedQuarantine().records().first().originalPath;
    QFile index(indexPath());
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
    // No index at all, and an item under a name the quarantine never gives:
    // both adopted, and written down, so the next start knows them by the same
    // records.
    QVERIFY(QFile::remove(indexPath()));
    folder.file("stray.sh", "stray");
    LoadedQuarantine last;
    QCOMPARE(last.recordCount(), 2);
    for (const ProtectionQuarantineRecord &r : last.records())
        QVERIFY(r.originalPath.isNull());
    QCOMPARE(contents(last.records().last().quarantinePath), QByteArray("stray"));
    QCOMPARE(last.records().last().name, QStringLiteral("stray.sh"));
    QCOMPARE(LoadedQuarantine().records(), last.records());
}

void TestQuarantine::folderFaults_data()
{
    QTest::addColumn<QString>("fault");
    QTest::addColumn<QString>("why"); // empty: whatever the system says
    const QString other = "La carpeta de cuarentena pertenece a otra cuenta.";
    QTest::newRow("a link") << "link"
                            << "La carpeta de cuarentena es un enlace simbólico.";
    QTest::newRow("a file on the way") << "file" << QString();
    QTest::newRow("Velmora of another account") << "Velmora" << other;
    QTest::newRow("Quarantine of another account") << "Velmora/Quarantine" << other;
}

// A folder that is not ours as it should be is refused: nothing moves in, and
// each item fails on its own.
void TestQuarantine::folderFaults()
{
    QFETCH(QString, fault);
    QFETCH(QString, why);
    MacTree tree;
    const QString support = tree.root.folder("Users/ana/Library/Application Support");
    if (fault == "link") {
        tree.root.folder("Users/ana/Library/Application Support/Velmora");
        QVERIFY(QFile::link(tree.root.folder("Users/ana/elsewhere"), quarantineFolder()));
    } else if (fault == "file") {
        tree.root.file("Users/ana/Library/Application Support/Velmora", "not a folder");
    } else {
        if (geteuid() != 0)
            QSKIP("giving folders to another account needs root");
        LoadedQuarantine().recordCount();
        QCOMPARE(chown(QFile::encodeName(support + "/" + fault).constData(), 65534, 65534), 0);
    }
    const QString item = tree.root.file("Users/ana/Downloads/run.sh", "x");
    LoadedQuarantine manager;
    const QString opening = QStringLiteral("No se pudo crear la cuarentena: ");
    const QString moving = QStringLiteral("No se pudo mover run.sh: ");
    const QString first = manager.errorMessage();
    manager.clearError();
    manager.take({item});
    for (const auto &[message, start] :
         {std::pair(first, opening), {manager.errorMessage(), moving}}) {
        QVERIFY2(message.startsWith(start) && message.size() > start.size() + 8,
                 qPrintable(message));
        QVERIFY2(why.isEmpty() || message == start + why, qPrintable(message));
    }
    QVERIFY(exists(item));
    QCOMPARE(quarantineEntries(quarantineFolder()), QStringList()); // a link's target too
    if (fault == "file")
        QCOMPARE(contents(support + "/Velmora"), QByteArray("not a folder"));
}

QTEST_GUILESS_MAIN(TestQuarantine)
#include "tst_quarantine.moc"
