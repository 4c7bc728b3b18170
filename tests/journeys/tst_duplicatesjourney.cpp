#include "AppJourney.h"
#include "AppSetup.h"
#include "ImportQmlPlugins.h"
#include "TreeBuilder.h"

#include <QFile>
#include <QQuickItem>
#include <QtTest>

// Duplicates as a user meets them: the real chooser, the copies chosen for the
// user, a change to that choice, the Trash, and back to the dashboard.
class TestDuplicatesJourney : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { AppSetup::configureApplication(); }
    void fromCardKeepsOneCopyBack();
    void fromSidebarTrashesEveryProposedCopy();
    void stopShowsProgressAndKeepsOnlyProvenGroups();

private:
    struct Photos
    {
        QString keeperA, copyA, keeperB, copyB, unique;
    };
    static Photos makePhotos(TreeBuilder &tree);
};

TestDuplicatesJourney::Photos TestDuplicatesJourney::makePhotos(TreeBuilder &tree)
{
    Photos p;
    // The oldest file of a group is the one kept.
    p.keeperA = tree.patternFile(QStringLiteral("Fotos/boda.mp4"), 12 << 20, 1);
    p.copyA = tree.patternFile(QStringLiteral("Fotos/Copias/boda (1).mp4"), 12 << 20, 1);
    p.keeperB = tree.patternFile(QStringLiteral("Fotos/viaje.mov"), 11 << 20, 2);
    p.copyB = tree.patternFile(QStringLiteral("Fotos/Copias/viaje.mov"), 11 << 20, 2);
    p.unique = tree.patternFile(QStringLiteral("Fotos/otra.mov"), 11 << 20, 3);
    const QDateTime now = QDateTime::currentDateTimeUtc();
    tree.setModificationTime(QStringLiteral("Fotos/boda.mp4"), now.addDays(-30));
    tree.setModificationTime(QStringLiteral("Fotos/viaje.mov"), now.addDays(-20));
    tree.setModificationTime(QStringLiteral("Fotos/Copias/boda (1).mp4"), now.addDays(-2));
    tree.setModificationTime(QStringLiteral("Fotos/Copias/viaje.mov"), now.addDays(-1));
    return p;
}

void TestDuplicatesJourney::fromCardKeepsOneCopyBack()
{
    AppJourney app;
    TreeBuilder tree(app.home());
    const Photos p = makePhotos(tree);
    QVERIFY(app.start());
    QVERIFY(app.click(QStringLiteral("card_duplicates")));
    QCOMPARE(app.text(QStringLiteral("workspaceTitle")), QStringLiteral("Duplicados"));

    QVERIFY(app.click(QStringLiteral("headerButton")));
    QVERIFY2(app.waitFor([&] { return app.chooserIsOpen(); }, 3000), "the folder chooser opened");
    QCOMPARE(app.text(QStringLiteral("chooserMessage")),
             QStringLiteral("Velmora buscará archivos duplicados sin eliminarlos."));
    QVERIFY(app.navigateChooser(tree.path(QStringLiteral("Fotos")), false));
    QVERIFY(app.click(QStringLiteral("chooserAccept")));
    QVERIFY(app.waitForScans(1));

    QCOMPARE(app.cardValue(QStringLiteral("cardGroups")), QStringLiteral("2"));
    QCOMPARE(app.cardValue(QStringLiteral("cardDuplicates")), QStringLiteral("2"));
    // The copies are chosen at once, the keepers never.
    QCOMPARE(app.selectedRows(QStringLiteral("groupList"), "url"), QStringList({p.copyA, p.copyB}));
    QQuickItem *keeper = app.row(QStringLiteral("groupList"), "url", p.keeperA);
    QVERIFY(keeper);
    app.clickItem(app.itemIn(keeper, QStringLiteral("rowCheckBox")));
    QVERIFY2(!app.row(QStringLiteral("groupList"), "url", p.keeperA)->property("selected").toBool(),
             "the keeper cannot be chosen");

    // The user keeps one copy after all.
    QQuickItem *copyB = app.row(QStringLiteral("groupList"), "url", p.copyB);
    QVERIFY(app.clickItem(app.itemIn(copyB, QStringLiteral("rowCheckBox"))));
    QCOMPARE(app.text(QStringLiteral("selectionHeadline")),
             QStringLiteral("1 duplicado(s) seleccionados"));
    QVERIFY(app.click(QStringLiteral("selectionActionButton")));
    QCOMPARE(app.text(QStringLiteral("dialogTitle")),
             QStringLiteral("¿Mover los duplicados seleccionados a la Papelera?"));
    QVERIFY(app.click(QStringLiteral("dialogConfirmButton")));
    QVERIFY(app.waitFor([&] { return !QFile::exists(p.copyA); }, 10000));

    QCOMPARE(app.trashNames(), QStringList({"boda (1).mp4"}));
    QCOMPARE(app.trashInfoPath(QStringLiteral("boda (1).mp4")), p.copyA);
    for (const QString &kept : {p.keeperA, p.keeperB, p.copyB, p.unique})
        QVERIFY2(QFile::exists(kept), qPrintable(kept));
    QVERIFY(app.waitFor(
        [&] { return app.cardValue(QStringLiteral("cardGroups")) == QStringLiteral("1"); }, 3000));
    QCOMPARE(app.text(QStringLiteral("statusLine")),
             QStringLiteral("1 duplicado(s) enviados a la Papelera."));

    QVERIFY(app.click(QStringLiteral("backButton")));
    QCOMPARE(app.text(QStringLiteral("activityBanner")), QStringLiteral("Duplicados terminado."));
}

