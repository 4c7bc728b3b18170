#include "AppJourney.h"
#include "AppSetup.h"
#include "ContentComparison.h"
#include "Formatters.h"
#include "ImportQmlPlugins.h"
#include "ReadHook.h"
#include "TreeBuilder.h"

#include <QAbstractItemModelTester>
#include <QImage>
#include <QQuickItem>
#include <QQuickWindow>
#include <QtTest>
#include <atomic>

// Each module as a user meets it in the real window: into the module, its scan,
// a selection and its action, the disk checked afterwards, and back.
class TestJourneys : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { AppSetup::configureApplication(); }
    void sidebarFillsTheSelectedRow();
    void tabShowsWhereTheFocusIs();
    void smallestWindowShowsEveryControl_data();
    void smallestWindowShowsEveryControl();
    void largeFilesChooseScanTrashAndReveal();
    void chooserAnswersEveryPress();
    void keepOneCopyThenTrashTheRest();
    void stopShowsProgressAndKeepsOnlyProvenGroups();
    void trashTheSmartSelectionThenOneCache();
    void anOpenApplicationsCacheSaysWhyItIsLeftOut();
    void uninstallWithLeftovers();
    void tellTwoInstallationsApart();
    void keptEntriesSayWhyAndStayInPlace();
    void analyseQuarantineRestoreTrashAndTrust();
    void quarantineFailureKeepsFindings();
    void runOpenModulesAndComeBack();
};

namespace {

const QString kMoveFiles = QStringLiteral("¿Mover los archivos seleccionados a la Papelera?");
const QString kMoveDuplicates =
    QStringLiteral("¿Mover los duplicados seleccionados a la Papelera?");
const QString kUninstalled = QStringLiteral("1 aplicación(es) movidas a la Papelera.");
const QString kKept = QStringLiteral(" Se conservaron %1 archivo(s) relacionados que pueden ser de "
                                     "otras aplicaciones o del sistema.");

// Leaves the module by its back button; the dashboard's banner tells what ended.
bool leave(AppJourney &app, const QString &banner)
{
    return app.click("backButton") && app.text("activityBanner") == banner;
}

QString textOfRow(AppJourney &app, const char *list, const char *role, const QString &value,
                  const char *name)
{
    QQuickItem *found = app.itemIn(app.row(list, role, value), name);
    return found ? found->property("text").toString() : QString();
}

} // namespace

void TestJourneys::sidebarFillsTheSelectedRow()
{
    AppJourney app;
    QVERIFY(app.start());
    const QImage image = app.window()->grabWindow();
    // Right of the title, left of the dot: the blue-to-teal fill near its end.
    const auto pixelIn = [&](const char *name) {
        QQuickItem *row = app.item(name);
        const QPointF point = row->mapToScene(QPointF(row->width() - 28, row->height() / 2));
        return image.pixelColor((point * image.width() / qreal(app.window()->width())).toPoint());
    };
    const QColor selected = pixelIn("sidebar_dashboard");
    QVERIFY2(selected.green() > 150 && selected.blue() > 150 && selected.red() < 120,
             qPrintable(selected.name()));
    const QColor plain = pixelIn("sidebar_largeFiles");
    QVERIFY2(plain.green() < 60 && plain.blue() < 60, qPrintable(plain.name()));
}

void TestJourneys::tabShowsWhereTheFocusIs()
{
    AppJourney app;
    QVERIFY(app.start());
    const auto rings = [&] { return app.allIn(app.window()->contentItem(), "focusRing"); };
    QVERIFY(rings().isEmpty());
    // Every Tab lands on a control, and exactly that control shows a ring.
    const auto ringOnFocus = [&] {
        const QList<QQuickItem *> shown = rings();
        QQuickItem *focused = app.window()->activeFocusItem();
        return shown.size() == 1 && focused && focused->isAncestorOf(shown.first());
    };
    for (int i = 0; i < 10; ++i) {
        app.key(Qt::Key_Tab);
        QVERIFY2(ringOnFocus(), qPrintable(QStringLiteral("after Tab %1 on the dashboard").arg(i)));
    }
    // Back to the sidebar's large files row and into the module with the keyboard.
    QQuickItem *largeFiles = app.item("sidebar_largeFiles");
    for (int i = 0; i < 40 && app.window()->activeFocusItem() != largeFiles; ++i)
        app.key(Qt::Key_Tab);
    QCOMPARE(app.window()->activeFocusItem(), largeFiles);
    app.key(Qt::Key_Return);
    QCOMPARE(app.text("workspaceTitle"), "Archivos grandes");
    for (int i = 0; i < 4; ++i) {
        app.key(Qt::Key_Tab);
        QVERIFY2(ringOnFocus(), qPrintable(QStringLiteral("after Tab %1 in the module").arg(i)));
    }
    // A click focuses nothing visibly: rings are for the keyboard.
    QVERIFY(app.click("backButton"));
    QVERIFY(rings().isEmpty());
}

