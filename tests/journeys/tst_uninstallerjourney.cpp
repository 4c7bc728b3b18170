#include "AppJourney.h"
#include "AppSetup.h"
#include "ImportQmlPlugins.h"
#include "TreeBuilder.h"

#include <QFile>
#include <QQuickItem>
#include <QQuickWindow>
#include <QtTest>

// The uninstaller as a user meets it: the automatic inventory, an application
// chosen, its confirmation, the bundle and its leftovers in the Trash, and back.
class TestUninstallerJourney : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { AppSetup::configureApplication(); }
    void fromCardUninstallWithLeftovers();
    void fromSidebarTellsTwoInstallationsApart();
    void keptEntriesSayWhyAndStayInPlace();
};

namespace {

QString application(const QString &base, const QString &name, const QString &identifier)
{
    TreeBuilder tree(base);
    return tree.bundle("Applications/" + name + ".app",
                       {{"CFBundleIdentifier", identifier}, {"CFBundleShortVersionString", "2.0"}},
                       false);
}

QString textOfRow(AppJourney &app, const char *role, const QString &value, const char *name)
{
    QQuickItem *row = app.row("applicationList", role, value);
    QQuickItem *found = row ? app.itemIn(row, name) : nullptr;
    return found ? found->property("text").toString() : QString();
}

const QString kMoved = QStringLiteral("1 aplicación(es) movidas a la Papelera.");
const QString kKept = QStringLiteral(" Se conservaron %1 archivo(s) relacionados que pueden ser de "
                                     "otras aplicaciones o del sistema.");

} // namespace

void TestUninstallerJourney::fromCardUninstallWithLeftovers()
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
    QVERIFY(app.openModule("card_uninstaller", "Desinstalación profunda"));
    QVERIFY(app.waitForScans(1));
    QCOMPARE(app.cardValue("cardApplications"), "2");
    QCOMPARE(textOfRow(app, "name", "Notas Rapidas", "relatedLine"), "2 archivo(s) relacionados");
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
    VERIFY_TEXT(app, "statusLine", kMoved);
    QCOMPARE(app.trashNames(), QStringList({"Notas Rapidas.app", "com.example.notasrapidas",
                                            "com.example.notasrapidas.plist"}));
    QCOMPARE(app.trashInfoPath("Notas Rapidas.app"), notas);
    QCOMPARE(app.trashInfoPath("com.example.notasrapidas"), QFileInfo(support).path());
    QCOMPARE(app.trashInfoPath("com.example.notasrapidas.plist"), prefs);
    QVERIFY(QFile::exists(other) && QFile::exists(otherPrefs));
    QCOMPARE(app.cardValue("cardSelected"), "0");
    QVERIFY(app.click("backButton"));
    QCOMPARE(app.text("activityBanner"), "Desinstalación profunda terminada.");
}

void TestUninstallerJourney::fromSidebarTellsTwoInstallationsApart()
{
    AppJourney app;
    const QString system = application(app.root(), "Quill", "com.quill");
    const QString mine = application(app.home(), "Quill", "com.quill");
    const QString prefs = TreeBuilder(app.home()).file("Library/Preferences/com.quill.plist", "x");
    QVERIFY(app.start());
    QVERIFY(app.openModule("sidebar_uninstaller", "Desinstalación profunda"));
    QVERIFY(app.waitForScans(1));
    QCOMPARE(textOfRow(app, "url", system, "installedFolderBadge"), "En /Applications");
    QCOMPARE(textOfRow(app, "url", mine, "installedFolderBadge"), "En ~/Applications");

    // Uninstalling the copy in the home leaves the other in place, and the
    // preferences both use.
    QVERIFY(app.tickRow("applicationList", "url", mine));
    QVERIFY(app.click("selectionActionButton"));
    QVERIFY(app.text("dialogMessage")
                .endsWith(" Se conservarán 1 archivo(s) relacionados que "
                          "pueden ser de otras aplicaciones o del sistema."));
    QVERIFY(app.click("dialogConfirmButton"));
    VERIFY_TEXT(app, "statusLine", kMoved + kKept.arg(1));
    QCOMPARE(app.trashNames(), QStringList({"Quill.app"}));
    QCOMPARE(app.trashInfoPath("Quill.app"), mine);
    QVERIFY(QFile::exists(system) && QFile::exists(prefs));
    QCOMPARE(textOfRow(app, "url", system, "relatedLine"), "1 archivo(s) relacionados");
    QVERIFY(app.click("backButton"));
    QCOMPARE(app.text("activityBanner"), "Desinstalación profunda terminada.");
}

// Every related entry unfolds with what matched it; those that may be another
// application's or the system's say why they stay, and stay.
void TestUninstallerJourney::keptEntriesSayWhyAndStayInPlace()
{
    AppJourney app;
    application(app.root(), "a", "org.thirdparty.atool");
    const QString tool = application(app.root(), "Tool", "com.vendor.tool");
    TreeBuilder library(app.home() + "/Library");
    const QString atool = library.file("Caches/org.thirdparty.atool/db", "x");
    const QString support = library.file("Application Support/Tool/db", "x");
    const QString apple = library.file("Containers/com.apple.toolkit/x", "x");
    QVERIFY(app.start());
    QVERIFY(app.openModule("sidebar_uninstaller", "Desinstalación profunda"));
    QVERIFY(app.waitForScans(1));
    QCOMPARE(textOfRow(app, "name", "Tool", "relatedLine"), "3 archivo(s) relacionados");
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
    VERIFY_TEXT(app, "statusLine", kMoved + kKept.arg(2));
    QCOMPARE(app.trashNames(), QStringList({"Tool", "Tool.app"}));
    QCOMPARE(app.trashInfoPath("Tool"), QFileInfo(support).path());
    QVERIFY(!QFile::exists(tool) && QFile::exists(atool) && QFile::exists(apple));
}

QTEST_MAIN(TestUninstallerJourney)
#include "tst_uninstallerjourney.moc"
