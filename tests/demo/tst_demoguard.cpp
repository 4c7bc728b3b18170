#include "DemoGuard.h"
#include "TreeBuilder.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

// The demo generator writes only into an empty folder or a demo tree of its own.
class TestDemoGuard : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void refusesTmpAndForeignFolders();
    void rebuildsOnlyItsOwnTree();
};

void TestDemoGuard::refusesTmpAndForeignFolders()
{
    using DemoGuard::Action;
    QCOMPARE(DemoGuard::decide("/tmp/velmora-demo-test", false).action, Action::Refuse);
    QCOMPARE(DemoGuard::decide("/tmp/../tmp/x", true).action, Action::Refuse);

    QTemporaryDir outside(QStringLiteral(VELMORA_BUILD_DIR "/guard-XXXXXX"));
    QVERIFY(outside.isValid());
    TreeBuilder tree(outside.path());
    QCOMPARE(DemoGuard::decide(tree.path("new"), false).action, Action::Build);
    QCOMPARE(DemoGuard::decide(tree.folder("empty"), false).action, Action::Build);
    tree.file("foreign/notes.txt", "mine");
    QCOMPARE(DemoGuard::decide(tree.path("foreign"), false).action, Action::Refuse);
    QCOMPARE(DemoGuard::decide(tree.path("foreign"), true).action, Action::Refuse);
    QCOMPARE(DemoGuard::decide(tree.path("foreign/notes.txt"), true).action, Action::Refuse);
    // A link into /tmp is refused like /tmp itself.
    tree.symlink("toTmp", "/tmp");
    QCOMPARE(DemoGuard::decide(tree.path("toTmp/demo"), false).action, Action::Refuse);
    // A folder merely named like the marker is no marker.
    tree.folder("fake/.velmora-demo");
    QCOMPARE(DemoGuard::decide(tree.path("fake"), true).action, Action::Refuse);
    // So is a marker file this generator did not write.
    tree.file("planted/.velmora-demo", "anything");
    tree.file("planted/thesis.tex", "years of work");
    QCOMPARE(DemoGuard::decide(tree.path("planted"), false).action, Action::Refuse);
    QCOMPARE(DemoGuard::decide(tree.path("planted"), true).action, Action::Refuse);
}

void TestDemoGuard::rebuildsOnlyItsOwnTree()
{
    using DemoGuard::Action;
    QTemporaryDir outside(QStringLiteral(VELMORA_BUILD_DIR "/guard-XXXXXX"));
    QVERIFY(outside.isValid());
    TreeBuilder tree(outside.path());
    const QString demo = tree.folder("demo");
    QVERIFY(DemoGuard::writeMarker(demo, DemoGuard::markerContents()));
    QCOMPARE(DemoGuard::decide(demo, false).action, Action::Nothing);
    QCOMPARE(DemoGuard::decide(demo, true).action, Action::Rebuild);
    QVERIFY(DemoGuard::writeMarker(demo, DemoGuard::unfinishedMarkerContents()));
    QCOMPARE(DemoGuard::decide(demo, false).action, Action::Rebuild);

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