void TestJourneys::smallestWindowShowsEveryControl_data()
{
    QTest::addColumn<QString>("card");
    QTest::addColumn<QStringList>("controls");
    const QString bar = QStringLiteral(" selectionActionButton cancelSelectionButton backButton");
    const char *const screens[][2] = {
        {"", "quickAnalysisButton card_largeFiles card_duplicates card_safeCleanup "
             "card_uninstaller card_protection"},
        {"card_largeFiles", "headerButton cardFound cardDetected cardSelected cardFolder "
                            "minimumSlider minimumLabel emptyState"},
        {"card_duplicates", "headerButton cardGroups cardDuplicates cardRecoverable cardSelected "
                            "minimumSlider minimumLabel emptyState"},
        {"card_safeCleanup", "cardFound cardDetected cardRecommended cardSelected rescanButton "
                             "modePicker autoSwitch selectNowButton emptyState"},
        {"card_uninstaller", "headerButton cardApplications cardSelected cardSelectedSize "
                             "cardState searchField statusLine emptyState"}};
    for (const auto &[card, controls] : screens)
        QTest::newRow(*card ? card : "dashboard")
            << QString::fromLatin1(card)
            << (QString::fromLatin1(controls) + (*card ? bar : QString())).split(u' ');
}

void TestJourneys::smallestWindowShowsEveryControl()
{
    QFETCH(QString, card);
    QFETCH(QStringList, controls);
    AppJourney app;
    QVERIFY(app.start());
    app.window()->resize(app.window()->minimumSize());
    QVERIFY(app.waitFor([&] { return app.window()->size() == QSize(980, 680); }, 2000));
    if (!card.isEmpty())
        QVERIFY(app.click(card) && app.waitForScans(0));
    // Each control shown whole inside the window and apart from the others,
    // once the layouts have settled; else the first one that is not.
    const auto misplaced = [&]() -> QString {
        const QRectF window(0, 0, app.window()->width(), app.window()->height());
        QList<QRectF> seen;
        for (const QString &name : controls) {
            QQuickItem *item = app.item(name);
            if (!item)
                return name + " is not shown";
            const QRectF area = item->mapRectToScene(item->boundingRect());
            if (area.isEmpty() || !window.contains(area))
                return name + " does not lie inside the window";
            for (int i = 0; i < seen.size(); ++i)
                if (seen.at(i).intersects(area))
                    return name + " overlaps " + controls.at(i);
            seen << area;
        }
        return {};
    };
    app.waitFor([&] { return misplaced().isEmpty(); }, 5000);
    QVERIFY2(misplaced().isEmpty(), qPrintable(misplaced()));
}

namespace {

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

void TestJourneys::largeFilesChooseScanTrashAndReveal()
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
    QVERIFY(app.confirmSelectionAction(kMoveFiles));
    VERIFY_TEXT(app, "statusLine", "1 archivo(s) enviados a la Papelera.");
    QCOMPARE(app.trashNames(), QStringList({"toma final.mov"}));
    QCOMPARE(app.trashInfoPath("toma final.mov"), big);
    QVERIFY(QFile::exists(other) && QFile::exists(outside));
    QCOMPARE(app.cardValue("cardFound"), "1");
    QVERIFY(!app.row("fileList", "name", "toma final.mov"));
    QCOMPARE(app.cardValue("cardSelected"), "0 KB");

    // With no file viewer on the machine the user is told so in the window.
    QQuickItem *row = app.row("fileList", "name", "b-roll.mov");
    const QByteArray path = qgetenv("PATH");
    qputenv("PATH", QFile::encodeName(app.root() + "/no-programs"));
    QVERIFY(app.clickItem(app.itemIn(row, "revealButton")));
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
    QVERIFY(leave(app, "Archivos grandes terminado."));
}

void TestJourneys::chooserAnswersEveryPress()
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

