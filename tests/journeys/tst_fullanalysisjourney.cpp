#include "AppJourney.h"
#include "AppSetup.h"
#include "Formatters.h"
#include "ImportQmlPlugins.h"
#include "TreeBuilder.h"

#include <QFile>
#include <QQuickItem>
#include <QQuickWindow>
#include <QtTest>

// The full analysis as a user meets it: "Análisis rápido", the run with its
// steps, the totals, each module opened from the summary on the run's own
// results (a large file moved to the Trash there), back to the summary, and
// the protection screen opened on the filter chosen in the summary.
class TestFullAnalysisJourney : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { AppSetup::configureApplication(); }
    void runOpenModulesAndComeBack();
};

namespace {

bool review(AppJourney &app, const QString &card)
{
    QQuickItem *scope = app.item(card);
    return scope && app.clickItem(app.itemIn(scope, "reviewButton"));
}

} // namespace

void TestFullAnalysisJourney::runOpenModulesAndComeBack()
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

    QVERIFY(app.click("quickAnalysisButton"));
    QVERIFY(app.waitForItem("fullAnalysisTitle"));
    QVERIFY(app.waitFor([&] { return app.text("stepCount") == "5 de 5"; }, 60000));
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

    // Large files, on the run's results: act there.
    QVERIFY(review(app, "resultLargeFiles"));
    VERIFY_TEXT(app, "workspaceTitle", "Archivos grandes");
    app.watchModels();
    QCOMPARE(app.text("backButton"), "Resumen del análisis");
    QVERIFY(app.tickRow("fileList", "url", movie));
    QVERIFY(app.confirmSelectionAction());
    QVERIFY(app.waitFor([&] { return !QFile::exists(movie); }, 10000));
    QCOMPARE(app.trashInfoPath("viaje.mov"), movie);

    // Back: the dashboard, then the summary again with the same totals.
    QVERIFY(app.click("backButton"));
    QVERIFY(app.waitForItem("fullAnalysisTitle", 3000));
    QCOMPARE(app.text("stepCount"), "5 de 5");
    QCOMPARE(app.textIn("resultLargeFiles", "resultValue"), "2");

    // Each other module shows the same results as the summary.
    const QList<std::pair<QString, QString>> modules{
        {"resultDuplicates", "Duplicados"},
        {"resultCleanup", "Limpieza segura"},
        {"resultApplications", "Desinstalación profunda"}};
    for (const auto &[card, title] : modules) {
        QVERIFY2(review(app, card), qPrintable(card));
        VERIFY_TEXT(app, "workspaceTitle", title);
        app.watchModels();
        if (card == "resultDuplicates")
            QCOMPARE(app.cardValue("cardGroups"), "1");
        else if (card == "resultCleanup")
            QCOMPARE(app.cardValue("cardFound"), "3");
        else
            QCOMPARE(app.cardValue("cardApplications"), "4");
        QVERIFY(app.click("backButton"));
        QVERIFY(app.waitForItem("fullAnalysisTitle", 3000));
    }

    // Protection on the suspicious findings.
    QVERIFY(review(app, "cellSuspicious"));
    VERIFY_TEXT(app, "workspaceTitle", "Protección");
    QCOMPARE(app.item("filterPicker")->property("current").toString(), "Sospechosos");
    QCOMPARE(app.cardValue("cardSuspicious"), "5");
    QVERIFY(app.click("backButton"));
    QVERIFY(app.waitForItem("closeFullAnalysisButton", 3000));
    QVERIFY(app.click("closeFullAnalysisButton"));
    QVERIFY(app.waitFor([&] { return !app.item("fullAnalysisTitle"); }, 3000));

    // From the sidebar: a new scanner, the filter back to "Todos".
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
    QVERIFY(app.waitFor([&] { return app.text("stepCount") == "5 de 5"; }, 60000));
    QCOMPARE(app.textIn("resultLargeFiles", "resultValue"), "1");
}

QTEST_MAIN(TestFullAnalysisJourney)
#include "tst_fullanalysisjourney.moc"
