#include "DemoGuard.h"
#include "TestEnvironment.h"
#include "TreeBuilder.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

// The tools beside the app. The probe is what benchmarks and scripts read: its
// JSON keeps one shape. The demo generator writes only into an empty folder or
// a demo tree of its own; its trees are built under a folder of their own that
// stands in for /tmp, so these checks hold wherever the checkout is.
class TestTools : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void largeFilesScanSelectAndTrash();
    void duplicatesAndCleanupShapes();
    void uninstallerSelectsByNameOrPath();
    void usageErrors();
    void faultInjectedBeforeRemoval();
    void demoWritesOnlyWhereItMay();
    void demoClearsOnlyItsOwnTree();
};

namespace {

QJsonObject run(const QStringList &args, int *exitCode = nullptr)
{
    QProcess probe;
    probe.start(QStringLiteral(VELMORA_PROBE), args);
    if (!probe.waitForFinished(60000))
        return {};
    if (exitCode)
        *exitCode = probe.exitCode();
    return QJsonDocument::fromJson(probe.readAllStandardOutput()).object();
}

// The object without the keys whose values vary from run to run.
QJsonObject without(QJsonObject object, const QStringList &keys)
{
    for (const QString &key : keys)
        object.remove(key);
    return object;
}

} // namespace

void TestTools::largeFilesScanSelectAndTrash()
{
    TestEnvironment env;
    TreeBuilder tree(env.home());
    tree.allocatedFile("Movies/big.mov", 3 * 1024 * 1024);
    tree.allocatedFile("Movies/small.mov", 512 * 1024);
    tree.setModificationTime("Movies/big.mov", QDateTime::fromSecsSinceEpoch(1700000000, Qt::UTC));

    const QJsonObject scan = run({"largefiles", env.home(), "--min-mb", "1"});
    QVERIFY(scan.value("elapsedMs").isDouble());
    QCOMPARE(without(scan, {"elapsedMs", "skipped"}),
             (QJsonObject{{"module", "largefiles"},
                          {"statusText", "Se encontraron 1 archivos grandes."},
                          {"errorMessage", QJsonValue::Null},
                          {"completedScanCount", 1},
                          {"items", QJsonArray{QJsonObject{{"url", tree.path("Movies/big.mov")},
                                                           {"name", "big.mov"},
                                                           {"path", tree.path("Movies")},
                                                           {"size", 3.0 * 1024 * 1024},
                                                           {"modificationDate", 1700000000.0}}}},
                          {"selected", QJsonArray()}}));

    const QJsonObject trashed =
        run({"largefiles", env.home(), "--min-mb", "1", "--select-all", "--trash-selected"});
    QCOMPARE(trashed.value("statusText").toString(),
             QStringLiteral("1 archivo(s) enviados a la Papelera."));
    QVERIFY(trashed.value("items").toArray().isEmpty());
    QVERIFY(!QFile::exists(tree.path("Movies/big.mov")));
    QVERIFY(QFile::exists(env.trashFiles() + "/big.mov"));
    QVERIFY(QFile::exists(tree.path("Movies/small.mov")));
}

void TestTools::duplicatesAndCleanupShapes()
{
    TestEnvironment env;
    TreeBuilder tree(env.home());
    tree.patternFile("a/copy.bin", 10 * 1024 * 1024, 5);
    tree.patternFile("b/copy.bin", 10 * 1024 * 1024, 5);
    tree.setModificationTime("b/copy.bin", QDateTime::fromSecsSinceEpoch(1000000000));
    tree.file("Library/Caches/com.vendor.App/data", "cache");

    const QJsonObject dups = run({"duplicates", env.home(), "--min-mb", "1", "--trash-selected"});
    QCOMPARE(dups.value("module").toString(), QStringLiteral("duplicates"));
    QCOMPARE(dups.value("statusText").toString(),
             QStringLiteral("1 duplicado(s) enviados a la Papelera."));
    QVERIFY(QFile::exists(tree.path("b/copy.bin"))); // the older copy is kept
    QVERIFY(!QFile::exists(tree.path("a/copy.bin")));
    QCOMPARE(dups.value("filesOpened").toDouble(), 4.0); // both files: ends, then whole
    QCOMPARE(run({"duplicates", env.home(), "--min-mb", "1"}).value("items"), QJsonArray());

    const QJsonObject cleanup = run({"cleanup", "--select-all-safe"});
    QCOMPARE(cleanup.value("completedScanCount").toInt(), 1);
    const QJsonObject item = cleanup.value("items").toArray().first().toObject();
    QCOMPARE(item.value("displayName").toString(), QStringLiteral("App"));
    QCOMPARE(item.value("itemCount").toInt(), 1);
    QVERIFY(item.value("protectionReason").isNull());
    QCOMPARE(cleanup.value("selected").toArray().size(), 1);
}