void TestJourneys::keepOneCopyThenTrashTheRest()
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

    // The copies are chosen at once, the keepers never, and each button says so.
    QCOMPARE(app.text("statusLine"), "2 copia(s) seleccionadas automáticamente.");
    QCOMPARE(app.selectedRows("groupList", "url"), QStringList({copyA, copyB}));
    QVERIFY(app.itemIn(app.row("groupList", "url", keeperA), "keeperBadge"));
    QVERIFY(!app.itemIn(app.row("groupList", "url", copyA), "keeperBadge"));
    app.tickRow("groupList", "url", keeperA);
    QVERIFY2(!app.row("groupList", "url", keeperA)->property("selected").toBool(),
             "the keeper cannot be chosen");
    QVERIFY(app.click("cancelSelectionButton"));
    QCOMPARE(app.selectedRows("groupList", "url"), QStringList());
    QVERIFY(app.click("selectCopiesButton"));
    QCOMPARE(app.selectedRows("groupList", "url"), QStringList({copyA, copyB}));
    // The user keeps one copy after all.
    QVERIFY(app.tickRow("groupList", "url", copyB));
    QCOMPARE(app.text("selectionHeadline"), "1 duplicado(s) seleccionados");
    QVERIFY(app.confirmSelectionAction(kMoveDuplicates));
    VERIFY_TEXT(app, "statusLine", "1 duplicado(s) enviados a la Papelera.");
    QCOMPARE(app.cardValue("cardGroups"), "1");
    QCOMPARE(app.trashNames(), QStringList({"boda (1).mp4"}));
    QCOMPARE(app.trashInfoPath("boda (1).mp4"), copyA);

    // Then that one too.
    QVERIFY(app.tickRow("groupList", "url", copyB));
    QVERIFY(app.confirmSelectionAction(kMoveDuplicates));
    QVERIFY(app.waitForItem("emptyState", 10000));
    QCOMPARE(app.trashNames(), QStringList({"boda (1).mp4", "viaje.mov"}));
    QCOMPARE(app.trashInfoPath("viaje.mov"), copyB);
    for (const QString &kept : {keeperA, keeperB, unique})
        QVERIFY2(QFile::exists(kept), qPrintable(kept));
    QCOMPARE(app.cardValue("cardGroups"), "0");
    QVERIFY(leave(app, "Duplicados terminado."));
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

void TestJourneys::stopShowsProgressAndKeepsOnlyProvenGroups()
{
    AppJourney app;
    TreeBuilder tree(app.home());
    for (const char *name : {"Discos/uno.img", "Discos/dos.img"})
        tree.allocatedFile(QString::fromLatin1(name), qint64(12) << 20);
    Gate::open.tryAcquire(Gate::open.available());
    Gate::reached = false;
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
    QVERIFY(leave(app, "Duplicados terminado."));
}

namespace {

// 22 caches: two old and large, the rest small and fresh.
void makeCaches(const QString &home)
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

} // namespace

void TestJourneys::trashTheSmartSelectionThenOneCache()
{
    AppJourney app;
    makeCaches(app.home());
    const QString caches = app.home() + "/Library/Caches/";
    QVERIFY(app.start());
    QVERIFY(app.openModule("card_safeCleanup", "Limpieza segura", 1));
    QCOMPARE(app.cardValue("cardFound"), "22");
    // 22 rows do not fit: the list shows its scroll bar.
    QQuickItem *list = app.item("cacheList");
    QQuickItem *bar = list ? app.itemIn(list->parentItem(), "scrollBar") : nullptr;
    QVERIFY2(app.itemIn(bar, "scrollHandle"), "a scroll bar shows while the list overflows");

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
    QVERIFY(leave(app, "Limpieza segura terminada."));
}

void TestJourneys::anOpenApplicationsCacheSaysWhyItIsLeftOut()
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
    QVERIFY(app.openModule("sidebar_safeCleanup", "Limpieza segura", 1));
    QCOMPARE(app.selectedRows("cacheList", "name"), QStringList({"com.vendor.Stale"}));
    const auto badge = [&](const char *cache, const char *property) {
        QQuickItem *row = app.row("cacheList", "name", QString::fromLatin1(cache));
        QQuickItem *found = app.itemIn(row, "rowBadge");
        return found ? found->property(property).toString() : QStringLiteral("<none>");
    };
    QCOMPARE(badge("com.vendor.Old", "text"), "EN USO");
    QCOMPARE(badge("com.vendor.Old", "help"), "En uso por Old, que está abierta.");
    // The others carry the badge of what they are, or none.
    QCOMPARE(badge("com.vendor.Stale", "text"), "RECOMENDADA");
    QCOMPARE(badge("org.small.App00", "text"), "<none>");
}

namespace {

QString application(const QString &base, const QString &name, const QString &identifier)
{
    return TreeBuilder(base).bundle(
        "Applications/" + name + ".app",
        {{"CFBundleIdentifier", identifier}, {"CFBundleShortVersionString", "2.0"}}, false);
}

} // namespace

