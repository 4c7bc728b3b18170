#include "CleanupAutomationSettings.h"
#include "CleanupRules.h"
#include "CleanupScanner.h"
#include "Preferences.h"
#include "TestEnvironment.h"
#include "TreeBuilder.h"

#include <QAbstractItemModelTester>
#include <QFile>
#include <QtTest>
#include <sys/stat.h>

namespace {

constexpr qint64 MiB = 1024 * 1024;
constexpr qint64 kHour = 3600, kDay = 86400;
const QDateTime kNow = QDateTime(QDate(2026, 11, 23), QTime(12, 0), Qt::UTC);
const QString kSystem =
    QStringLiteral("Caché de macOS protegida para evitar problemas del sistema.");
const QString kBuiltIn = QStringLiteral("Caché de una función integrada de macOS.");
using Running = QList<RunningApplication>;
const Running kEditor{{QStringLiteral("com.vendor.Editor"), QStringLiteral("Editor"), {}}};

// A private ~/Library/Caches. The scanner is made once the tree is ready (it
// scans by itself), with the running applications given and the time fixed at kNow.
struct Caches
{
    TestEnvironment env;
    TreeBuilder tree{env.home() + "/Library/Caches"};
    std::unique_ptr<CleanupScanner> scanner;
    std::unique_ptr<QAbstractItemModelTester> tester;

    CleanupScanner &scan(const Running &running = {})
    {
        scanner = std::make_unique<CleanupScanner>();
        tester = std::make_unique<QAbstractItemModelTester>(scanner->itemsModel());
        scanner->setRunningApplicationsSource([running] { return running; });
        scanner->setClock([] { return kNow; });
        (void)QTest::qWaitFor(
            [this] {
                return !scanner->isScanning() &&
                       (scanner->completedScanCount() >= 1 || !scanner->errorMessage().isEmpty());
            },
            20000);
        return *scanner;
    }
    // A cache folder of the given logical size (sparse) and age.
    void add(const QString &name, qint64 bytes, std::optional<qint64> ageSeconds)
    {
        tree.sparseFile(name + "/blob", bytes);
        if (ageSeconds)
            tree.setModificationTime(name, kNow.addSecs(-*ageSeconds));
    }
    QStringList names(const QList<CleanupItem> &items) const
    {
        QStringList out;
        for (const CleanupItem &item : items)
            out << item.name;
        return out;
    }
    QSet<QString> recommended(SmartCleanupMode mode) const
    {
        const QStringList listed = names(scanner->recommendedItems(mode));
        return {listed.cbegin(), listed.cend()};
    }
    bool trash(const QSet<QString> &ids)
    {
        scanner->setSelectedItemIDs(ids);
        scanner->moveSelectedToTrash();
        return QTest::qWaitFor([this] { return !scanner->isRemoving(); }, 10000);
    }
};

} // namespace

class TestCleanupScanner : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void protection_data();
    void protection();
    void namesAndApplicationsInUse();
    void smartModeLimits();
    void listingAndOrder();
    void scansByItselfUnlessGoneOrMissing();
    void removalReports();
    void unreadableCachesAreLeftOutAndCounted();
    void modesDecideBySizeAndAge();
    void openApplicationsAreExcludedAndReported();
    void settingsPersist();
};