void TestDuplicatesJourney::fromSidebarTrashesEveryProposedCopy()
{
    AppJourney app;
    TreeBuilder tree(app.home());
    const Photos p = makePhotos(tree);
    QVERIFY(app.start());
    QVERIFY(app.click(QStringLiteral("sidebar_duplicates")));
    QCOMPARE(app.text(QStringLiteral("workspaceTitle")), QStringLiteral("Duplicados"));

    QVERIFY(app.click(QStringLiteral("headerButton")));
    QVERIFY(app.waitFor([&] { return app.chooserIsOpen(); }, 3000));
    QVERIFY(app.navigateChooser(tree.path(QStringLiteral("Fotos")), true));
    QVERIFY(app.click(QStringLiteral("chooserAccept")));
    QVERIFY(app.waitForScans(1));
    QCOMPARE(app.text(QStringLiteral("selectionHeadline")),
             QStringLiteral("2 duplicado(s) seleccionados"));

    QVERIFY(app.click(QStringLiteral("selectionActionButton")));
    QVERIFY(app.click(QStringLiteral("dialogConfirmButton")));
    QVERIFY(app.waitFor([&] { return !QFile::exists(p.copyA) && !QFile::exists(p.copyB); }, 10000));
    QCOMPARE(app.trashNames(), QStringList({"boda (1).mp4", "viaje.mov"}));
    QCOMPARE(app.trashInfoPath(QStringLiteral("viaje.mov")), p.copyB);
    for (const QString &kept : {p.keeperA, p.keeperB, p.unique})
        QVERIFY2(QFile::exists(kept), qPrintable(kept));
    QVERIFY(app.waitFor([&] { return app.item(QStringLiteral("emptyState")) != nullptr; }, 3000));
    QCOMPARE(app.cardValue(QStringLiteral("cardGroups")), QStringLiteral("0"));

    QVERIFY(app.click(QStringLiteral("backButton")));
    QCOMPARE(app.text(QStringLiteral("activityBanner")), QStringLiteral("Duplicados terminado."));
}

void TestDuplicatesJourney::stopShowsProgressAndKeepsOnlyProvenGroups()
{
    AppJourney app;
    TreeBuilder tree(app.home());
    // Two identical 2 GiB images: comparing and hashing them takes seconds. Only
    // their first 16 MiB have blocks on disk (enough to pass the size threshold);
    // the rest is a hole, so the test needs no free space to speak of.
    const qint64 logical = qint64(2) << 30;
    for (const char *name : {"Discos/uno.img", "Discos/dos.img"}) {
        const QString image = tree.allocatedFile(QString::fromLatin1(name), qint64(16) << 20);
        QVERIFY(QFile::resize(image, logical));
        QCOMPARE(QFileInfo(image).size(), logical);
    }
    QVERIFY(app.start());
    QVERIFY(app.click(QStringLiteral("sidebar_duplicates")));
    QVERIFY(app.click(QStringLiteral("headerButton")));
    QVERIFY(app.waitFor([&] { return app.chooserIsOpen(); }, 3000));
    QVERIFY(app.navigateChooser(tree.path(QStringLiteral("Discos")), false));
    QVERIFY(app.click(QStringLiteral("chooserAccept")));

    // While it compares, the second line counts what it has read.
    QVERIFY2(app.waitFor([&] {
        return app.text(QStringLiteral("scanDetail")).contains(QStringLiteral(" comparados")) &&
               !app.text(QStringLiteral("scanDetail")).contains(QStringLiteral(" 0 KB"));
    }),
             qPrintable(app.text(QStringLiteral("scanDetail"))));
    QVERIFY(app.click(QStringLiteral("stopButton")));
    QVERIFY(app.waitForScans(1));
    // The pair was not proven identical yet: nothing is offered.
    QCOMPARE(app.cardValue(QStringLiteral("cardGroups")), QStringLiteral("0"));
    QCOMPARE(app.text(QStringLiteral("statusLine")),
             QStringLiteral("Análisis detenido: 0 copia(s) seleccionadas de los duplicados "
                            "confirmados hasta el momento."));
    QVERIFY(app.item(QStringLiteral("stopButton")) == nullptr ||
            !app.item(QStringLiteral("stopButton"))->isVisible());
    QVERIFY(app.click(QStringLiteral("backButton")));
    QCOMPARE(app.text(QStringLiteral("activityBanner")), QStringLiteral("Duplicados terminado."));
}

QTEST_MAIN(TestDuplicatesJourney)
#include "tst_duplicatesjourney.moc"