void TestJourneys::uninstallWithLeftovers()
{
    AppJourney app;
    const QString notas = application(app.root(), "Notas Rapidas", "com.example.notasrapidas");
    const QString other = application(app.root(), "Calculadora Pro", "org.calc.pro");
    TreeBuilder home(app.home());
    const QString support =
        home.file("Library/Application Support/com.example.notasrapidas/db", "x");
    const QString prefs = home.file("Library/Preferences/com.example.notasrapidas.plist", "x");
    const QString otherPrefs = home.file("Library/Preferences/org.calc.pro.plist", "x");
    QVERIFY(app.start());
    QVERIFY(app.openModule("card_uninstaller", "Desinstalación profunda", 1));
    QCOMPARE(app.cardValue("cardApplications"), "2");
    QCOMPARE(textOfRow(app, "applicationList", "name", "Notas Rapidas", "relatedLine"),
             "2 archivo(s) relacionados");
    QVERIFY2(
        !app.itemIn(app.row("applicationList", "name", "Notas Rapidas"), "installedFolderBadge"),
        "one installation needs no folder badge");
    QVERIFY(app.tickRow("applicationList", "name", "Notas Rapidas"));
    QCOMPARE(app.cardValue("cardSelected"), "1");

    QVERIFY(app.click("selectionActionButton"));
    QCOMPARE(app.text("dialogTitle"), "¿Desinstalar las aplicaciones seleccionadas?");
    // The long destructive button keeps the dialog's padding on its right.
    QQuickItem *confirm = app.item("dialogConfirmButton");
    QQuickItem *panel = app.item("dialogPanel");
    QVERIFY(confirm && panel);
    const QRectF button = confirm->mapRectToScene(confirm->boundingRect());
    const QRectF frame = panel->mapRectToScene(panel->boundingRect());
    QCOMPARE(frame.right() - button.right(), 22.0);
    QVERIFY(frame.left() >= 0 && frame.right() <= app.window()->width());

    QVERIFY(app.click("dialogConfirmButton"));
    VERIFY_TEXT(app, "statusLine", kUninstalled);
    QCOMPARE(app.trashNames(), QStringList({"Notas Rapidas.app", "com.example.notasrapidas",
                                            "com.example.notasrapidas.plist"}));
    QCOMPARE(app.trashInfoPath("Notas Rapidas.app"), notas);
    QCOMPARE(app.trashInfoPath("com.example.notasrapidas"), QFileInfo(support).path());
    QCOMPARE(app.trashInfoPath("com.example.notasrapidas.plist"), prefs);
    QVERIFY(QFile::exists(other) && QFile::exists(otherPrefs));
    QCOMPARE(app.cardValue("cardSelected"), "0");
    QVERIFY(leave(app, "Desinstalación profunda terminada."));
}

void TestJourneys::tellTwoInstallationsApart()
{
    AppJourney app;
    const QString system = application(app.root(), "Quill", "com.quill");
    const QString mine = application(app.home(), "Quill", "com.quill");
    const QString prefs = TreeBuilder(app.home()).file("Library/Preferences/com.quill.plist", "x");
    QVERIFY(app.start());
    QVERIFY(app.openModule("sidebar_uninstaller", "Desinstalación profunda", 1));
    for (const auto &[bundle, badge] :
         {std::pair{system, "En /Applications"}, {mine, "En ~/Applications"}})
        QCOMPARE(textOfRow(app, "applicationList", "url", bundle, "installedFolderBadge"), badge);

    // Uninstalling the copy in the home leaves the other in place, and the
    // preferences both use.
    QVERIFY(app.tickRow("applicationList", "url", mine));
    QVERIFY(app.click("selectionActionButton"));
    QVERIFY(app.text("dialogMessage")
                .endsWith(" Se conservarán 1 archivo(s) relacionados que "
                          "pueden ser de otras aplicaciones o del sistema."));
    QVERIFY(app.click("dialogConfirmButton"));
    VERIFY_TEXT(app, "statusLine", kUninstalled + kKept.arg(1));
    QCOMPARE(app.trashNames(), QStringList({"Quill.app"}));
    QCOMPARE(app.trashInfoPath("Quill.app"), mine);
    QVERIFY(QFile::exists(system) && QFile::exists(prefs));
    QCOMPARE(textOfRow(app, "applicationList", "url", system, "relatedLine"),
             "1 archivo(s) relacionados");
}

