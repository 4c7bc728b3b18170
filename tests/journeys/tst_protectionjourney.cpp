#include "AppJourney.h"
#include "AppSetup.h"
#include "ImportQmlPlugins.h"
#include "PropertyList.h"
#include "TreeBuilder.h"

#include <QAbstractItemModelTester>
#include <QFile>
#include <QQuickItem>
#include <QtTest>

// Protection as a user meets it: an analysis of the important places, the
// recommended selection, trust, the move to quarantine, then the quarantine
// sheet with a restore and a move to the Trash, and trust kept across a restart.
class TestProtectionJourney : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { AppSetup::configureApplication(); }
    void analyseQuarantineRestoreTrashAndTrust();
    void quarantineFailureKeepsFindings();
};

namespace {

QByteArray contents(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("<missing>");
}

// Opens the protection screen; its lists (the findings, the filtered findings,
// the quarantine's records) are held to the item-model rules from then on.
bool openProtection(AppJourney &app, const QString &via = "sidebar_protection")
{
    if (!app.click(via) || !app.scanner())
        return false;
    const QObject *quarantine = app.screen()->property("quarantine").value<QObject *>();
    for (const QVariant &list :
         {app.screen()->property("filteredFindings"), app.scanner()->property("findings"),
          quarantine ? quarantine->property("records") : QVariant()}) {
        auto *model = list.value<QAbstractItemModel *>();
        if (!model)
            return false;
        new QAbstractItemModelTester(model, QAbstractItemModelTester::FailureReportingMode::QtTest,
                                     model);
    }
    return true;
}

QQuickItem *finding(AppJourney &app, const QString &url)
{
    return app.row("findingList", "url", url);
}

QString badgeOf(AppJourney &app, const QString &url)
{
    QQuickItem *row = finding(app, url);
    QQuickItem *badge = row ? app.itemIn(row, "levelBadge") : nullptr;
    return badge ? badge->property("text").toString() : QString();
}

} // namespace

