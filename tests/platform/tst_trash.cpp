#include "TestEnvironment.h"
#include "Trash.h"
#include "TreeBuilder.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QUrl>
#include <QtTest>
#include <sys/stat.h>

class TestTrash : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void movesFilesAndFoldersIntoTheUsersTrash();
    void missingDataHomeIsCreatedNotTheWorkingFolder();
    void failureLeavesTheItemInPlace();
    void linksGoThemselvesNeverTheirTargets();
};

void TestTrash::movesFilesAndFoldersIntoTheUsersTrash()
{
    TestEnvironment env;
    TreeBuilder tree(env.home());
    const QString first = tree.file(QStringLiteral("Documents/report.pdf"), "one");
    const QString folder = tree.file(QStringLiteral("Documents/Project/notes.txt"), "two");
    QVERIFY(Trash::moveToTrash(first));
    QVERIFY(!QFile::exists(first));
    QVERIFY(Trash::moveToTrash(tree.path(QStringLiteral("Documents/Project"))));
    QVERIFY(!QFile::exists(folder));
    // A second item of the same name does not replace the first one.
    const QString again = tree.file(QStringLiteral("Documents/report.pdf"), "three");
    QVERIFY(Trash::moveToTrash(again));

    const QStringList trashed =
        QDir(env.trashFiles()).entryList(QDir::NoDotAndDotDot | QDir::AllEntries);
    QCOMPARE(trashed.size(), 3);
    QVERIFY(trashed.contains(QStringLiteral("Project")));
    QByteArray contents;
    for (const QString &name : trashed) {
        QFile f(env.trashFiles() + QLatin1Char('/') + name);
        if (name.startsWith(QLatin1String("report")) && f.open(QIODevice::ReadOnly))
            contents += f.readAll();
    }
    QCOMPARE(contents.size(), 8); // "one" + "three": both kept
    QCOMPARE(QDir(env.dataHome() + QStringLiteral("/Trash/info")).entryList(QDir::Files).size(), 3);
}

void TestTrash::missingDataHomeIsCreatedNotTheWorkingFolder()
{
    TestEnvironment env;
    qunsetenv("XDG_DATA_HOME"); // the data home is then ~/.local/share, which is missing
    TreeBuilder tree(env.home());
    const QString file = tree.file(QStringLiteral("Downloads/setup.dmg"), "dmg");
    const QString workDir = tree.folder(QStringLiteral("cwd"));
    const QString previous = QDir::currentPath();
    QDir::setCurrent(workDir);
    const bool moved = Trash::moveToTrash(file);
    QDir::setCurrent(previous);
    QVERIFY(moved);
    QVERIFY(QDir(workDir).isEmpty());
    QVERIFY(QFile::exists(env.home() + QStringLiteral("/.local/share/Trash/files/setup.dmg")));
}

void TestTrash::failureLeavesTheItemInPlace()
{
    TestEnvironment env;
    TreeBuilder tree(env.home());
    QString error;
    QVERIFY(!Trash::moveToTrash(tree.path(QStringLiteral("nothing-here")), &error));
    QVERIFY(!error.isEmpty());

    // A Trash that cannot be used, next to a file that could well be deleted:
    // the file must stay, since nothing is ever deleted instead.
    tree.file(QStringLiteral("../data/Trash"), "not a folder");
    const QString movable = tree.file(QStringLiteral("Documents/draft.txt"), "draft");
    QVERIFY(!Trash::moveToTrash(movable, &error));
    QFile draft(movable);
    QVERIFY(draft.open(QIODevice::ReadOnly));
    QCOMPARE(draft.readAll(), QByteArray("draft"));
    QFile::remove(env.dataHome() + QStringLiteral("/Trash"));

    if (runningAsRoot() && qEnvironmentVariableIsEmpty("VELMORA_UNPRIVILEGED_RERUN")) {
        QString reason, output;
        const bool passed = rerunUnprivileged("failureLeavesTheItemInPlace", &reason, &output);
        if (!reason.isEmpty())
            QSKIP(qPrintable(reason));
        QVERIFY2(passed, qPrintable(output));
        return;
    }
    // A file in a folder the user may not change cannot be moved, and stays.
    const QString locked = tree.file(QStringLiteral("Locked/keep.txt"), "keep");
    QVERIFY(::chmod(QFile::encodeName(tree.path("Locked")).constData(), 0555) == 0);
    const bool moved = Trash::moveToTrash(locked, &error);
    ::chmod(QFile::encodeName(tree.path("Locked")).constData(), 0755);
    QVERIFY(!moved);
    QFile f(locked);
    QVERIFY(f.open(QIODevice::ReadOnly));
    QCOMPARE(f.readAll(), QByteArray("keep"));
}

void TestTrash::linksGoThemselvesNeverTheirTargets()
{
    TestEnvironment env;
    TreeBuilder tree(env.home());
    tree.file(QStringLiteral("Real/Tool.app/Contents/data"), "payload");
    const QString link =
        tree.symlink(QStringLiteral("Applications/Tool.app"), tree.path("Real/Tool.app"));
    const QString dangling =
        tree.symlink(QStringLiteral("Applications/Old.app"), tree.path("gone"));
    const QString twin = tree.symlink(QStringLiteral("Other/Tool.app"), tree.path("Real"));
    QVERIFY(Trash::moveToTrash(link));
    QVERIFY(Trash::moveToTrash(dangling));
    QVERIFY(Trash::moveToTrash(twin)); // same name: a name of its own
    QVERIFY(!QFileInfo::exists(link) && !QFileInfo(link).isSymLink());
    QVERIFY(!QFileInfo(dangling).isSymLink());

    // What the links pointed at is untouched.
    QFile data(tree.path("Real/Tool.app/Contents/data"));
    QVERIFY(data.open(QIODevice::ReadOnly));
    QCOMPARE(data.readAll(), QByteArray("payload"));

    const QStringList trashed =
        QDir(env.trashFiles()).entryList(QDir::NoDotAndDotDot | QDir::AllEntries | QDir::System);
    QCOMPARE(trashed.size(), 3);
    for (const QString &name : trashed)
        QVERIFY2(QFileInfo(env.trashFiles() + QLatin1Char('/') + name).isSymLink(),
                 qPrintable(name));
    QFile info(env.dataHome() + QStringLiteral("/Trash/info/Tool.app.trashinfo"));
    QVERIFY(info.open(QIODevice::ReadOnly));
    const QByteArray text = info.readAll();
    QVERIFY2(text.startsWith("[Trash Info]\nPath=" + QUrl::toPercentEncoding(link, "/") + "\n"),
             text.constData());
    QVERIFY(text.contains("\nDeletionDate=2"));
}

QTEST_GUILESS_MAIN(TestTrash)
#include "tst_trash.moc"
