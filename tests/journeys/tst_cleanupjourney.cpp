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
    void fromCardChooseOneCache();
    void fromSidebarTrashTheSmartSelection();
    void anOpenApplicationsCacheSaysWhyItIsLeftOut();

private:
    // 22 caches: two old and large, the rest small and fresh.
    static void makeCaches(const QString &home);
};

void TestCleanupJourney::makeCaches(const QString &home)
{
    TreeBuilder caches(home + QStringLiteral("/Library/Caches"));
    const QDateTime now = QDateTime::currentDateTimeUtc();
    caches.sparseFile(QStringLiteral("com.vendor.Old/blob"), 150 << 20);
    caches.setModificationTime(QStringLiteral("com.vendor.Old"), now.addDays(-40));
    caches.sparseFile(QStringLiteral("com.vendor.Stale/blob"), 90 << 20);
    caches.setModificationTime(QStringLiteral("com.vendor.Stale"), now.addDays(-12));
    for (int i = 0; i < 20; ++i) {
        const QString name = QStringLiteral("org.small.App%1").arg(i, 2, 10, QLatin1Char('0'));
        caches.sparseFile(name + QStringLiteral("/blob"), 1 << 20);
        caches.setModificationTime(name, now.addSecs(-3600));
    }
}

void TestCleanupJourney::fromCardChooseOneCache()
{
    AppJourney app;
    makeCaches(app.home());
    QVERIFY(app.start());
    QVERIFY(app.click(QStringLiteral("card_safeCleanup")));
    QCOMPARE(app.text(QStringLiteral("workspaceTitle")), QStringLiteral("Limpieza segura"));
    QVERIFY(app.waitForScans(1));
    QCOMPARE(app.cardValue(QStringLiteral("cardFound")), QStringLiteral("22"));

    // 22 rows do not fit: the list shows its scroll bar.
    QQuickItem *list = app.item(QStringLiteral("cacheList"));
    QVERIFY(list);
    QQuickItem *bar = app.itemIn(list->parentItem(), QStringLiteral("scrollBar"));
    QVERIFY2(bar, "a scroll bar is shown while the list overflows");
    QVERIFY(app.itemIn(bar, QStringLiteral("scrollHandle")));

    QVERIFY(app.click(QStringLiteral("clearSelectionButton")));
    QCOMPARE(app.text(QStringLiteral("selectionHeadline")),
             QStringLiteral("0 caché(s) seleccionadas"));
    QQuickItem *row =
        app.row(QStringLiteral("cacheList"), "name", QStringLiteral("com.vendor.Stale"));
    QVERIFY(row);
    QVERIFY(app.clickItem(app.itemIn(row, QStringLiteral("rowCheckBox"))));
    QCOMPARE(app.text(QStringLiteral("selectionHeadline")),
             QStringLiteral("1 caché(s) seleccionadas"));

    QVERIFY(app.click(QStringLiteral("selectionActionButton")));
    QVERIFY(app.click(QStringLiteral("dialogConfirmButton")));
    const QString stale = app.home() + QStringLiteral("/Library/Caches/com.vendor.Stale");
    QVERIFY(app.waitFor([&] { return !QFile::exists(stale); }, 10000));
    QCOMPARE(app.trashNames(), QStringList({"com.vendor.Stale"}));
    QCOMPARE(app.trashInfoPath(QStringLiteral("com.vendor.Stale")), stale);
    QVERIFY(QFile::exists(app.home() + QStringLiteral("/Library/Caches/com.vendor.Old")));
    QVERIFY(app.waitFor(
        [&] { return app.cardValue(QStringLiteral("cardFound")) == QStringLiteral("21"); }, 3000));
    QVERIFY(!app.row(QStringLiteral("cacheList"), "name", QStringLiteral("com.vendor.Stale")));

    QVERIFY(app.click(QStringLiteral("backButton")));
    QCOMPARE(app.text(QStringLiteral("activityBanner")),
             QStringLiteral("Limpieza segura terminada."));
}

