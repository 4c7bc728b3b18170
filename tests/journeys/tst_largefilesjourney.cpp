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
    void chooseScanTrashAndReveal();
    void chooserAnswersEveryPress();

private:
    static void setMinimumTo100(AppJourney &app);
};

namespace {
const QString kTrashTitle = QStringLiteral("¿Mover los archivos seleccionados a la Papelera?");
}

void TestLargeFilesJourney::setMinimumTo100(AppJourney &app)
{
    // A click at the slider's left end, then Left until it stops, as a user would.
    QQuickItem *slider = app.item("minimumSlider");
    QVERIFY(slider && app.clickAt(slider, QPointF(4, slider->height() / 2)));
    for (int i = 0; i < 3; ++i)
        app.key(Qt::Key_Left);
    QCOMPARE(app.text("minimumLabel"), "100 MB");
}

void TestLargeFilesJourney::chooseScanTrashAndReveal()
{
    AppJourney app;
    TreeBuilder tree(app.home());
    const QString big = tree.allocatedFile("Proyectos/Video/toma final.mov", 150 << 20);
    const QString other = tree.allocatedFile("Proyectos/Video/b-roll.mov", 120 << 20);
    tree.allocatedFile("Proyectos/Video/notas.txt", 1 << 20);
    const QString outside = tree.allocatedFile("Otros/imagen.iso", 130 << 20);
    QVERIFY(app.start());
    QCOMPARE(app.text("activityBanner"), "Tu Mac está lista para analizarse.");
    QVERIFY(app.openModule("card_largeFiles", "Archivos grandes"));
    setMinimumTo100(app);

    QVERIFY(app.click("headerButton"));
    QVERIFY2(app.waitFor([&] { return app.chooserIsOpen(); }, 3000), "the folder chooser opened");
    QCOMPARE(app.text("chooserTitle"), "Selecciona una carpeta");
    QCOMPARE(app.text("chooserMessage"), "Velmora buscará archivos grandes sin eliminarlos.");
    QCOMPARE(app.text("chooserPath"), app.home());
    QVERIFY(app.navigateChooser(tree.path("Proyectos/Video"), false));
    QVERIFY(app.click("chooserAccept") && !app.chooserIsOpen());
    QVERIFY(app.waitForScans(1));
    QCOMPARE(app.cardValue("cardFound"), "2");
    QCOMPARE(app.cardValue("cardFolder"), "Video");
    QVERIFY(!app.row("fileList", "name", "imagen.iso"));

    QVERIFY(app.tickRow("fileList", "name", "toma final.mov"));
    QCOMPARE(app.text("selectionHeadline"), "1 archivo(s) seleccionados");
    QVERIFY(app.cardValue("cardSelected") != "0 KB");
    QVERIFY(app.confirmSelectionAction(kTrashTitle));
    VERIFY_TEXT(app, "statusLine", "1 archivo(s) enviados a la Papelera.");
    QCOMPARE(app.trashNames(), QStringList({"toma final.mov"}));
    QCOMPARE(app.trashInfoPath("toma final.mov"), big);
    QVERIFY(QFile::exists(other) && QFile::exists(outside));
    QCOMPARE(app.cardValue("cardFound"), "1");
    QVERIFY(!app.row("fileList", "name", "toma final.mov"));
    QCOMPARE(app.cardValue("cardSelected"), "0 KB");

    // With no file viewer on the machine the user is told so in the window.
    QQuickItem *row = app.row("fileList", "name", "b-roll.mov");
    QVERIFY(row);
    const QByteArray path = qgetenv("PATH");
    qputenv("PATH", QFile::encodeName(app.env().base() + "/no-programs"));
    QVERIFY(app.clickItem(app.itemIn(row, "revealButton")));
    const bool told = app.waitForItem("notice") != nullptr;
    qputenv("PATH", path);
    QVERIFY2(told, "a failed reveal is shown in the window");
    QCOMPARE(app.text("noticeText"),
             "No hay ningún visor de archivos disponible para mostrar este elemento.");

    QVERIFY(app.click("selectAllButton"));
    QCOMPARE(app.text("selectionHeadline"), "1 archivo(s) seleccionados");
    QVERIFY(app.confirmSelectionAction(kTrashTitle));
    QVERIFY(app.waitForItem("emptyState", 10000));
    QCOMPARE(app.trashNames(), QStringList({"b-roll.mov", "toma final.mov"}));
    QCOMPARE(app.trashInfoPath("b-roll.mov"), other);
    QVERIFY(app.click("backButton"));
    QCOMPARE(app.text("activityBanner"), "Archivos grandes terminado.");
}

void TestLargeFilesJourney::chooserAnswersEveryPress()
{
    AppJourney app;
    TreeBuilder(app.home()).allocatedFile("Trabajo/grande.bin", 101 << 20);
    QVERIFY(app.start());
    QVERIFY(app.openModule("sidebar_largeFiles", "Archivos grandes"));
    setMinimumTo100(app);
    const QString status = app.text("statusLine");
    const auto open = [&] {
        return app.click("headerButton") && app.waitFor([&] { return app.chooserIsOpen(); }, 3000);
    };

    // Cancel, then Escape: each closes the chooser, changes nothing, and the next
    // press opens it again.
    QVERIFY(open());
    QVERIFY(app.click("chooserCancel") && !app.chooserIsOpen());
    QCOMPARE(app.cardValue("cardFolder"), "Sin seleccionar");
    QCOMPARE(app.text("statusLine"), status);
    QVERIFY2(open(), "opens after Cancel");
    app.key(Qt::Key_Escape);
    QVERIFY(!app.chooserIsOpen());
    QCOMPARE(app.scanner()->property("completedScanCount").toInt(), 0);

    // The keyboard alone: Down highlights the first folder, Return chooses it.
    QVERIFY2(open(), "opens after Escape");
    app.key(Qt::Key_Down);
    app.key(Qt::Key_Return);
    QVERIFY(!app.chooserIsOpen());
    QVERIFY(app.waitForScans(1));
    QCOMPARE(app.cardValue("cardFolder"), "Trabajo");
    QCOMPARE(app.cardValue("cardFound"), "1");

    // Leaving the module with the chooser never answered must not block the next.
    QVERIFY(app.click("rescanButton"));
    QVERIFY(app.waitForScans(2));
    QVERIFY(open());
    app.key(Qt::Key_Escape);
    QVERIFY(app.click("backButton"));
    QVERIFY(app.openModule("sidebar_duplicates", "Duplicados"));
    QVERIFY2(open(), "opens in another module");
    QCOMPARE(app.text("chooserMessage"), "Velmora buscará archivos duplicados sin eliminarlos.");
}

QTEST_MAIN(TestLargeFilesJourney)
#include "tst_largefilesjourney.moc"
