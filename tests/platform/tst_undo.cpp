#include "OperationUndo.h"
#include "TestEnvironment.h"
#include "Trash.h"
#include "TreeBuilder.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QProcess>
#include <QtTest>
#include <sys/stat.h>

// Removals taken back: each item from the Trash to its place through the same
// checks as the removal, the journal kept private and truthful through damage
// and kills.
namespace {

const QByteArray kContent = QByteArray(70000, 'a') + "end";

struct Tree
{
    TestEnvironment env;
    TreeBuilder home{env.home()};
    QString file = home.file("Docs/a.bin", kContent);
    QString info() const { return env.dataHome() + "/Trash/info/a.bin.trashinfo"; }
    QString journal() const
    {
        return env.home() + "/Library/Application Support/Velmora/History/operations.journal";
    }
    // Trashes the file as one operation and gives its id.
    QString trashIt()
    {
        OperationRecording recording(QStringLiteral("largefiles"));
        return Trash::moveToTrash(file) ? recording.finish() : QString();
    }
    QList<JournalOperation> operations() const
    {
        return OperationJournal::open(false)->operations();
    }
    // The probe's list under `key` ("operations" for the history).
    QJsonArray probe(const QStringList &args, int killAt = 0, bool *finished = nullptr,
                     const QString &key = QStringLiteral("operations")) const
    {
        QProcess probe;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("VELMORA_KILL_AT", QString::number(killAt));
        probe.setProcessEnvironment(environment);
        probe.start(QStringLiteral(VELMORA_PROBE), args);
        probe.waitForFinished(60000);
        if (finished)
            *finished = probe.exitStatus() == QProcess::NormalExit && probe.exitCode() == 0;
        return QJsonDocument::fromJson(probe.readAllStandardOutput())[key].toArray();
    }
};

} // namespace

class TestUndo : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void putBack_data();
    void putBack();
    void journalKeptPrivateAndTruthful();
    void killedAtEveryStepLosesNothing();
    void fromTheQuarantineToTheTrashAndBack();
};

void TestUndo::putBack_data()
{
    QTest::addColumn<QString>("change"); // made between the removal and the undo
    QTest::addColumn<QString>("place");  // where the item is after the undo
    QTest::addColumn<QString>("report");
    QTest::newRow("back") << ""
                          << "Docs/a.bin"
                          << "1 elemento(s) devueltos a su lugar.";
    QTest::newRow("place taken")
        << "taken"
        << "Docs/a.bin (restaurado)"
        << "1 elemento(s) devueltos a su lugar. Su lugar estaba ocupado y se devolvieron a su "
           "lado con “(restaurado)” en el nombre: a.bin.";
    QTest::newRow("folder gone, made again") << "no folder"
                                             << "Docs/a.bin"
                                             << "1 elemento(s) devueltos a su lugar.";
    QTest::newRow("emptied") << "emptied"
                             << ""
                             << "Ya no están en la Papelera ni en la cuarentena y no se tocaron: "
                                "a.bin.";
    QTest::newRow("put back by another tool")
        << "restored elsewhere"
        << ""
        << "Ya no están en la Papelera ni en la cuarentena y no se tocaron: a.bin.";
    QTest::newRow("changed in the Trash")
        << "swapped"
        << ""
        << "Ya no están en la Papelera ni en la cuarentena y no se tocaron: a.bin.";
    QTest::newRow("its folder is a link now")
        << "link"
        << ""
        << "Su lugar pasa ahora por un enlace y no se devolvieron: a.bin.";
}

