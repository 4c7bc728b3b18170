#include "CleanupRules.h"
#include "CleanupScanner.h"
#include "TestEnvironment.h"
#include "TreeBuilder.h"

#include <QFile>
#include <QProcess>
#include <QtTest>
#include <sys/stat.h>

namespace {

QStringList names(const QList<CleanupItem> &items)
{
    QStringList out;
    for (const CleanupItem &item : items)
        out << item.name;
    return out;
}

// A scanner whose automatic first scan has finished.
void waitForFirstScan(CleanupScanner &scanner)
{
    QTRY_VERIFY_WITH_TIMEOUT(scanner.completedScanCount() >= 1 || !scanner.errorMessage().isEmpty(),
                             20000);
    QVERIFY(!scanner.isScanning());
}

CleanupItem namedItem(const QString &name)
{
    CleanupItem item;
    item.name = name;
    item.displayName = CleanupRules::readableName(name);
    return item;
}

} // namespace

class TestCleanupScanner : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void protectionRules();
    void readableNames();
    void inUseMatching();
    void listingAndOrder();
    void emptyAndMissingCacheFolders();
    void scansByItselfUnlessGoneFirst();
    void protectedCachesAreNeverSelectedOrMoved();
    void removalReports();
    void inUseFromARealProcess();
    void unreadableCachesAreLeftOutAndCounted();
};

void TestCleanupScanner::protectionRules()
{
    using CleanupRules::protectionInfo;
    const QString system =
        QStringLiteral("Caché de macOS protegida para evitar problemas del sistema.");
    const QString builtIn = QStringLiteral("Caché de una función integrada de macOS.");
    QCOMPARE(protectionInfo("com.apple.Safari").reason, system); // prefix rule first
    QCOMPARE(protectionInfo("Safari").reason, builtIn);
    QCOMPARE(protectionInfo("safari").reason, builtIn);
    QCOMPARE(protectionInfo("CloudKitData").reason, system);
    QCOMPARE(protectionInfo("Apple.thing").reason, system);
    QCOMPARE(protectionInfo("COREDUET").reason, builtIn);
    QVERIFY(!protectionInfo("SafariHelper").isProtected);
    QVERIFY(protectionInfo("SafariHelper").reason.isEmpty());
    QVERIFY(!protectionInfo("com.applesauce.x").isProtected);
    QVERIFY(protectionInfo("mobileassets").isProtected);
}

void TestCleanupScanner::readableNames()
{
    using CleanupRules::readableName;
    QCOMPARE(readableName("com.google.Chrome"), QStringLiteral("Chrome"));
    QCOMPARE(readableName("Com.Vendor.App"), QStringLiteral("App"));
    QCOMPARE(readableName("org.mozilla.firefox"), QStringLiteral("org.mozilla.firefox"));
    QCOMPARE(readableName("com"), QStringLiteral("com"));
    QCOMPARE(readableName("com.vendor.Tool."), QStringLiteral("Tool"));
}

void TestCleanupScanner::inUseMatching()
{
    const QList<RunningApplication> editor{
        {QStringLiteral("com.vendor.Editor"), QStringLiteral("Editor Pro"), {}}};
    using CleanupRules::isProbablyInUse;
    QVERIFY(isProbablyInUse(namedItem("com.vendor.Editor"), editor));
    QVERIFY(isProbablyInUse(namedItem("com.vendor.editor.updates"), editor));
    QVERIFY(isProbablyInUse(namedItem("vendor"), editor)); // the identifier contains the name
    QVERIFY(isProbablyInUse(namedItem("MyEditorCache"), editor)); // display name contains "editor"
    QVERIFY(!isProbablyInUse(namedItem("com.other.Viewer"), editor));
    const QList<RunningApplication> byName{{QString(), QStringLiteral("Lumen Notes"), {}}};
    QVERIFY(isProbablyInUse(namedItem("Lumen Notes Cache"), byName));
    QVERIFY(!isProbablyInUse(namedItem("Lumen"), byName));
    QVERIFY(!isProbablyInUse(namedItem("anything"), {}));
}