// Every related entry unfolds with what matched it; those that may be another
// application's or the system's say why they stay, and stay.
void TestJourneys::keptEntriesSayWhyAndStayInPlace()
{
    AppJourney app;
    application(app.root(), "a", "org.thirdparty.atool");
    const QString tool = application(app.root(), "Tool", "com.vendor.tool");
    TreeBuilder library(app.home() + "/Library");
    const QString atool = library.file("Caches/org.thirdparty.atool/db", "x");
    const QString support = library.file("Application Support/Tool/db", "x");
    const QString apple = library.file("Containers/com.apple.toolkit/x", "x");
    QVERIFY(app.start());
    QVERIFY(app.openModule("sidebar_uninstaller", "Desinstalación profunda", 1));
    QCOMPARE(textOfRow(app, "applicationList", "name", "Tool", "relatedLine"),
             "3 archivo(s) relacionados");
    QQuickItem *row = app.row("applicationList", "name", "Tool");
    QVERIFY(app.clickItem(app.itemIn(row, "relatedLine")));
    row = app.row("applicationList", "name", "Tool");
    QVERIFY(app.waitFor([&] { return app.itemIn(row, "keptHeader") != nullptr; }, 3000));
    // Path, what matched, and for the kept ones, why.
    QMap<QString, QStringList> shown;
    for (QQuickItem *entry : app.allIn(row, "relatedEntry")) {
        QStringList line{app.itemIn(entry, "matchedBy")->property("text").toString()};
        if (QQuickItem *reason = app.itemIn(entry, "keptReason"))
            line << reason->property("text").toString();
        shown.insert(app.itemIn(entry, "relatedPath")->property("text").toString(), line);
    }
    QCOMPARE(
        shown,
        (QMap<QString, QStringList>{
            {"~/Library/Application Support/Tool", {"por nombre"}},
            {"~/Library/Caches/org.thirdparty.atool", {"por nombre", "También puede ser de a."}},
            {"~/Library/Containers/com.apple.toolkit", {"por nombre", "Es de Apple."}}}));

    QVERIFY(app.clickItem(app.itemIn(row, "rowCheckBox")));
    QVERIFY(app.click("selectionActionButton"));
    QVERIFY(app.text("dialogMessage")
                .endsWith(". Podrás recuperarlas desde la Papelera. Se conservarán 2 archivo(s) "
                          "relacionados que pueden ser de otras aplicaciones o del sistema."));
    QVERIFY(app.click("dialogConfirmButton"));
    VERIFY_TEXT(app, "statusLine", kUninstalled + kKept.arg(2));
    QCOMPARE(app.trashNames(), QStringList({"Tool", "Tool.app"}));
    QCOMPARE(app.trashInfoPath("Tool"), QFileInfo(support).path());
    QVERIFY(!QFile::exists(tool) && QFile::exists(atool) && QFile::exists(apple));
}

namespace {

// Opens the protection screen; its lists (the findings, the filtered findings,
// the quarantine's records) are held to the item-model rules from then on.
bool openProtection(AppJourney &app, const QString &via = "sidebar_protection")
{
    if (!app.openModule(via, "Protección"))
        return false;
    const QObject *quarantine = app.screen()->property("quarantine").value<QObject *>();
    auto *records =
        quarantine ? quarantine->property("records").value<QAbstractItemModel *>() : nullptr;
    if (records)
        new QAbstractItemModelTester(
            records, QAbstractItemModelTester::FailureReportingMode::QtTest, records);
    return records != nullptr;
}

QQuickItem *finding(AppJourney &app, const QString &url)
{
    return app.row("findingList", "url", url);
}

QString badgeOf(AppJourney &app, const QString &url)
{
    return textOfRow(app, "findingList", "url", url, "levelBadge");
}

} // namespace