void TestUndo::putBack()
{
    QFETCH(QString, change);
    QFETCH(QString, place);
    QFETCH(QString, report);
    Tree t;
    const QString id = t.trashIt();
    QVERIFY(!id.isEmpty() && !QFile::exists(t.file));
    const QString trashed = t.env.trashFiles() + "/a.bin";
    const QString elsewhere = t.home.folder("Elsewhere");
    if (change == "taken")
        t.home.file("Docs/a.bin", "new");
    if (change == "no folder")
        QVERIFY(QDir(t.home.path("Docs")).removeRecursively());
    if (change == "emptied")
        QVERIFY(QFile::remove(trashed));
    if (change == "swapped") {
        QFile changed(trashed);
        QVERIFY(changed.open(QIODevice::Append) && changed.write("!") == 1);
    }
    if (change == "restored elsewhere") {
        const QString trashRestore = QStandardPaths::findExecutable("trash-restore");
        if (trashRestore.isEmpty())
            QSKIP("trash-cli is not installed");
        QProcess restore;
        restore.start(trashRestore, {t.home.path("Docs")});
        restore.write("0\n");
        restore.closeWriteChannel();
        QVERIFY(restore.waitForFinished(30000));
        QCOMPARE(fileContents(t.file), kContent);
    }
    if (change == "link") {
        QVERIFY(QDir(t.home.path("Docs")).removeRecursively());
        t.home.symlink("Docs", elsewhere);
    }

    const OperationUndo::Report done = OperationUndo::undo(id);
    QCOMPARE(done.back.isEmpty() ? OperationUndo::errorText(done) : OperationUndo::statusText(done),
             report);
    const JournalItem item = t.operations().value(0).items.value(0);
    if (!place.isEmpty()) {
        QCOMPARE(fileContents(t.home.path(place)), kContent);
        QVERIFY(!QFile::exists(trashed) && !QFile::exists(t.info()));
        QCOMPARE(item.place, JournalItem::Place::restored);
        QCOMPARE(item.restoredPath, t.home.path(place));
        QCOMPARE(OperationUndo::placeOf(item), OperationUndo::Place::restored);
    } else {
        QCOMPARE(OperationUndo::placeOf(item),
                 change == "link" ? OperationUndo::Place::trash : OperationUndo::Place::gone);
        QVERIFY(QDir(elsewhere).isEmpty());
    }
    if (change == "taken")
        QCOMPARE(fileContents(t.file), QByteArray("new"));
    if (change == "link")
        QCOMPARE(fileContents(trashed), kContent);
    // Taken back once, it cannot be taken back again.
    QCOMPARE(OperationUndo::undo(id).back, QStringList());
}

void TestUndo::journalKeptPrivateAndTruthful()
{
    Tree t;
    const QString id = t.trashIt();
    const auto mode = [](const QString &path) {
        struct stat st;
        return stat(QFile::encodeName(path).constData(), &st) == 0 ? st.st_mode & 07777 : 0u;
    };
    QCOMPARE(std::pair(mode(t.journal()), mode(QFileInfo(t.journal()).path())),
             std::pair(0600u, 0700u));
    const JournalOperation operation = t.operations().value(0);
    QCOMPARE(operation.module, QStringLiteral("largefiles"));
    QCOMPARE(operation.items.value(0).originalPath, t.file);
    QCOMPARE(operation.items.value(0).identity.size, kContent.size());

    // A line that is not ours is kept aside, never written over; what could be
    // read is written anew. A line pointing at another file of the Trash with
    // its own identity makes nothing move.
    QFile journal(t.journal());
    const QByteArray good = fileContents(t.journal());
    const QString other = t.home.file("Docs/other.bin", "other");
    QVERIFY(Trash::moveToTrash(other));
    QByteArray forged = good;
    forged.replace("a.bin", "other.bin")
        .replace(id.toLatin1(), "4F6D0A3B-5C1E-4E8B-9D2A-7B3C9E1F0A55");
    QVERIFY(journal.open(QIODevice::WriteOnly | QIODevice::Append));
    journal.write("{\"k\":\"broken\"}\n" + forged + "{\"k\":\"cut");
    journal.close();
    QList<JournalOperation> read = t.operations();
    QCOMPARE(read.size(), 2);
    QCOMPARE(fileContents(QDir(QFileInfo(t.journal()).path())
                              .entryInfoList({"operations.journal.*"})
                              .value(0)
                              .filePath())
                 .left(good.size()),
             good);
    QVERIFY(OperationUndo::undo(read.at(1).id).back.isEmpty());
    QVERIFY(QFile::exists(t.env.trashFiles() + "/other.bin") && !QFile::exists(other));

    // A month later the operation is forgotten; its item stays in the Trash.
    OperationJournal::setClock([] { return QDateTime::currentDateTimeUtc().addDays(31); });
    read = t.operations();
    OperationJournal::setClock({});
    QVERIFY(read.isEmpty());
    QVERIFY(OperationUndo::undo(id).back.isEmpty());
    QCOMPARE(fileContents(t.env.trashFiles() + "/a.bin"), kContent);
}