// Every protected system cache, each with a name that just misses it. The values
// are written out here, not read from the rules, so a rule lost or mistyped in
// the table fails a row.
void TestCleanupScanner::protection_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("reason"); // empty: not protected
    const struct
    {
        const char *hit, *upper, *miss;
    } prefixes[] = {
        {"com.apple.Music", "COM.APPLE.x", "com.applex"},
        {"apple.photos", "Apple.x", "apple"},
        {"cloudkit", "CloudKitData", "cloudki"},
        {"familycircle.db", "FamilyCircle", "familycircl"},
        {"locationd", "LocationD-cache", "locatio"},
        {"knowledge-agent", "Knowledge-Agent.x", "knowledge_agent"},
        {"nsurlsessiond", "NSURLSessiond2", "nsurlsession"},
        {"sharedfilelist", "SharedFileList.x", "sharedfile"},
        {"systempreferences", "SystemPreferences.app", "system-preferences"},
        {"mobileasset.x", "MobileAssetData", "mobileasse"},
    };
    for (const auto &p : prefixes) {
        QTest::addRow("prefix hit %s", p.hit) << QString::fromUtf8(p.hit) << kSystem;
        QTest::addRow("prefix any case %s", p.upper) << QString::fromUtf8(p.upper) << kSystem;
        QTest::addRow("prefix near miss %s", p.miss) << QString::fromUtf8(p.miss) << QString();
        QTest::addRow("prefix inside %s", p.hit)
            << QStringLiteral("x") + QString::fromUtf8(p.hit) << QString();
    }
    for (const char *exact :
         {"Safari", "GeoServices", "HomeKit", "PassKit", "CoreDuet", "CoreFollowUp"}) {
        const QString name = QString::fromUtf8(exact);
        QTest::addRow("name %s", exact) << name << kBuiltIn;
        QTest::addRow("name lower %s", exact) << name.toLower() << kBuiltIn;
        QTest::addRow("name longer %s", exact) << name + QStringLiteral("Helper") << QString();
        QTest::addRow("name shorter %s", exact) << name.chopped(1) << QString();
    }
    // The prefix rule comes first: this name has the system reason.
    QTest::addRow("com.apple.Safari") << QStringLiteral("com.apple.Safari") << kSystem;
    QTest::addRow("ordinary") << QStringLiteral("com.vendor.Editor") << QString();
}

void TestCleanupScanner::protection()
{
    QFETCH(QString, name);
    QFETCH(QString, reason);
    const CleanupRules::Protection p = CleanupRules::protectionInfo(name);
    QCOMPARE(p.isProtected, !reason.isEmpty());
    QCOMPARE(p.reason, reason);
}

void TestCleanupScanner::namesAndApplicationsInUse()
{
    const std::pair<const char *, const char *> readable[] = {
        {"com.google.Chrome", "Chrome"},
        {"Com.Vendor.App", "App"},
        {"org.mozilla.firefox", "org.mozilla.firefox"},
        {"com", "com"},
        {"com.vendor.Tool.", "Tool"}};
    for (const auto &[name, shown] : readable)
        QCOMPARE(CleanupRules::readableName(name), QString::fromUtf8(shown));

    const Running byName{{QString(), QStringLiteral("Lumen Notes"), {}}}, none;
    const struct
    {
        const char *cache;
        const Running &running;
        bool inUse;
    } rows[] = {
        {"com.vendor.Editor", kEditor, true},
        {"com.vendor.editor.updates", kEditor, true},
        {"vendor", kEditor, true},        // the identifier contains the name
        {"MyEditorCache", kEditor, true}, // the name shown contains "editor"
        {"com.other.Viewer", kEditor, false},
        {"Lumen Notes Cache", byName, true},
        {"Lumen", byName, false},
        {"anything", none, false},
    };
    for (const auto &row : rows) {
        CleanupItem item;
        item.name = QString::fromUtf8(row.cache);
        item.displayName = CleanupRules::readableName(item.name);
        QVERIFY2(CleanupRules::isProbablyInUse(item, row.running) == row.inUse, row.cache);
    }
}

void TestCleanupScanner::smartModeLimits()
{
    using enum SmartCleanupMode;
    const struct
    {
        SmartCleanupMode mode;
        qint64 size;
        std::optional<qint64> age;
        bool keeps;
    } rows[] = {
        {conservative, 600 * MiB, {}, false},
        {balanced, 500 * MiB, {}, true},
        {balanced, 500 * MiB - 1, {}, false},
        {aggressive, 100 * MiB, {}, true},
        {aggressive, 100 * MiB - 1, {}, false},
        {conservative, 100 * MiB, 30 * kDay, true},
        {conservative, 100 * MiB, 30 * kDay - 1, false},
        {conservative, 100 * MiB - 1, 30 * kDay, false},
        {balanced, 500 * MiB, 0, true},
        {balanced, 500 * MiB - 1, 0, false},
        {balanced, 25 * MiB, 3 * kDay, true},
        {balanced, 25 * MiB - 1, 3 * kDay, false},
        {balanced, 25 * MiB, 3 * kDay - 1, false},
        {aggressive, 10 * MiB, kDay, true},
        {aggressive, 10 * MiB - 1, kDay, false},
        {aggressive, 10 * MiB, kDay - 1, false},
    };
    for (const auto &row : rows)
        QVERIFY2(SmartCleanupModes::keeps(row.mode, row.size, row.age) == row.keeps,
                 qPrintable(QStringLiteral("%1 %2 bytes %3 s")
                                .arg(SmartCleanupModes::rawValue(row.mode))
                                .arg(row.size)
                                .arg(row.age ? QString::number(*row.age) : "undated")));
}

