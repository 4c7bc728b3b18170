#include "AppJourney.h"
#include "ContentComparison.h"
#include "ReadHook.h"
#include "TreeBuilder.h"

#include <QQuickItem>
#include <QQuickWindow>
#include <QtTest>
#include <atomic>

// Archivos grandes and Duplicados as a user meets them.
class FileJourneys : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void largeFilesThenDuplicatesKeepingOneCopy();
    void mapShowsWhereTheSpaceWentAndSharesTheSelection();
    void stopShowsProgressAndKeepsOnlyProvenGroups();
};

std::unique_ptr<QObject> fileJourneys()
{
    return std::make_unique<FileJourneys>();
}

namespace {

const QString kMoveFiles = QStringLiteral("¿Mover los archivos seleccionados a la Papelera?");

// A click at the slider's left end, then Left until it stops, as a user would.
void setMinimumTo100(AppJourney &app)
{
    QQuickItem *slider = app.item("minimumSlider");
    QVERIFY(slider && app.clickAt(slider, QPointF(4, slider->height() / 2)));
    for (int i = 0; i < 3; ++i)
        app.key(Qt::Key_Left);
    QCOMPARE(app.text("minimumLabel"), "100 MB");
}

} // namespace

void FileJourneys::largeFilesThenDuplicatesKeepingOneCopy()
{
    AppJourney app;
    TreeBuilder tree(app.home());
    const QString big = tree.allocatedFile("Proyectos/Video/toma final.mov", 150 << 20);
    const QString other = tree.allocatedFile("Proyectos/Video/b-roll.mov", 120 << 20);
    tree.allocatedFile("Proyectos/Video/notas.txt", 1 << 20);
    tree.allocatedFile("Otros/imagen.iso", 130 << 20);
    // Duplicates, too small for large files; the oldest file of a group is the one kept.
    QStringList p; // name, megabytes, content, days old
    for (const auto &[name, megabytes, seed, days] :
         {std::tuple{"Proyectos/Fotos/boda.mp4", 12, 1u, 30},
          {"Proyectos/Fotos/Copias/boda (1).mp4", 12, 1u, 2},
          {"Proyectos/Fotos/viaje.mov", 11, 2u, 20},
          {"Proyectos/Fotos/Copias/viaje.mov", 11, 2u, 1},
          {"Proyectos/Fotos/otra.mov", 11, 3u, 0}}) {
        p << tree.patternFile(name, qint64(megabytes) << 20, seed);
        QVERIFY(tree.setModificationTime(name, QDateTime::currentDateTimeUtc().addDays(-days)));
    }
    const QString keeperA = p[0], copyA = p[1], copyB = p[3];
    QVERIFY(app.start());
    QCOMPARE(app.text("activityBanner"), "Tu Mac está lista para analizarse.");
    QVERIFY(app.openModule("card_largeFiles", "Archivos grandes"));
    setMinimumTo100(app);
    const QString status = app.text("statusLine");

    // Cancel, then Escape: each closes the chooser, changes nothing, and the next
    // press opens it again.
    QVERIFY(app.openChooser());
    QVERIFY(app.click("chooserCancel") && !app.chooserIsOpen());
    QCOMPARE(app.cardValue("cardFolder"), "Sin seleccionar");
    QCOMPARE(app.text("statusLine"), status);
    QVERIFY2(app.openChooser(), "opens after Cancel");
    app.key(Qt::Key_Escape);
    QVERIFY(!app.chooserIsOpen());
    QCOMPARE(app.scanner()->property("completedScanCount").toInt(), 0);
    QVERIFY2(app.openChooser(), "opens after Escape");
    QCOMPARE(app.text("chooserMessage"), "Velmora buscará archivos grandes sin eliminarlos.");
    QCOMPARE(app.text("chooserPath"), app.home());
    // The keyboard alone: Down highlights the first folder, the next Down the
    // second, Return chooses it.
    app.key(Qt::Key_Down);
    app.key(Qt::Key_Down);
    app.key(Qt::Key_Return);
    QVERIFY(!app.chooserIsOpen());
    QVERIFY(app.waitForScans(1));
    QCOMPARE(app.cardValue("cardFound"), "2");
    QCOMPARE(app.cardValue("cardFolder"), "Proyectos");
    QVERIFY(!app.row("fileList", "name", "imagen.iso"));

    QVERIFY(app.tickRow("fileList", "name", "toma final.mov"));
    QCOMPARE(app.text("selectionHeadline"), "1 archivo(s) seleccionados");
    QVERIFY(app.cardValue("cardSelected") != "0 KB");
    QVERIFY(app.confirmSelectionAction(kMoveFiles));
    VERIFY_TEXT(app, "statusLine", "1 archivo(s) enviados a la Papelera.");
    QCOMPARE(app.trashNames(), QStringList({"toma final.mov"}));
    QCOMPARE(app.trashInfoPath("toma final.mov"), big);
    QCOMPARE(app.cardValue("cardFound"), "1");
    QVERIFY(!app.row("fileList", "name", "toma final.mov"));
    QCOMPARE(app.cardValue("cardSelected"), "0 KB");

    // With no file viewer on the machine the user is told so in the window.
    const QByteArray path = qgetenv("PATH");
    qputenv("PATH", QFile::encodeName(app.root() + "/no-programs"));
    QVERIFY(app.clickInRow("fileList", "name", "b-roll.mov", "revealButton"));
    const bool told = app.waitForItem("notice") != nullptr;
    qputenv("PATH", path);
    QVERIFY2(told, "a failed reveal is shown in the window");
    QCOMPARE(app.text("noticeText"),
             "No hay ningún visor de archivos disponible para mostrar este elemento.");

    QVERIFY(app.click("selectAllButton"));
    QCOMPARE(app.text("selectionHeadline"), "1 archivo(s) seleccionados");
    QVERIFY(app.confirmSelectionAction(kMoveFiles));
    QVERIFY(app.waitForItem("emptyState", 10000));
    QCOMPARE(app.trashNames(), QStringList({"b-roll.mov", "toma final.mov"}));
    QCOMPARE(app.trashInfoPath("b-roll.mov"), other);

    // Leaving the module with the chooser never answered must not block the next.
    QVERIFY(app.click("rescanButton"));
    QVERIFY(app.waitForScans(2));
    QVERIFY(app.openChooser());
    app.key(Qt::Key_Escape);
    QVERIFY(app.leave("Archivos grandes terminado."));
    QVERIFY(app.openModule("sidebar_duplicates", "Duplicados"));
    QVERIFY2(app.openChooser(), "opens in another module");
    QCOMPARE(app.text("chooserMessage"), "Velmora buscará archivos duplicados sin eliminarlos.");
    QVERIFY(app.navigateChooser(tree.path("Proyectos/Fotos"), true) && app.click("chooserAccept"));
    QVERIFY(app.waitForScans(1));
    QCOMPARE(app.cardValue("cardGroups"), "2");
    QCOMPARE(app.cardValue("cardDuplicates"), "2");

    // The copies are chosen at once, the keepers never, and each button says so.
    QCOMPARE(app.text("statusLine"), "2 copia(s) seleccionadas automáticamente.");
    QCOMPARE(app.selectedRows("groupList", "url"), QStringList({copyA, copyB}));
    QVERIFY(app.itemIn(app.row("groupList", "url", keeperA), "keeperBadge"));
    QVERIFY(!app.itemIn(app.row("groupList", "url", copyA), "keeperBadge"));
    QVERIFY(app.click("cancelSelectionButton"));
    QCOMPARE(app.selectedRows("groupList", "url"), QStringList());
    QVERIFY(app.click("selectCopiesButton"));
    QCOMPARE(app.selectedRows("groupList", "url"), QStringList({copyA, copyB}));
    // The user keeps one copy after all.
    QVERIFY(app.tickRow("groupList", "url", copyB));
    QCOMPARE(app.text("selectionHeadline"), "1 duplicado(s) seleccionados");
    QVERIFY(app.confirmSelectionAction("¿Mover los duplicados seleccionados a la Papelera?"));
    VERIFY_TEXT(app, "statusLine", "1 duplicado(s) enviados a la Papelera.");
    QCOMPARE(app.cardValue("cardGroups"), "1");
    QCOMPARE(app.trashNames(), QStringList({"b-roll.mov", "boda (1).mp4", "toma final.mov"}));
    QCOMPARE(app.trashInfoPath("boda (1).mp4"), copyA);
    QVERIFY(app.leave("Duplicados terminado."));
}

