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

private:
    static QString application(const QString &base, const QString &name, const QString &identifier);
};

QString TestUninstallerJourney::application(const QString &base, const QString &name,
                                            const QString &identifier)
{
    TreeBuilder tree(base);
    const QString bundle = QStringLiteral("Applications/") + name + QStringLiteral(".app");
    tree.bundle(bundle,
                {{QStringLiteral("CFBundleIdentifier"), identifier},
                 {QStringLiteral("CFBundleShortVersionString"), QStringLiteral("2.0")}},
                false);
    return tree.path(bundle);
}

void TestUninstallerJourney::fromCardUninstallWithLeftovers()
{
    AppJourney app;
    const QString notas = application(app.root(), QStringLiteral("Notas Rapidas"),
                                      QStringLiteral("com.example.notasrapidas"));
    const QString other =
        application(app.root(), QStringLiteral("Calculadora Pro"), QStringLiteral("org.calc.pro"));
    TreeBuilder home(app.home());
    const QString support =
        home.file(QStringLiteral("Library/Application Support/com.example.notasrapidas/db"), "x");
    const QString prefs =
        home.file(QStringLiteral("Library/Preferences/com.example.notasrapidas.plist"), "x");
    const QString otherPrefs =
        home.file(QStringLiteral("Library/Preferences/org.calc.pro.plist"), "x");
    QVERIFY(app.start());

    QVERIFY(app.click(QStringLiteral("card_uninstaller")));
    QCOMPARE(app.text(QStringLiteral("workspaceTitle")), QStringLiteral("Desinstalación profunda"));
    QVERIFY(app.waitForScans(1));
    QCOMPARE(app.cardValue(QStringLiteral("cardApplications")), QStringLiteral("2"));

    QQuickItem *row =
        app.row(QStringLiteral("applicationList"), "name", QStringLiteral("Notas Rapidas"));
    QVERIFY(row);
    QCOMPARE(app.itemIn(row, QStringLiteral("relatedLine"))->property("text").toString(),
             QStringLiteral("2 archivo(s) relacionados"));
    QVERIFY2(!app.itemIn(row, QStringLiteral("installedFolderBadge")),
             "one installation needs no folder badge");
    QVERIFY(app.clickItem(app.itemIn(row, QStringLiteral("rowCheckBox"))));
    QCOMPARE(app.cardValue(QStringLiteral("cardSelected")), QStringLiteral("1"));

    QVERIFY(app.click(QStringLiteral("selectionActionButton")));
    QCOMPARE(app.text(QStringLiteral("dialogTitle")),
             QStringLiteral("¿Desinstalar las aplicaciones seleccionadas?"));
    // The long destructive button keeps the dialog's padding on its right.
    QQuickItem *confirm = app.item(QStringLiteral("dialogConfirmButton"));
    QQuickItem *panel = app.item(QStringLiteral("dialogPanel"));
    QVERIFY(confirm && panel);
    const QRectF button = confirm->mapRectToScene(confirm->boundingRect());
    const QRectF frame = panel->mapRectToScene(panel->boundingRect());
    QCOMPARE(frame.right() - button.right(), 22.0);
    QVERIFY(frame.left() >= 0 && frame.right() <= app.window()->width());

    QVERIFY(app.click(QStringLiteral("dialogConfirmButton")));
    QVERIFY(app.waitFor([&] { return !QFile::exists(notas); }, 10000));
    QVERIFY(app.waitFor([&] { return app.trashNames().size() == 3; }, 5000));
    QCOMPARE(app.trashNames(), QStringList({"Notas Rapidas.app", "com.example.notasrapidas",
                                            "com.example.notasrapidas.plist"}));
    QCOMPARE(app.trashInfoPath(QStringLiteral("Notas Rapidas.app")), notas);
    QCOMPARE(app.trashInfoPath(QStringLiteral("com.example.notasrapidas")),
             QFileInfo(support).path());
    QCOMPARE(app.trashInfoPath(QStringLiteral("com.example.notasrapidas.plist")), prefs);
    QVERIFY(QFile::exists(other));
    QVERIFY(QFile::exists(otherPrefs));
    QCOMPARE(app.text(QStringLiteral("statusLine")),
             QStringLiteral("1 aplicación(es) movidas a la Papelera."));
    QCOMPARE(app.cardValue(QStringLiteral("cardSelected")), QStringLiteral("0"));

    QVERIFY(app.click(QStringLiteral("backButton")));
    QCOMPARE(app.text(QStringLiteral("activityBanner")),
             QStringLiteral("Desinstalación profunda terminada."));
}

