#include "AppJourney.h"
#include "TreeBuilder.h"

#include <QAbstractItemModelTester>
#include <QProcess>
#include <QQuickItem>
#include <QQuickWindow>
#include <QtTest>

// Limpieza segura, Desinstalación profunda and Protección, the modules that look
// in the Mac's own places, as a user meets them.
class SystemJourneys : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void smartSelectionThenOneCacheByHand();
    void uninstallWithLeftovers();
    void analyseQuarantineRestoreTrashAndTrust();
    void quarantineFailureKeepsFindings();
};

std::unique_ptr<QObject> systemJourneys()
{
    return std::make_unique<SystemJourneys>();
}

namespace {

QString application(const QString &base, const QString &name, const QString &identifier)
{
    return TreeBuilder(base).bundle(
        "Applications/" + name + ".app",
        {{"CFBundleIdentifier", identifier}, {"CFBundleShortVersionString", "2.0"}}, false);
}

} // namespace

void SystemJourneys::smartSelectionThenOneCacheByHand()
{
    AppJourney app;
    // 23 caches: three old and large, the rest small and fresh.
    TreeBuilder caches(app.home() + "/Library/Caches");
    const QDateTime now = QDateTime::currentDateTimeUtc();
    for (const auto &[name, megabytes, days] : {std::tuple{"com.vendor.Old", 150, 40},
                                                {"com.vendor.Busy", 150, 40},
                                                {"com.vendor.Stale", 90, 12}}) {
        caches.sparseFile(QString::fromLatin1(name) + "/blob", qint64(megabytes) << 20);
        caches.setModificationTime(QString::fromLatin1(name), now.addDays(-days));
    }
    for (int i = 0; i < 20; ++i) {
        const QString name = QStringLiteral("org.small.App%1").arg(i, 2, 10, QLatin1Char('0'));
        caches.sparseFile(name + "/blob", 1 << 20);
        caches.setModificationTime(name, now.addSecs(-3600));
    }
    // "Busy" is running from its bundle: its large, idle cache stays out.
    TreeBuilder root(app.root());
    root.bundle("Applications/Busy.app",
                {{"CFBundleIdentifier", "com.vendor.Busy"},
                 {"CFBundleName", "Busy"},
                 {"CFBundleExecutable", "Busy"}},
                true, 0);
    const QString exe = root.path("Applications/Busy.app/Contents/MacOS/Busy");
    QFile::remove(exe);
    QVERIFY(QFile::copy("/bin/sleep", exe));
    QProcess running; // killed when it goes, before the tree does
    running.start(exe, {"60"});
    QVERIFY(running.waitForStarted());
    QVERIFY(app.start());
    QVERIFY(app.openModule("card_safeCleanup", "Limpieza segura", 1));
    QCOMPARE(app.cardValue("cardFound"), "23");
    // 23 rows do not fit: the list shows its scroll bar.
    QQuickItem *list = app.item("cacheList");
    QQuickItem *bar = list ? app.itemIn(list->parentItem(), "scrollBar") : nullptr;
    QVERIFY2(app.itemIn(bar, "scrollHandle"), "a scroll bar shows while the list overflows");

    // The balanced mode picks the large, idle caches by itself, and each row's
    // badge says why it is in or out; the user chooses one other cache instead.
    QCOMPARE(app.selectedRows("cacheList", "name"),
             QStringList({"com.vendor.Old", "com.vendor.Stale"}));
    const auto badge = [&](const char *cache, const char *property) {
        QQuickItem *row = app.row("cacheList", "name", QString::fromLatin1(cache));
        QQuickItem *found = app.itemIn(row, "rowBadge");
        return found ? found->property(property).toString() : QStringLiteral("<none>");
    };
    QCOMPARE(badge("com.vendor.Busy", "text"), "EN USO");
    QCOMPARE(badge("com.vendor.Busy", "help"), "En uso por Busy, que está abierta.");
    QCOMPARE(badge("com.vendor.Stale", "text"), "RECOMENDADA");
    QCOMPARE(badge("org.small.App00", "text"), "<none>");
    QVERIFY(app.click("clearSelectionButton"));
    QCOMPARE(app.text("selectionHeadline"), "0 caché(s) seleccionadas");
    QVERIFY(app.tickRow("cacheList", "name", "org.small.App07"));
    QCOMPARE(app.text("selectionHeadline"), "1 caché(s) seleccionadas");
    QVERIFY(app.confirmSelectionAction());
    QVERIFY(app.waitFor([&] { return app.cardValue("cardFound") == "22"; }, 10000));
    QCOMPARE(app.trashInfoPath("org.small.App07"), caches.path("org.small.App07"));
    QVERIFY(QFile::exists(caches.path("org.small.App08")));
    QVERIFY(!app.row("cacheList", "name", "org.small.App07"));
    QVERIFY(app.leave("Limpieza segura terminada."));
}

