#include "PropertyList.h"
#include "PropertyListShape.h"
#include "TestEnvironment.h"
#include "TreeBuilder.h"

#include <QFile>
#include <QtTest>
#include <sys/stat.h>

// Hostile property lists: the guard in front of the parser refuses what would
// crash or exhaust it, and lets every ordinary list through.
namespace {

// The guard's limit and PropertyList's: containers on the deepest path, the top
// dictionary included.
constexpr int kMaxDepth = 64;

bool withinBounds(const QByteArray &bytes, int maxDepth = kMaxDepth)
{
    return PropertyListShape::isWithinBounds(bytes.constData(), std::size_t(bytes.size()),
                                             maxDepth);
}

// {"a": [[…["x"]…]]} as XML: the dictionary and `arrays` arrays, 1 + arrays deep.
QByteArray nestedXml(int arrays)
{
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist "
           "version=\"1.0\">\n<dict><key>a</key>" +
           QByteArray("<array>").repeated(arrays) + "<string>x</string>" +
           QByteArray("</array>").repeated(arrays) + "</dict></plist>\n";
}

// Binary lists written by hand, with four-byte offsets and references, so that
// they can say what no writer would.
void appendBigEndian(QByteArray &out, quint64 value, int width)
{
    for (int shift = (width - 1) * 8; shift >= 0; shift -= 8)
        out.append(char((value >> shift) & 0xFF));
}

// An array (kind 0xA), set (0xC) or dictionary (0xD: keys, then values) object.
QByteArray container(int kind, const QList<quint32> &refs)
{
    const qsizetype count = kind == 0xD ? refs.size() / 2 : refs.size();
    QByteArray out;
    if (count < 15) {
        out.append(char(kind << 4 | int(count)));
    } else {
        out.append(char(kind << 4 | 0xF));
        out.append(char(0x12)); // the count follows as a four-byte integer
        appendBigEndian(out, quint64(count), 4);
    }
    for (quint32 ref : refs)
        appendBigEndian(out, ref, 4);
    return out;
}

QByteArray shortString(const QByteArray &ascii)
{
    return char(0x50 | ascii.size()) + ascii;
}

QByteArray binaryList(const QList<QByteArray> &objects, quint64 top = 0)
{
    QByteArray out("bplist00");
    QList<quint64> offsets;
    for (const QByteArray &object : objects) {
        offsets.append(quint64(out.size()));
        out.append(object);
    }
    const quint64 table = quint64(out.size());
    for (quint64 offset : offsets)
        appendBigEndian(out, offset, 4);
    out.append(QByteArray(6, '\0'));
    out.append(char(4)); // offset size
    out.append(char(4)); // reference size
    appendBigEndian(out, quint64(objects.size()), 8);
    appendBigEndian(out, top, 8);
    appendBigEndian(out, table, 8);
    return out;
}

// {"a": [[…["x"]…]]} in binary: object 0 the dictionary, 1 its key, 2… the arrays,
// each holding the next, and last the string. 1 + arrays deep.
QByteArray nestedBinary(int arrays)
{
    QList<QByteArray> objects{container(0xD, {1, 2}), shortString("a")};
    for (int i = 0; i < arrays; ++i)
        objects.append(container(0xA, {quint32(3 + i)}));
    objects.append(shortString("x"));
    return binaryList(objects);
}

// {"a": L0} where every level Ln is [Ln+1, Ln+1] and the last holds "x": a few bytes
// that unfold into 2^levels strings when each reference gets its own copy.
QByteArray sharedBinary(int levels)
{
    QList<QByteArray> objects{container(0xD, {1, 2}), shortString("a")};
    for (int i = 0; i < levels; ++i)
        objects.append(container(0xA, {quint32(3 + i), quint32(3 + i)}));
    objects.append(shortString("x"));
    return binaryList(objects);
}

// {"a": [[…["x"]…]]} as values, for PropertyList::write.
QVariantMap nestedValues(int arrays)
{
    QVariant value = QStringLiteral("x");
    for (int i = 0; i < arrays; ++i)
        value = QVariantList{value};
    return {{QStringLiteral("a"), value}};
}

// How many "x" strings lie under a value, and how deep the deepest sits.
int countStrings(const QVariant &value, int depth, int *deepest)
{
    if (value.typeId() != QMetaType::QVariantList) {
        *deepest = std::max(*deepest, depth);
        return value.toString() == QLatin1String("x") ? 1 : 0;
    }
    int count = 0;
    for (const QVariant &item : value.toList())
        count += countStrings(item, depth + 1, deepest);
    return count;
}

} // namespace

class TestPropertyListShape : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void nestingUpToTheLimitReads_data();
    void nestingUpToTheLimitReads();
    void hostileListsAreRefusedNotParsed();
    void sharedBinaryObjects();
    void shapeOfMalformedBinaryLists();
    void shapeOfXmlMarkup();
};