// An analysis of the important places, the recommended selection, trust, the
// move to quarantine, then the quarantine sheet with a restore and a move to the
// Trash, and trust kept across a restart.
void TestJourneys::analyseQuarantineRestoreTrashAndTrust()
{
    AppJourney app;
    TreeBuilder home(app.home());
    TreeBuilder root(app.root());
    const QString script = home.file("Downloads/run.sh", "#!/bin/sh\necho hola\n");
    const QString command = home.file("Downloads/Proyectos/setup.command", "#!/bin/sh\nexit 0\n");
    const QString trusted = home.file("Downloads/mine.sh", "#!/bin/sh\n");
    const QString agent = home.plist("Library/LaunchAgents/com.example.watchdog.plist",
                                     {{"Label", "com.example.watchdog"},
                                      {"Program", "/private/var/tmp/watchdog"},
                                      {"RunAtLoad", true}},
                                     false);
    // Three items to review, and two launch items of macOS, safe.
    for (const char *name : {"setup.dmg", "a.pkg", "b.pkg"})
        home.file(QStringLiteral("Downloads/") + name, "installer");
    for (const char *label : {"com.apple.one", "com.apple.two"})
        root.plist(QStringLiteral("Library/LaunchAgents/%1.plist").arg(label), {{"Label", label}},
                   false);
    // The system's own launch items are never offered, however they rate.
    const QString daemon = root.plist("Library/LaunchDaemons/com.evil.plist",
                                      {{"Label", "com.evil"}, {"Program", "/tmp/evil"}}, false);
    QVERIFY(app.start());

    QVERIFY(openProtection(app, "card_protection"));
    QVERIFY(app.item("safetyBar"));
    QCOMPARE(app.text("quarantineButton"), "Cuarentena 0");

    QVERIFY(app.click("headerButton"));
    QVERIFY(app.waitForScans(1));
    QCOMPARE(badgeOf(app, script), "SOSPECHOSO");
    QCOMPARE(badgeOf(app, agent), "PELIGROSO");
    QCOMPARE(badgeOf(app, daemon), "SOSPECHOSO");
    // Each summary card with its own count.
    QStringList cards;
    for (const char *card : {"cardDangerous", "cardSuspicious", "cardReview", "cardSafe"})
        cards << app.cardValue(card);
    QCOMPARE(cards, QStringList({"1", "4", "3", "2"}));

    // The recommended selection: the home's dangerous and suspicious items.
    QStringList selected = app.selectedRows("findingList", "url");
    selected.sort();
    QCOMPARE(selected, QStringList({command, trusted, script, agent}));
    QVERIFY(!app.itemIn(finding(app, daemon), "rowCheckBox")->isEnabled());
    QCOMPARE(app.text("selectionHeadline"), "4 elemento(s) seleccionados");

    // Trust: the badge, out of the selection, and its box can no longer be ticked.
    QVERIFY(app.clickItem(app.itemIn(finding(app, trusted), "trustButton")));
    QCOMPARE(badgeOf(app, trusted), "CONFIABLE");
    QCOMPARE(textOfRow(app, "findingList", "url", trusted, "trustButton"), "Quitar confianza");
    QVERIFY(!app.itemIn(finding(app, trusted), "rowCheckBox")->isEnabled());
    QCOMPARE(app.text("selectionHeadline"), "3 elemento(s) seleccionados");

    // The filter hides rows but keeps the selection.
    QVERIFY(app.click("segment_Peligrosos"));
    QVERIFY(!finding(app, script));
    QCOMPARE(app.text("selectionHeadline"), "3 elemento(s) seleccionados");
    QVERIFY(app.click("segment_Todos"));

    QVERIFY(app.click("selectionActionButton"));
    QCOMPARE(app.text("dialogTitle"), "¿Mover los elementos seleccionados a cuarentena?");
    QVERIFY(app.text("dialogMessage").startsWith("3 elemento(s), "));
    QVERIFY(app.text("dialogMessage").endsWith(". Podrás restaurarlos posteriormente."));
    QVERIFY(app.click("dialogConfirmButton"));
    QVERIFY(app.waitForText("quarantineButton", "Cuarentena 3"));
    for (const QString &moved : {script, command, agent})
        QVERIFY2(!QFile::exists(moved), qPrintable(moved));
    QVERIFY(QFile::exists(trusted) && QFile::exists(daemon));
    // Moved items leave the list; the selection is empty again.
    QVERIFY(app.waitForItem("safetyBar"));
    QVERIFY(!finding(app, script));
    QVERIFY(finding(app, trusted));

    // The sheet lists them; a restore puts one back, byte for byte.
    QVERIFY(app.click("quarantineButton"));
    QVERIFY(app.waitForItem("recordList"));
    QCOMPARE(app.text("sheetCount"), "3 elemento(s) aislados");
    QQuickItem *record = app.row("recordList", "originalPath", script);
    QCOMPARE(app.itemIn(record, "recordName")->property("text").toString(), "run.sh");
    QVERIFY(app.clickItem(app.itemIn(record, "restoreButton")));
    QCOMPARE(app.text("dialogTitle"), "¿Restaurar este elemento?");
    QVERIFY(app.click("dialogConfirmButton"));
    QVERIFY(app.waitFor([&] { return QFile::exists(script); }, 10000));
    QFile restored(script);
    QVERIFY(restored.open(QIODevice::ReadOnly));
    QCOMPARE(restored.readAll(), QByteArray("#!/bin/sh\necho hola\n"));
    QVERIFY(app.waitForText("sheetCount", "2 elemento(s) aislados"));

    // "Eliminar", then "Cancelar": nothing moves; confirmed: in the Trash, which
    // knows where it was found.
    const auto deleteAgent = [&](const char *answer) {
        QVERIFY(app.clickItem(
            app.itemIn(app.row("recordList", "originalPath", agent), "deleteButton")));
        QCOMPARE(app.text("dialogTitle"), "¿Mover definitivamente este elemento a la Papelera?");
        QVERIFY(app.click(answer));
    };
    deleteAgent("dialogCancelButton");
    app.settle();
    QCOMPARE(app.text("sheetCount"), "2 elemento(s) aislados");
    QVERIFY(app.trashNames().isEmpty());
    deleteAgent("dialogConfirmButton");
    QVERIFY(app.waitForText("sheetCount", "1 elemento(s) aislados"));
    QCOMPARE(app.trashNames(), QStringList{"com.example.watchdog.plist"});
    QCOMPARE(app.trashInfoPath("com.example.watchdog.plist"), agent);

    QVERIFY(app.click("closeSheetButton"));
    QVERIFY(app.waitFor([&] { return app.item("recordList") == nullptr; }));
    QVERIFY(leave(app, "Protección terminada."));

    // Reopened: the trust and the quarantine are still there.
    QVERIFY(app.restart());
    QVERIFY(openProtection(app));
    QVERIFY(app.waitForText("quarantineButton", "Cuarentena 1"));
    QVERIFY(app.click("headerButton"));
    QVERIFY(app.waitForScans(1));
    QCOMPARE(badgeOf(app, trusted), "CONFIABLE");
    QVERIFY(!app.selectedRows("findingList", "url").contains(trusted));
    QVERIFY(app.selectedRows("findingList", "url").contains(script));
}

