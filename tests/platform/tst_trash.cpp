#include "FileLocation.h"
#include "ResolvedRoot.h"
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

// The Trash, every case checked on the disk afterwards.

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

FileIdentity identityOf(const QString &path)
{
    struct stat st = {};
    lstat(QFile::encodeName(path).constData(), &st);
    return FileIdentity::of(st);
}

} // namespace

class TestTrash : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyItemGoesWithWhereItCameFrom()
    {
        TestEnvironment env;
        TreeBuilder tree(env.home());
        tree.file("Real/Tool.app/Contents/data", "payload");
        tree.file("Project/notes.txt");
        // Links go themselves, a folder goes whole.
        const QString link = tree.symlink("Apps/Tool.app", tree.path("Real/Tool.app"));
        QStringList items{link, tree.symlink("Apps/Old.app", tree.path("gone")),
                          tree.symlink("Other/Tool.app", tree.path("Real")), tree.path("Project")};
        // A newline would split the Path line; "%" sequences and "/.." would point a
        // restore elsewhere if they were written as they are; names of 250 and 255
        // bytes must be shortened, a CJK one on a character boundary; a name already
        // in the Trash gets one of its own. Each file holds its own path.
        for (const QString &name : QStringList{
                 "Mix/line\nbreak.bin", "Mix/100%.bin", "Mix/%2Fetc%2Fpasswd.bin",
                 "Mix/x%2F..%2F..%2Fp.bin", "Mix/tab\tand space .bin",
                 "Mix/" + QString(82, QChar(0x30C7)) + ".bin",
                 "Mix/" + QString(255, QLatin1Char('n')), "Mix/report.pdf", "Other/report.pdf"})
            items << tree.file(name, name.toUtf8());
        for (const QString &item : items) {
            QString error;
            QVERIFY2(Trash::moveToTrash(item, &error), qPrintable(item + QLatin1Char(' ') + error));
            QVERIFY(!QFileInfo::exists(item) && !QFileInfo(item).isSymLink());
        }
        QCOMPARE(fileContents(tree.path("Real/Tool.app/Contents/data")), QByteArray("payload"));
        QString error;
        QVERIFY(!Trash::moveToTrash(tree.path("missing"), &error) && !error.isEmpty());
        const QRegularExpression shape(
            "^\\[Trash "
            "Info\\]\nPath=/[^\n]+\nDeletionDate=(\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d)\n$");
        QStringList restoredTo;
        for (const QString &name : entries(env.trashFiles())) {
            const QByteArray bytes = QFile::encodeName(name);
            QVERIFY2(bytes.size() <= 245 && QString::fromUtf8(bytes).toUtf8() == bytes, bytes);
            const QByteArray info =
                fileContents(env.dataHome() + "/Trash/info/" + name + ".trashinfo");
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

    void nameThatIsNotUtf8GoesBackByteForByte()
    {
        // Linux allows names UTF-8 does not: a lone byte, an encoded surrogate. The
        // information file's path must still name those very bytes.
        const QString list = QStandardPaths::findExecutable(QStringLiteral("trash-list"));
        if (list.isEmpty())
            QSKIP("trash-cli is not installed (./dev.sh test installs it)");
        TestEnvironment env;
        TreeBuilder tree(env.home());
        const QByteArray name("100% a\xc3\xb1o \xff\xfe \xed\xa0\x80.bin");
        const QByteArray bytes = FileLocation::encode(tree.folder("R")) + '/' + name;
        const QString original = FileLocation::decode(bytes);
        // By bytes: Qt's file classes would name another file.
        const int fd = ::open(bytes.constData(), O_WRONLY | O_CREAT, 0644);
        QVERIFY(fd >= 0 && ::write(fd, "precious bytes", 14) == 14);
        ::close(fd);
        QVERIFY(Trash::moveToTrash(original));

        QProcess listing;
        listing.start(list, {});
        QVERIFY(listing.waitForFinished(30000));
        // trash-list shows such a name as Velmora does, with replacement marks.
        const QString listed = QString::fromUtf8(listing.readAllStandardOutput());
        QVERIFY2(listed.contains(FileLocation::displayText(original)), qPrintable(listed));
        const QByteArray trash = FileLocation::encode(env.dataHome()) + "/Trash/";
        const QByteArray path =
            fileContents(trash + "info/" + name + ".trashinfo").split('\n').value(1);
        QCOMPARE(QByteArray::fromPercentEncoding(path.mid(path.indexOf('=') + 1)), bytes);
        QCOMPARE(fileContents(trash + "files/" + name), QByteArray("precious bytes"));
    }

    void homeTrash_data()
    {
        // The data home is XDG_DATA_HOME only when absolute, else ~/.local/share,
        // made when missing; never the working folder. Where something else stands
        // in place of the Trash or its folders, nothing is ever deleted instead,
        // nor put anywhere else.
        QTest::addColumn<QByteArray>("xdgDataHome"); // null: the private one
        QTest::addColumn<QString>("plant");
        QTest::addColumn<bool>("asLink");
        QTest::newRow("XDG_DATA_HOME unset") << QByteArray("") << QString() << false;
        QTest::newRow("relative") << QByteArray("relative/data") << QString() << false;
        QTest::newRow("Trash is a file") << QByteArray() << QStringLiteral("Trash") << false;
        QTest::newRow("Trash is a link") << QByteArray() << QStringLiteral("Trash") << true;
        QTest::newRow("files is a link") << QByteArray() << QStringLiteral("Trash/files") << true;
        QTest::newRow("info is a link") << QByteArray() << QStringLiteral("Trash/info") << true;
    }

    void homeTrash()
    {
        QFETCH(QByteArray, xdgDataHome);
        QFETCH(QString, plant);
        QFETCH(bool, asLink);
        TestEnvironment env;
        TreeBuilder tree(env.home()), data(env.dataHome());
        const QString elsewhere = tree.folder("Elsewhere"), work = tree.folder("cwd");
        const QString file = tree.file("Documents/keep.txt", "keep");
        if (!plant.isEmpty())
            asLink ? data.symlink(plant, elsewhere) : data.file(plant, "not a folder");
        if (xdgDataHome.isEmpty() && !xdgDataHome.isNull())
            qunsetenv("XDG_DATA_HOME");
        else if (!xdgDataHome.isNull())
            qputenv("XDG_DATA_HOME", xdgDataHome);
        const QString previous = QDir::currentPath();
        QDir::setCurrent(work);
        QString error;
        const bool moved = Trash::moveToTrash(file, &error);
        QDir::setCurrent(previous);
        QVERIFY(QDir(work).isEmpty());
        QVERIFY2(moved == plant.isEmpty(), qPrintable(error));
        if (moved) {
            QVERIFY(QFile::exists(env.home() + "/.local/share/Trash/files/keep.txt"));
            return;
        }
        QVERIFY(!error.isEmpty());
        QCOMPARE(fileContents(file), QByteArray("keep"));
        QVERIFY(entries(elsewhere).isEmpty());
        QVERIFY(entries(env.dataHome() + "/Trash/info").isEmpty());
        QVERIFY(entries(env.trashFiles()).isEmpty());
    }

    void unwritableFoldersKeepTheItem()
    {
        VELMORA_RERUN_UNPRIVILEGED();
        TestEnvironment env;
        TreeBuilder tree(env.home());
        const QString info = env.dataHome() + "/Trash/info";
        QDir().mkpath(info);
        QDir().mkpath(env.trashFiles());
        // The item's own folder, then the Trash's information folder: that one
        // fails at once, before any name is searched.
        for (const QString &locked : {tree.folder("Locked"), info}) {
            const QString file = tree.file("Locked/keep.txt", "keep");
            QVERIFY(::chmod(QFile::encodeName(locked).constData(), 0555) == 0);
            QString error;
            const bool moved = Trash::moveToTrash(file, &error);
            ::chmod(QFile::encodeName(locked).constData(), 0755);
            QVERIFY(!moved);
            QCOMPARE(fileContents(file), QByteArray("keep"));
            QVERIFY(entries(info).isEmpty() && entries(env.trashFiles()).isEmpty());
            QVERIFY2(locked != info || error.contains(QLatin1String("information")),
                     qPrintable(error));
        }
    }

    void otherVolumesUseTheirOwnTrash_data()
    {
        // The freedesktop rule: $topdir/.Trash/$uid only when $topdir/.Trash is a
        // real, sticky folder; otherwise $topdir/.Trash-$uid. A bind mount is a
        // volume of its own: the rename into the home Trash fails across mounts,
        // and the item is never copied there instead.
        QTest::addColumn<QString>("shared"); // what stands at $topdir/.Trash
        QTest::addColumn<bool>("sharedUsed");
        QTest::newRow("none") << QString() << false;
        QTest::newRow("sticky folder") << QStringLiteral("sticky") << true;
        QTest::newRow("folder not sticky") << QStringLiteral("plain") << false;
        QTest::newRow("link to a sticky folder") << QStringLiteral("link") << false;
        QTest::newRow("bind mount") << QStringLiteral("bind") << false;
    }

    void otherVolumesUseTheirOwnTrash()
    {
        QFETCH(QString, shared);
        QFETCH(bool, sharedUsed);
        TestEnvironment env;
        const QString volume = env.base() + "/usb";
        QString why;
        if (shared == "bind") {
            if (!runningAsRoot())
                QSKIP("bind mounts need root");
            const QString source = TreeBuilder(env.base() + "/source").root();
            QDir().mkpath(volume);
            if (QProcess::execute("mount", {"--bind", source, volume}))
                QSKIP("this machine does not allow bind mounts");
        } else if (!mountTmpfs(volume, "8m", &why)) {
            QSKIP(qPrintable(why));
        }
        TreeBuilder tree(volume);
        const QString file = tree.file("Fotos/a.jpg", "a");
        const QString uid = QString::number(geteuid());
        if (shared == "sticky" || shared == "plain")
            ::chmod(QFile::encodeName(tree.folder(".Trash")).constData(),
                    shared == "plain" ? 0777 : 01777);
        if (shared == "link") {
            ::chmod(QFile::encodeName(tree.folder("Other")).constData(), 01777);
            tree.symlink(".Trash", tree.path("Other"));
        }
        QString error;
        const bool moved = Trash::moveToTrash(file, &error);
        const QString can = volume + (sharedUsed ? "/.Trash/" + uid : "/.Trash-" + uid);
        const QByteArray info = fileContents(can + "/info/a.jpg.trashinfo");
        const bool held = QFile::exists(can + "/files/a.jpg");
        const bool sharedUntouched = sharedUsed || !QFile::exists(volume + "/.Trash/" + uid);
        const bool homeUntouched = entries(env.trashFiles()).isEmpty();
        unmount(volume);
        QVERIFY2(moved, qPrintable(error));
        QVERIFY(held);
        // Paths in a volume's Trash are relative to the volume's top folder.
        QVERIFY2(info.startsWith("[Trash Info]\nPath=Fotos/a.jpg\n"), info.constData());
        QVERIFY(sharedUntouched);
        QVERIFY(homeUntouched);
    }

    void fullVolumeIsAFailureNotASuccess()
    {
        TestEnvironment env;
        const QString volume = env.base() + "/full";
        QString why;
        if (!mountTmpfs(volume, "256k", &why))
            QSKIP(qPrintable(why));
        // Home, data home and the item on one small volume, then filled up.
        qputenv("XDG_DATA_HOME", QFile::encodeName(volume + "/share"));
        TreeBuilder tree(volume);
        const QString file = tree.file("Documents/thesis.tex", "years of work");
        QVERIFY(Trash::moveToTrash(tree.file("warm-up.txt", "x")));
        QFile filler(volume + "/filler");
        QVERIFY(filler.open(QIODevice::WriteOnly));
        const QByteArray block(4096, 'f');
        while (filler.write(block) == block.size() && filler.flush()) {
        }
        filler.close();
        QString error;
        const bool moved = Trash::moveToTrash(file, &error);
        const QStringList infos = QDir(volume + "/share/Trash/info").entryList(QDir::Files);
        const bool stillThere = QFile::exists(file);
        unmount(volume);
        QVERIFY2(!moved, "a Trash entry that could not be written is no success");
        QVERIFY(stillThere);
        QCOMPARE(infos, QStringList({"warm-up.txt.trashinfo"}));
    }

    void swappedFoldersAreNeverFollowed()
    {
        TestEnvironment env;
        TreeBuilder tree(env.home());
        const QString file = tree.file("Scan/Sub/report.pdf", "scanned");
        const QString outside = tree.file("Precious/report.pdf", "precious");
        const ResolvedRoot root = ResolvedRoot::resolve(tree.path("Scan"));
        const FileIdentity seen = identityOf(file);
        const auto refused = [&](const QString &path, const FileIdentity &expected) {
            QString error;
            return !Trash::moveToTrash(root, path, expected, &error) && !error.isEmpty() &&
                   entries(env.trashFiles()).isEmpty();
        };
        const auto swapFor = [&](const QString &from, const QString &target) {
            QFile::remove(tree.path(from)); // a link left by the step before
            return (QFileInfo::exists(tree.path(from)) ? QDir().rename(tree.path(from), target)
                                                       : true) &&
                   QFile::link(target, tree.path(from));
        };

        // After the scan, Sub is renamed and a link takes its name. Through the link
        // the very same file is reached, so only never following links keeps it.
        QVERIFY(swapFor("Scan/Sub", tree.path("Scan/Sub.old")));
        QVERIFY(refused(file, seen));
        QVERIFY(QFile::exists(tree.path("Scan/Sub.old/report.pdf")));
        // A link to another folder is refused as well.
        QVERIFY(swapFor("Scan/Sub", tree.path("Precious")));
        QVERIFY(refused(file, seen));
        QCOMPARE(fileContents(outside), QByteArray("precious"));

        // The same name on another inode is not the file the scan saw.
        QFile::remove(tree.path("Scan/Sub"));
        const QString fresh = tree.file("Scan/Sub/report.pdf", "new");
        QVERIFY(!PinnedItem::pin(root, fresh, seen, PinnedItem::Check::SameFile));
        QVERIFY(refused(fresh, seen));
        QVERIFY(QFile::exists(fresh));

        // Changed after it was reached again, right before the move: replaced (renamed
        // over while both exist, so surely another inode), or rewritten in place where
        // its length and time count too.
        for (const auto check : {PinnedItem::Check::SameFile, PinnedItem::Check::Unchanged}) {
            std::optional<PinnedItem> pinned =
                PinnedItem::pin(root, fresh, identityOf(fresh), check);
            QVERIFY(pinned);
            const QByteArray now = check == PinnedItem::Check::SameFile ? "newer" : "newer, longer";
            const QString newer = tree.file("Scan/Sub/newer", now);
            QVERIFY(check == PinnedItem::Check::SameFile
                        ? std::rename(QFile::encodeName(newer).constData(),
                                      QFile::encodeName(fresh).constData()) == 0
                        : QFile::remove(newer) && tree.file("Scan/Sub/report.pdf", now) == fresh);
            QVERIFY(!Trash::moveToTrash(*pinned));
            QCOMPARE(fileContents(fresh), now);
            QVERIFY(entries(env.trashFiles()).isEmpty());
        }

        // The root itself swapped for a link: nothing below it is reached.
        QVERIFY(swapFor("Scan", tree.path("Scan.old")));
        QVERIFY(refused(fresh, identityOf(fresh)));
        QVERIFY(QFile::exists(tree.path("Scan.old/Sub/report.pdf")));
    }
};

QTEST_GUILESS_MAIN(TestTrash)
#include "tst_trash.moc"