void TestCleanupScanner::listingAndOrder()
{
    TestEnvironment env;
    TreeBuilder tree(env.home() + "/Library/Caches");
    tree.file("com.vendor.Small/a.bin", QByteArray(1000, 'a'));
    tree.file("com.vendor.Big/a.bin", QByteArray(3000, 'b'));
    tree.file("com.vendor.Big/nested/b.bin", QByteArray(2000, 'b'));
    tree.file("com.vendor.Big/.hidden-file", QByteArray(9000, 'h'));
    tree.file("com.vendor.Big/.hidden-dir/c.bin", QByteArray(9000, 'h'));
    tree.file("com.vendor.Big/Helper.app/Contents/x", QByteArray(500, 'p')); // packages count
    tree.symlink("com.vendor.Big/link", "/etc/passwd");
    tree.file("com.apple.Music/a.bin", QByteArray(50000, 'm'));
    tree.file("loose.log", QByteArray(700, 'l'));
    tree.file(".DS_Store", "x");
    tree.symlink("RootLink", "/");
    tree.symlink("ToBig", tree.path("com.vendor.Big"));
    QVERIFY(mkfifo(QFile::encodeName(tree.path("pipe")).constData(), 0644) == 0);

    CleanupScanner scanner;
    waitForFirstScan(scanner);
    QCOMPARE(scanner.cachesURL(), env.home() + "/Library/Caches");
    QCOMPARE(names(scanner.items()), QStringList({"com.vendor.Big", "com.vendor.Small", "loose.log",
                                                  "pipe", "com.apple.Music"}));
    const CleanupItem big = scanner.items().at(0);
    QCOMPARE(big.size, qint64(5500));
    QCOMPARE(big.itemCount, 3);
    QVERIFY(big.isDirectory);
    QCOMPARE(big.displayName, QStringLiteral("Big"));
    QVERIFY(big.modificationDateMs.has_value());
    const CleanupItem loose = scanner.items().at(2);
    QCOMPARE(loose.size, qint64(700));
    QCOMPARE(loose.itemCount, 1);
    QVERIFY(!loose.isDirectory);
    QCOMPARE(scanner.items().at(3).itemCount, 0); // neither folder nor regular file
    QVERIFY(scanner.items().last().isProtected);
    QCOMPARE(scanner.statusText(), QStringLiteral("Se encontraron 5 elementos de caché."));
    QCOMPARE(scanner.totalSize(), qint64(5500 + 1000 + 700 + 50000));
    QCOMPARE(scanner.safeItems().size(), 4);
}

void TestCleanupScanner::emptyAndMissingCacheFolders()
{
    TestEnvironment env;
    {
        CleanupScanner scanner;
        QCOMPARE(scanner.statusText(), QStringLiteral("Ruta automática lista: ~/Library/Caches"));
        waitForFirstScan(scanner);
        QCOMPARE(scanner.errorMessage(),
                 QStringLiteral("No se ha podido abrir la carpeta “Caches” porque no existe."));
        QCOMPARE(scanner.statusText(), QStringLiteral("No fue posible analizar las cachés."));
        QCOMPARE(scanner.completedScanCount(), 0);
        QVERIFY(scanner.items().isEmpty());
    }
    TreeBuilder(env.home()).folder("Library/Caches");
    CleanupScanner scanner;
    waitForFirstScan(scanner);
    QVERIFY(scanner.errorMessage().isEmpty());
    QCOMPARE(scanner.statusText(), QStringLiteral("No se encontraron cachés visibles."));
    QCOMPARE(scanner.completedScanCount(), 1);
}

void TestCleanupScanner::scansByItselfUnlessGoneFirst()
{
    TestEnvironment env;
    TreeBuilder(env.home()).file("Library/Caches/com.x.App/a", "a");
    auto *early = new CleanupScanner;
    QVERIFY2(!early->isScanning(), "the first scan waits for the next turn of the event loop");
    QCOMPARE(early->statusText(), QStringLiteral("Ruta automática lista: ~/Library/Caches"));
    delete early;
    QTest::qWait(50); // nothing runs for a scanner that is gone (the timer went with it)

    CleanupScanner scanner;
    QSignalSpy scanning(&scanner, &ScannerBase::isScanningChanged);
    QTRY_COMPARE(scanning.count(), 2);
    QCOMPARE(scanner.completedScanCount(), 1);
    QCOMPARE(scanner.itemCount(), 1);
}

