#include "FileLocation.h"
#include "MacTree.h"
#include "QuarantineTesting.h"
#include "TreeBuilder.h"

#include <QRegularExpression>
#include <QtTest>
#include <unistd.h>

// The quarantine's index and folder: which records it accepts, what a start
// recovers (and writes back, so the next start knows it too), and the folder's
// own faults.
using namespace QuarantineTesting;

class TestQuarantineIndex : public QObject
{
    Q_OBJECT

private slots:
    void indexKeepsOnlyValidRecords();
    void lostIndexAndLostItems();
    void recordsPointingElsewhereAreNeverFollowed();
    void folderFaults_data();
    void folderFaults();
    void folderOpenToOthersIsClosed();
    void homeUnderAnotherSpelling();
};

namespace {

const QString kId = QStringLiteral("0A1B2C3D-4E5F-4071-8293-A4B5C6D7E8F9");

QString otherId(char first)
{
    return QString(kId).replace(0, 2, QString(2, QLatin1Char(first)));
}

} // namespace

void TestQuarantineIndex::indexKeepsOnlyValidRecords()
{
    const QString folder = QStringLiteral("/h/Library/Application Support/Velmora/Quarantine");
    const auto isFolder = [&](const QString &f) { return f == folder; };
    const auto record = [&](const QString &id, const QString &item) {
        return QJsonObject{{"id", id},
                           {"originalPath", "/h/Downloads/x.sh"},
                           {"quarantinePath", folder + "/" + item},
                           {"name", "x.sh"},
                           {"size", 12},
                           {"quarantinedAt", 817000000.25}};
    };
    const QString good = kId + "_x.sh";

    // Round trip: exactly the six keys, the date as written.
    const ProtectionQuarantineRecord r{kId, "/h/Downloads/x.sh", folder + "/" + good, "x.sh",
                                       12,  817000000.25};
    QCOMPARE(
        QJsonDocument::fromJson(QuarantineIndex::encode({r})).array()[0].toObject().keys(),
        QStringList({"id", "name", "originalPath", "quarantinePath", "quarantinedAt", "size"}));
    bool whole = false;
    QCOMPARE(QuarantineIndex::decode(QuarantineIndex::encode({r}), isFolder, &whole),
             QList<ProtectionQuarantineRecord>{r});
    QVERIFY(whole);
    // Cut short anywhere, or spoilt in the middle: every record still whole in
    // it is kept, and the index is known not to be whole. An origin may be
    // unknown (null), with a quote and a brace in a name.
    ProtectionQuarantineRecord s = r;
    s.id = otherId('1');
    s.quarantinePath = folder + "/" + s.id + "_{\\\"}";
    s.originalPath = QString();
    const QByteArray two = QuarantineIndex::encode({s, r});
    QVERIFY(QJsonDocument::fromJson(two).array()[0].toObject().value("originalPath").isNull());
    for (const QByteArray &spoilt :
         {two.chopped(2), two.chopped(40), QByteArray(two).insert(1, "@")}) {
        QList<ProtectionQuarantineRecord> expected{s};
        if (spoilt.size() > two.size())
            expected << r;
        QCOMPARE(QuarantineIndex::decode(spoilt, isFolder, &whole), expected);
        QVERIFY(!whole);
    }
    QVERIFY(QuarantineIndex::newIdentifier().contains(
        QRegularExpression("^[0-9A-F]{8}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{12}$")));

    // Not an index at all.
    for (const QByteArray &junk :
         {QByteArray(), QByteArray("[{\"id\":"), QByteArray("{\"id\": 1}"), QByteArray(5000, '[')})
        QVERIFY(QuarantineIndex::decode(junk, isFolder).isEmpty());

    // One good record among records each wrong in one way.
    QJsonObject wrongType = record(otherId('2'), otherId('2') + "_y");
    QJsonObject relative = record(otherId('7'), otherId('7') + "_r");
    wrongType["size"] = "12";
    relative["originalPath"] = "Downloads/x.sh";
    QJsonObject outside = record(otherId('3'), "x");
    outside["quarantinePath"] = "/h/Documents/" + otherId('3') + "_tax.pdf";
    const QJsonArray mixed{record(kId, good),
                           wrongType,
                           relative,
                           outside,
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

    // A huge array of junk is read quickly and yields nothing.
    QJsonArray huge;
    for (int i = 0; i < 200000; ++i)
        huge.append(QJsonObject{{"id", i}});
    QVERIFY(QuarantineIndex::decode(QJsonDocument(huge).toJson(), isFolder).isEmpty());
}

void TestQuarantineIndex::lostIndexAndLostItems()
{
    MacTree tree;
    const QString a = tree.root.file("Users/ana/Downloads/a.sh", "a");
    const QString b = tree.root.file("Users/ana/Downloads/b.sh", "b");
    {
        LoadedQuarantine manager;
        manager.take({a, b});
        QCOMPARE(manager.recordCount(), 2);
        // An item gone from the quarantine: restore says so, trash forgets it.
        const ProtectionQuarantineRecord gone = manager.records().first();
        QVERIFY(QFile::remove(gone.quarantinePath));
        manager.restoreNow(gone.id);
        QCOMPARE(manager.errorMessage(), QStringLiteral("El archivo de cuarentena ya no existe."));
        manager.trashNow(gone.id);
        QCOMPARE(manager.recordCount(), 1);
    }
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

void TestQuarantineIndex::recordsPointingElsewhereAreNeverFollowed()
{
    MacTree tree;
    LoadedQuarantine().recordCount(); // makes the folder
    const QString precious = tree.root.file("Users/ana/Documents/tax.pdf", "precious");
    const QString inside = quarantineFolder() + "/" + kId + "_link";
    // One record names a file outside the folder; another lies inside it but is
    // a link to that file.
    QVERIFY(QFile::link(precious, inside));
    const auto record = [&](const QString &id, const QString &from, const QString &at) {
        return QJsonObject{{"id", id},
                           {"originalPath", tree.home + "/Downloads/" + from},
                           {"quarantinePath", at},
                           {"name", from},
                           {"size", 8},
                           {"quarantinedAt", 1.0}};
    };
    writeIndex(QJsonDocument(QJsonArray{record(otherId('8'), "tax.pdf", precious),
                                        record(kId, "link", inside)})
                   .toJson());
    LoadedQuarantine manager;
    QCOMPARE(manager.recordCount(), 1);
    QCOMPARE(manager.records().first().id, kId);
    // Restoring the link moves the link, never what it points at.
    manager.restoreNow(kId);
    QCOMPARE(contents(precious), QByteArray("precious"));
    QVERIFY(QFileInfo(tree.home + "/Downloads/link").isSymLink());
    manager.trashNow(otherId('8'));
    QCOMPARE(contents(precious), QByteArray("precious"));

    // A restore only ever goes into the home or the applications folder.
    const QString item = tree.root.file("Users/ana/Downloads/c.sh", "c");
    manager.take({item});
    writeIndex(
        contents(indexPath())
            .replace(QFile::encodeName(item), QFile::encodeName(tree.root.path("Library/c.sh"))));
    LoadedQuarantine again;
    QCOMPARE(again.recordCount(), 1);
    again.restoreNow(again.records().first().id);
    QCOMPARE(again.errorMessage(),
             QStringLiteral("No se pudo restaurar: La ubicación original está fuera de la carpeta "
                            "personal y de Aplicaciones."));
    QVERIFY(!exists(tree.root.path("Library/c.sh")));
    QCOMPARE(again.recordCount(), 1);
}

void TestQuarantineIndex::folderFaults_data()
{
    QTest::addColumn<QString>("fault");
    QTest::addColumn<QString>("why"); // empty: whatever the system says
    const QString link = "La carpeta de cuarentena es un enlace simbólico.";
    const QString other = "La carpeta de cuarentena pertenece a otra cuenta.";
    QTest::newRow("a link") << "link" << link;
    QTest::newRow("a file on the way") << "file" << QString();
    QTest::newRow("Velmora of another account") << "Velmora" << other;
    QTest::newRow("Quarantine of another account") << "Velmora/Quarantine" << other;
}

// A folder that is not ours as it should be is refused: nothing moves in, and
// each item fails on its own.
void TestQuarantineIndex::folderFaults()
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
    QVERIFY2(manager.errorMessage().startsWith(opening) &&
                 manager.errorMessage().size() > opening.size() + 8,
             qPrintable(manager.errorMessage()));
    if (!why.isEmpty())
        QCOMPARE(manager.errorMessage(), opening + why);
    manager.clearError();
    manager.take({item});
    const QString moving = QStringLiteral("No se pudo mover run.sh: ");
    QVERIFY2(manager.errorMessage().startsWith(moving), qPrintable(manager.errorMessage()));
    if (!why.isEmpty())
        QCOMPARE(manager.errorMessage(), moving + why);
    QVERIFY(exists(item));
    QCOMPARE(quarantineEntries(quarantineFolder()), QStringList()); // a link's target too
    if (fault == "file")
        QCOMPARE(contents(support + "/Velmora"), QByteArray("not a folder"));
}

void TestQuarantineIndex::folderOpenToOthersIsClosed()
{
    MacTree tree;
    LoadedQuarantine().recordCount();
    const QByteArray index =
        QFile::encodeName(TreeBuilder(quarantineFolder()).file("records.json", "[]"));
    QCOMPARE(chmod(QFile::encodeName(quarantineFolder()).constData(), 0777), 0);
    QCOMPARE(chmod(index.constData(), 0666), 0);
    LoadedQuarantine manager;
    manager.take({tree.root.file("Users/ana/Downloads/run.sh", "x")});
    QCOMPARE(manager.recordCount(), 1);
    struct stat folder, file;
    QCOMPARE(stat(QFile::encodeName(quarantineFolder()).constData(), &folder), 0);
    QCOMPARE(stat(index.constData(), &file), 0);
    QCOMPARE(folder.st_mode & 07777, 0700u);
    QCOMPARE(file.st_mode & 07777, 0600u);
}

// The same home under another spelling (through a link) keeps every record,
// and a restore finds its way back.
void TestQuarantineIndex::homeUnderAnotherSpelling()
{
    MacTree tree;
    const QString item = tree.root.file("Users/ana/Downloads/run.sh", "x");
    LoadedQuarantine().take({item});
    const QString linked = tree.root.symlink("home-link", tree.home);
    qputenv("HOME", QFile::encodeName(linked));
    LoadedQuarantine manager;
    QCOMPARE(manager.recordCount(), 1);
    QCOMPARE(manager.records().first().originalPath, linked + "/Downloads/run.sh");
    manager.restoreNow(manager.records().first().id);
    QCOMPARE(manager.errorMessage(), QString());
    QCOMPARE(contents(item), QByteArray("x"));
}

QTEST_GUILESS_MAIN(TestQuarantineIndex)
#include "tst_quarantineindex.moc"
