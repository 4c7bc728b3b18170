#include "ResolvedRoot.h"
#include "TestEnvironment.h"
#include "Trash.h"
#include "TreeBuilder.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QtTest>
#include <sys/stat.h>
#include <unistd.h>

// The Trash under faults: other volumes and their shared Trash folders, a full
// volume, an information folder that cannot be written, and folders or items
// swapped between a scan and its removal. Every case checks the disk afterwards.
class TestTrashFaults : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void otherVolumesUseTheirOwnTrash_data();
    void otherVolumesUseTheirOwnTrash();
    void bindMountIsAVolumeOfItsOwn();
    void fullVolumeIsAFailureNotASuccess();
    void unwritableInfoFolderFailsAtOnce();
    void swappedFoldersAreNeverFollowed();
};

namespace {

bool isEmptyFolder(const QString &path)
{
    return QDir(path).isEmpty(QDir::AllEntries | QDir::Hidden | QDir::System |
                              QDir::NoDotAndDotDot);
}

FileIdentity identityOf(const QString &path)
{
    struct stat st = {};
    lstat(QFile::encodeName(path).constData(), &st);
    return FileIdentity::of(st);
}

} // namespace

void TestTrashFaults::otherVolumesUseTheirOwnTrash_data()
{
    // The freedesktop rule: $topdir/.Trash/$uid only when $topdir/.Trash is a
    // real, sticky folder; otherwise $topdir/.Trash-$uid.
    QTest::addColumn<QString>("shared"); // what stands at $topdir/.Trash
    QTest::addColumn<bool>("sharedUsed");
    QTest::newRow("none") << QString() << false;
    QTest::newRow("sticky folder") << QStringLiteral("sticky") << true;
    QTest::newRow("folder not sticky") << QStringLiteral("plain") << false;
    QTest::newRow("link to a sticky folder") << QStringLiteral("link") << false;
}

void TestTrashFaults::otherVolumesUseTheirOwnTrash()
{
    QFETCH(QString, shared);
    QFETCH(bool, sharedUsed);
    TestEnvironment env;
    const QString volume = env.base() + QStringLiteral("/usb");
    QString why;
    if (!mountTmpfs(volume, QStringLiteral("8m"), &why))
        QSKIP(qPrintable(why));
    TreeBuilder tree(volume);
    const QString file = tree.file(QStringLiteral("Fotos/a.jpg"), "a");
    const QString uid = QString::number(geteuid());
    const QString sticky = tree.folder(shared == QLatin1String("link") ? "Other" : ".Trash");
    if (shared == QLatin1String("link"))
        tree.symlink(QStringLiteral(".Trash"), sticky);
    ::chmod(QFile::encodeName(sticky).constData(), shared == QLatin1String("plain") ? 0777 : 01777);
    if (shared.isEmpty())
        QDir(sticky).removeRecursively();
    QString error;
    const bool moved = Trash::moveToTrash(file, &error);
    const QString can = volume + (sharedUsed ? "/.Trash/" + uid : "/.Trash-" + uid);
    const QByteArray info = fileContents(can + QStringLiteral("/info/a.jpg.trashinfo"));
    const bool held = QFile::exists(can + QStringLiteral("/files/a.jpg"));
    const bool sharedUntouched = sharedUsed || !QFile::exists(sticky + QLatin1Char('/') + uid);
    const bool homeUntouched = isEmptyFolder(env.trashFiles());
    unmount(volume);
    QVERIFY2(moved, qPrintable(error));
    QVERIFY(held);
    // Paths in a volume's Trash are relative to the volume's top folder.
    QVERIFY2(info.startsWith("[Trash Info]\nPath=Fotos/a.jpg\n"), info.constData());
    QVERIFY(sharedUntouched);
    QVERIFY(homeUntouched);
}

void TestTrashFaults::bindMountIsAVolumeOfItsOwn()
{
    // The rename into the home Trash fails across mounts, so the item goes to
    // the mount's own Trash, never copied.
    if (!runningAsRoot())
        QSKIP("bind mounts need root");
    TestEnvironment env;
    TreeBuilder home(env.home());
    const QString source = home.folder(QStringLiteral("Source"));
    const QString bound = home.folder(QStringLiteral("Bound"));
    if (QProcess::execute(QStringLiteral("mount"), {QStringLiteral("--bind"), source, bound}) != 0)
        QSKIP("this machine does not allow bind mounts");
    const QString item = home.file(QStringLiteral("Bound/clip.mov"), "clip");
    QString error;
    const bool moved = Trash::moveToTrash(item, &error);
    const bool inMountTrash =
        QFile::exists(bound + QStringLiteral("/.Trash-") + QString::number(geteuid()) +
                      QStringLiteral("/files/clip.mov"));
    unmount(bound);
    QVERIFY2(moved, qPrintable(error));
    QVERIFY(inMountTrash);
    QVERIFY(isEmptyFolder(env.trashFiles()));
}

