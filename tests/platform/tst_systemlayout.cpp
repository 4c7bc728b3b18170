#include "FileLocation.h"
#include "SystemLayout.h"
#include "TestEnvironment.h"

#include <QtTest>

class TestSystemLayout : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void placesFollowTheEnvironment();
    void pathsAreSeenFromTheRoot();
    void locationOperations();
};

void TestSystemLayout::placesFollowTheEnvironment()
{
    TestEnvironment env;
    QCOMPARE(SystemLayout::homeFolder(), env.home());
    QCOMPARE(SystemLayout::userCachesFolder(), env.home() + "/Library/Caches");
    QCOMPARE(SystemLayout::applicationSupportFolder(), env.home() + "/Library/Application Support");
    QCOMPARE(SystemLayout::systemApplicationsFolder(), env.root() + "/Applications");
    QCOMPARE(SystemLayout::systemLibraryFolder(), env.root() + "/Library");

    qputenv("VELMORA_ROOT", (env.root() + "/").toUtf8());
    QCOMPARE(SystemLayout::systemRoot(), env.root());
    qunsetenv("VELMORA_ROOT");
    QCOMPARE(SystemLayout::systemApplicationsFolder(), QStringLiteral("/Applications"));
    qunsetenv("HOME");
    QVERIFY2(!SystemLayout::homeFolder().isEmpty(), "without HOME the account's home is used");
}

void TestSystemLayout::pathsAreSeenFromTheRoot()
{
    TestEnvironment env;
    const QString root = env.root();
    QCOMPARE(SystemLayout::pathRelativeToRoot(root + "/Applications/X.app"),
             QStringLiteral("/Applications/X.app"));
    QCOMPARE(SystemLayout::pathRelativeToRoot(root), QStringLiteral("/"));
    // A sibling folder that merely starts with the same letters is outside.
    QCOMPARE(SystemLayout::pathRelativeToRoot(root + "x/Library"), root + "x/Library");
    qunsetenv("VELMORA_ROOT");
    QCOMPARE(SystemLayout::pathRelativeToRoot("/tmp/a/../b"), QStringLiteral("/tmp/b"));
}

void TestSystemLayout::locationOperations()
{
    using namespace FileLocation;
    QCOMPARE(standardizedPath("/a/./b//c/../d"), QStringLiteral("/a/b/d"));
    QCOMPARE(lastPathComponent("/a/b/file.tar.gz"), QStringLiteral("file.tar.gz"));
    QCOMPARE(lastPathComponent("/a/b/"), QStringLiteral("b"));
    QCOMPARE(pathExtension("/a/b/file.tar.gz"), QStringLiteral("gz"));
    QCOMPARE(pathExtension("/a/.profile"), QString());
    QCOMPARE(pathExtension("/a/Editor.app"), QStringLiteral("app"));
    QCOMPARE(deletingLastPathComponent("/a/b/c.txt"), QStringLiteral("/a/b"));
    QCOMPARE(deletingLastPathComponent("/c.txt"), QStringLiteral("/"));
    QString out;
    QVERIFY(decodeExactly(QByteArray("caf\xc3\xa9"), &out));
    QCOMPARE(out, QStringLiteral("café"));
    QVERIFY(!decodeExactly(QByteArray("caf\xe9"), &out));
}

QTEST_GUILESS_MAIN(TestSystemLayout)
#include "tst_systemlayout.moc"