void TestUninstallerJourney::fromSidebarTellsTwoInstallationsApart()
{
    AppJourney app;
    const QString system =
        application(app.root(), QStringLiteral("Quill"), QStringLiteral("com.quill"));
    const QString mine =
        application(app.home(), QStringLiteral("Quill"), QStringLiteral("com.quill"));
    const QString prefs =
        TreeBuilder(app.home()).file(QStringLiteral("Library/Preferences/com.quill.plist"), "x");
    QVERIFY(app.start());
    QVERIFY(app.click(QStringLiteral("sidebar_uninstaller")));
    QVERIFY(app.waitForScans(1));

    QQuickItem *systemRow = app.row(QStringLiteral("applicationList"), "url", system);
    QQuickItem *homeRow = app.row(QStringLiteral("applicationList"), "url", mine);
    QVERIFY(systemRow && homeRow);
    QCOMPARE(
        app.itemIn(systemRow, QStringLiteral("installedFolderBadge"))->property("text").toString(),
        QStringLiteral("En /Applications"));
    homeRow = app.row(QStringLiteral("applicationList"), "url", mine);
    QCOMPARE(
        app.itemIn(homeRow, QStringLiteral("installedFolderBadge"))->property("text").toString(),
        QStringLiteral("En ~/Applications"));

    // Uninstalling the copy in the home leaves the other in place, and the
    // preferences both use.
    QVERIFY(app.clickItem(app.itemIn(homeRow, QStringLiteral("rowCheckBox"))));
    QVERIFY(app.click(QStringLiteral("selectionActionButton")));
    QVERIFY(app.text(QStringLiteral("dialogMessage"))
                .endsWith(QStringLiteral(" Se conservarán 1 archivo(s) relacionados que pueden "
                                         "ser de otras aplicaciones o del sistema.")));
    QVERIFY(app.click(QStringLiteral("dialogConfirmButton")));
    QVERIFY(app.waitFor([&] { return !QFile::exists(mine); }, 10000));
    QCOMPARE(app.trashNames(), QStringList({"Quill.app"}));
    QCOMPARE(app.trashInfoPath(QStringLiteral("Quill.app")), mine);
    QVERIFY(QFile::exists(system));
    QVERIFY(QFile::exists(prefs));
    QCOMPARE(app.text(QStringLiteral("statusLine")),
             QStringLiteral("1 aplicación(es) movidas a la Papelera. Se conservaron 1 archivo(s) "
                            "relacionados que pueden ser de otras aplicaciones o del sistema."));
    systemRow = app.row(QStringLiteral("applicationList"), "url", system);
    QCOMPARE(app.itemIn(systemRow, QStringLiteral("relatedLine"))->property("text").toString(),
             QStringLiteral("1 archivo(s) relacionados"));

    QVERIFY(app.click(QStringLiteral("backButton")));
    QCOMPARE(app.text(QStringLiteral("activityBanner")),
             QStringLiteral("Desinstalación profunda terminada."));
}

