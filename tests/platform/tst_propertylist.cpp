#include "PlistBytes.h"
#include "PropertyList.h"
#include "PropertyListShape.h"
#include "TestEnvironment.h"
#include "TreeBuilder.h"

#include <QFile>
#include <QtTest>
#include <sys/stat.h>

// Property lists as written and read, and hostile ones: the guard in front of
// the parser refuses what would crash or exhaust it, and lets every ordinary
// list through.

namespace {

using namespace PlistBytes;

// The guard's limit and PropertyList's: containers on the deepest path, the top
// dictionary included.
constexpr int kMaxDepth = 64;
constexpr int kNoLimit = std::numeric_limits<int>::max();

bool withinBounds(const QByteArray &bytes, int maxDepth = kMaxDepth)
{
    return PropertyListShape::isWithinBounds(bytes.constData(), std::size_t(bytes.size()),
                                             maxDepth);
}

// {"a": [[…["x"]…]]} as values, for PropertyList::write.
QVariantMap nestedValues(int arrays)
{
    QVariant value = QStringLiteral("x");
    for (int i = 0; i < arrays; ++i)
        value = QVariantList{value};
    return {{QStringLiteral("a"), value}};
}

QByteArray changed(QByteArray bytes, qsizetype at, const QByteArray &with)
{
    return bytes.replace(at < 0 ? bytes.size() + at : at, with.size(), with);
}

QByteArray xml(const QByteArray &body)
{
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE plist PUBLIC "
           "\"-//Apple//DTD PLIST 1.0//EN\" "
           "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n<plist version=\"1.0\">" +
           body + "</plist>\n";
}

// A row of guardAndReader: what the guard says at `limit`, whether
// PropertyList::fromData (which guards with 64) reads it, and what it reads
// when `read` is given.
void row(const char *name, const QByteArray &bytes, int limit, bool within, bool reads,
         const QVariantMap &read = {})
{
    QTest::newRow(name) << bytes << limit << within << reads << read;
}

void refused(const char *name, const QByteArray &bytes, int limit = kMaxDepth)
{
    row(name, bytes, limit, false, false);
}

} // namespace

