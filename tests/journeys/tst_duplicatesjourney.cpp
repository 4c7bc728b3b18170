#include "AppJourney.h"
#include "AppSetup.h"
#include "ContentComparison.h"
#include "ImportQmlPlugins.h"
#include "ReadHook.h"
#include "TreeBuilder.h"

#include <QFile>
#include <QQuickItem>
#include <QSemaphore>
#include <QThreadPool>
#include <QtTest>

// Duplicates as a user meets them: the real chooser, the copies chosen for the
// user, a change to that choice, the Trash, a stopped scan, and back.
class TestDuplicatesJourney : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { AppSetup::configureApplication(); }
    void keepOneCopyThenTrashTheRest();
    void stopShowsProgressAndKeepsOnlyProvenGroups();
};

namespace {

const QString kTrashTitle = QStringLiteral("¿Mover los duplicados seleccionados a la Papelera?");

// Holds every comparison at its read of the second megabyte until released.
struct Gate
{
    static inline QSemaphore open{0};
    static void hold(const QString &, qint64 offset)
    {
        if (offset == 1 << 20)
            open.acquire();
    }
};

} // namespace

void TestDuplicatesJourney::keepOneCopyThenTrashTheRest()
{
    AppJourney app;
    TreeBuilder tree(app.home());
    // The oldest file of a group is the one kept.
    const struct
    {
        const char *name;
        int megabytes;
        quint32 seed;
        int daysOld;
    } photos[] = {{"Fotos/boda.mp4", 12, 1, 30},
                  {"Fotos/Copias/boda (1).mp4", 12, 1, 2},
                  {"Fotos/viaje.mov", 11, 2, 20},
                  {"Fotos/Copias/viaje.mov", 11, 2, 1},
                  {"Fotos/otra.mov", 11, 3, 0}};
    QStringList p;
    for (const auto &photo : photos) {
        p << tree.patternFile(photo.name, qint64(photo.megabytes) << 20, photo.seed);
        QVERIFY(tree.setModificationTime(photo.name,
                                         QDateTime::currentDateTimeUtc().addDays(-photo.daysOld)));
    }
    const QString keeperA = p[0], copyA = p[1], keeperB = p[2], copyB = p[3], unique = p[4];
    QVERIFY(app.start());
    QVERIFY(app.openModule("card_duplicates", "Duplicados"));
    QVERIFY(app.chooseFolder(tree.path("Fotos"), true));
    QVERIFY(app.waitForScans(1));
    QCOMPARE(app.cardValue("cardGroups"), "2");
    QCOMPARE(app.cardValue("cardDuplicates"), "2");

    // The copies are chosen at once, the keepers never.
    QCOMPARE(app.selectedRows("groupList", "url"), QStringList({copyA, copyB}));
    app.tickRow("groupList", "url", keeperA);
    QVERIFY2(!app.row("groupList", "url", keeperA)->property("selected").toBool(),
             "the keeper cannot be chosen");
    // The user keeps one copy after all.
    QVERIFY(app.tickRow("groupList", "url", copyB));
    QCOMPARE(app.text("selectionHeadline"), "1 duplicado(s) seleccionados");
    QVERIFY(app.confirmSelectionAction(kTrashTitle));
    VERIFY_TEXT(app, "statusLine", "1 duplicado(s) enviados a la Papelera.");
    QCOMPARE(app.cardValue("cardGroups"), "1");
    QCOMPARE(app.trashNames(), QStringList({"boda (1).mp4"}));
    QCOMPARE(app.trashInfoPath("boda (1).mp4"), copyA);

    // Then that one too.
    QVERIFY(app.tickRow("groupList", "url", copyB));
    QVERIFY(app.confirmSelectionAction(kTrashTitle));
    QVERIFY(app.waitForItem("emptyState", 10000));
    QCOMPARE(app.trashNames(), QStringList({"boda (1).mp4", "viaje.mov"}));
    QCOMPARE(app.trashInfoPath("viaje.mov"), copyB);
    for (const QString &kept : {keeperA, keeperB, unique})
        QVERIFY2(QFile::exists(kept), qPrintable(kept));
    QCOMPARE(app.cardValue("cardGroups"), "0");
    QVERIFY(app.click("backButton"));
    QCOMPARE(app.text("activityBanner"), "Duplicados terminado.");
}

void TestDuplicatesJourney::stopShowsProgressAndKeepsOnlyProvenGroups()
{
    AppJourney app;
    TreeBuilder tree(app.home());
    for (const char *name : {"Discos/uno.img", "Discos/dos.img"})
        tree.allocatedFile(QString::fromLatin1(name), qint64(12) << 20);
    // The comparison held at the gate keeps pool threads; the window draws with
    // the same pool (the software renderer's raster work), so it gets two more.
    QThreadPool *pool = QThreadPool::globalInstance();
    const int threads = pool->maxThreadCount();
    pool->setMaxThreadCount(threads + 2);
    ContentComparisonTesting::setReadHook(&Gate::hold);
    const auto release = qScopeGuard([pool, threads] {
        ContentComparisonTesting::setReadHook(nullptr);
        Gate::open.release(16);
        pool->setMaxThreadCount(threads);
    });
    QVERIFY(app.start());
    QVERIFY(app.openModule("sidebar_duplicates", "Duplicados"));
    QVERIFY(app.chooseFolder(tree.path("Discos"), false));

    // While it compares (held at the gate), the second line counts what it has read.
    QVERIFY2(app.waitFor([&] {
        return app.text("scanDetail").endsWith(" comparados") &&
               !app.text("scanDetail").contains(" 0 KB");
    }),
             qPrintable(app.text("scanDetail")));
    QVERIFY(app.click("stopButton"));
    Gate::open.release(2);
    QVERIFY(app.waitForScans(1));
    // The pair was not proven identical yet: nothing is offered.
    QCOMPARE(app.cardValue("cardGroups"), "0");
    QCOMPARE(app.text("statusLine"), "Análisis detenido: 0 copia(s) seleccionadas de los "
                                     "duplicados confirmados hasta el momento.");
    QVERIFY(!app.item("stopButton"));
    QVERIFY(app.click("backButton"));
    QCOMPARE(app.text("activityBanner"), "Duplicados terminado.");
}

QTEST_MAIN(TestDuplicatesJourney)
#include "tst_duplicatesjourney.moc"
