#include "AppJourney.h"
#include "AppSetup.h"
#include "ImportQmlPlugins.h"
#include "TreeBuilder.h"

#include <QFile>
#include <QProcess>
#include <QQuickItem>
#include <QtTest>

// Safe cleanup as a user meets it: the automatic scan of ~/Library/Caches, the
// smart selection, a long list that scrolls, the Trash, and back.
class TestCleanupJourney : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { AppSetup::configureApplication(); }
    void trashTheSmartSelectionThenOneCache();
    void anOpenApplicationsCacheSaysWhyItIsLeftOut();

private:
    // 22 caches: two old and large, the rest small and fresh.
    static void makeCaches(const QString &home);
};

void TestCleanupJourney::makeCaches(const QString &home)
{
    TreeBuilder caches(home + "/Library/Caches");
    const QDateTime now = QDateTime::currentDateTimeUtc();
    caches.sparseFile("com.vendor.Old/blob", 150 << 20);
    caches.setModificationTime("com.vendor.Old", now.addDays(-40));
    caches.sparseFile("com.vendor.Stale/blob", 90 << 20);
    caches.setModificationTime("com.vendor.Stale", now.addDays(-12));
    for (int i = 0; i < 20; ++i) {
        const QString name = QStringLiteral("org.small.App%1").arg(i, 2, 10, QLatin1Char('0'));
        caches.sparseFile(name + "/blob", 1 << 20);
        caches.setModificationTime(name, now.addSecs(-3600));
    }
}

void TestCleanupJourney::trashTheSmartSelectionThenOneCache()
{
    AppJourney app;
    makeCaches(app.home());
    const QString caches = app.home() + "/Library/Caches/";
    QVERIFY(app.start());
    QVERIFY(app.openModule("card_safeCleanup", "Limpieza segura"));
    QVERIFY(app.waitForScans(1));
    QCOMPARE(app.cardValue("cardFound"), "22");
    // 22 rows do not fit: the list shows its scroll bar.
    QQuickItem *list = app.item("cacheList");
    QQuickItem *bar = list ? app.itemIn(list->parentItem(), "scrollBar") : nullptr;
    QVERIFY2(bar && app.itemIn(bar, "scrollHandle"), "a scroll bar shows while the list overflows");

    // The balanced mode picks the large, idle caches by itself; the user
    // chooses one other cache instead.
    const QStringList chosen{"com.vendor.Old", "com.vendor.Stale"};
    QCOMPARE(app.selectedRows("cacheList", "name"), chosen);
    QVERIFY(app.click("clearSelectionButton"));
    QCOMPARE(app.text("selectionHeadline"), "0 caché(s) seleccionadas");
    QVERIFY(app.tickRow("cacheList", "name", "org.small.App07"));
    QCOMPARE(app.text("selectionHeadline"), "1 caché(s) seleccionadas");
    QVERIFY(app.confirmSelectionAction());
    QVERIFY(app.waitFor([&] { return app.cardValue("cardFound") == "21"; }, 10000));
    QCOMPARE(app.trashInfoPath("org.small.App07"), caches + "org.small.App07");
    QVERIFY(QFile::exists(caches + "org.small.App08"));
    QVERIFY(!app.row("cacheList", "name", "org.small.App07"));

    // The list changed: the smart selection starts again, and goes.
    QCOMPARE(app.selectedRows("cacheList", "name"), chosen);
    QVERIFY(app.confirmSelectionAction());
    QVERIFY(app.waitFor([&] { return app.cardValue("cardFound") == "19"; }, 10000));
    QCOMPARE(app.trashNames(), chosen + QStringList{"org.small.App07"});
    QCOMPARE(app.trashInfoPath("com.vendor.Old"), caches + "com.vendor.Old");
    QVERIFY(app.click("backButton"));
    QCOMPARE(app.text("activityBanner"), "Limpieza segura terminada.");
}

void TestCleanupJourney::anOpenApplicationsCacheSaysWhyItIsLeftOut()
{
    AppJourney app;
    makeCaches(app.home());
    // "Old" is running from its bundle: its large, idle cache stays out.
    TreeBuilder root(app.root());
    root.bundle("Applications/Old.app",
                {{"CFBundleIdentifier", "com.vendor.Old"},
                 {"CFBundleName", "Old"},
                 {"CFBundleExecutable", "Old"}},
                true, 0);
    const QString exe = root.path("Applications/Old.app/Contents/MacOS/Old");
    QFile::remove(exe);
    QVERIFY(QFile::copy("/bin/sleep", exe));
    QProcess running;
    running.start(exe, {"60"});
    QVERIFY(running.waitForStarted());
    const auto stop = qScopeGuard([&] {
        running.kill();
        running.waitForFinished();
    });

    QVERIFY(app.start());
    QVERIFY(app.openModule("sidebar_safeCleanup", "Limpieza segura"));
    QVERIFY(app.waitForScans(1));
    QCOMPARE(app.selectedRows("cacheList", "name"), QStringList({"com.vendor.Stale"}));
    const auto badge = [&](const char *cache) {
        QQuickItem *row = app.row("cacheList", "name", QString::fromLatin1(cache));
        return row ? app.itemIn(row, "rowBadge") : nullptr;
    };
    QVERIFY(badge("com.vendor.Old"));
    QCOMPARE(badge("com.vendor.Old")->property("text").toString(), "EN USO");
    QCOMPARE(badge("com.vendor.Old")->property("help").toString(),
             "En uso por Old, que está abierta.");
    // The others carry the badge of what they are, or none.
    QCOMPARE(badge("com.vendor.Stale")->property("text").toString(), "RECOMENDADA");
    QVERIFY(!badge("org.small.App00"));
}

QTEST_MAIN(TestCleanupJourney)
#include "tst_cleanupjourney.moc"