void TestCleanupScanner::protectedCachesAreNeverSelectedOrMoved()
{
    TestEnvironment env;
    TreeBuilder tree(env.home() + "/Library/Caches");
    tree.file("com.apple.Safari/a", "a");
    tree.file("com.vendor.Editor/a", "e");
    CleanupScanner scanner;
    scanner.setRunningApplicationsSource([] {
        return QList<RunningApplication>{
            {QStringLiteral("com.vendor.Editor"), QStringLiteral("Editor"), {}}};
    });
    waitForFirstScan(scanner);
    const QString safari = tree.path("com.apple.Safari");
    scanner.toggleSelection(safari);
    QVERIFY(scanner.selectedItemIDs().isEmpty());
    scanner.selectAllSafe(); // open applications' caches included
    QCOMPARE(scanner.selectedItemIDs(), QSet<QString>({tree.path("com.vendor.Editor")}));

    // A protected identity planted in the selection is never treated as selected.
    scanner.setSelectedItemIDs({safari});
    QCOMPARE(scanner.selectedCount(), 0);
    scanner.moveSelectedToTrash();
    QTRY_VERIFY_WITH_TIMEOUT(!scanner.isRemoving(), 10000);
    QCOMPARE(scanner.errorMessage(), QStringLiteral("Primero selecciona una o más cachés."));
    scanner.setSelectedItemIDs({safari, tree.path("com.vendor.Editor")});
    scanner.moveSelectedToTrash();
    QTRY_VERIFY_WITH_TIMEOUT(!scanner.isRemoving(), 10000);
    QVERIFY(QFile::exists(safari + "/a"));
    QVERIFY(!QFile::exists(tree.path("com.vendor.Editor")));
}

void TestCleanupScanner::removalReports()
{
    TestEnvironment env;
    TreeBuilder tree(env.home() + "/Library/Caches");
    for (const char *name : {"c1", "c2", "c3", "c4", "c5", "c6", "c7", "c8"})
        tree.file(QString::fromLatin1(name) + "/data", QByteArray(100, 'x'));
    CleanupScanner scanner;
    waitForFirstScan(scanner);
    const QString status = scanner.statusText();
    scanner.setSelectedItemIDs({tree.path("c1")});
    scanner.moveSelectedToTrash();
    QTRY_VERIFY_WITH_TIMEOUT(!scanner.isRemoving(), 10000);
    QCOMPARE(scanner.statusText(), QStringLiteral("1 caché fue enviada a la Papelera."));

    scanner.setSelectedItemIDs(
        {tree.path("c2"), tree.path("c3"), tree.path("c4"), tree.path("c5")});
    scanner.moveSelectedToTrash();
    QTRY_VERIFY_WITH_TIMEOUT(!scanner.isRemoving(), 10000);
    QCOMPARE(scanner.statusText(), QStringLiteral("4 cachés fueron enviadas a la Papelera."));
    QVERIFY(scanner.errorMessage().isEmpty());

    scanner.setSelectedItemIDs({tree.path("c6"), tree.path("c7"), tree.path("c8")});
    QVERIFY(QDir(tree.path("c7")).removeRecursively()); // gone: it cannot be moved
    QSignalSpy moving(&scanner, &CleanupScanner::isRemovingChanged);
    scanner.moveSelectedToTrash();
    QTRY_VERIFY_WITH_TIMEOUT(!scanner.isRemoving(), 10000);
    QCOMPARE(moving.count(), 2);
    QCOMPARE(scanner.statusText(), QStringLiteral("2 cachés enviadas a la Papelera."));
    QCOMPARE(scanner.errorMessage(),
             QStringLiteral("No fue posible mover: c7. Cambiaron desde el análisis y no se "
                            "tocaron: c7."));
    QCOMPARE(names(scanner.items()), QStringList({"c7"}));
    QCOMPARE(scanner.selectedItemIDs(), QSet<QString>({tree.path("c7")}));
    QCOMPARE(scanner.completedScanCount(), 1);
    QVERIFY(status != scanner.statusText());
    QVERIFY(QFile::exists(env.trashFiles() + "/c8/data"));
}