void TestJourneys::quarantineFailureKeepsFindings()
{
    AppJourney app;
    TreeBuilder home(app.home());
    const QString script = home.file("Downloads/run.sh", "#!/bin/sh\n");
    // The quarantine cannot be made: a file stands where its folder would go.
    home.file("Library/Application Support/Velmora", "in the way");
    QVERIFY(app.start());
    QVERIFY(openProtection(app));
    // The manager's own complaint on opening, then dismissed.
    QVERIFY(app.waitForItem("alertOkButton"));
    QVERIFY(app.text("dialogMessage").startsWith("No se pudo crear la cuarentena: "));
    QVERIFY(app.click("alertOkButton"));
    QVERIFY(app.waitFor([&] { return app.item("alertOkButton") == nullptr; }));

    QVERIFY(app.click("headerButton"));
    QVERIFY(app.waitForScans(1));
    QCOMPARE(app.selectedRows("findingList", "url"), QStringList{script});
    QVERIFY(app.confirmSelectionAction());
    QVERIFY(app.waitForItem("alertOkButton", 10000));
    QVERIFY(app.text("dialogMessage").startsWith("No se pudo mover run.sh: "));
    QVERIFY(QFile::exists(script));
    QVERIFY(app.click("alertOkButton"));
    // The finding stays; the selection is emptied.
    QVERIFY(finding(app, script));
    QVERIFY(app.item("safetyBar"));
}