void TestPropertyListShape::nestingUpToTheLimitReads_data()
{
    QTest::addColumn<bool>("binary");
    QTest::newRow("xml") << false;
    QTest::newRow("binary") << true;
}

void TestPropertyListShape::nestingUpToTheLimitReads()
{
    QFETCH(bool, binary);
    TestEnvironment env;
    TreeBuilder tree(env.base());

    // An ordinary information list, three containers deep.
    const QVariantMap info{
        {QStringLiteral("CFBundleIdentifier"), QStringLiteral("com.example.viewer")},
        {QStringLiteral("CFBundleDocumentTypes"),
         QVariantList{QVariantMap{
             {QStringLiteral("CFBundleTypeName"), QStringLiteral("Picture")},
             {QStringLiteral("CFBundleTypeRole"), QStringLiteral("Viewer")},
         }}},
    };
    const auto read = PropertyList::read(tree.plist("Info.plist", info, binary));
    QVERIFY(read);
    QCOMPARE(read->value("CFBundleIdentifier").toString(), QStringLiteral("com.example.viewer"));
    QCOMPARE(read->value("CFBundleDocumentTypes")
                 .toList()
                 .value(0)
                 .toMap()
                 .value("CFBundleTypeRole")
                 .toString(),
             QStringLiteral("Viewer"));

    // The dictionary and 63 arrays: exactly the limit, read down to the bottom.
    const QString atLimit = tree.plist("64.plist", nestedValues(kMaxDepth - 1), binary);
    QFile atLimitFile(atLimit);
    QVERIFY(atLimitFile.open(QIODevice::ReadOnly));
    const QByteArray atLimitBytes = atLimitFile.readAll();
    QVERIFY(withinBounds(atLimitBytes));
    QVERIFY(!withinBounds(atLimitBytes, kMaxDepth - 1));
    const auto deep = PropertyList::read(atLimit);
    QVERIFY(deep);
    int deepest = 0;
    QCOMPARE(countStrings(deep->value("a"), 1, &deepest), 1);
    QCOMPARE(deepest, kMaxDepth);

    // One array more is refused whole rather than read with its bottom cut off.
    const QString overLimit = tree.plist("65.plist", nestedValues(kMaxDepth), binary);
    QFile overLimitFile(overLimit);
    QVERIFY(overLimitFile.open(QIODevice::ReadOnly));
    const QByteArray overLimitBytes = overLimitFile.readAll();
    QVERIFY(!withinBounds(overLimitBytes));
    QVERIFY(withinBounds(overLimitBytes, kMaxDepth + 1));
    QVERIFY(!PropertyList::read(overLimit));
}

void TestPropertyListShape::hostileListsAreRefusedNotParsed()
{
    TestEnvironment env;
    TreeBuilder tree(env.base());

    // 200,000 levels overflow libplist's stack while it parses; these must never
    // reach it. The lists are otherwise well formed, so without the guard they
    // would crash this test, or with a big enough stack come back as dictionaries.
    const QByteArray deepXml = nestedXml(200000);
    QVERIFY(!withinBounds(deepXml));
    QVERIFY(!PropertyList::read(tree.file("deep-xml.plist", deepXml)));
    QVERIFY(!PropertyList::fromData(deepXml));
    const QByteArray deepBinary = nestedBinary(200000);
    QVERIFY(!withinBounds(deepBinary));
    QVERIFY(!PropertyList::read(tree.file("deep-binary.plist", deepBinary)));

    // Dictionaries nest the same way.
    const QByteArray deepDicts = "<plist>" + QByteArray("<dict><key>k</key>").repeated(200000) +
                                 QByteArray("</dict>").repeated(200000) + "</plist>";
    QVERIFY(!PropertyList::fromData(deepDicts));

    // An array holding itself, and a loop through two arrays and a dictionary.
    const QByteArray selfHolding =
        binaryList({container(0xD, {1, 2}), shortString("a"), container(0xA, {2})});
    QVERIFY(!withinBounds(selfHolding, std::numeric_limits<int>::max()));
    QVERIFY(!PropertyList::read(tree.file("loop.plist", selfHolding)));
    const QByteArray loop = binaryList(
        {container(0xD, {1, 2}), shortString("a"), container(0xA, {3}), container(0xC, {0})});
    QVERIFY(!withinBounds(loop, std::numeric_limits<int>::max()));
    QVERIFY(!PropertyList::fromData(loop));

    // libplist 2.2 asserts, ending the program, when asked for a string holding a
    // NUL: raw in XML, or U+0000 in a binary UTF-16 string, key or value.
    const QByteArray nulInXml =
        "<plist><dict><key>a</key><string>x" + QByteArray(1, '\0') + "y</string></dict></plist>";
    QVERIFY(!withinBounds(nulInXml));
    QVERIFY(!PropertyList::read(tree.file("nul.plist", nulInXml)));
    const QByteArray utf16Nul("\x62\x00x\x00\x00", 5);
    const QByteArray utf16 = QByteArray("\x62\x00\xe9\x00x", 5);
    QVERIFY(!PropertyList::fromData(binaryList({container(0xD, {1, 2}), utf16Nul, utf16})));
    QVERIFY(!PropertyList::fromData(binaryList({container(0xD, {1, 2}), utf16, utf16Nul})));
    const auto wide = PropertyList::fromData(binaryList({container(0xD, {1, 2}), utf16, utf16}));
    QVERIFY(wide);
    QCOMPARE(wide->value(QStringLiteral("éx")).toString(), QStringLiteral("éx"));

    // A trailer whose offset table lies past the end of the file.
    QByteArray pastEnd = nestedBinary(1);
    QVERIFY(withinBounds(pastEnd));
    QVERIFY(PropertyList::fromData(pastEnd));
    pastEnd.replace(pastEnd.size() - 8, 8, QByteArray::fromHex("00000000ffffff00"));
    QVERIFY(!withinBounds(pastEnd));
    QVERIFY(!PropertyList::read(tree.file("past-end.plist", pastEnd)));
}

