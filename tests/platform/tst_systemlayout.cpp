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
    void namesGoBackToTheirExactBytes_data();
    void namesGoBackToTheirExactBytes();
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
}

void TestSystemLayout::namesGoBackToTheirExactBytes_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QString>("shown"); // what a screen shows
    QTest::newRow("ascii") << QByteArray("/a/b.txt") << QStringLiteral("/a/b.txt");
    QTest::newRow("valid UTF-8") << QByteArray("/caf\xc3\xa9 \xf0\x9f\x93\x81")
                                 << QStringLiteral("/café 📁");
    // U+10080: a pair whose second half lies where kept bytes are kept.
    QTest::newRow("pair like a kept byte")
        << QByteArray("\xf0\x90\x82\x80") << QString::fromUcs4(U"\U00010080", 1);
    QTest::newRow("lone bytes") << QByteArray("/caf\xe9\xff") << QStringLiteral("/caf\uFFFD\uFFFD");
    QTest::newRow("overlong slash") << QByteArray("/a\xe0\x80\xaf"
                                                  "b")
                                    << QStringLiteral("/a\uFFFD\uFFFD\uFFFDb");
    QTest::newRow("encoded surrogate")
        << QByteArray("\xed\xa0\x80") << QStringLiteral("\uFFFD\uFFFD\uFFFD");
    QTest::newRow("beyond U+10FFFF")
        << QByteArray("\xf4\x90\x80\x80") << QStringLiteral("\uFFFD\uFFFD\uFFFD\uFFFD");
    QTest::newRow("cut at the end") << QByteArray("/x\xe6\x97") << QStringLiteral("/x\uFFFD\uFFFD");
    QTest::newRow("mixed") << QByteArray("/\xe6\x97\xa5\xff\xe6\x97\xa5/\x80"
                                         "a")
                           << QStringLiteral("/日\uFFFD日/\uFFFDa");
}

void TestSystemLayout::namesGoBackToTheirExactBytes()
{
    QFETCH(QByteArray, bytes);
    QFETCH(QString, shown);
    const QString path = FileLocation::decode(bytes);
    QCOMPARE(FileLocation::encode(path), bytes);
    QCOMPARE(FileLocation::displayText(path), shown);
    // Path operations keep the bytes of every component.
    const QString inFolder = FileLocation::appendingPathComponent(QStringLiteral("/r/./s"), path);
    QCOMPARE(FileLocation::encode(FileLocation::standardizedPath(inFolder)),
             QByteArray("/r/s/") + (bytes.startsWith('/') ? bytes.mid(1) : bytes));
}

QTEST_GUILESS_MAIN(TestSystemLayout)
#include "tst_systemlayout.moc"