void TestCleanupScanner::inUseFromARealProcess()
{
    TestEnvironment env;
    TreeBuilder root(env.root());
    root.bundle("Applications/Lumen Notes.app",
                {{"CFBundleIdentifier", QStringLiteral("com.lumen.Notes")},
                 {"CFBundleName", QStringLiteral("Lumen Notes")},
                 {"CFBundleExecutable", QStringLiteral("Lumen Notes")}},
                false, 0);
    const QString exe = root.path("Applications/Lumen Notes.app/Contents/MacOS/Lumen Notes");
    QFile::remove(exe);
    QVERIFY(QFile::copy(QStringLiteral("/bin/sleep"), exe));
    TreeBuilder caches(env.home() + "/Library/Caches");
    caches.file("com.lumen.Notes/a", "a");
    caches.file("com.other.Tool/a", "a");

    CleanupScanner scanner;
    waitForFirstScan(scanner);
    auto itemNamed = [&](const QString &name) {
        for (const CleanupItem &item : scanner.items())
            if (item.name == name)
                return item;
        return CleanupItem{};
    };
    QCOMPARE(itemNamed("com.lumen.Notes").name, QStringLiteral("com.lumen.Notes"));
    QCOMPARE(itemNamed("com.other.Tool").name, QStringLiteral("com.other.Tool"));
    QVERIFY(!scanner.isProbablyInUse(itemNamed("com.lumen.Notes")));
    QProcess app;
    app.start(exe, {QStringLiteral("30")});
    QVERIFY(app.waitForStarted());
    const bool inUse = scanner.isProbablyInUse(itemNamed("com.lumen.Notes"));
    const bool otherInUse = scanner.isProbablyInUse(itemNamed("com.other.Tool"));
    app.kill();
    app.waitForFinished();
    QVERIFY(inUse);
    QVERIFY(!otherInUse);
}

void TestCleanupScanner::unreadableCachesAreLeftOutAndCounted()
{
    if (runningAsRoot() && qEnvironmentVariableIsEmpty("VELMORA_UNPRIVILEGED_RERUN")) {
        QString reason, output;
        const bool passed =
            rerunUnprivileged("unreadableCachesAreLeftOutAndCounted", &reason, &output);
        if (!reason.isEmpty())
            QSKIP(qPrintable(reason));
        QVERIFY2(passed, qPrintable(output));
        return;
    }
    TestEnvironment env;
    TreeBuilder tree(env.home() + "/Library/Caches");
    tree.file("com.vendor.Open/a.bin", QByteArray(1000, 'a'));
    tree.file("com.vendor.Open/inner/b.bin", QByteArray(500, 'b'));
    tree.file("com.vendor.Closed/a.bin", QByteArray(4000, 'c'));
    tree.file("locked.db", QByteArray(300, 'l'));
    const QFileDevice::Permissions none;
    QFile::setPermissions(tree.path("com.vendor.Closed"), none);
    QFile::setPermissions(tree.path("com.vendor.Open/inner"), none);
    QFile::setPermissions(tree.path("locked.db"), QFileDevice::WriteOwner);

    CleanupScanner scanner;
    waitForFirstScan(scanner);
    const auto all = QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner;
    QFile::setPermissions(tree.path("com.vendor.Closed"), all);
    QFile::setPermissions(tree.path("com.vendor.Open/inner"), all);
    // What cannot be read is not offered, and the open cache counts what it could read.
    QCOMPARE(names(scanner.items()), QStringList({"com.vendor.Open"}));
    QCOMPARE(scanner.items().at(0).size, qint64(1000));
    QCOMPARE(scanner.skippedText(),
             QStringLiteral("3 elemento(s) no se pudieron leer y no se incluyen."));
}

QTEST_GUILESS_MAIN(TestCleanupScanner)
#include "tst_cleanupscanner.moc"
