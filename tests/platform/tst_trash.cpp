#include "FileLocation.h"
#include "TestEnvironment.h"
#include "Trash.h"
#include "TreeBuilder.h"

#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QUrl>
#include <QtTest>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

// The home Trash: what goes in, what its information files say, and every
// Trash folder that cannot be used leaving the item where it was.
class TestTrash : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyItemGoesWithWhereItCameFrom();
    void trashCliListsAndRestoresByteForByte_data();
    void trashCliListsAndRestoresByteForByte();
    void dataHomeIsNeverTheWorkingFolder_data();
    void dataHomeIsNeverTheWorkingFolder();
    void unusableTrashLeavesEverythingInPlace_data();
    void unusableTrashLeavesEverythingInPlace();
    void lockedFolderKeepsItsItem();
};

namespace {

QStringList entries(const QString &folder)
{
    return QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::System |
                                  QDir::NoDotAndDotDot);
}

QString pathInInfo(const QByteArray &info)
{
    for (const QByteArray &line : info.split('\n'))
        if (line.startsWith("Path="))
            return FileLocation::decode(QByteArray::fromPercentEncoding(line.mid(5)));
    return {};
}

} // namespace

void TestTrash::everyItemGoesWithWhereItCameFrom()
{
    TestEnvironment env;
    TreeBuilder tree(env.home());
    tree.file(QStringLiteral("Real/Tool.app/Contents/data"), "payload");
    tree.file(QStringLiteral("Project/notes.txt"));
    // Links go themselves, a folder goes whole.
    const QString link = tree.symlink(QStringLiteral("Apps/Tool.app"), tree.path("Real/Tool.app"));
    QStringList items{link, tree.symlink(QStringLiteral("Apps/Old.app"), tree.path("gone")),
                      tree.symlink(QStringLiteral("Other/Tool.app"), tree.path("Real")),
                      tree.path(QStringLiteral("Project"))};
    // A newline would split the Path line; "%" sequences and "/.." would point a
    // restore elsewhere if they were written as they are; names of 250 and 255
    // bytes must be shortened, a CJK one on a character boundary; a name already
    // in the Trash gets one of its own. Each file holds its own path.
    for (const QString &name :
         {QStringLiteral("Mix/line\nbreak.bin"), QStringLiteral("Mix/100%.bin"),
          QStringLiteral("Mix/%2Fetc%2Fpasswd.bin"), QStringLiteral("Mix/x%2F..%2F..%2Fp.bin"),
          QStringLiteral("Mix/tab\tand space .bin"), "Mix/" + QString(82, QChar(0x30C7)) + ".bin",
          "Mix/" + QString(255, QLatin1Char('n')), QStringLiteral("Mix/report.pdf"),
          QStringLiteral("Other/report.pdf")})
        items << tree.file(name, name.toUtf8());
    for (const QString &item : items) {
        QString error;
        QVERIFY2(Trash::moveToTrash(item, &error), qPrintable(item + QLatin1Char(' ') + error));
        QVERIFY(!QFileInfo::exists(item) && !QFileInfo(item).isSymLink());
    }
    QCOMPARE(fileContents(tree.path("Real/Tool.app/Contents/data")), QByteArray("payload"));
    const QRegularExpression shape(
        "^\\[Trash "
        "Info\\]\nPath=/[^\n]+\nDeletionDate=(\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d)\n$");
    QStringList restoredTo;
    for (const QString &name : entries(env.trashFiles())) {
        const QByteArray bytes = QFile::encodeName(name);
        QVERIFY2(bytes.size() <= 245 && QString::fromUtf8(bytes).toUtf8() == bytes, bytes);
        const QByteArray info = fileContents(env.dataHome() + "/Trash/info/" + name + ".trashinfo");
        const QRegularExpressionMatch match = shape.match(QString::fromLatin1(info));
        QVERIFY2(match.hasMatch(), info.constData());
        // Local time, as freedesktop Trash entries carry it.
        const QDateTime deleted =
            QDateTime::fromString(match.captured(1), QStringLiteral("yyyy-MM-dd'T'HH:mm:ss"));
        QVERIFY(qAbs(deleted.secsTo(QDateTime::currentDateTime())) < 120);
        restoredTo << pathInInfo(info);
        // What the Trash holds under that name is the item itself.
        const QFileInfo held(env.trashFiles() + QLatin1Char('/') + name);
        QCOMPARE(held.isSymLink(), restoredTo.last().endsWith(QLatin1String(".app")));
        if (held.isFile() && !held.isSymLink())
            QCOMPARE(tree.path(QString::fromUtf8(fileContents(held.filePath()))),
                     restoredTo.last());
    }
    restoredTo.sort();
    items.sort();
    QCOMPARE(restoredTo, items);
    const QByteArray info = fileContents(env.dataHome() + "/Trash/info/Tool.app.trashinfo");
    QVERIFY2(info.startsWith("[Trash Info]\nPath=" + QUrl::toPercentEncoding(link, "/") + "\n"),
             info.constData());
}