void TestCleanupJourney::fromSidebarTrashTheSmartSelection()
{
    AppJourney app;
    makeCaches(app.home());
    QVERIFY(app.start());
    QVERIFY(app.click(QStringLiteral("sidebar_safeCleanup")));
    QVERIFY(app.waitForScans(1));

    // The balanced mode picks the large, idle caches by itself.
    const QStringList chosen = app.selectedRows(QStringLiteral("cacheList"), "name");
    QCOMPARE(chosen, QStringList({"com.vendor.Old", "com.vendor.Stale"}));
    QVERIFY(app.click(QStringLiteral("selectionActionButton")));
    QVERIFY(app.click(QStringLiteral("dialogConfirmButton")));
    QVERIFY(app.waitFor([&] { return app.trashNames().size() == 2; }, 10000));
    QCOMPARE(app.trashNames(), chosen);
    QCOMPARE(app.trashInfoPath(QStringLiteral("com.vendor.Old")),
             app.home() + QStringLiteral("/Library/Caches/com.vendor.Old"));
    QVERIFY(app.waitFor(
        [&] { return app.cardValue(QStringLiteral("cardFound")) == QStringLiteral("20"); }, 3000));

    QVERIFY(app.click(QStringLiteral("backButton")));
    QCOMPARE(app.text(QStringLiteral("activityBanner")),
             QStringLiteral("Limpieza segura terminada."));
}

void TestCleanupJourney::anOpenApplicationsCacheSaysWhyItIsLeftOut()
{
    AppJourney app;
    makeCaches(app.home());
    // "Old" is running from its bundle: its large, idle cache stays out.
    TreeBuilder root(app.root());
    root.bundle(QStringLiteral("Applications/Old.app"),
                {{QStringLiteral("CFBundleIdentifier"), QStringLiteral("com.vendor.Old")},
                 {QStringLiteral("CFBundleName"), QStringLiteral("Old")},
                 {QStringLiteral("CFBundleExecutable"), QStringLiteral("Old")}},
                true, 0);
    const QString exe = root.path(QStringLiteral("Applications/Old.app/Contents/MacOS/Old"));
    QFile::remove(exe);
    QVERIFY(QFile::copy(QStringLiteral("/bin/sleep"), exe));
    QProcess running;
    running.start(exe, {QStringLiteral("60")});
    QVERIFY(running.waitForStarted());
    const auto stop = qScopeGuard([&] {
        running.kill();
        running.waitForFinished();
    });

    QVERIFY(app.start());
    QVERIFY(app.click(QStringLiteral("sidebar_safeCleanup")));
    QVERIFY(app.waitForScans(1));
    QCOMPARE(app.selectedRows(QStringLiteral("cacheList"), "name"),
             QStringList({"com.vendor.Stale"}));
    QQuickItem *row =
        app.row(QStringLiteral("cacheList"), "name", QStringLiteral("com.vendor.Old"));
    QVERIFY(row);
    QQuickItem *badge = app.itemIn(row, QStringLiteral("rowBadge"));
    QVERIFY(badge);
    QCOMPARE(badge->property("text").toString(), QStringLiteral("EN USO"));
    QCOMPARE(badge->property("help").toString(),
             QStringLiteral("En uso por Old, que está abierta."));
    // The others carry the badge of what they are, or none.
    row = app.row(QStringLiteral("cacheList"), "name", QStringLiteral("com.vendor.Stale"));
    QCOMPARE(app.itemIn(row, QStringLiteral("rowBadge"))->property("text").toString(),
             QStringLiteral("RECOMENDADA"));
    row = app.row(QStringLiteral("cacheList"), "name", QStringLiteral("org.small.App00"));
    QVERIFY(!app.itemIn(row, QStringLiteral("rowBadge")));
}

QTEST_MAIN(TestCleanupJourney)
#include "tst_cleanupjourney.moc"