void TestCleanupScanner::listingAndOrder()
{
    Caches c;
    c.tree.file("com.vendor.Small/a.bin", QByteArray(1000, 'a'));
    c.tree.file("com.vendor.Big/a.bin", QByteArray(3000, 'b'));
    c.tree.file("com.vendor.Big/nested/b.bin", QByteArray(2000, 'b'));
    c.tree.file("com.vendor.Big/.hidden-file", QByteArray(9000, 'h'));
    c.tree.file("com.vendor.Big/.hidden-dir/c.bin", QByteArray(9000, 'h'));
    c.tree.file("com.vendor.Big/Helper.app/Contents/x", QByteArray(500, 'p')); // packages count
    c.tree.symlink("com.vendor.Big/link", "/etc/passwd");
    c.tree.file("com.apple.Music/a.bin", QByteArray(50000, 'm'));
    c.tree.file("loose.log", QByteArray(700, 'l'));
    c.tree.file(".DS_Store", "x");
    c.tree.symlink("RootLink", "/");
    c.tree.symlink("ToBig", c.tree.path("com.vendor.Big"));
    QVERIFY(mkfifo(QFile::encodeName(c.tree.path("pipe")).constData(), 0644) == 0);

    CleanupScanner &scanner = c.scan();
    QCOMPARE(scanner.cachesURL(), c.env.home() + "/Library/Caches");
    QCOMPARE(c.names(scanner.items()), QStringList({"com.vendor.Big", "com.vendor.Small",
                                                    "loose.log", "pipe", "com.apple.Music"}));
    const CleanupItem big = scanner.items().at(0);
    QCOMPARE(big.size, qint64(5500));
    QCOMPARE(big.itemCount, 3);
    QVERIFY(big.isDirectory && big.modificationDateMs.has_value());
    QCOMPARE(big.displayName, QStringLiteral("Big"));
    const CleanupItem loose = scanner.items().at(2);
    QCOMPARE(loose.size, qint64(700));
    QCOMPARE(loose.itemCount, 1);
    QVERIFY(!loose.isDirectory);
    QCOMPARE(scanner.items().at(3).itemCount, 0); // neither folder nor regular file
    QVERIFY(scanner.items().last().isProtected);
    QCOMPARE(scanner.items().last().protectionReason, kSystem);
    QCOMPARE(scanner.statusText(), QStringLiteral("Se encontraron 5 elementos de caché."));
    QCOMPARE(scanner.totalSize(), qint64(5500 + 1000 + 700 + 50000));
    QCOMPARE(scanner.safeItems().size(), 4);
}

void TestCleanupScanner::scansByItselfUnlessGoneOrMissing()
{
    Caches c;
    c.tree.file("com.x.App/a", "a");
    auto *early = new CleanupScanner;
    QVERIFY2(!early->isScanning(), "the first scan waits for the next turn of the event loop");
    QCOMPARE(early->statusText(), QStringLiteral("Ruta automática lista: ~/Library/Caches"));
    // Gone before that turn: its scan must not run (the wait below would run it).
    delete early;

    CleanupScanner scanner;
    QSignalSpy scanning(&scanner, &ScannerBase::isScanningChanged);
    QTRY_COMPARE(scanning.count(), 2);
    QCOMPARE(scanner.completedScanCount(), 1);
    QCOMPARE(scanner.itemCount(), 1);

    QVERIFY(QDir(c.tree.root()).removeRecursively());
    CleanupScanner &missing = c.scan();
    QCOMPARE(missing.errorMessage(),
             QStringLiteral("No se ha podido abrir la carpeta “Caches” porque no existe."));
    QCOMPARE(missing.statusText(), QStringLiteral("No fue posible analizar las cachés."));
    QCOMPARE(missing.completedScanCount(), 0);
    QVERIFY(missing.items().isEmpty());
}