void TestTrash::trashCliListsAndRestoresByteForByte_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<bool>("cliRestores");
    QTest::newRow("escapes and CJK") << QByteArray("100% año %2F 日本.bin") << true;
    // Names Linux allows but UTF-8 does not: a lone byte, an encoded surrogate.
    // trash-restore 0.17 decodes the information file's path with replacement
    // marks, so it would put this one under another name; the path the file
    // holds is checked instead, as any restore that keeps bytes reads it.
    QTest::newRow("not UTF-8") << QByteArray("informe \xff\xfe \xed\xa0\x80.bin") << false;
}

void TestTrash::trashCliListsAndRestoresByteForByte()
{
    QFETCH(QByteArray, name);
    QFETCH(bool, cliRestores);
    const QString list = QStandardPaths::findExecutable(QStringLiteral("trash-list"));
    const QString restore = QStandardPaths::findExecutable(QStringLiteral("trash-restore"));
    if (list.isEmpty() || restore.isEmpty())
        QSKIP("trash-cli is not installed (./dev.sh test installs it)");
    TestEnvironment env;
    TreeBuilder tree(env.home());
    const QString folder = tree.folder(QStringLiteral("Restaurar"));
    const QByteArray bytes = FileLocation::encode(folder) + '/' + name;
    const QString original = FileLocation::decode(bytes);
    // By bytes: Qt's file classes would name another file.
    const int fd = ::open(bytes.constData(), O_WRONLY | O_CREAT, 0644);
    QVERIFY(fd >= 0 && ::write(fd, "precious bytes", 14) == 14);
    ::close(fd);
    QVERIFY(Trash::moveToTrash(original));

    QProcess listing;
    listing.start(list, {});
    QVERIFY(listing.waitForFinished(30000));
    // trash-list shows a name that is not UTF-8 as Velmora does, with replacement marks.
    const QString listed = QString::fromUtf8(listing.readAllStandardOutput());
    QVERIFY2(listed.contains(FileLocation::displayText(original)), qPrintable(listed));
    if (cliRestores) {
        // This trash-restore lists only what came from below its working folder
        // and reads the choice from its input.
        QProcess restoring;
        restoring.setWorkingDirectory(folder);
        restoring.start(restore, {});
        restoring.write("0\n");
        restoring.closeWriteChannel();
        QVERIFY(restoring.waitForFinished(30000));
    } else {
        const QByteArray trash = FileLocation::encode(env.dataHome()) + "/Trash/";
        const QByteArray path =
            fileContents(trash + "info/" + name + ".trashinfo").split('\n').value(1);
        QCOMPARE(QByteArray::fromPercentEncoding(path.mid(path.indexOf('=') + 1)), bytes);
        QVERIFY(std::rename((trash + "files/" + name).constData(), bytes.constData()) == 0);
    }
    QCOMPARE(fileContents(bytes), QByteArray("precious bytes"));
}