// Killed at every step of an undo of two items, one of them to a taken place:
// each item is either back whole or still in the Trash, and the history says
// which; a second undo then brings back what the first did not.
void TestUndo::killedAtEveryStepLosesNothing()
{
    for (int at = 1;; ++at) {
        Tree t;
        t.home.file("Docs/b.bin", kContent + "b");
        bool finished = false;
        t.probe({"largefiles", t.home.path("Docs"), "--min-mb", "0", "--select-all",
                 "--trash-selected"},
                0, &finished);
        QVERIFY(finished);
        const QString id = t.probe({"history"}).at(0)["id"].toString();
        t.home.file("Docs/a.bin", "taken");
        t.probe({"history", "--undo", id}, at, &finished);
        const auto check = [&](const QJsonArray &history) {
            for (const QJsonValue &item : history.at(0)["items"].toArray()) {
                const QString original = item["originalPath"].toString();
                const QString name = QFileInfo(original).fileName();
                const QByteArray bytes = name == "a.bin" ? kContent : kContent + "b";
                const QString back = name == "a.bin" ? original + " (restaurado)" : original;
                const bool inTrash = QFile::exists(t.env.trashFiles() + "/" + name);
                QCOMPARE(item["place"].toString(), inTrash ? "trash" : "restored");
                QCOMPARE(fileContents(inTrash ? t.env.trashFiles() + "/" + name : back), bytes);
                QCOMPARE(QFile::exists(t.env.dataHome() + "/Trash/info/" + name + ".trashinfo"),
                         inTrash);
                QCOMPARE(QFile::exists(back), !inTrash);
            }
        };
        check(t.probe({"history"}));
        if (QTest::currentTestFailed())
            QFAIL(qPrintable(QString("killed at step %1").arg(at)));
        t.probe({"history", "--undo", id});
        const QJsonArray after = t.probe({"history"});
        check(after);
        QCOMPARE(after.at(0)["state"].toString(), "Deshecha");
        QCOMPARE(fileContents(t.file), QByteArray("taken"));
        if (finished)
            break;
    }
}

// A quarantined item moved on to the Trash goes back into the quarantine,
// under its record, when that move is taken back.
void TestUndo::fromTheQuarantineToTheTrashAndBack()
{
    Tree t;
    const QString script = t.home.file("Downloads/instalar.command", "#!/bin/sh\ncurl x | sh\n");
    QFile::setPermissions(script, QFileDevice::ReadOwner | QFileDevice::ExeOwner);
    t.probe({"protection", "--quarantine-selected"});
    const auto records = [&](const QStringList &actions = {}) {
        return t.probe(QStringList{"quarantine"} + actions, 0, nullptr, "records");
    };
    const QJsonObject record = records().at(0).toObject();
    QCOMPARE(record["originalPath"].toString(), script);
    QVERIFY(records({"--trash", record["id"].toString()}).isEmpty());
    const QJsonObject moved = t.probe({"history"}).at(0).toObject();
    QCOMPARE(moved["items"][0]["place"].toString(), "trash");
    t.probe({"history", "--undo", moved["id"].toString()});
    QCOMPARE(records(), QJsonArray{record});
    QCOMPARE(fileContents(record["quarantinePath"].toString()), "#!/bin/sh\ncurl x | sh\n");
    QCOMPARE(t.probe({"history"}).at(0)["state"].toString(), "Deshecha");
    QVERIFY(QDir(t.env.trashFiles()).isEmpty());
}

QTEST_GUILESS_MAIN(TestUndo)
#include "tst_undo.moc"