void TestProtectionJourney::analyseQuarantineRestoreTrashAndTrust()
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
    QCOMPARE(app.text("workspaceTitle"), QStringLiteral("Protección"));
    QVERIFY(app.item("emptyState"));
    QCOMPARE(app.text("emptyTitle"), QStringLiteral("Aún no hay resultados"));
    QVERIFY(app.item("safetyBar"));
    QCOMPARE(app.text("quarantineButton"), QStringLiteral("Cuarentena 0"));

    QVERIFY(app.click("headerButton"));
    QVERIFY(app.waitForScans(1));
    QCOMPARE(app.text("statusTitle"), QStringLiteral("Estado de protección"));
    QCOMPARE(badgeOf(app, script), QStringLiteral("SOSPECHOSO"));
    QCOMPARE(badgeOf(app, agent), QStringLiteral("PELIGROSO"));
    QCOMPARE(badgeOf(app, daemon), QStringLiteral("SOSPECHOSO"));
    // Each summary card with its own count.
    QStringList cards;
    for (const char *card : {"cardDangerous", "cardSuspicious", "cardReview", "cardSafe"})
        cards << app.cardValue(card);
    QCOMPARE(cards, QStringList({"1", "4", "3", "2"}));

    // The recommended selection: the home's dangerous and suspicious items.
    QStringList selected = app.selectedRows("findingList", "url");
    selected.sort();
    QStringList expected{agent, command, script, trusted};
    expected.sort();
    QCOMPARE(selected, expected);
    QVERIFY(!app.itemIn(finding(app, daemon), "rowCheckBox")->isEnabled());
    QCOMPARE(app.text("selectionHeadline"), QStringLiteral("4 elemento(s) seleccionados"));

    // Trust: the badge, out of the selection, and its box can no longer be ticked.
    QVERIFY(app.clickItem(app.itemIn(finding(app, trusted), "trustButton")));
    QCOMPARE(badgeOf(app, trusted), QStringLiteral("CONFIABLE"));
    QCOMPARE(app.itemIn(finding(app, trusted), "trustButton")->property("text").toString(),
             QStringLiteral("Quitar confianza"));
    QVERIFY(!app.itemIn(finding(app, trusted), "rowCheckBox")->isEnabled());
    QCOMPARE(app.text("selectionHeadline"), QStringLiteral("3 elemento(s) seleccionados"));

    // The filter hides rows but keeps the selection.
    QVERIFY(app.click("segment_Peligrosos"));
    QVERIFY(!finding(app, script));
    QCOMPARE(app.text("selectionHeadline"), QStringLiteral("3 elemento(s) seleccionados"));
    QVERIFY(app.click("segment_Todos"));

    QVERIFY(app.click("selectionActionButton"));
    QCOMPARE(app.text("dialogTitle"),
             QStringLiteral("¿Mover los elementos seleccionados a cuarentena?"));
    QVERIFY(app.text("dialogMessage").startsWith("3 elemento(s), "));
    QVERIFY(app.text("dialogMessage").endsWith(". Podrás restaurarlos posteriormente."));
    QVERIFY(app.click("dialogConfirmButton"));
    QVERIFY(app.waitFor([&] { return app.text("quarantineButton") == "Cuarentena 3"; }, 10000));
    for (const QString &moved : {script, command, agent})
        QVERIFY2(!QFile::exists(moved), qPrintable(moved));
    QVERIFY(QFile::exists(trusted));
    QVERIFY(QFile::exists(daemon));
    // Moved items leave the list; the selection is empty again.
    QVERIFY(app.waitFor([&] { return app.item("safetyBar") != nullptr; }));
    QVERIFY(!finding(app, script));
    QVERIFY(finding(app, trusted));

    // The sheet lists them; a restore puts one back, byte for byte.
    QVERIFY(app.click("quarantineButton"));
    QVERIFY(app.waitForItem("recordList"));
    QCOMPARE(app.text("sheetCount"), QStringLiteral("3 elemento(s) aislados"));
    QQuickItem *record = app.row("recordList", "originalPath", script);
    QVERIFY(record);
    QCOMPARE(app.itemIn(record, "recordName")->property("text").toString(),
             QStringLiteral("run.sh"));
    QVERIFY(app.clickItem(app.itemIn(record, "restoreButton")));
    QVERIFY(app.waitFor([&] { return QFile::exists(script); }, 10000));
    QCOMPARE(contents(script), QByteArray("#!/bin/sh\necho hola\n"));
    QVERIFY(app.waitFor([&] { return app.text("sheetCount") == "2 elemento(s) aislados"; }));

    // "Eliminar", then "Cancelar": nothing moves; confirmed: in the Trash, which
    // knows where it was found.
    const auto deleteAgent = [&](const char *answer) {
        QVERIFY(app.clickItem(
            app.itemIn(app.row("recordList", "originalPath", agent), "deleteButton")));
        QCOMPARE(app.text("dialogTitle"),
                 QStringLiteral("¿Mover definitivamente este elemento a la Papelera?"));
        QVERIFY(app.click(answer));
    };
    deleteAgent("dialogCancelButton");
    app.settle();
    QCOMPARE(app.text("sheetCount"), QStringLiteral("2 elemento(s) aislados"));
    QVERIFY(app.trashNames().isEmpty());
    deleteAgent("dialogConfirmButton");
    QVERIFY(app.waitFor([&] { return app.text("sheetCount") == "1 elemento(s) aislados"; }));
    QCOMPARE(app.trashNames(), QStringList{"com.example.watchdog.plist"});
    QCOMPARE(app.trashInfoPath("com.example.watchdog.plist"), agent);

    QVERIFY(app.click("closeSheetButton"));
    QVERIFY(app.waitFor([&] { return app.item("recordList") == nullptr; }));
    QVERIFY(app.click("backButton"));
    QCOMPARE(app.text("activityBanner"), QStringLiteral("Protección terminada."));

    // Reopened: the trust and the quarantine are still there.
    QVERIFY(app.restart());
    QVERIFY(openProtection(app));
    QVERIFY(app.waitFor([&] { return app.text("quarantineButton") == "Cuarentena 1"; }));
    QVERIFY(app.click("headerButton"));
    QVERIFY(app.waitForScans(1));
    QCOMPARE(badgeOf(app, trusted), QStringLiteral("CONFIABLE"));
    QVERIFY(!app.selectedRows("findingList", "url").contains(trusted));
    QVERIFY(app.selectedRows("findingList", "url").contains(script));
}

void TestProtectionJourney::quarantineFailureKeepsFindings()
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
    QVERIFY(app.click("selectionActionButton"));
    QVERIFY(app.click("dialogConfirmButton"));
    QVERIFY(app.waitForItem("alertOkButton", 10000));
    QVERIFY(app.text("dialogMessage").startsWith("No se pudo mover run.sh: "));
    QVERIFY(QFile::exists(script));
    QVERIFY(app.click("alertOkButton"));
    // The finding stays; the selection is emptied.
    QVERIFY(finding(app, script));
    QVERIFY(app.item("safetyBar"));
}

QTEST_MAIN(TestProtectionJourney)
#include "tst_protectionjourney.moc"