void TestTrashFaults::fullVolumeIsAFailureNotASuccess()
{
    TestEnvironment env;
    const QString volume = env.base() + QStringLiteral("/full");
    QString why;
    if (!mountTmpfs(volume, QStringLiteral("256k"), &why))
        QSKIP(qPrintable(why));
    // Home, data home and the item on one small volume, then filled up.
    qputenv("XDG_DATA_HOME", QFile::encodeName(volume + QStringLiteral("/share")));
    TreeBuilder tree(volume);
    const QString file = tree.file(QStringLiteral("Documents/thesis.tex"), "years of work");
    QVERIFY(Trash::moveToTrash(tree.file(QStringLiteral("warm-up.txt"), "x")));
    QFile filler(volume + QStringLiteral("/filler"));
    QVERIFY(filler.open(QIODevice::WriteOnly));
    const QByteArray block(4096, 'f');
    while (filler.write(block) == block.size() && filler.flush()) {
    }
    filler.close();
    QString error;
    const bool moved = Trash::moveToTrash(file, &error);
    const QStringList infos =
        QDir(volume + QStringLiteral("/share/Trash/info")).entryList(QDir::Files);
    const bool stillThere = QFile::exists(file);
    unmount(volume);
    QVERIFY2(!moved, "a Trash entry that could not be written is no success");
    QVERIFY(stillThere);
    QCOMPARE(infos, QStringList({"warm-up.txt.trashinfo"}));
}

void TestTrashFaults::unwritableInfoFolderFailsAtOnce()
{
    VELMORA_RERUN_UNPRIVILEGED();
    TestEnvironment env;
    TreeBuilder tree(env.home());
    const QString info = env.dataHome() + QStringLiteral("/Trash/info");
    QDir().mkpath(info);
    QDir().mkpath(env.trashFiles());
    QVERIFY(::chmod(QFile::encodeName(info).constData(), 0555) == 0);
    const QString file = tree.file(QStringLiteral("a.txt"), "a");
    QString error;
    const bool moved = Trash::moveToTrash(file, &error);
    ::chmod(QFile::encodeName(info).constData(), 0755);
    QVERIFY(!moved);
    QVERIFY2(error.contains(QLatin1String("information")), qPrintable(error)); // no name search
    QVERIFY(QFile::exists(file));
    QVERIFY(isEmptyFolder(env.trashFiles()));
}

void TestTrashFaults::swappedFoldersAreNeverFollowed()
{
    TestEnvironment env;
    TreeBuilder tree(env.home());
    const QString file = tree.file(QStringLiteral("Scan/Sub/report.pdf"), "scanned");
    const QString outside = tree.file(QStringLiteral("Precious/report.pdf"), "precious");
    const ResolvedRoot root = ResolvedRoot::resolve(tree.path(QStringLiteral("Scan")));
    const FileIdentity seen = identityOf(file);
    const auto refused = [&](const QString &path, const FileIdentity &expected) {
        QString error;
        return !Trash::moveToTrash(root, path, expected, &error) && !error.isEmpty() &&
               isEmptyFolder(env.trashFiles());
    };
    const auto swapFor = [&](const QString &from, const QString &target) {
        QFile::remove(tree.path(from)); // a link left by the step before
        return (QFileInfo::exists(tree.path(from)) ? QDir().rename(tree.path(from), target)
                                                   : true) &&
               QFile::link(target, tree.path(from));
    };

    // After the scan, Sub is renamed and a link takes its name. Through the link
    // the very same file is reached, so only never following links keeps it.
    QVERIFY(swapFor(QStringLiteral("Scan/Sub"), tree.path(QStringLiteral("Scan/Sub.old"))));
    QVERIFY(refused(file, seen));
    QVERIFY(QFile::exists(tree.path(QStringLiteral("Scan/Sub.old/report.pdf"))));
    // A link to another folder is refused as well.
    QVERIFY(swapFor(QStringLiteral("Scan/Sub"), tree.path(QStringLiteral("Precious"))));
    QVERIFY(refused(file, seen));
    QCOMPARE(fileContents(outside), QByteArray("precious"));

    // The same name on another inode is not the file the scan saw.
    QFile::remove(tree.path(QStringLiteral("Scan/Sub")));
    const QString fresh = tree.file(QStringLiteral("Scan/Sub/report.pdf"), "new");
    QVERIFY(!PinnedItem::pin(root, fresh, seen, PinnedItem::Check::SameFile));
    QVERIFY(refused(fresh, seen));
    QVERIFY(QFile::exists(fresh));

    // Changed after it was reached again, right before the move: replaced (renamed
    // over while both exist, so surely another inode), or rewritten in place where
    // its length and time count too.
    for (const auto check : {PinnedItem::Check::SameFile, PinnedItem::Check::Unchanged}) {
        std::optional<PinnedItem> pinned = PinnedItem::pin(root, fresh, identityOf(fresh), check);
        QVERIFY(pinned);
        const QByteArray now = check == PinnedItem::Check::SameFile ? "newer" : "newer, longer";
        const QString newer = tree.file(QStringLiteral("Scan/Sub/newer"), now);
        QVERIFY(check == PinnedItem::Check::SameFile
                    ? std::rename(QFile::encodeName(newer).constData(),
                                  QFile::encodeName(fresh).constData()) == 0
                    : QFile::remove(newer) &&
                          tree.file(QStringLiteral("Scan/Sub/report.pdf"), now) == fresh);
        QVERIFY(!Trash::moveToTrash(*pinned));
        QCOMPARE(fileContents(fresh), now);
        QVERIFY(isEmptyFolder(env.trashFiles()));
    }

    // The root itself swapped for a link: nothing below it is reached.
    QVERIFY(swapFor(QStringLiteral("Scan"), tree.path(QStringLiteral("Scan.old"))));
    QVERIFY(refused(fresh, identityOf(fresh)));
    QVERIFY(QFile::exists(tree.path(QStringLiteral("Scan.old/Sub/report.pdf"))));
}

QTEST_GUILESS_MAIN(TestTrashFaults)
#include "tst_trashfaults.moc"