void TestPropertyListShape::sharedBinaryObjects()
{
    // A little sharing is ordinary and unfolds into a copy at every reference.
    const auto shared = PropertyList::fromData(sharedBinary(6));
    QVERIFY(shared);
    int deepest = 0;
    QCOMPARE(countStrings(shared->value("a"), 1, &deepest), 64);
    QCOMPARE(deepest, 7);

    // Shared 2^17 ways, a 300-byte list would unfold into more values than any list
    // of its size could hold: refused before libplist builds a quarter of a million.
    QVERIFY(!withinBounds(sharedBinary(17)));
    QVERIFY(!PropertyList::fromData(sharedBinary(17)));
    // Shared 2^40 ways, the check itself has to stay linear to answer at all.
    QVERIFY(!withinBounds(sharedBinary(40)));
    QVERIFY(!withinBounds(sharedBinary(40), std::numeric_limits<int>::max()));

    // A shared subtree counts from the deepest place it is reached: in {"a": [X],
    // "b": [[[[X]]]]} with X 60 deep, X is first met at depth 3 and ends at 65.
    QList<QByteArray> objects{container(0xD, {1, 2, 3, 4}), shortString("a"), shortString("b")};
    const quint32 x = 5, wrapper = x + 60;
    objects.append(container(0xA, {x}));       // 3: "a"
    objects.append(container(0xA, {wrapper})); // 4: "b", first of four wrappers
    for (quint32 i = 0; i < 60; ++i)           // 5…64: X and the 59 arrays inside it
        objects.append(i < 59 ? container(0xA, {x + i + 1}) : container(0xA, {}));
    for (quint32 i = 0; i < 3; ++i) // 65…67: the other wrappers, the last holding X
        objects.append(container(0xA, {i < 2 ? wrapper + i + 1 : x}));
    const QByteArray twoPlaces = binaryList(objects);
    QVERIFY(withinBounds(twoPlaces, 65));
    QVERIFY(!withinBounds(twoPlaces, 64));
}