// Every related entry unfolds with what matched it; those that may be another
// application's or the system's say why they stay, and stay.
void TestUninstallerJourney::keptEntriesSayWhyAndStayInPlace()
{
    AppJourney app;
    application(app.root(), QStringLiteral("a"), QStringLiteral("org.thirdparty.atool"));
    const QString tool =
        application(app.root(), QStringLiteral("Tool"), QStringLiteral("com.vendor.tool"));
    TreeBuilder library(app.home() + QStringLiteral("/Library"));
    const QString atool = library.file(QStringLiteral("Caches/org.thirdparty.atool/db"), "x");
    const QString support = library.file(QStringLiteral("Application Support/Tool/db"), "x");
    const QString apple = library.file(QStringLiteral("Containers/com.apple.toolkit/x"), "x");
    QVERIFY(app.start());
    QVERIFY(app.click(QStringLiteral("sidebar_uninstaller")));
    QVERIFY(app.waitForScans(1));

    QQuickItem *row = app.row(QStringLiteral("applicationList"), "name", QStringLiteral("Tool"));
    QVERIFY(row);
    QCOMPARE(app.itemIn(row, QStringLiteral("relatedLine"))->property("text").toString(),
             QStringLiteral("3 archivo(s) relacionados"));
    QVERIFY(app.clickItem(app.itemIn(row, QStringLiteral("relatedLine"))));
    row = app.row(QStringLiteral("applicationList"), "name", QStringLiteral("Tool"));
    QVERIFY(app.waitFor([&] { return app.itemIn(row, QStringLiteral("keptHeader")) != nullptr; },
                        3000));
    // Path, what matched, and for the kept ones, why.
    QMap<QString, QStringList> shown;
    for (QQuickItem *entry : app.allIn(row, QStringLiteral("relatedEntry"))) {
        QStringList line{
            app.itemIn(entry, QStringLiteral("matchedBy"))->property("text").toString()};
        if (QQuickItem *reason = app.itemIn(entry, QStringLiteral("keptReason")))
            line << reason->property("text").toString();
        shown.insert(app.itemIn(entry, QStringLiteral("relatedPath"))->property("text").toString(),
                     line);
    }
    QCOMPARE(shown.value(QStringLiteral("~/Library/Application Support/Tool")),
             QStringList({"por nombre"}));
    QCOMPARE(shown.value(QStringLiteral("~/Library/Caches/org.thirdparty.atool")),
             QStringList({"por nombre", "También puede ser de a."}));
    QCOMPARE(shown.value(QStringLiteral("~/Library/Containers/com.apple.toolkit")),
             QStringList({"por nombre", "Es de Apple."}));
    QCOMPARE(shown.size(), 3);

    QVERIFY(app.clickItem(app.itemIn(row, QStringLiteral("rowCheckBox"))));
    QVERIFY(app.click(QStringLiteral("selectionActionButton")));
    QVERIFY(
        app.text(QStringLiteral("dialogMessage"))
            .endsWith(QStringLiteral(". Podrás recuperarlas desde la Papelera. Se conservarán 2 "
                                     "archivo(s) relacionados que pueden ser de otras "
                                     "aplicaciones o del sistema.")));
    QVERIFY(app.click(QStringLiteral("dialogConfirmButton")));
    QVERIFY(app.waitFor([&] { return !QFile::exists(tool); }, 10000));
    QVERIFY(app.waitFor([&] { return app.trashNames().size() == 2; }, 5000));
    QCOMPARE(app.trashNames(), QStringList({"Tool", "Tool.app"}));
    QCOMPARE(app.trashInfoPath(QStringLiteral("Tool")), QFileInfo(support).path());
    QVERIFY(QFile::exists(atool));
    QVERIFY(QFile::exists(apple));
    QCOMPARE(app.text(QStringLiteral("statusLine")),
             QStringLiteral("1 aplicación(es) movidas a la Papelera. Se conservaron 2 archivo(s) "
                            "relacionados que pueden ser de otras aplicaciones o del sistema."));
}

QTEST_MAIN(TestUninstallerJourney)
#include "tst_uninstallerjourney.moc"