void TestTrash::dataHomeIsNeverTheWorkingFolder_data()
{
    // The data home is XDG_DATA_HOME only when absolute, else ~/.local/share,
    // made when missing.
    QTest::addColumn<QByteArray>("xdgDataHome");
    QTest::newRow("unset") << QByteArray();
    QTest::newRow("relative") << QByteArray("relative/data");
}

void TestTrash::dataHomeIsNeverTheWorkingFolder()
{
    QFETCH(QByteArray, xdgDataHome);
    TestEnvironment env;
    TreeBuilder tree(env.home());
    const QString file = tree.file(QStringLiteral("Downloads/setup.dmg"), "dmg");
    const QString work = tree.folder(QStringLiteral("cwd"));
    if (xdgDataHome.isEmpty())
        qunsetenv("XDG_DATA_HOME");
    else
        qputenv("XDG_DATA_HOME", xdgDataHome);
    const QString previous = QDir::currentPath();
    QDir::setCurrent(work);
    QString error;
    const bool moved = Trash::moveToTrash(file, &error);
    QDir::setCurrent(previous);
    QVERIFY2(moved, qPrintable(error));
    QVERIFY(QDir(work).isEmpty());
    QVERIFY(QFile::exists(env.home() + QStringLiteral("/.local/share/Trash/files/setup.dmg")));
}

void TestTrash::unusableTrashLeavesEverythingInPlace_data()
{
    // What stands in the data home where the Trash or its folders belong.
    QTest::addColumn<QString>("plant");
    QTest::addColumn<bool>("asLink");
    QTest::newRow("no item") << QString() << false;
    QTest::newRow("Trash is a file") << QStringLiteral("Trash") << false;
    QTest::newRow("Trash is a link") << QStringLiteral("Trash") << true;
    QTest::newRow("files is a link") << QStringLiteral("Trash/files") << true;
    QTest::newRow("info is a link") << QStringLiteral("Trash/info") << true;
}

void TestTrash::unusableTrashLeavesEverythingInPlace()
{
    QFETCH(QString, plant);
    QFETCH(bool, asLink);
    TestEnvironment env;
    TreeBuilder tree(env.home());
    const QString elsewhere = tree.folder(QStringLiteral("Elsewhere"));
    const QString file = tree.file(QStringLiteral("Documents/keep.txt"), "keep");
    TreeBuilder data(env.dataHome());
    QString error;
    if (plant.isEmpty()) {
        QVERIFY(!Trash::moveToTrash(tree.path(QStringLiteral("Documents/nothing")), &error));
        QVERIFY(!error.isEmpty());
        return;
    }
    asLink ? data.symlink(plant, elsewhere) : data.file(plant, "not a folder");
    // Nothing is ever deleted instead, nor put anywhere else.
    QVERIFY(!Trash::moveToTrash(file, &error));
    QVERIFY(!error.isEmpty());
    QCOMPARE(fileContents(file), QByteArray("keep"));
    QVERIFY(entries(elsewhere).isEmpty());
    QVERIFY(entries(env.dataHome() + QStringLiteral("/Trash/info")).isEmpty());
    QVERIFY(entries(env.trashFiles()).isEmpty());
}

void TestTrash::lockedFolderKeepsItsItem()
{
    VELMORA_RERUN_UNPRIVILEGED();
    TestEnvironment env;
    TreeBuilder tree(env.home());
    const QString locked = tree.file(QStringLiteral("Locked/keep.txt"), "keep");
    QVERIFY(::chmod(QFile::encodeName(tree.path("Locked")).constData(), 0555) == 0);
    QString error;
    const bool moved = Trash::moveToTrash(locked, &error);
    ::chmod(QFile::encodeName(tree.path("Locked")).constData(), 0755);
    QVERIFY(!moved);
    QCOMPARE(fileContents(locked), QByteArray("keep"));
    QVERIFY(entries(env.dataHome() + QStringLiteral("/Trash/info")).isEmpty());
}

QTEST_GUILESS_MAIN(TestTrash)
#include "tst_trash.moc"