void TestPropertyListShape::shapeOfMalformedBinaryLists()
{
    const QByteArray good = nestedBinary(2);
    QVERIFY(withinBounds(good));
    const qsizetype trailer = good.size() - 32;
    const qsizetype table = trailer - 5 * 4; // five objects, four-byte offsets

    const auto changed = [&](qsizetype at, const QByteArray &bytes) {
        QByteArray copy = good;
        copy.replace(at, bytes.size(), bytes);
        return copy;
    };
    QVERIFY2(!withinBounds(good.left(39)), "shorter than a header and a trailer");
    QVERIFY2(!withinBounds(good.left(good.size() - 1)), "trailer cut short");
    QVERIFY2(!withinBounds(changed(trailer + 6, QByteArray(1, '\0'))), "offset size 0");
    QVERIFY2(!withinBounds(changed(trailer + 7, QByteArray(1, '\x09'))), "reference size 9");
    QVERIFY2(!withinBounds(changed(trailer + 8, QByteArray::fromHex("ffffffffffffffff"))),
             "2^64 - 1 objects");
    QVERIFY2(!withinBounds(changed(trailer + 8, QByteArray::fromHex("4000000000000001"))),
             "an offset table whose size overflows to four bytes");
    QVERIFY2(!withinBounds(changed(trailer + 16, QByteArray::fromHex("0000000000000005"))),
             "top object past the last");
    QVERIFY2(!withinBounds(changed(trailer + 24, QByteArray::fromHex("0000000000000004"))),
             "offset table inside the header");
    QVERIFY2(!withinBounds(changed(table + 8, QByteArray::fromHex("00ffffff"))),
             "an object past the offset table");
    QVERIFY2(!withinBounds(changed(table + 8, QByteArray::fromHex("00000001"))),
             "an object inside the header");
    QVERIFY2(!withinBounds(changed(8 + 5, QByteArray::fromHex("00000063"))),
             "a reference to object 99 of 5");
    // The first array (object 2, after the dictionary's nine bytes and the key's two).
    QVERIFY2(!withinBounds(changed(8 + 9 + 2, QByteArray(1, '\xAE'))),
             "fourteen references where there is room for one");
    QVERIFY2(!withinBounds(changed(8 + 9 + 2, QByteArray::fromHex("af14"))),
             "a count in a sixteen-byte integer");
    QVERIFY2(!withinBounds(changed(8 + 9 + 2, QByteArray::fromHex("af22"))),
             "a count that is not an integer");

    // A count of fifteen or more follows the marker as an integer object.
    QList<quint32> refs(20, 2);
    const QByteArray wide = binaryList(
        {container(0xD, {1, 3}), shortString("a"), shortString("x"), container(0xA, refs)});
    QVERIFY(withinBounds(wide));
    const auto read = PropertyList::fromData(wide);
    QVERIFY(read);
    QCOMPARE(read->value("a").toList().size(), 20);

    // A lone value at the top nests nothing; libplist decides it is no dictionary.
    const QByteArray lone = binaryList({shortString("x")});
    QVERIFY(withinBounds(lone, 0));
    QVERIFY(!PropertyList::fromData(lone));
}

void TestPropertyListShape::shapeOfXmlMarkup()
{
    const auto xml = [](const QByteArray &body) {
        return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE plist PUBLIC "
               "\"-//Apple//DTD PLIST 1.0//EN\" "
               "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n<plist version=\"1.0\">" +
               body + "</plist>\n";
    };
    // Siblings do not add up, and an empty container is a level of its own.
    const QByteArray siblings =
        xml("<dict><key>a</key><array/><key>b</key><array><dict/></array></dict>");
    QVERIFY(withinBounds(siblings, 3));
    QVERIFY(!withinBounds(siblings, 2));
    // libplist 2.2 reads what follows a self-closed top-level container as its
    // contents: this is {"a": [[]]}, three deep.
    const QByteArray openedAtTheTop = xml("<dict/><key>a</key><array><array/></array>");
    QVERIFY(withinBounds(openedAtTheTop, 3));
    QVERIFY(!withinBounds(openedAtTheTop, 2));
    const auto openedRead = PropertyList::fromData(openedAtTheTop);
    QVERIFY(openedRead);
    QCOMPARE(openedRead->value("a"), QVariant(QVariantList{QVariantList{}}));
    // Nothing counts inside comments or character data.
    const QByteArray hidden = xml("<dict><!-- <array><array> --><key>a</key>"
                                  "<string><![CDATA[<array><dict>]]></string></dict>");
    QVERIFY(withinBounds(hidden, 1));
    const auto hiddenRead = PropertyList::fromData(hidden);
    QVERIFY(hiddenRead);
    QCOMPARE(hiddenRead->value("a").toString(), QStringLiteral("<array><dict>"));
    // Markup it cannot follow the way every reader would is refused.
    QVERIFY(!withinBounds(xml("<dict><!--> <array> --></dict>")));
    QVERIFY(!withinBounds(xml("<dict><!-- never closed </dict>")));
    QVERIFY(!withinBounds(xml("<dict><key>a</key><array x='>'></array></dict>")));
    QVERIFY(!withinBounds(xml("<dict><key>a</key><array x=\">\"></array></dict>")));
    QVERIFY(!withinBounds("<!DOCTYPE plist [ <!ENTITY a \"b\"> ]><plist><dict/></plist>"));
    // libplist skips an internal subset to its "]>", so a '>' inside it would end
    // the document type here and not there.
    QVERIFY(!withinBounds("<!DOCTYPE plist [ > ]><plist><dict/></plist>"));
    QVERIFY(!withinBounds(xml("<array></dict>")));
    QVERIFY(!withinBounds(xml("</array><array>")));
    QVERIFY(!withinBounds(xml("<dict></dict x>")));
    // Neither XML nor "bplist00": libplist 2.2 has no reader for it.
    QVERIFY(!withinBounds("{ CFBundleIdentifier = com.example; }"));
    QVERIFY(!withinBounds("bplist15" + QByteArray(40, '\0')));
    QVERIFY(!withinBounds(QByteArray()));
    QVERIFY(withinBounds("\xEF\xBB\xBF \n" + xml("<dict/>"), 1));
}

QTEST_GUILESS_MAIN(TestPropertyListShape)
#include "tst_propertylistshape.moc"
