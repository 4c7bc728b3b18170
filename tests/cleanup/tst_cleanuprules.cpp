#include "CleanupRules.h"

#include <QtTest>

// Every protected system cache, each with a name that just misses it. The values
// are written out here, not read from the rules, so a rule lost or mistyped in
// the table fails a row.
class TestCleanupRules : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void protection_data();
    void protection();
};

namespace {
const QString kSystem =
    QStringLiteral("Caché de macOS protegida para evitar problemas del sistema.");
const QString kBuiltIn = QStringLiteral("Caché de una función integrada de macOS.");
} // namespace

void TestCleanupRules::protection_data()
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

void TestCleanupRules::protection()
{
    QFETCH(QString, name);
    QFETCH(QString, reason);
    const CleanupRules::Protection p = CleanupRules::protectionInfo(name);
    QCOMPARE(p.isProtected, !reason.isEmpty());
    QCOMPARE(p.reason, reason);
}

QTEST_GUILESS_MAIN(TestCleanupRules)
#include "tst_cleanuprules.moc"