void TestTools::uninstallerSelectsByNameOrPath()
{
    TestEnvironment env;
    TreeBuilder root(env.root()), home(env.home());
    root.bundle("Applications/Twin.app", {{"CFBundleIdentifier", "com.example.twin"}}, true);
    home.bundle("Applications/Twin.app", {{"CFBundleIdentifier", "com.example.twin"}}, false);
    const QString log = home.file("Library/Logs/com.example.twin.log", "log");
    // A folder the uninstaller looks in that is a link into itself is named as left out.
    home.symlink("Library/Caches", home.path("Library/Caches"));

    const QJsonObject listed = run({"uninstaller"});
    QCOMPARE(listed.value("module").toString(), QStringLiteral("uninstaller"));
    QCOMPARE(
        listed.value("skipped").toArray(),
        QJsonArray({QJsonObject{{"path", home.path("Library/Caches")}, {"reason", "linkLoop"}}}));
    QVERIFY(!listed.contains("kept"));
    const QJsonArray apps = listed.value("items").toArray();
    QCOMPARE(apps.size(), 2);
    // Each installation leaves the log to the other.
    const QJsonObject app = apps.first().toObject();
    QVERIFY(app.contains("appSize") && app.contains("relatedSize") && app.contains("url"));
    QCOMPARE(
        without(app, {"appSize", "relatedSize", "url"}),
        (QJsonObject{{"name", "Twin"},
                     {"bundleIdentifier", "com.example.twin"},
                     {"version", "Sin versión"},
                     {"related", QJsonArray{QJsonObject{
                                     {"url", log},
                                     {"matchedBy", "identifier"},
                                     {"kept", true},
                                     {"keptBecause", "También es de otra instalación de Twin."}}}},
                     {"relatedFiles", QJsonArray{log}}}));

    const QJsonObject one =
        run({"uninstaller", "--select-path", home.path("Applications/Twin.app"), "--uninstall"});
    QCOMPARE(one.value("kept").toArray(), QJsonArray({log}));
    QVERIFY(QFile::exists(log));
    QVERIFY(QFile::exists(root.path("Applications/Twin.app")));
    QVERIFY(!QFile::exists(home.path("Applications/Twin.app")));
    home.bundle("Applications/Twin.app", {{"CFBundleIdentifier", "com.example.twin"}}, false);

    // A name selects every application of that name.
    const QJsonObject removed = run({"uninstaller", "--select", "Twin", "--uninstall"});
    QCOMPARE(removed.value("statusText").toString(),
             QStringLiteral("2 aplicación(es) movidas a la Papelera."));
    QCOMPARE(removed.value("kept").toArray(), QJsonArray());
    QVERIFY(removed.value("selected").toArray().isEmpty());
    QVERIFY(removed.value("items").toArray().isEmpty());
    QVERIFY(!QFile::exists(log));
}

void TestTools::usageErrors()
{
    int code = 0;
    for (const QStringList &args :
         {QStringList{}, QStringList{"nosuchmodule"}, QStringList{"largefiles", "/x"},
          QStringList{"largefiles", "/x", "--min-mb", "lots"},
          QStringList{"uninstaller", "--select", "Nope"}}) {
        run(args, &code);
        QVERIFY2(code == 2, qPrintable(args.join(' ')));
    }
}

void TestTools::faultInjectedBeforeRemoval()
{
    TestEnvironment env;
    TreeBuilder tree(env.home());
    tree.allocatedFile("Movies/big.mov", 2 * 1024 * 1024);
    const QString precious = tree.allocatedFile("Precious/big.mov", 2 * 1024 * 1024);
    // Between the selection and the removal the folder is swapped for a link to
    // itself under its new name: the same file, reached only through a link.
    const QString swap =
        QStringLiteral("mv '%1' '%1.old' && ln -s '%1.old' '%1'").arg(tree.path("Movies"));
    const QJsonObject moved = run({"largefiles", tree.path("Movies"), "--min-mb", "1",
                                   "--select-all", "--trash-selected", "--before-remove", swap});
    QCOMPARE(moved.value("errorMessage").toString(),
             QStringLiteral("No fue posible mover: big.mov. Cambiaron desde el análisis y no "
                            "se tocaron: big.mov."));
    QCOMPARE(moved.value("selected").toArray().size(), 1);
    QVERIFY(QFile::exists(precious));
    QVERIFY(QFile::exists(tree.path("Movies.old/big.mov")));
    QVERIFY(!QFile::exists(env.trashFiles()));
    // The command runs only when a removal is asked for.
    const QString marker = tree.path("ran");
    run({"largefiles", tree.path("Precious"), "--min-mb", "1", "--before-remove",
         QStringLiteral("touch '%1'").arg(marker)});
    QVERIFY(!QFile::exists(marker));
}

void TestTools::demoWritesOnlyWhereItMay()
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

void TestTools::demoClearsOnlyItsOwnTree()
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

QTEST_GUILESS_MAIN(TestTools)
#include "tst_tools.moc"
