#include "AppJourney.h"
#include "AppSetup.h"
#include "ImportQmlPlugins.h"
#include "TreeBuilder.h"

#include <QFile>
#include <QQuickItem>
#include <QtTest>

// Large files as a user meets them: from the dashboard into the module, through
// the real folder chooser, a scan, a selection and the Trash, and back.
class TestLargeFilesJourney : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { AppSetup::configureApplication(); }
    void fromCardThroughChooserToTrash();
    void fromSidebarSelectAllAndRevealWithoutViewer();
    void chooserAnswersEveryPress();

private:
    static void setMinimumTo100(AppJourney &app);
};

void TestLargeFilesJourney::setMinimumTo100(AppJourney &app)
{
    // A click at the slider's left end, then Left until it stops, as a user would.
    QQuickItem *slider = app.item(QStringLiteral("minimumSlider"));
    QVERIFY(slider);
    QVERIFY(app.clickAt(slider, QPointF(4, slider->height() / 2)));
    for (int i = 0; i < 3; ++i)
        app.key(Qt::Key_Left);
    QCOMPARE(app.text(QStringLiteral("minimumLabel")), QStringLiteral("100 MB"));
}

void TestLargeFilesJourney::fromCardThroughChooserToTrash()
{
    AppJourney app;
    TreeBuilder tree(app.home());
    const QString big =
        tree.allocatedFile(QStringLiteral("Proyectos/Video/toma final.mov"), 150 << 20);
    const QString other =
        tree.allocatedFile(QStringLiteral("Proyectos/Video/b-roll.mov"), 120 << 20);
    tree.allocatedFile(QStringLiteral("Proyectos/Video/notas.txt"), 1 << 20);
    const QString outside = tree.allocatedFile(QStringLiteral("Otros/imagen.iso"), 130 << 20);
    QVERIFY(app.start());
    QCOMPARE(app.text(QStringLiteral("activityBanner")),
             QStringLiteral("Tu Mac está lista para analizarse."));

    QVERIFY(app.click(QStringLiteral("card_largeFiles")));
    QCOMPARE(app.text(QStringLiteral("workspaceTitle")), QStringLiteral("Archivos grandes"));
    setMinimumTo100(app);

    QVERIFY(app.click(QStringLiteral("headerButton")));
    QVERIFY2(app.waitFor([&] { return app.chooserIsOpen(); }, 3000), "the folder chooser opened");
    QCOMPARE(app.text(QStringLiteral("chooserTitle")), QStringLiteral("Selecciona una carpeta"));
    QCOMPARE(app.text(QStringLiteral("chooserMessage")),
             QStringLiteral("Velmora buscará archivos grandes sin eliminarlos."));
    QCOMPARE(app.text(QStringLiteral("chooserPath")), app.home());
    QVERIFY(app.navigateChooser(tree.path(QStringLiteral("Proyectos/Video")), false));
    QVERIFY(app.click(QStringLiteral("chooserAccept")));
    QVERIFY(!app.chooserIsOpen());
    QVERIFY(app.waitForScans(1));

    QCOMPARE(app.cardValue(QStringLiteral("cardFound")), QStringLiteral("2"));
    QCOMPARE(app.cardValue(QStringLiteral("cardFolder")), QStringLiteral("Video"));
    QVERIFY(!app.row(QStringLiteral("fileList"), "name", QStringLiteral("imagen.iso")));
    QQuickItem *row = app.row(QStringLiteral("fileList"), "name", QStringLiteral("toma final.mov"));
    QVERIFY(row);
    QVERIFY(app.clickItem(app.itemIn(row, QStringLiteral("rowCheckBox"))));
    QCOMPARE(app.text(QStringLiteral("selectionHeadline")),
             QStringLiteral("1 archivo(s) seleccionados"));
    QVERIFY(app.cardValue(QStringLiteral("cardSelected")) != QStringLiteral("0 KB"));

    QVERIFY(app.click(QStringLiteral("selectionActionButton")));
    QCOMPARE(app.text(QStringLiteral("dialogTitle")),
             QStringLiteral("¿Mover los archivos seleccionados a la Papelera?"));
    QVERIFY(app.click(QStringLiteral("dialogConfirmButton")));
    QVERIFY(app.waitFor([&] { return !QFile::exists(big); }, 10000));

    QCOMPARE(app.trashNames(), QStringList({"toma final.mov"}));
    QCOMPARE(app.trashInfoPath(QStringLiteral("toma final.mov")), big);
    QVERIFY(QFile::exists(other));
    QVERIFY(QFile::exists(outside));
    QVERIFY(app.waitFor(
        [&] { return app.cardValue(QStringLiteral("cardFound")) == QStringLiteral("1"); }, 3000));
    QVERIFY(!app.row(QStringLiteral("fileList"), "name", QStringLiteral("toma final.mov")));
    QCOMPARE(app.cardValue(QStringLiteral("cardSelected")), QStringLiteral("0 KB"));
    QCOMPARE(app.text(QStringLiteral("statusLine")),
             QStringLiteral("1 archivo(s) enviados a la Papelera."));

    QVERIFY(app.click(QStringLiteral("backButton")));
    QCOMPARE(app.text(QStringLiteral("activityBanner")),
             QStringLiteral("Archivos grandes terminado."));
}