namespace {

// The block of the map whose path ends so, or -1.
int blockOf(QQuickItem *map, const QString &pathEnd)
{
    for (int i = 0; i < map->property("blockCount").toInt(); ++i) {
        QString path;
        QMetaObject::invokeMethod(map, "blockPath", Q_RETURN_ARG(QString, path), Q_ARG(int, i));
        if (path.endsWith(pathEnd))
            return i;
    }
    return -1;
}

QString blockName(QQuickItem *map, int index)
{
    QString name;
    QMetaObject::invokeMethod(map, "blockName", Q_RETURN_ARG(QString, name), Q_ARG(int, index));
    return name;
}

bool clickBlock(AppJourney &app, QQuickItem *map, const QString &pathEnd)
{
    const int index = blockOf(map, pathEnd);
    QRectF rect;
    QMetaObject::invokeMethod(map, "blockRect", Q_RETURN_ARG(QRectF, rect), Q_ARG(int, index));
    // Near the top: the band of a folder's name, above the entries nested in it.
    return index >= 0 && app.clickAt(map, QPointF(rect.center().x(), rect.top() + 6));
}

} // namespace

void FileJourneys::mapShowsWhereTheSpaceWentAndSharesTheSelection()
{
    AppJourney app;
    TreeBuilder tree(app.home());
    const QString take = tree.allocatedFile("Proyectos/Video/toma final.mov", 150 << 20);
    tree.allocatedFile("Proyectos/Video/b-roll.mov", 120 << 20);
    tree.allocatedFile("Proyectos/Fotos/playa.jpg", 40 << 20);
    tree.allocatedFile(".oculto/cache.bin", 90 << 20); // on the map, never in the list
    tree.allocatedFile("Apps/Editor.app/Contents/Resources/data.pak", 60 << 20);
    QVERIFY(app.start());
    QVERIFY(app.openModule("card_largeFiles", "Archivos grandes"));
    setMinimumTo100(app);
    QVERIFY(app.openChooser() && app.click("chooserAccept"));
    QVERIFY(app.waitForScans(1));
    QCOMPARE(app.cardValue("cardFound"), "2");

    QVERIFY(app.click("segment_Mapa"));
    QQuickItem *map = app.waitForItem("diskMap");
    QVERIFY(map && app.waitFor([&] { return map->property("blockCount").toInt() > 0; }));
    const int hidden = blockOf(map, "/.oculto");
    QVERIFY(hidden >= 0);
    QCOMPARE(blockName(map, hidden), ".oculto, carpeta, 94.4 MB en 1 archivo(s)");
    QCOMPARE(blockName(map, blockOf(map, "/Apps")), "Apps, carpeta, 62.9 MB en 1 archivo(s)");
    QVERIFY2(blockOf(map, "/Proyectos/Video") >= 0, "a folder shows its entries inside it");

    // A click zooms into a folder, the breadcrumb goes back.
    QVERIFY(clickBlock(app, map, "/Proyectos"));
    QVERIFY(app.waitForItem("crumb_1"));
    QVERIFY(clickBlock(app, map, "/Video"));
    QVERIFY(app.waitForItem("crumb_2"));
    QVERIFY(app.click("crumb_0"));
    QVERIFY(!app.item("crumb_1"));

    // The keyboard alone: Tab to the map, arrows between blocks, Return into a
    // folder, Backspace out.
    for (int i = 0; i < 40 && app.window()->activeFocusItem() != map; ++i)
        app.key(Qt::Key_Tab);
    QCOMPARE(app.window()->activeFocusItem(), map);
    QCOMPARE(map->property("focusedBlock").toInt(), 0);
    QVERIFY(blockName(map, 0).startsWith("Proyectos, carpeta, "));
    app.key(Qt::Key_Right);
    QVERIFY(map->property("focusedBlock").toInt() > 0);
    app.key(Qt::Key_Left);
    QCOMPARE(map->property("focusedBlock").toInt(), 0);
    app.key(Qt::Key_Return);
    QVERIFY(app.waitForItem("crumb_1"));
    // The line under the map names the focused block of the folder now shown.
    QString first;
    QMetaObject::invokeMethod(map, "blockPath", Q_RETURN_ARG(QString, first), Q_ARG(int, 0));
    QVERIFY2(app.text("mapInfo").startsWith(first + " · "), qPrintable(app.text("mapInfo")));
    app.key(Qt::Key_Backspace);
    QVERIFY(!app.item("crumb_1"));

    // A file of the list chosen on the map is chosen in the list, and goes to
    // the Trash from either; the map then shows the folder it was in again.
    QVERIFY(clickBlock(app, map, "/Proyectos") && clickBlock(app, map, "/Video"));
    QVERIFY(app.waitForItem("crumb_2"));
    QVERIFY(!clickBlock(app, map, "/.oculto/cache.bin"));
    QVERIFY(clickBlock(app, map, "/toma final.mov"));
    QCOMPARE(app.text("selectionHeadline"), "1 archivo(s) seleccionados");
    QVERIFY(blockName(map, blockOf(map, "/toma final.mov")).endsWith(", seleccionado"));
    QVERIFY(app.click("segment_Lista"));
    QCOMPARE(app.selectedRows("fileList", "name"), QStringList({"toma final.mov"}));
    QVERIFY(app.click("segment_Mapa"));
    QVERIFY(app.confirmSelectionAction(kMoveFiles));
    QVERIFY(
        app.waitFor([&] { return app.item("crumb_2") && blockOf(map, "/toma final.mov") == -1; }));
    QVERIFY(blockOf(map, "/Video/b-roll.mov") >= 0);
    QCOMPARE(app.trashInfoPath("toma final.mov"), take);
}

