#include "CleanupAutomationSettings.h"
#include "CleanupScanner.h"
#include "Preferences.h"
#include "TestEnvironment.h"
#include "TreeBuilder.h"

#include <QtTest>

namespace {

constexpr qint64 MiB = 1024 * 1024;
constexpr qint64 kHour = 3600, kDay = 86400;
const QDateTime kNow = QDateTime(QDate(2026, 11, 23), QTime(12, 0), Qt::UTC);

// A cache folder of the given logical size (sparse) and age, as the scanner sees it.
void addCache(TreeBuilder &tree, const QString &name, qint64 bytes,
              std::optional<qint64> ageSeconds)
{
    tree.sparseFile(name + "/blob", bytes);
    if (ageSeconds)
        tree.setModificationTime(name, kNow.addSecs(-*ageSeconds));
}

QSet<QString> recommended(const CleanupScanner &scanner, SmartCleanupMode mode)
{
    QSet<QString> out;
    for (const CleanupItem &item : scanner.recommendedItems(mode))
        out.insert(item.name);
    return out;
}

} // namespace

class TestSmartSelection : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void modesDecideBySizeAndAge();
    void undatedCaches();
    void protectedAndOpenApplicationsAreExcluded();
    void reports();
    void settingsPersist();
};

void TestSmartSelection::modesDecideBySizeAndAge()
{
    TestEnvironment env;
    TreeBuilder tree(env.home() + "/Library/Caches");
    addCache(tree, "old150", 150 * MiB, 40 * kDay);
    addCache(tree, "mid150", 150 * MiB, 10 * kDay);
    addCache(tree, "new150", 150 * MiB, 12 * kHour);
    addCache(tree, "huge600", 600 * MiB, 1 * kHour);
    addCache(tree, "small20", 20 * MiB, 5 * kDay);
    addCache(tree, "edge100", 104857600, 30 * kDay); // exactly both limits
    addCache(tree, "future", 200 * MiB, -5 * kDay);
    CleanupScanner scanner;
    scanner.setClock([] { return kNow; });
    scanner.setRunningApplicationsSource([] { return QList<RunningApplication>(); });
    QTRY_COMPARE(scanner.completedScanCount(), 1);

    QCOMPARE(recommended(scanner, SmartCleanupMode::conservative),
             QSet<QString>({"old150", "edge100"}));
    QCOMPARE(recommended(scanner, SmartCleanupMode::balanced),
             QSet<QString>({"old150", "mid150", "huge600", "edge100"}));
    QCOMPARE(recommended(scanner, SmartCleanupMode::aggressive),
             QSet<QString>({"old150", "mid150", "small20", "edge100"}));
    // In list order, which is largest first.
    QCOMPARE(scanner.recommendedItems(SmartCleanupMode::balanced).first().name,
             QStringLiteral("huge600"));
}

void TestSmartSelection::undatedCaches()
{
    using namespace SmartCleanupModes;
    for (SmartCleanupMode mode : allCases)
        QVERIFY(!keeps(mode, 50 * MiB, std::nullopt));
    QVERIFY(!keeps(SmartCleanupMode::conservative, 600 * MiB, std::nullopt));
    QVERIFY(keeps(SmartCleanupMode::balanced, 600 * MiB, std::nullopt));
    QVERIFY(keeps(SmartCleanupMode::aggressive, 600 * MiB, std::nullopt));
    QVERIFY(!keeps(SmartCleanupMode::balanced, 500 * MiB - 1, std::nullopt));
    QVERIFY(keeps(SmartCleanupMode::aggressive, 100 * MiB, std::nullopt));
    QVERIFY(!keeps(SmartCleanupMode::aggressive, 100 * MiB - 1, std::nullopt));
    QVERIFY(!keeps(SmartCleanupMode::conservative, 100 * MiB, 30 * kDay - 1));
    // Every limit passes when met exactly.
    QVERIFY(keeps(SmartCleanupMode::balanced, 500 * MiB, std::nullopt));
    QVERIFY(keeps(SmartCleanupMode::balanced, 500 * MiB, 0));
    QVERIFY(!keeps(SmartCleanupMode::balanced, 500 * MiB - 1, 0));
    QVERIFY(keeps(SmartCleanupMode::balanced, 25 * MiB, 3 * kDay));
    QVERIFY(!keeps(SmartCleanupMode::balanced, 25 * MiB - 1, 3 * kDay));
    QVERIFY(!keeps(SmartCleanupMode::balanced, 25 * MiB, 3 * kDay - 1));
    QVERIFY(keeps(SmartCleanupMode::aggressive, 10 * MiB, kDay));
    QVERIFY(!keeps(SmartCleanupMode::aggressive, 10 * MiB - 1, kDay));
    QVERIFY(!keeps(SmartCleanupMode::aggressive, 10 * MiB, kDay - 1));
}

