#include "DiskMapLayout.h"
#include "DiskMapScanner.h"
#include "FileLocation.h"
#include "Formatters.h"
#include "RegularFileWalk.h"
#include "TestEnvironment.h"
#include "TreeBuilder.h"

#include <QSemaphore>
#include <QtTest>
#include <sys/stat.h>
#include <unistd.h>

// A walk can be held at the folders below its root, to stop it at a known place.
namespace {
std::atomic<bool> g_holding{false};
std::atomic<bool> g_held{false};
QSemaphore g_release;
} // namespace
void RegularFileWalk::folderReached(const QByteArray &, int level)
{
    if (level > 1 && g_holding) {
        g_held = true;
        g_release.acquire();
        g_release.release();
    }
}

namespace {

using Node = FolderTotals::Node;
constexpr qint64 KiB = 1024;

qint64 onDisk(const QString &path)
{
    struct stat st
    {};
    return ::lstat(FileLocation::encode(path).constData(), &st) == 0 ? qint64(st.st_blocks) * 512
                                                                     : -1;
}

const Node *child(const Node *folder, const QByteArray &name)
{
    for (const auto &c : folder->children)
        if (c->name == name)
            return c.get();
    return nullptr;
}

bool scanned(DiskMapScanner &scanner, const QString &folder)
{
    const int before = scanner.completedScanCount();
    scanner.scan(folder);
    return QTest::qWaitFor([&] { return !scanner.isScanning(); }, 30000) &&
           scanner.completedScanCount() == before + 1;
}

} // namespace

class TestDiskMap : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void totalsCountEveryEntryOnceAndBundlesWhole();
    void zoomAndBreadcrumb();
    void stopKeepsAPartialMap();
    void layoutNestsOneLevelAndGathersTheSmall();
};

void TestDiskMap::totalsCountEveryEntryOnceAndBundlesWhole()
{
    TestEnvironment env;
    TreeBuilder tree(env.home());
    const QString a = tree.allocatedFile("Work/a/clip.mov", 300 * KiB);
    tree.allocatedFile("Work/a/.hidden", 80 * KiB);
    tree.sparseFile("Work/sparse.img", 50 * 1024 * KiB); // counts its blocks, not its length
    tree.allocatedFile("Work/App.app/Contents/Resources/data", 200 * KiB);
    tree.symlink("Work/link", a); // counted as itself, not followed
    for (int i = 0; i < 40; ++i)  // deeper than the root: only the largest kept
        tree.allocatedFile(QStringLiteral("Work/many/f%1").arg(i, 2, 10, QChar('0')),
                           (i + 1) * 4 * KiB);
    // One file, three names: it counts under the first a walk in byte order
    // meets ("Work/a/z" before "Work/a-b/y" and "Work/b/x"), once.
    const QString shared = tree.allocatedFile("Work/b/x", 120 * KiB);
    tree.folder("Work/a-b");
    QCOMPARE(::link(qPrintable(shared), qPrintable(tree.path("Work/a-b/y"))), 0);
    QCOMPARE(::link(qPrintable(shared), qPrintable(tree.path("Work/a/z"))), 0);

    DiskMapScanner scanner;
    QVERIFY(scanned(scanner, tree.path("Work")));
    const Node *root = scanner.root();
    const qint64 a_ = onDisk(a) + onDisk(tree.path("Work/a/.hidden")) + onDisk(shared);
    QCOMPARE(child(root, "a")->size, a_);
    QCOMPARE(child(root, "a")->files, qint64(3));
    QCOMPARE(child(root, "a-b")->size, qint64(0));
    QCOMPARE(child(root, "b")->size, qint64(0));
    QCOMPARE(child(root, "b")->files, qint64(0));
    const Node *app = child(root, "App.app");
    QCOMPARE(app->kind, Node::Kind::package);
    QCOMPARE(app->size, onDisk(tree.path("Work/App.app/Contents/Resources/data")));
    QVERIFY(app->children.empty());
    QCOMPARE(child(root, "sparse.img")->size, onDisk(tree.path("Work/sparse.img")));
    QCOMPARE(child(root, "link")->size, onDisk(tree.path("Work/link")));
    qint64 many = 0;
    for (int i = 0; i < 40; ++i)
        many += onDisk(tree.path(QStringLiteral("Work/many/f%1").arg(i, 2, 10, QChar('0'))));
    const Node *manyNode = child(root, "many");
    QCOMPARE(manyNode->size, many);
    QCOMPARE(manyNode->files, qint64(40));
    // Kept: the 32 largest of at least 64 KiB (f15 to f39), the rest in one count.
    QCOMPARE(int(manyNode->children.size()), 25);
    QCOMPARE(manyNode->children.front()->name, QByteArray("f39"));
    QCOMPARE(manyNode->restFiles, qint64(15));
    QCOMPARE(root->size, a_ + app->size + many + onDisk(tree.path("Work/sparse.img")) +
                             onDisk(tree.path("Work/link")));
    QCOMPARE(root->files, qint64(3 + 1 + 40 + 2));
    QVERIFY(root->whole);
    QCOMPARE(scanner.statusText(),
             QStringLiteral("Work ocupa %1 en 46 archivo(s).").arg(Formatters::bytes(root->size)));

    QVERIFY(!scanned(scanner, tree.path("missing")));
    QCOMPARE(scanner.errorMessage(),
             QStringLiteral("No fue posible abrir la carpeta seleccionada."));
    QVERIFY(!scanner.root());
}