void TestCleanupScanner::removalReports()
{
    Caches c;
    for (int i = 1; i <= 8; ++i)
        c.tree.file(QStringLiteral("c%1/data").arg(i), QByteArray(100, 'x'));
    c.tree.file("com.apple.Safari/a", "a");
    const QString safari = c.tree.path("com.apple.Safari");
    CleanupScanner &scanner = c.scan();
    const QString status = scanner.statusText();
    // A protected identity planted in the selection is never treated as selected.
    QVERIFY(c.trash({safari}));
    QCOMPARE(scanner.errorMessage(), QStringLiteral("Primero selecciona una o más cachés."));
    QVERIFY(c.trash({safari, c.tree.path("c1")}));
    QCOMPARE(scanner.statusText(), QStringLiteral("1 caché fue enviada a la Papelera."));
    QVERIFY(c.trash({c.tree.path("c2"), c.tree.path("c3"), c.tree.path("c4"), c.tree.path("c5")}));
    QCOMPARE(scanner.statusText(), QStringLiteral("4 cachés fueron enviadas a la Papelera."));
    QVERIFY(scanner.errorMessage().isEmpty());

    QVERIFY(QDir(c.tree.path("c7")).removeRecursively()); // gone: it cannot be moved
    QSignalSpy moving(&scanner, &CleanupScanner::isRemovingChanged);
    QVERIFY(c.trash({c.tree.path("c6"), c.tree.path("c7"), c.tree.path("c8")}));
    QCOMPARE(moving.count(), 2);
    QCOMPARE(scanner.statusText(), QStringLiteral("2 cachés enviadas a la Papelera."));
    QCOMPARE(scanner.errorMessage(),
             QStringLiteral("No fue posible mover: c7. Cambiaron desde el análisis y no se "
                            "tocaron: c7."));
    QCOMPARE(c.names(scanner.items()), QStringList({"c7", "com.apple.Safari"}));
    QCOMPARE(scanner.selectedItemIDs(), QSet<QString>({c.tree.path("c7")}));
    QCOMPARE(scanner.completedScanCount(), 1);
    QVERIFY(status != scanner.statusText());
    QVERIFY(QFile::exists(c.env.trashFiles() + "/c8/data") && QFile::exists(safari + "/a"));
}

void TestCleanupScanner::unreadableCachesAreLeftOutAndCounted()
{
    VELMORA_RERUN_UNPRIVILEGED();
    Caches c;
    c.tree.file("com.vendor.Open/a.bin", QByteArray(1000, 'a'));
    c.tree.file("com.vendor.Open/inner/b.bin", QByteArray(500, 'b'));
    c.tree.file("com.vendor.Closed/a.bin", QByteArray(4000, 'c'));
    c.tree.file("locked.db", QByteArray(300, 'l'));
    const QStringList closed{c.tree.path("com.vendor.Closed"),
                             c.tree.path("com.vendor.Open/inner")};
    for (const QString &folder : closed)
        QFile::setPermissions(folder, {});
    QFile::setPermissions(c.tree.path("locked.db"), QFileDevice::WriteOwner);

    CleanupScanner &scanner = c.scan();
    for (const QString &folder : closed)
        QFile::setPermissions(folder, QFileDevice::ReadOwner | QFileDevice::WriteOwner |
                                          QFileDevice::ExeOwner);
    // What cannot be read is not offered, and the open cache counts what it could read.
    QCOMPARE(c.names(scanner.items()), QStringList({"com.vendor.Open"}));
    QCOMPARE(scanner.items().at(0).size, qint64(1000));
    QCOMPARE(scanner.skippedText(),
             QStringLiteral("3 elemento(s) no se pudieron leer y no se incluyen."));
}