void SystemJourneys::uninstallWithLeftovers()
{
    AppJourney app;
    const QString notas = application(app.root(), "Notas Rapidas", "com.example.notasrapidas");
    application(app.root(), "Calculadora Pro", "org.calc.pro");
    // Two installations of one application, whose preferences both use.
    const QString system = application(app.root(), "Quill", "com.quill");
    const QString mine = application(app.home(), "Quill", "com.quill");
    TreeBuilder home(app.home());
    const QString support =
        home.file("Library/Application Support/com.example.notasrapidas/db", "x");
    for (const char *plist : {"com.example.notasrapidas", "org.calc.pro", "com.quill"})
        home.file(QStringLiteral("Library/Preferences/%1.plist").arg(QLatin1String(plist)), "x");
    // Tool's related entries: its own, and two that say why they stay.
    application(app.root(), "a", "org.thirdparty.atool");
    application(app.root(), "Tool", "com.vendor.tool");
    for (const char *entry : {"Caches/org.thirdparty.atool/db", "Application Support/Tool/db",
                              "Containers/com.apple.toolkit/x"})
        home.file(QStringLiteral("Library/") + QLatin1String(entry), "x");
    QVERIFY(app.start());
    QVERIFY(app.openModule("card_uninstaller", "Desinstalación profunda", 1));
    QCOMPARE(app.cardValue("cardApplications"), "6");
    QCOMPARE(app.textInRow("applicationList", "name", "Notas Rapidas", "relatedLine"),
             "2 archivo(s) relacionados");
    QVERIFY2(
        !app.itemIn(app.row("applicationList", "name", "Notas Rapidas"), "installedFolderBadge"),
        "one installation needs no folder badge");
    for (const auto &[bundle, badge] :
         {std::pair{system, "En /Applications"}, {mine, "En ~/Applications"}})
        QCOMPARE(app.textInRow("applicationList", "url", bundle, "installedFolderBadge"), badge);
    QCOMPARE(app.textInRow("applicationList", "name", "Tool", "relatedLine"),
             "3 archivo(s) relacionados");
    QVERIFY(app.clickInRow("applicationList", "name", "Tool", "relatedLine"));
    QQuickItem *row = app.row("applicationList", "name", "Tool");
    QVERIFY(app.waitFor([&] { return app.itemIn(row, "keptHeader") != nullptr; }, 3000));
    // Each unfolds with its path, what matched, and for the kept ones, why.
    QMap<QString, QStringList> shown;
    for (QQuickItem *entry : app.allIn(row, "relatedEntry")) {
        QStringList line{AppJourney::textOf(app.itemIn(entry, "matchedBy"))};
        if (QQuickItem *reason = app.itemIn(entry, "keptReason"))
            line << AppJourney::textOf(reason);
        shown.insert(AppJourney::textOf(app.itemIn(entry, "relatedPath")), line);
    }
    QCOMPARE(
        shown,
        (QMap<QString, QStringList>{
            {"~/Library/Application Support/Tool", {"por nombre"}},
            {"~/Library/Caches/org.thirdparty.atool", {"por nombre", "También puede ser de a."}},
            {"~/Library/Containers/com.apple.toolkit", {"por nombre", "Es de Apple."}}}));

    QVERIFY(app.tickRow("applicationList", "name", "Notas Rapidas"));
    QVERIFY(app.tickRow("applicationList", "url", mine));
    QCOMPARE(app.cardValue("cardSelected"), "2");

    QVERIFY(app.click("selectionActionButton"));
    QCOMPARE(app.text("dialogTitle"), "¿Desinstalar las aplicaciones seleccionadas?");
    QVERIFY(app.text("dialogMessage")
                .endsWith(" Se conservarán 1 archivo(s) relacionados que "
                          "pueden ser de otras aplicaciones o del sistema."));
    // The long destructive button keeps the dialog's padding on its right.
    QQuickItem *confirm = app.item("dialogConfirmButton");
    QQuickItem *panel = app.item("dialogPanel");
    QVERIFY(confirm && panel);
    const QRectF button = confirm->mapRectToScene(confirm->boundingRect());
    const QRectF frame = panel->mapRectToScene(panel->boundingRect());
    QCOMPARE(frame.right() - button.right(), 22.0);
    QVERIFY(frame.left() >= 0 && frame.right() <= app.window()->width());

    QVERIFY(app.click("dialogConfirmButton"));
    VERIFY_TEXT(app, "statusLine",
                "2 aplicación(es) movidas a la Papelera. Se conservaron 1 archivo(s) relacionados "
                "que pueden ser de otras aplicaciones o del sistema.");
    QCOMPARE(app.trashNames(),
             QStringList({"Notas Rapidas.app", "Quill.app", "com.example.notasrapidas",
                          "com.example.notasrapidas.plist"}));
    QCOMPARE(app.trashInfoPath("Notas Rapidas.app"), notas);
    QCOMPARE(app.trashInfoPath("Quill.app"), mine);
    QCOMPARE(app.trashInfoPath("com.example.notasrapidas"), QFileInfo(support).path());
    QCOMPARE(app.cardValue("cardSelected"), "0");
    QCOMPARE(app.textInRow("applicationList", "url", system, "relatedLine"),
             "1 archivo(s) relacionados");
    QVERIFY(app.leave("Desinstalación profunda terminada."));
}