void TestLargeFilesJourney::fromSidebarSelectAllAndRevealWithoutViewer()
{
    AppJourney app;
    TreeBuilder tree(app.home());
    const QString a = tree.allocatedFile(QStringLiteral("Descargas/instalador.dmg"), 110 << 20);
    const QString b = tree.allocatedFile(QStringLiteral("Descargas/copia.zip"), 105 << 20);
    QVERIFY(app.start());
    QVERIFY(app.click(QStringLiteral("sidebar_largeFiles")));
    QCOMPARE(app.text(QStringLiteral("workspaceTitle")), QStringLiteral("Archivos grandes"));
    setMinimumTo100(app);

    // This time the folder is only highlighted in the chooser, not opened.
    QVERIFY(app.click(QStringLiteral("headerButton")));
    QVERIFY(app.waitFor([&] { return app.chooserIsOpen(); }, 3000));
    QVERIFY(app.navigateChooser(tree.path(QStringLiteral("Descargas")), true));
    QVERIFY(app.click(QStringLiteral("chooserAccept")));
    QVERIFY(app.waitForScans(1));
    QCOMPARE(app.cardValue(QStringLiteral("cardFound")), QStringLiteral("2"));

    // With no file viewer on the machine the user is told so in the window.
    QQuickItem *row = app.row(QStringLiteral("fileList"), "name", QStringLiteral("copia.zip"));
    QVERIFY(row);
    const QByteArray path = qgetenv("PATH");
    qputenv("PATH", QFile::encodeName(app.env().base() + QStringLiteral("/no-programs")));
    QVERIFY(app.clickItem(app.itemIn(row, QStringLiteral("revealButton"))));
    const bool told =
        app.waitFor([&] { return app.item(QStringLiteral("notice")) != nullptr; }, 5000);
    qputenv("PATH", path);
    QVERIFY2(told, "a failed reveal is shown in the window");
    QCOMPARE(
        app.text(QStringLiteral("noticeText")),
        QStringLiteral("No hay ningún visor de archivos disponible para mostrar este elemento."));

    QVERIFY(app.click(QStringLiteral("selectAllButton")));
    QCOMPARE(app.text(QStringLiteral("selectionHeadline")),
             QStringLiteral("2 archivo(s) seleccionados"));
    QVERIFY(app.click(QStringLiteral("selectionActionButton")));
    QVERIFY(app.click(QStringLiteral("dialogConfirmButton")));
    QVERIFY(app.waitFor([&] { return !QFile::exists(a) && !QFile::exists(b); }, 10000));
    QCOMPARE(app.trashNames(), QStringList({"copia.zip", "instalador.dmg"}));
    QCOMPARE(app.trashInfoPath(QStringLiteral("copia.zip")), b);
    QVERIFY(app.waitFor([&] { return app.item(QStringLiteral("emptyState")) != nullptr; }, 3000));

    QVERIFY(app.click(QStringLiteral("backButton")));
    QCOMPARE(app.text(QStringLiteral("activityBanner")),
             QStringLiteral("Archivos grandes terminado."));
}

void TestLargeFilesJourney::chooserAnswersEveryPress()
{
    AppJourney app;
    TreeBuilder tree(app.home());
    tree.allocatedFile(QStringLiteral("Trabajo/grande.bin"), 101 << 20);
    QVERIFY(app.start());
    QVERIFY(app.click(QStringLiteral("card_largeFiles")));
    setMinimumTo100(app);
    const QString status = app.text(QStringLiteral("statusLine"));

    // Cancel, then Escape: each closes the chooser, changes nothing, and the next
    // press opens it again.
    QVERIFY(app.click(QStringLiteral("headerButton")));
    QVERIFY(app.waitFor([&] { return app.chooserIsOpen(); }, 3000));
    QVERIFY(app.click(QStringLiteral("chooserCancel")));
    QVERIFY(!app.chooserIsOpen());
    QCOMPARE(app.cardValue(QStringLiteral("cardFolder")), QStringLiteral("Sin seleccionar"));
    QCOMPARE(app.text(QStringLiteral("statusLine")), status);

    QVERIFY(app.click(QStringLiteral("headerButton")));
    QVERIFY2(app.waitFor([&] { return app.chooserIsOpen(); }, 3000), "opens after Cancel");
    app.key(Qt::Key_Escape);
    QVERIFY(!app.chooserIsOpen());
    QCOMPARE(app.scanner()->property("completedScanCount").toInt(), 0);

    QVERIFY(app.click(QStringLiteral("headerButton")));
    QVERIFY2(app.waitFor([&] { return app.chooserIsOpen(); }, 3000), "opens after Escape");
    // The keyboard alone: Down highlights the first folder, Return chooses it.
    app.key(Qt::Key_Down);
    app.key(Qt::Key_Return);
    QVERIFY(!app.chooserIsOpen());
    QVERIFY(app.waitForScans(1));
    QCOMPARE(app.cardValue(QStringLiteral("cardFolder")), QStringLiteral("Trabajo"));
    QCOMPARE(app.cardValue(QStringLiteral("cardFound")), QStringLiteral("1"));

    // Leaving the module with the chooser never answered must not block the next.
    QVERIFY(app.click(QStringLiteral("rescanButton")));
    QVERIFY(app.waitForScans(2));
    QVERIFY(app.click(QStringLiteral("headerButton")));
    QVERIFY(app.waitFor([&] { return app.chooserIsOpen(); }, 3000));
    app.key(Qt::Key_Escape);
    QVERIFY(app.click(QStringLiteral("backButton")));
    QVERIFY(app.click(QStringLiteral("sidebar_duplicates")));
    QVERIFY(app.click(QStringLiteral("headerButton")));
    QVERIFY2(app.waitFor([&] { return app.chooserIsOpen(); }, 3000), "opens in another module");
    QCOMPARE(app.text(QStringLiteral("chooserMessage")),
             QStringLiteral("Velmora buscará archivos duplicados sin eliminarlos."));
}

QTEST_MAIN(TestLargeFilesJourney)
#include "tst_largefilesjourney.moc"