void TestSmartSelection::protectedAndOpenApplicationsAreExcluded()
{
    TestEnvironment env;
    TreeBuilder tree(env.home() + "/Library/Caches");
    addCache(tree, "com.apple.Huge", 900 * MiB, 90 * kDay);
    addCache(tree, "com.vendor.Editor", 900 * MiB, 90 * kDay);
    addCache(tree, "com.vendor.Editor.ShipIt", 1 * MiB, 1 * kHour); // passes nothing, still in use
    CleanupScanner scanner;
    scanner.setClock([] { return kNow; });
    scanner.setRunningApplicationsSource([] {
        return QList<RunningApplication>{
            {QStringLiteral("com.vendor.Editor"), QStringLiteral("Editor"), {}}};
    });
    QTRY_COMPARE(scanner.completedScanCount(), 1);
    for (SmartCleanupMode mode : SmartCleanupModes::allCases)
        QVERIFY(scanner.recommendedItems(mode).isEmpty());
    scanner.selectRecommended(SmartCleanupMode::aggressive);
    QCOMPARE(scanner.statusText(),
             QStringLiteral("No hay cachés seguras disponibles. 2 pertenecen a "
                            "aplicaciones abiertas; ciérralas y vuelve a analizar."));
    // Both in-use caches say which application keeps them out, whatever
    // their size; the protected one is not among them.
    QVariantMap inUse;
    for (const CleanupItem &item : scanner.items())
        if (item.name.startsWith(QStringLiteral("com.vendor.")))
            inUse.insert(item.id(), QStringLiteral("Editor"));
    QCOMPARE(scanner.inUseApplications(), inUse);
}

void TestSmartSelection::reports()
{
    TestEnvironment env;
    TreeBuilder tree(env.home() + "/Library/Caches");
    addCache(tree, "a", 150 * MiB, 40 * kDay);
    addCache(tree, "b", 20 * MiB, 5 * kDay);
    CleanupScanner scanner;
    scanner.setClock([] { return kNow; });
    scanner.setRunningApplicationsSource([] { return QList<RunningApplication>(); });
    QTRY_COMPARE(scanner.completedScanCount(), 1);
    scanner.setSelectedItemIDs({tree.path("b")});
    scanner.selectRecommended(SmartCleanupMode::conservative);
    QCOMPARE(scanner.selectedItemIDs(), QSet<QString>({tree.path("a")})); // earlier choice dropped
    QCOMPARE(scanner.statusText(), QStringLiteral("1 caché(s) seleccionadas automáticamente."));
    scanner.selectRecommended(SmartCleanupMode::aggressive);
    QCOMPARE(scanner.statusText(), QStringLiteral("2 caché(s) seleccionadas automáticamente."));

    scanner.setClock([] { return kNow.addDays(-60); }); // everything is from the future now
    scanner.setErrorMessage(QStringLiteral("kept"));
    scanner.selectRecommended(SmartCleanupMode::aggressive);
    QCOMPARE(scanner.statusText(),
             QStringLiteral("No hay cachés recomendadas para el modo Agresivo."));
    QVERIFY(scanner.selectedItemIDs().isEmpty());
    QCOMPARE(scanner.errorMessage(), QStringLiteral("kept"));
}

void TestSmartSelection::settingsPersist()
{
    TestEnvironment env;
    {
        CleanupAutomationSettings fresh;
        QCOMPARE(fresh.mode(), SmartCleanupMode::balanced);
        QVERIFY(fresh.autoSelectAfterScan());
        QVERIFY(!Preferences::contains(CleanupAutomationSettings::kModeKey));
        QSignalSpy changed(&fresh, &CleanupAutomationSettings::modeChanged);
        fresh.setModeTitle(QStringLiteral("Agresivo"));
        fresh.setAutoSelectAfterScan(false);
        QCOMPARE(changed.count(), 1);
        QCOMPARE(
            fresh.modeDescription(),
            QStringLiteral("Selecciona más cachés, incluyendo elementos recientes de mayor tamaño. "
                           "Las cachés de aplicaciones abiertas se excluyen."));
    }
    CleanupAutomationSettings loaded;
    QCOMPARE(loaded.mode(), SmartCleanupMode::aggressive);
    QVERIFY(!loaded.autoSelectAfterScan());
    QCOMPARE(Preferences::string(CleanupAutomationSettings::kModeKey), QStringLiteral("Agresivo"));

    for (const char *stored : {"conservador", "CONSERVADOR", "Lento", ""}) {
        Preferences::setString(CleanupAutomationSettings::kModeKey, QString::fromLatin1(stored));
        QCOMPARE(CleanupAutomationSettings().mode(), SmartCleanupMode::balanced);
    }
    Preferences::setString(CleanupAutomationSettings::kModeKey, QStringLiteral("Conservador"));
    QCOMPARE(CleanupAutomationSettings().mode(), SmartCleanupMode::conservative);
}

QTEST_GUILESS_MAIN(TestSmartSelection)
#include "tst_smartselection.moc"