namespace {

// Opens Protección, the quarantine's records held to the item-model rules from then on.
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

} // namespace

// An analysis, the recommended selection, trust, the move to quarantine, then the
// sheet with a restore and a move to the Trash, and trust kept across a restart.
void SystemJourneys::analyseQuarantineRestoreTrashAndTrust()
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
    const auto badge = [&](const QString &url) {
        return app.textInRow("findingList", "url", url, "levelBadge");
    };
    QVERIFY(openProtection(app, "card_protection"));
    QVERIFY(app.item("safetyBar"));
    QCOMPARE(app.text("quarantineButton"), "Cuarentena 0");

    QVERIFY(app.click("headerButton") && app.waitForScans(1));
    QCOMPARE(badge(script), "SOSPECHOSO");
    QCOMPARE(badge(agent), "PELIGROSO");
    QCOMPARE(badge(daemon), "SOSPECHOSO");
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
    QVERIFY(app.clickInRow("findingList", "url", trusted, "trustButton"));
    QCOMPARE(badge(trusted), "CONFIABLE");
    QCOMPARE(app.textInRow("findingList", "url", trusted, "trustButton"), "Quitar confianza");
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
    QCOMPARE(app.textInRow("recordList", "originalPath", script, "recordName"), "run.sh");
    QVERIFY(app.clickInRow("recordList", "originalPath", script, "restoreButton"));
    QCOMPARE(app.text("dialogTitle"), "¿Restaurar este elemento?");
    QCOMPARE(app.text("dialogMessage"), "run.sh volverá a " + script + ".");
    QVERIFY(app.click("dialogConfirmButton"));
    QVERIFY(app.waitFor([&] { return QFile::exists(script); }, 10000));
    QVERIFY(app.waitForText("sheetCount", "2 elemento(s) aislados"));
    // Back in the list as the scan rated it, and the status says so.
    QVERIFY(app.waitFor([&] { return badge(script) == "SOSPECHOSO"; }));
    QCOMPARE(app.text("statusLine"), "run.sh fue restaurado.");

    // "Eliminar", confirmed: in the Trash, which knows where it was found.
    QVERIFY(app.clickInRow("recordList", "originalPath", agent, "deleteButton"));
    QCOMPARE(app.text("dialogTitle"), "¿Mover definitivamente este elemento a la Papelera?");
    QCOMPARE(app.text("dialogMessage"), "com.example.watchdog se moverá a la Papelera.");
    QVERIFY(app.click("dialogConfirmButton"));
    QVERIFY(app.waitForText("sheetCount", "1 elemento(s) aislados"));
    QCOMPARE(app.trashNames(), QStringList{"com.example.watchdog.plist"});
    QCOMPARE(app.trashInfoPath("com.example.watchdog.plist"), agent);

    QVERIFY(app.click("closeSheetButton"));
    QVERIFY(app.waitFor([&] { return app.item("recordList") == nullptr; }));
    QVERIFY(app.leave("Protección terminada."));

    // Reopened: the trust and the quarantine are still there.
    QVERIFY(app.restart());
    QVERIFY(openProtection(app));
    QVERIFY(app.waitForText("quarantineButton", "Cuarentena 1"));
    QVERIFY(app.click("headerButton") && app.waitForScans(1));
    QCOMPARE(badge(trusted), "CONFIABLE");
    QVERIFY(!app.selectedRows("findingList", "url").contains(trusted));
    QVERIFY(app.selectedRows("findingList", "url").contains(script));
}

void SystemJourneys::quarantineFailureKeepsFindings()
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

    QVERIFY(app.click("headerButton") && app.waitForScans(1));
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

#include "SystemJourneys.moc"
