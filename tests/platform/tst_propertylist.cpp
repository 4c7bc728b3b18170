#include "PropertyList.h"
#include "TestEnvironment.h"
#include "TreeBuilder.h"

#include <QFile>
#include <QtTest>
#include <sys/stat.h>

class TestPropertyList : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void roundTripsXmlAndBinary_data();
    void roundTripsXmlAndBinary();
    void badInputGivesNothing();
    void bundleInformation();
};

void TestPropertyList::roundTripsXmlAndBinary_data()
{
    QTest::addColumn<bool>("binary");
    QTest::newRow("xml") << false;
    QTest::newRow("binary") << true;
}

void TestPropertyList::roundTripsXmlAndBinary()
{
    QFETCH(bool, binary);
    TestEnvironment env;
    TreeBuilder tree(env.base());
    const QDateTime when = QDateTime::fromSecsSinceEpoch(1700000000, Qt::UTC);
    const QVariantMap dict{
        {QStringLiteral("Label"), QStringLiteral("com.example.agent")},
        {QStringLiteral("ProgramArguments"),
         QVariantList{QStringLiteral("/bin/sh"), QStringLiteral("-c"), QStringLiteral("échó")}},
        {QStringLiteral("RunAtLoad"), true},
        {QStringLiteral("KeepAlive"), QVariantMap{{QStringLiteral("SuccessfulExit"), false}}},
        {QStringLiteral("Count"), qint64(42)},
        {QStringLiteral("Ratio"), 0.5},
        {QStringLiteral("When"), when},
        {QStringLiteral("Blob"), QByteArray("\x00\x01\x02", 3)},
    };
    const QString path = tree.plist(QStringLiteral("x.plist"), dict, binary);
    QFile f(path);
    QVERIFY(f.open(QIODevice::ReadOnly));
    QCOMPARE(f.read(6) == "bplist", binary);

    const auto read = PropertyList::read(path);
    QVERIFY(read.has_value());
    QCOMPARE(read->value("Label").toString(), QStringLiteral("com.example.agent"));
    QCOMPARE(read->value("ProgramArguments").toList().value(2).toString(), QStringLiteral("échó"));
    QCOMPARE(read->value("RunAtLoad").typeId(), int(QMetaType::Bool));
    QCOMPARE(read->value("RunAtLoad").toBool(), true);
    QCOMPARE(read->value("KeepAlive").toMap().value("SuccessfulExit").toBool(), false);
    QCOMPARE(read->value("Count").toLongLong(), 42);
    QCOMPARE(read->value("Ratio").toDouble(), 0.5);
    QCOMPARE(read->value("When").toDateTime(), when);
    QCOMPARE(read->value("Blob").toByteArray(), QByteArray("\x00\x01\x02", 3));
}

void TestPropertyList::badInputGivesNothing()
{
    TestEnvironment env;
    TreeBuilder tree(env.base());
    // A named pipe with no writer would block a plain open or read for ever.
    QCOMPARE(mkfifo(QFile::encodeName(tree.path("pipe.plist")).constData(), 0644), 0);
    const QByteArray binary = fileContents(tree.plist("whole.plist", {{"Key", "value"}}, true));
    for (const QString &path : {
             tree.path("missing.plist"),
             tree.file("empty.plist"),
             tree.file("text.plist", "this is not a property list"),
             tree.file("xml.plist", "<?xml version=\"1.0\"?><plist><dict><key>A"),
             tree.folder("folder.plist"),
             tree.path("pipe.plist"),
             tree.symlink("link.plist", tree.path("pipe.plist")),
             tree.file("half.plist", binary.left(binary.size() / 2)), // cut in the middle
             tree.file("header.plist", binary.left(8)),
             // A list whose top level is not a dictionary.
             tree.file("array.plist", "<?xml version=\"1.0\"?><plist version=\"1.0\"><array>"
                                      "<string>a</string></array></plist>"),
         })
        QVERIFY2(!PropertyList::read(path), qPrintable(path));
    QVERIFY(PropertyList::read(tree.path("whole.plist")));
}

void TestPropertyList::bundleInformation()
{
    TestEnvironment env;
    TreeBuilder tree(env.base());
    tree.bundle("Good.app",
                {{"CFBundleIdentifier", QStringLiteral("com.good")},
                 {"CFBundleName", QStringLiteral("Good Name")}},
                true);
    tree.bundle("Typed.app", {{"CFBundleIdentifier", qint64(7)}}, false);
    tree.folder("Bare.app/Contents");

    const auto good = BundleInfo::read(tree.path("Good.app"));
    QVERIFY(good);
    QCOMPARE(good->identifier, QStringLiteral("com.good"));
    QCOMPARE(good->displayName(tree.path("Good.app")), QStringLiteral("Good Name"));

    const auto typed = BundleInfo::read(tree.path("Typed.app"));
    QVERIFY(typed);
    QVERIFY2(typed->identifier.isEmpty(), "a number is not an identifier");
    QCOMPARE(typed->displayName(tree.path("Typed.app")), QStringLiteral("Typed"));

    QVERIFY(!BundleInfo::read(tree.path("Bare.app")));
}

QTEST_GUILESS_MAIN(TestPropertyList)
#include "tst_propertylist.moc"