namespace {

// Holds the comparison at its read of the second megabyte until released.
struct Gate
{
    static inline QSemaphore open{0};
    static inline std::atomic<bool> reached{false};
    static void hold(const QString &, qint64 offset)
    {
        if (offset != 1 << 20)
            return;
        reached = true;
        open.acquire();
    }
};

} // namespace

void FileJourneys::stopShowsProgressAndKeepsOnlyProvenGroups()
{
    AppJourney app;
    TreeBuilder tree(app.home());
    for (const char *name : {"Discos/uno.img", "Discos/dos.img"})
        tree.allocatedFile(QString::fromLatin1(name), qint64(12) << 20);
    ContentComparisonTesting::setReadHook(&Gate::hold);
    const auto release = qScopeGuard([] {
        ContentComparisonTesting::setReadHook(nullptr);
        Gate::open.release(2);
    });
    QVERIFY(app.start());
    QVERIFY(app.openModule("sidebar_duplicates", "Duplicados"));
    QVERIFY(app.chooseFolder(tree.path("Discos"), false));

    // Held at the gate, the second line counts what the comparison has read; the
    // pair is not proven identical yet, so a stop there offers nothing.
    QVERIFY(app.waitFor([] { return Gate::reached.load(); }));
    QVERIFY2(app.waitFor([&] {
        return app.text("scanDetail").endsWith(" comparados") &&
               !app.text("scanDetail").contains(" 0 KB");
    }),
             qPrintable(app.text("scanDetail")));
    QVERIFY(app.click("stopButton"));
    Gate::open.release(2); // the pair's second file is read at the gate too
    QVERIFY(app.waitForScans(1));
    QCOMPARE(app.cardValue("cardGroups"), "0");
    QCOMPARE(app.text("statusLine"), "Análisis detenido: 0 copia(s) seleccionadas de los "
                                     "duplicados confirmados hasta el momento.");
    QVERIFY(!app.item("stopButton"));
    QVERIFY(app.leave("Duplicados terminado."));
}

#include "FileJourneys.moc"