void TestDiskMap::zoomAndBreadcrumb()
{
    TestEnvironment env;
    TreeBuilder tree(env.home());
    tree.allocatedFile("Fotos/2024/Viaje/a.jpg", 100 * KiB);
    DiskMapScanner scanner;
    QVERIFY(scanned(scanner, env.home()));
    QSignalSpy changed(&scanner, &DiskMapScanner::mapChanged);
    QVERIFY(scanner.zoomIntoPath(tree.path("Fotos/2024/Viaje")));
    QCOMPARE(scanner.currentPath(), tree.path("Fotos/2024/Viaje"));
    QCOMPARE(scanner.breadcrumb().size(), 4);
    QCOMPARE(scanner.breadcrumb().at(2).toMap().value("path").toString(), tree.path("Fotos/2024"));
    QCOMPARE(scanner.breadcrumb().at(3).toMap().value("name").toString(), QStringLiteral("Viaje"));
    QCOMPARE(scanner.pathOf(scanner.current()->children.front().get(), nullptr),
             tree.path("Fotos/2024/Viaje/a.jpg"));
    scanner.zoomOut();
    QCOMPARE(scanner.currentPath(), tree.path("Fotos/2024"));
    scanner.zoomTo(0);
    QCOMPARE(scanner.currentPath(), env.home());
    QVERIFY(!scanner.zoomIntoPath(tree.path("Fotos/2024/Viaje/a.jpg"))); // a file is no folder
    QVERIFY(!scanner.zoomIntoPath(env.root()));
    QCOMPARE(scanner.currentPath(), env.home());
    QCOMPARE(changed.size(), 3);
}

void TestDiskMap::stopKeepsAPartialMap()
{
    TestEnvironment env;
    TreeBuilder tree(env.home());
    tree.allocatedFile("top.bin", 64 * KiB);
    tree.allocatedFile("Deep/below.bin", 64 * KiB);
    DiskMapScanner scanner;
    g_held = false;
    g_holding = true;
    scanner.scan(env.home());
    QVERIFY(QTest::qWaitFor([] { return g_held.load(); }, 30000));
    scanner.stopScan();
    g_holding = false;
    g_release.release();
    QVERIFY(QTest::qWaitFor([&] { return !scanner.isScanning(); }, 30000));
    g_release.acquire();
    QCOMPARE(scanner.completedScanCount(), 1);
    QVERIFY(scanner.isPartial());
    QVERIFY(!scanner.root()->whole);
    QCOMPARE(scanner.root()->size, onDisk(tree.path("top.bin"))); // what it finished
    QCOMPARE(scanner.statusText(),
             QStringLiteral("Análisis detenido: mapa parcial de %1, %2 en 1 archivo(s).")
                 .arg(FileLocation::lastPathComponent(env.home()),
                      Formatters::bytes(scanner.root()->size)));
}

void TestDiskMap::layoutNestsOneLevelAndGathersTheSmall()
{
    // A folder of 600 (with 3,000 tiny files inside a subfolder), a file of 300,
    // and 5,000 files of 1 byte besides 400 bytes not kept by name.
    Node root;
    const auto add = [](Node &to, QByteArray name, qint64 size, Node::Kind kind) -> Node & {
        auto node = std::make_unique<Node>();
        node->name = std::move(name);
        node->kind = kind;
        node->size = size;
        node->files = kind == Node::Kind::file ? 1 : 0;
        to.children.push_back(std::move(node));
        return *to.children.back();
    };
    Node &folder = add(root, "Folder", 600, Node::Kind::folder);
    folder.files = 3000;
    folder.restSize = 600;
    folder.restFiles = 3000;
    add(root, "big", 300, Node::Kind::file);
    for (int i = 0; i < 5000; ++i)
        add(root, "tiny" + QByteArray::number(i), 1, Node::Kind::file);
    root.size = 600 + 300 + 5000 + 400;
    root.restSize = 400;
    root.restFiles = 7;
    const QRectF area(0, 0, 800, 500);
    const std::vector<DiskMapLayout::Block> blocks = DiskMapLayout::blocks(root, area);

    using Kind = DiskMapLayout::Block::Kind;
    qint64 topSize = 0;
    for (const auto &b : blocks) {
        QVERIFY(area.adjusted(-0.01, -0.01, 0.01, 0.01).contains(b.rect));
        QVERIFY(b.rect.width() >= 6 && b.rect.height() >= 6);
        if (b.depth == 0)
            topSize += b.size;
        else
            QVERIFY(blocks[size_t(b.parent)].rect.contains(b.rect));
    }
    QCOMPARE(topSize, root.size);
    QCOMPARE(blocks.size(), size_t(4)); // Folder, big, Otros; and Folder's own Otros inside it
    QCOMPARE(blocks[0].node, &folder);
    QCOMPARE(blocks[2].kind, Kind::others);
    QCOMPARE(blocks[2].size, qint64(5000 + 400));
    QCOMPARE(blocks[2].files, qint64(5007));
    QCOMPARE(blocks[3].kind, Kind::others);
    QCOMPARE(blocks[3].parent, 0);
    QCOMPARE(blocks[3].files, qint64(3000));
    QVERIFY(DiskMapLayout::blocks(Node(), area).empty());
    QCOMPARE(DiskMapLayout::fileClass("Viaje.MOV"), QStringLiteral("video"));
}

QTEST_GUILESS_MAIN(TestDiskMap)
#include "tst_diskmap.moc"