// "Análisis rápido", the run with its steps, the totals, each module opened from
// the summary on the run's own results (a large file moved to the Trash there),
// back to the summary, and protection opened on the filter chosen there.
void TestJourneys::runOpenModulesAndComeBack()
{
    AppJourney app;
    TreeBuilder home(app.home());
    TreeBuilder root(app.root());
    // Every figure of the summary is of its own value, so that one shown in
    // another's place cannot go unnoticed.
    const QString movie = home.allocatedFile("Movies/viaje.mov", qint64(600) << 20);
    home.allocatedFile("Movies/corto.mov", qint64(510) << 20);
    home.file("Documentos/a/informe.pdf", QByteArray(12 << 20, 'p'));
    home.file("Documentos/b/informe.pdf", QByteArray(12 << 20, 'p'));
    for (const auto &[cache, bytes] :
         {std::pair{"com.example.app", 9000}, {"org.one", 700}, {"org.two", 300}})
        home.file(QStringLiteral("Library/Caches/%1/cache.db").arg(QLatin1String(cache)),
                  QByteArray(bytes, 'c'));
    // Each unsigned application is also one to review, and so is each installer.
    for (const char *name : {"Tool", "Editor", "Viewer", "Player"})
        root.bundle(QStringLiteral("Applications/%1.app").arg(QLatin1String(name)),
                    {{"CFBundleIdentifier", QStringLiteral("org.%1").arg(QLatin1String(name))}},
                    false);
    for (int i = 0; i < 3; ++i)
        home.file(QStringLiteral("Downloads/setup%1.dmg").arg(i), "dmg");
    for (int i = 0; i < 5; ++i)
        home.file(QStringLiteral("Downloads/run%1.sh").arg(i), "#!/bin/sh\n");
    for (int i = 0; i < 6; ++i)
        home.plist(QStringLiteral("Library/LaunchAgents/org.agent%1.plist").arg(i),
                   {{"Label", QStringLiteral("org.agent%1").arg(i)},
                    {"Program", QStringLiteral("/tmp/agent%1.sh").arg(i)},
                    {"RunAtLoad", true}},
                   false);
    QVERIFY(app.start());
    const auto review = [&](const char *card, const char *title) {
        return app.clickItem(app.itemIn(app.item(card), "reviewButton")) &&
               app.waitForText("workspaceTitle", title);
    };
    const auto backToSummary = [&] {
        return app.click("backButton") && app.waitForItem("fullAnalysisTitle", 3000);
    };

    QVERIFY(app.click("quickAnalysisButton"));
    QVERIFY(app.waitForItem("fullAnalysisTitle"));
    QVERIFY(app.waitForText("stepCount", "5 de 5", 60000));
    QCOMPARE(app.text("currentStep"), "Análisis completo terminado");
    QCOMPARE(app.text("bottomText"),
             "Análisis terminado. Revisa cada módulo antes de eliminar archivos.");
    const QList<std::tuple<const char *, const char *, QString>> shown{
        {"resultLargeFiles", "resultValue", "2"},
        {"resultLargeFiles", "resultDetail", Formatters::bytes(qint64(1110) << 20)},
        {"resultDuplicates", "resultValue", "1 grupos"},
        {"resultDuplicates", "resultDetail", Formatters::bytes(12 << 20) + " recuperables"},
        {"resultCleanup", "resultValue", "3 cachés"},
        {"resultCleanup", "resultDetail", Formatters::bytes(10000)},
        {"resultApplications", "resultValue", "4"},
        {"cellDangerous", "cellCount", "6"},
        {"cellSuspicious", "cellCount", "5"},
        {"cellReview", "cellCount", "7"},
        {"cellSafe", "cellCount", "0"}};
    for (const auto &[cell, part, text] : shown)
        QVERIFY2(app.textIn(cell, part) == text,
                 qPrintable(QString::fromLatin1(cell) + ": " + app.textIn(cell, part)));

    // Large files, on the run's results: act there; back, the same totals.
    QVERIFY(review("resultLargeFiles", "Archivos grandes"));
    app.watchModels();
    QCOMPARE(app.text("backButton"), "Resumen del análisis");
    QVERIFY(app.tickRow("fileList", "url", movie));
    QVERIFY(app.confirmSelectionAction());
    QVERIFY(app.waitFor([&] { return !QFile::exists(movie); }, 10000));
    QCOMPARE(app.trashInfoPath("viaje.mov"), movie);
    QVERIFY(backToSummary());
    QCOMPARE(app.text("stepCount"), "5 de 5");
    QCOMPARE(app.textIn("resultLargeFiles", "resultValue"), "2");

    // Each other module shows the same results as the summary.
    const char *const modules[][4] = {
        {"resultDuplicates", "Duplicados", "cardGroups", "1"},
        {"resultCleanup", "Limpieza segura", "cardFound", "3"},
        {"resultApplications", "Desinstalación profunda", "cardApplications", "4"}};
    for (const auto &[card, title, value, count] : modules) {
        QVERIFY2(review(card, title), card);
        app.watchModels();
        QCOMPARE(app.cardValue(value), count);
        QVERIFY(backToSummary());
    }
    // Protection opened on the suspicious findings; from the sidebar, a new
    // scanner and the filter back to "Todos".
    QVERIFY(review("cellSuspicious", "Protección"));
    QCOMPARE(app.item("filterPicker")->property("current").toString(), "Sospechosos");
    QCOMPARE(app.cardValue("cardSuspicious"), "5");
    QVERIFY(backToSummary());
    QVERIFY(app.click("closeFullAnalysisButton"));
    QVERIFY(app.waitFor([&] { return !app.item("fullAnalysisTitle"); }, 3000));
    QVERIFY(app.click("sidebar_protection"));
    QCOMPARE(app.item("filterPicker")->property("current").toString(), "Todos");
    QCOMPARE(app.text("backButton"), "Panel principal");
    QCOMPARE(app.cardValue("cardSuspicious"), "0");
    QVERIFY(app.click("backButton"));
    QVERIFY(app.waitForItem("dashboard", 3000));
    QVERIFY(!app.item("fullAnalysisTitle"));

    // "Ver recomendaciones" after a finished run starts a new one.
    QVERIFY(app.click("recommendationsButton"));
    QVERIFY(app.waitForItem("fullAnalysisTitle"));
    QVERIFY(app.waitForText("stepCount", "5 de 5", 60000));
    QCOMPARE(app.textIn("resultLargeFiles", "resultValue"), "1");
}

QTEST_MAIN(TestJourneys)
#include "tst_journeys.moc"