void TestCleanupScanner::modesDecideBySizeAndAge()
{
    Caches c;
    c.add("old150", 150 * MiB, 40 * kDay);
    c.add("mid150", 150 * MiB, 10 * kDay);
    c.add("new150", 150 * MiB, 12 * kHour);
    c.add("huge600", 600 * MiB, 1 * kHour);
    c.add("small20", 20 * MiB, 5 * kDay);
    c.add("edge100", 104857600, 30 * kDay); // exactly both limits
    c.add("future", 200 * MiB, -5 * kDay);
    CleanupScanner &scanner = c.scan();
    using enum SmartCleanupMode;
    QCOMPARE(c.recommended(conservative), QSet<QString>({"old150", "edge100"}));
    QCOMPARE(c.recommended(balanced), QSet<QString>({"old150", "mid150", "huge600", "edge100"}));
    QCOMPARE(c.recommended(aggressive), QSet<QString>({"old150", "mid150", "small20", "edge100"}));
    // In list order, which is largest first.
    QCOMPARE(scanner.recommendedItems(balanced).first().name, QStringLiteral("huge600"));

    // Choosing by mode replaces an earlier choice, and says how many.
    scanner.setSelectedItemIDs({c.tree.path("small20")});
    scanner.selectRecommended(conservative);
    QCOMPARE(scanner.selectedItemIDs(),
             QSet<QString>({c.tree.path("old150"), c.tree.path("edge100")}));
    scanner.setClock([] { return kNow.addDays(-60); }); // everything is from the future now
    scanner.setErrorMessage(QStringLiteral("kept"));
    scanner.selectRecommended(aggressive);
    QCOMPARE(scanner.statusText(),
             QStringLiteral("No hay cachés recomendadas para el modo Agresivo."));
    QVERIFY(scanner.selectedItemIDs().isEmpty());
    QCOMPARE(scanner.errorMessage(), QStringLiteral("kept"));
}

void TestCleanupScanner::openApplicationsAreExcludedAndReported()
{
    Caches c;
    c.add("com.apple.Huge", 900 * MiB, 90 * kDay);
    c.add("com.vendor.Editor", 900 * MiB, 90 * kDay);
    c.add("com.vendor.Editor.ShipIt", 1 * MiB, 1 * kHour); // passes nothing, still in use
    CleanupScanner &scanner = c.scan(kEditor);
    for (SmartCleanupMode mode : SmartCleanupModes::allCases)
        QVERIFY(scanner.recommendedItems(mode).isEmpty());
    scanner.selectRecommended(SmartCleanupMode::aggressive);
    QCOMPARE(scanner.statusText(),
             QStringLiteral("No hay cachés seguras disponibles. 2 pertenecen a "
                            "aplicaciones abiertas; ciérralas y vuelve a analizar."));
    // Both in-use caches say which application keeps them out, whatever
    // their size; the protected one is not among them.
    QCOMPARE(scanner.inUseApplications(),
             QVariantMap({{c.tree.path("com.vendor.Editor"), QStringLiteral("Editor")},
                          {c.tree.path("com.vendor.Editor.ShipIt"), QStringLiteral("Editor")}}));
    scanner.selectAllSafe(); // open applications' caches included
    QCOMPARE(scanner.selectedItemIDs(), QSet<QString>({c.tree.path("com.vendor.Editor"),
                                                       c.tree.path("com.vendor.Editor.ShipIt")}));
}

// What was stored decides the mode only when it is one of the titles, spelled exactly.
void TestCleanupScanner::settingsPersist()
{
    TestEnvironment env;
    QCOMPARE(CleanupAutomationSettings().mode(), SmartCleanupMode::balanced);
    CleanupAutomationSettings().setAutoSelectAfterScan(false);
    QVERIFY(!CleanupAutomationSettings().autoSelectAfterScan());
    for (const char *stored : {"conservador", "CONSERVADOR", "Lento", ""}) {
        Preferences::setString(CleanupAutomationSettings::kModeKey, QString::fromLatin1(stored));
        QCOMPARE(CleanupAutomationSettings().mode(), SmartCleanupMode::balanced);
    }
    Preferences::setString(CleanupAutomationSettings::kModeKey, QStringLiteral("Conservador"));
    QCOMPARE(CleanupAutomationSettings().mode(), SmartCleanupMode::conservative);
}

QTEST_GUILESS_MAIN(TestCleanupScanner)
#include "tst_cleanupscanner.moc"
