#include "DemoGuard.h"
#include "TreeBuilder.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

// The demo generator writes only into an empty folder or a demo tree of its own.
// Its trees are built under a folder of their own that stands in for /tmp, so
// these checks hold wherever the checkout is, /tmp included.
class TestDemoGuard : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void writesOnlyWhereItMay();
    void clearsOnlyItsOwnTree();
};

void TestDemoGuard::writesOnlyWhereItMay()
{
    using DemoGuard::Action;
    QTemporaryDir base;
    QVERIFY(base.isValid());
    TreeBuilder tree(DemoGuard::resolvedPath(base.path()));
    const QStringList tmp = DemoGuard::temporaryRoots(), refused{tree.folder("temporary")};
    tree.folder("empty");
    tree.file("foreign/notes.txt", "mine");
    // A link into a refused folder is refused like the folder itself, and so is
    // a dangling one that would land there.
    tree.symlink("toTmp", "/tmp");
    tree.symlink("toTemporary", tree.path("temporary/not-yet"));
    tree.folder("fake/.velmora-demo");              // a folder merely named like the marker
    tree.file("planted/.velmora-demo", "anything"); // a marker this generator did not write
    tree.file("planted/thesis.tex", "years of work");
    const QString demo = tree.folder("demo");
    const struct
    {
        QString path;
        bool force;
        const QStringList &roots;
        Action action;
        QByteArray marker = {}; // written into demo first
    } rows[] = {
        {"/tmp/velmora-demo-test", false, tmp, Action::Refuse},
        {"/tmp/../tmp/x", true, tmp, Action::Refuse},
        {"/tmp", false, tmp, Action::Refuse},
        {tree.path("temporary/demo"), false, refused, Action::Refuse},
        {tree.path("new"), false, refused, Action::Build},
        {tree.path("empty"), false, refused, Action::Build},
        {tree.path("temporaryish"), false, refused, Action::Build}, // not under "temporary"
        {tree.path("foreign"), false, refused, Action::Refuse},
        {tree.path("foreign"), true, refused, Action::Refuse},
        {tree.path("foreign/notes.txt"), true, refused, Action::Refuse},
        {tree.path("toTmp/demo"), false, tmp, Action::Refuse},
        {tree.path("toTemporary"), false, refused, Action::Refuse},
        {tree.path("fake"), true, refused, Action::Refuse},
        {tree.path("planted"), false, refused, Action::Refuse},
        {tree.path("planted"), true, refused, Action::Refuse},
        {demo, false, refused, Action::Nothing, DemoGuard::markerContents()},
        {demo, true, refused, Action::Rebuild, DemoGuard::markerContents()},
        {demo, false, refused, Action::Rebuild, DemoGuard::unfinishedMarkerContents()},
        // A tree of an earlier version of the generator is rebuilt, not kept or refused.
        {demo, false, refused, Action::Rebuild, "velmora-demo 1\n"},
        {demo, false, refused, Action::Refuse, "velmora-demo 1 but edited\n"},
    };
    for (const auto &row : rows) {
        QVERIFY(row.marker.isNull() || DemoGuard::writeMarker(demo, row.marker));
        QVERIFY2(DemoGuard::decide(row.path, row.force, row.roots).action == row.action,
                 qPrintable(row.path + (row.force ? " forced " : " ") + row.marker));
    }
}

void TestDemoGuard::clearsOnlyItsOwnTree()
{
    QTemporaryDir base;
    QVERIFY(base.isValid());
    TreeBuilder tree(DemoGuard::resolvedPath(base.path()));
    const QString demo = tree.folder("demo");
    QVERIFY(DemoGuard::writeMarker(demo, DemoGuard::markerContents()));
    const QString precious = tree.file("precious/keep.txt", "keep");
    tree.file("demo/Users/demo/file.txt", "x");
    tree.symlink("demo/Users/demo/link", tree.path("precious"));
    QString error;
    QVERIFY2(DemoGuard::clearTree(demo, &error), qPrintable(error));
    QCOMPARE(QDir(demo).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
             QStringList({".velmora-demo"}));
    QVERIFY2(QFile::exists(precious), "a link's target outside the tree is left alone");
}

QTEST_GUILESS_MAIN(TestDemoGuard)
#include "tst_demoguard.moc"