class TestPropertyList : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void roundTripsAndNestsUpToTheLimit_data()
    {
        QTest::addColumn<bool>("binary");
        QTest::newRow("xml") << false;
        QTest::newRow("binary") << true;
    }

    void roundTripsAndNestsUpToTheLimit()
    {
        QFETCH(bool, binary);
        TestEnvironment env;
        TreeBuilder tree(env.base());
        const QVariantMap dict{
            {"Label", "com.example.agent"},
            {"ProgramArguments", QVariantList{"/bin/sh", "-c", QStringLiteral("échó")}},
            {"RunAtLoad", true},
            {"KeepAlive", QVariantMap{{"SuccessfulExit", false}}},
            {"Count", qint64(42)},
            {"Ratio", 0.5},
            {"When", QDateTime::fromSecsSinceEpoch(1700000000, Qt::UTC)},
            {"Blob", QByteArray("\x00\x01\x02", 3)},
        };
        const QString path = tree.plist(QStringLiteral("x.plist"), dict, binary);
        QCOMPARE(fileContents(path).startsWith("bplist"), binary);
        const auto read = PropertyList::read(path);
        QVERIFY(read.has_value());
        QCOMPARE(*read, dict);
        QCOMPARE(read->value("RunAtLoad").typeId(), int(QMetaType::Bool));

        // The dictionary and 63 arrays: exactly the limit, read down to the bottom.
        const QString atLimit = tree.plist("64.plist", nestedValues(kMaxDepth - 1), binary);
        QVERIFY(withinBounds(fileContents(atLimit)));
        QVERIFY(!withinBounds(fileContents(atLimit), kMaxDepth - 1));
        QCOMPARE(PropertyList::read(atLimit).value_or(QVariantMap()), nestedValues(kMaxDepth - 1));
        // One array more is refused whole rather than read with its bottom cut off.
        const QString overLimit = tree.plist("65.plist", nestedValues(kMaxDepth), binary);
        QVERIFY(!withinBounds(fileContents(overLimit)));
        QVERIFY(withinBounds(fileContents(overLimit), kMaxDepth + 1));
        QVERIFY(!PropertyList::read(overLimit));
    }

    void unreadableFilesAndBundlesGiveNothing()
    {
        TestEnvironment env;
        TreeBuilder tree(env.base());
        // A named pipe with no writer would block a plain open or read for ever.
        QCOMPARE(mkfifo(QFile::encodeName(tree.path("pipe.plist")).constData(), 0644), 0);
        const QByteArray binary = fileContents(tree.plist("whole.plist", {{"Key", "value"}}, true));
        for (const QString &path : {
                 tree.path("missing.plist"), tree.file("empty.plist"), tree.folder("folder.plist"),
                 tree.path("pipe.plist"), tree.symlink("link.plist", tree.path("pipe.plist")),
                 tree.file("half.plist", binary.left(binary.size() / 2)), // cut in the middle
             })
            QVERIFY2(!PropertyList::read(path), qPrintable(path));
        QVERIFY(PropertyList::read(tree.path("whole.plist")));

        tree.bundle("Typed.app", {{"CFBundleIdentifier", qint64(7)}}, false);
        const auto typed = BundleInfo::read(tree.path("Typed.app"));
        QVERIFY(typed);
        QVERIFY2(typed->identifier.isEmpty(), "a number is not an identifier");
        QCOMPARE(typed->displayName(tree.path("Typed.app")), QStringLiteral("Typed"));
        tree.folder("Bare.app/Contents");
        QVERIFY(!BundleInfo::read(tree.path("Bare.app")));
    }

    void guardAndReader_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<int>("limit");
        QTest::addColumn<bool>("within");
        QTest::addColumn<bool>("reads");
        QTest::addColumn<QVariantMap>("read");

        // 200,000 levels overflow libplist's stack while it parses; these must never
        // reach it. The lists are otherwise well formed, so without the guard they
        // would crash this test, or with a big enough stack come back as dictionaries.
        refused("200,000 arrays, XML", nestedXml(200000));
        refused("200,000 dictionaries, XML", nestedXml(200000, "<dict><key>k</key>", "</dict>"));
        refused("200,000 arrays, binary", chain(200000));
        refused("dictionaries and arrays, binary", chain(200000, 1, false, 0x5555555555555555));
        // An array holding itself, and a loop through two arrays and a set.
        refused("array holding itself",
                binary({container(0xD, {1, 2}), ascii("a"), container(0xA, {2})}), kNoLimit);
        refused("loop", chain(3, 1, true), kNoLimit);
        refused(
            "loop through a set",
            binary({container(0xD, {1, 2}), ascii("a"), container(0xA, {3}), container(0xC, {0})}),
            kNoLimit);
        // A little sharing is ordinary, and reads as a copy at every reference;
        // shared 2^17 ways, a 300-byte list would unfold into more values than any
        // list of its size could hold, and shared 2^40 ways the check itself has
        // to stay linear to answer at all.
        QVariant shared = QStringLiteral("x");
        for (int i = 0; i < 6; ++i)
            shared = QVariantList{shared, shared};
        row("shared 2^6 ways", chain(6, 2), kMaxDepth, true, true, {{"a", shared}});
        refused("shared 2^17 ways", chain(17, 2));
        refused("shared 2^40 ways", chain(40, 2), kNoLimit);
        // A shared subtree counts from the deepest place it is reached: in {"a": [X],
        // "b": [[[[X]]]]} with X 60 deep, X is first met at depth 3 and ends at 65.
        QList<QByteArray> twoPlaces{container(0xD, {1, 2, 3, 4}), ascii("a"), ascii("b")};
        const quint64 x = 5, wrapper = x + 60;
        twoPlaces << container(0xA, {x}) << container(0xA, {wrapper}); // 3: "a", 4: "b"
        for (quint64 i = 0; i < 60; ++i) // 5…64: X and the 59 arrays inside it
            twoPlaces << (i < 59 ? container(0xA, {x + i + 1}) : container(0xA, {}));
        for (quint64 i = 0; i < 3; ++i) // 65…67: the other wrappers, the last holding X
            twoPlaces << container(0xA, {i < 2 ? wrapper + i + 1 : x});
        row("shared, 65 deep by its second place", binary(twoPlaces), 65, true, false);
        refused("shared, over 64 by its second place", binary(twoPlaces));

        // libplist 2.2 asserts, ending the program, when asked for a string holding a
        // NUL: raw in XML, or U+0000 in a binary UTF-16 string, key or value.
        refused("NUL in XML", "<plist><dict><key>a</key><string>x" + QByteArray(1, '\0') +
                                  "y</string></dict></plist>");
        const QByteArray utf16Nul("\x62\x00x\x00\x00", 5), utf16("\x62\x00\xe9\x00x", 5);
        refused("U+0000 in a key", binary({container(0xD, {1, 2}), utf16Nul, utf16}));
        refused("U+0000 in a value", binary({container(0xD, {1, 2}), utf16, utf16Nul}));
        row("UTF-16 key and value", binary({container(0xD, {1, 2}), utf16, utf16}), kMaxDepth, true,
            true, {{"éx", QStringLiteral("éx")}});

        // Binary lists that lie about themselves. Object 2 is the first array, after
        // the dictionary's nine bytes and the key's two; five objects, four-byte offsets.
        const QByteArray good = chain(2);
        const qsizetype trailer = -32, table = trailer - 5 * 4;
        row("two arrays", good, kMaxDepth, true, true);
        refused("shorter than a header and a trailer", good.left(39));
        refused("trailer cut short", good.left(good.size() - 1));
        const struct
        {
            const char *name;
            qsizetype at;
            QByteArray bytes;
        } lies[] = {
            {"offset size 0", trailer + 6, QByteArray(1, '\0')},
            {"reference size 9", trailer + 7, QByteArray(1, '\x09')},
            {"2^64 - 1 objects", trailer + 8, QByteArray::fromHex("ffffffffffffffff")},
            {"an offset table whose size overflows to four bytes", trailer + 8,
             QByteArray::fromHex("4000000000000001")},
            {"top object past the last", trailer + 16, QByteArray::fromHex("0000000000000005")},
            {"offset table inside the header", trailer + 24,
             QByteArray::fromHex("0000000000000004")},
            {"offset table past the end", trailer + 24, QByteArray::fromHex("00000000ffffff00")},
            {"an object past the offset table", table + 8, QByteArray::fromHex("00ffffff")},
            {"an object inside the header", table + 8, QByteArray::fromHex("00000001")},
            {"a reference to object 99 of 5", 8 + 5, QByteArray::fromHex("00000063")},
            {"fourteen references where there is room for one", 8 + 9 + 2, QByteArray(1, '\xAE')},
            {"a count in a sixteen-byte integer", 8 + 9 + 2, QByteArray::fromHex("af14")},
            {"a count that is not an integer", 8 + 9 + 2, QByteArray::fromHex("af22")},
        };
        for (const auto &lie : lies)
            refused(lie.name, changed(good, lie.at, lie.bytes));
        // A count of fifteen or more follows the marker as an integer object.
        row("twenty references",
            binary({container(0xD, {1, 3}), ascii("a"), ascii("x"),
                    container(0xA, QList<quint64>(20, 2))}),
            kMaxDepth, true, true, {{"a", QVariantList(20, QStringLiteral("x"))}});
        // A lone value at the top nests nothing; libplist decides it is no dictionary.
        row("a lone value", binary({ascii("x")}), 0, true, false);
        row("cut short", "<?xml version=\"1.0\"?><plist><dict><key>A", kMaxDepth, true, false);
        row("an array at the top", xml("<array><string>a</string></array>"), kMaxDepth, true,
            false);

        // XML: siblings do not add up, and an empty container is a level of its own.
        const QByteArray siblings =
            xml("<dict><key>a</key><array/><key>b</key><array><dict/></array></dict>");
        row("siblings, 3", siblings, 3, true, true);
        row("siblings, 2", siblings, 2, false, true);
        // libplist 2.2 reads what follows a self-closed top-level container as its
        // contents: this is {"a": [[]]}, three deep.
        const QByteArray selfClosed = xml("<dict/><key>a</key><array><array/></array>");
        row("self-closed at the top, 3", selfClosed, 3, true, true,
            {{"a", QVariantList{QVariantList{}}}});
        row("self-closed at the top, 2", selfClosed, 2, false, true);
        // Nothing counts inside comments or character data.
        row("markup in a comment and CDATA",
            xml("<dict><!-- <array><array> --><key>a</key>"
                "<string><![CDATA[<array><dict>]]></string></dict>"),
            1, true, true, {{"a", QStringLiteral("<array><dict>")}});
        row("byte-order mark", "\xEF\xBB\xBF \n" + xml("<dict/>"), 1, true, false);
        // Markup it cannot follow the way every reader would is refused; and what is
        // neither XML nor "bplist00", which libplist 2.2 has no reader for.
        int refusedRow = 0;
        for (const QByteArray &markup : {
                 xml("<dict><!--> <array> --></dict>"),
                 xml("<dict><!-- never closed </dict>"),
                 xml("<dict><key>a</key><array x='>'></array></dict>"),
                 xml("<dict><key>a</key><array x=\">\"></array></dict>"),
                 QByteArray("<!DOCTYPE plist [ <!ENTITY a \"b\"> ]><plist><dict/></plist>"),
                 // libplist skips an internal subset to its "]>", so a '>' inside it
                 // would end the document type here and not there.
                 QByteArray("<!DOCTYPE plist [ > ]><plist><dict/></plist>"),
                 xml("<array></dict>"),
                 xml("</array><array>"),
                 xml("<dict></dict x>"),
                 QByteArray("{ CFBundleIdentifier = com.example; }"),
                 QByteArray("this is not a property list"),
                 "bplist15" + QByteArray(40, '\0'),
                 QByteArray(),
             })
            refused(qPrintable(QStringLiteral("refused markup %1").arg(++refusedRow)), markup);
    }

    void guardAndReader()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(int, limit);
        QFETCH(bool, within);
        QFETCH(bool, reads);
        QFETCH(QVariantMap, read);
        QCOMPARE(withinBounds(bytes, limit), within);
        const auto value = PropertyList::fromData(bytes);
        QCOMPARE(value.has_value(), reads);
        if (!read.isEmpty())
            QCOMPARE(value.value_or(QVariantMap()), read);
    }
};

QTEST_GUILESS_MAIN(TestPropertyList)
#include "tst_propertylist.moc"
