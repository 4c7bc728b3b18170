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
    void refusesTmpAndForeignFolders();
    void rebuildsOnlyItsOwnTree();
};

namespace {
QString resolved(const QString &path)
{
    return DemoGuard::resolvedPath(path);
}
} // namespace

void TestDemoGuard::refusesTmpAndForeignFolders()
{
    using DemoGuard::Action;
    QCOMPARE(DemoGuard::decide("/tmp/velmora-demo-test", false).action, Action::Refuse);
    QCOMPARE(DemoGuard::decide("/tmp/../tmp/x", true).action, Action::Refuse);
    QCOMPARE(DemoGuard::decide("/tmp", false).action, Action::Refuse);

    QTemporaryDir base;
    QVERIFY(base.isValid());
    TreeBuilder tree(resolved(base.path()));
    const QStringList refused{tree.folder("temporary")};
    QCOMPARE(DemoGuard::decide(tree.path("temporary/demo"), false, refused).action, Action::Refuse);
    QCOMPARE(DemoGuard::decide(tree.path("new"), false, refused).action, Action::Build);
    QCOMPARE(DemoGuard::decide(tree.folder("empty"), false, refused).action, Action::Build);
    // "temporaryish" is not under "temporary".
    QCOMPARE(DemoGuard::decide(tree.path("temporaryish"), false, refused).action, Action::Build);
    tree.file("foreign/notes.txt", "mine");
    QCOMPARE(DemoGuard::decide(tree.path("foreign"), false, refused).action, Action::Refuse);
    QCOMPARE(DemoGuard::decide(tree.path("foreign"), true, refused).action, Action::Refuse);
    QCOMPARE(DemoGuard::decide(tree.path("foreign/notes.txt"), true, refused).action,
             Action::Refuse);
    // A link into a refused folder is refused like the folder itself, and so is
    // a dangling one that would land there.
    tree.symlink("toTmp", "/tmp");
    QCOMPARE(DemoGuard::decide(tree.path("toTmp/demo"), false).action, Action::Refuse);
    tree.symlink("toTemporary", tree.path("temporary/not-yet"));
    QCOMPARE(DemoGuard::decide(tree.path("toTemporary"), false, refused).action, Action::Refuse);
    // A folder merely named like the marker is no marker.
    tree.folder("fake/.velmora-demo");
    QCOMPARE(DemoGuard::decide(tree.path("fake"), true, refused).action, Action::Refuse);
    // So is a marker file this generator did not write.
    tree.file("planted/.velmora-demo", "anything");
    tree.file("planted/thesis.tex", "years of work");
    QCOMPARE(DemoGuard::decide(tree.path("planted"), false, refused).action, Action::Refuse);
    QCOMPARE(DemoGuard::decide(tree.path("planted"), true, refused).action, Action::Refuse);
}

void TestDemoGuard::rebuildsOnlyItsOwnTree()
{
    using DemoGuard::Action;
    QTemporaryDir base;
    QVERIFY(base.isValid());
    TreeBuilder tree(resolved(base.path()));
    const QStringList refused{tree.path("temporary")};
    const QString demo = tree.folder("demo");
    QVERIFY(DemoGuard::writeMarker(demo, DemoGuard::markerContents()));
    QCOMPARE(DemoGuard::decide(demo, false, refused).action, Action::Nothing);
    QCOMPARE(DemoGuard::decide(demo, true, refused).action, Action::Rebuild);
    QVERIFY(DemoGuard::writeMarker(demo, DemoGuard::unfinishedMarkerContents()));
    QCOMPARE(DemoGuard::decide(demo, false, refused).action, Action::Rebuild);
    // A tree of an earlier version of the generator is rebuilt, not kept or refused.
    QVERIFY(DemoGuard::writeMarker(demo, "velmora-demo 1\n"));
    QCOMPARE(DemoGuard::decide(demo, false, refused).action, Action::Rebuild);
    QVERIFY(DemoGuard::writeMarker(demo, "velmora-demo 1 but edited\n"));
    QCOMPARE(DemoGuard::decide(demo, false, refused).action, Action::Refuse);

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
