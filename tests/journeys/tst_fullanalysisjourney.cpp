#include "AppJourney.h"
#include "AppSetup.h"
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

QString cellText(AppJourney &app, const QString &cell, const QString &name)
{
    QQuickItem *scope = app.item(cell);
    QQuickItem *found = scope ? app.itemIn(scope, name) : nullptr;
    return found ? found->property("text").toString() : QString();
}

bool review(AppJourney &app, const QString &card)
{
    QQuickItem *scope = app.item(card);
    return scope && app.clickItem(app.itemIn(scope, QStringLiteral("reviewButton")));
}

} // namespace

void TestFullAnalysisJourney::runOpenModulesAndComeBack()
{
    AppJourney app;
    TreeBuilder home(app.home());
    TreeBuilder root(app.root());
    const QString movie = home.allocatedFile(QStringLiteral("Movies/viaje.mov"), qint64(600) << 20);
    home.allocatedFile(QStringLiteral("Movies/corto.mov"), qint64(510) << 20);
    home.file(QStringLiteral("Documentos/a/informe.pdf"), QByteArray(12 << 20, 'p'));
    home.file(QStringLiteral("Documentos/b/informe.pdf"), QByteArray(12 << 20, 'p'));
    home.file(QStringLiteral("Library/Caches/com.example.app/cache.db"), QByteArray(9000, 'c'));
    root.bundle(QStringLiteral("Applications/Tool.app"), {{"CFBundleIdentifier", "org.tool"}},
                false);
    home.file(QStringLiteral("Downloads/run.sh"), "#!/bin/sh\n");
    home.file(QStringLiteral("Downloads/fix.command"), "#!/bin/sh\n");
    QVERIFY(app.start());

    QVERIFY(app.click(QStringLiteral("quickAnalysisButton")));
    QVERIFY(app.waitForItem(QStringLiteral("fullAnalysisTitle")));
    // While it runs the sheet asks to wait and offers no way out.
    QVERIFY(app.waitFor(
        [&] { return app.text(QStringLiteral("stepCount")) == QStringLiteral("5 de 5"); }, 60000));
    QCOMPARE(app.text(QStringLiteral("currentStep")),
             QStringLiteral("Análisis completo terminado"));
    QCOMPARE(app.text(QStringLiteral("bottomText")),
             QStringLiteral("Análisis terminado. Revisa cada módulo antes de eliminar archivos."));
    QCOMPARE(cellText(app, "resultLargeFiles", "resultValue"), QStringLiteral("2"));
    QCOMPARE(cellText(app, "resultDuplicates", "resultValue"), QStringLiteral("1 grupos"));
    QVERIFY(cellText(app, "resultDuplicates", "resultDetail").endsWith(" recuperables"));
    QCOMPARE(cellText(app, "resultCleanup", "resultValue"), QStringLiteral("1 cachés"));
    QCOMPARE(cellText(app, "resultApplications", "resultValue"), QStringLiteral("1"));
    QCOMPARE(cellText(app, "cellSuspicious", "cellCount"), QStringLiteral("2"));

    // Large files, on the run's results: act there.
    QVERIFY(review(app, QStringLiteral("resultLargeFiles")));
    QVERIFY(app.waitFor(
        [&] {
            return app.text(QStringLiteral("workspaceTitle")) == QStringLiteral("Archivos grandes");
        },
        3000));
    QCOMPARE(app.text(QStringLiteral("backButton")), QStringLiteral("Resumen del análisis"));
    QQuickItem *row = app.row(QStringLiteral("fileList"), "url", movie);
    QVERIFY(row);
    QVERIFY(app.clickItem(app.itemIn(row, QStringLiteral("rowCheckBox"))));
    QVERIFY(app.click(QStringLiteral("selectionActionButton")));
    QVERIFY(app.click(QStringLiteral("dialogConfirmButton")));
    QVERIFY(app.waitFor([&] { return !QFile::exists(movie); }, 10000));
    QCOMPARE(app.trashInfoPath(QStringLiteral("viaje.mov")), movie);

    // Back: the dashboard, then the summary again with the same totals.
    QVERIFY(app.click(QStringLiteral("backButton")));
    QVERIFY(app.waitForItem(QStringLiteral("fullAnalysisTitle"), 3000));
    QCOMPARE(app.text(QStringLiteral("stepCount")), QStringLiteral("5 de 5"));
    QCOMPARE(cellText(app, "resultLargeFiles", "resultValue"), QStringLiteral("2"));

    // Each other module shows the same results as the summary.
    const QList<std::pair<QString, QString>> modules{
        {"resultDuplicates", "Duplicados"},
        {"resultCleanup", "Limpieza segura"},
        {"resultApplications", "Desinstalación profunda"}};
    for (const auto &[card, title] : modules) {
        QVERIFY2(review(app, card), qPrintable(card));
        QVERIFY(
            app.waitFor([&] { return app.text(QStringLiteral("workspaceTitle")) == title; }, 3000));
        if (card == "resultDuplicates")
            QCOMPARE(app.cardValue(QStringLiteral("cardGroups")), QStringLiteral("1"));
        else if (card == "resultCleanup")
            QCOMPARE(app.cardValue(QStringLiteral("cardFound")), QStringLiteral("1"));
        else
            QCOMPARE(app.cardValue(QStringLiteral("cardApplications")), QStringLiteral("1"));
        QVERIFY(app.click(QStringLiteral("backButton")));
        QVERIFY(app.waitForItem(QStringLiteral("fullAnalysisTitle"), 3000));
    }

    // Protection on the suspicious findings.
    QVERIFY(review(app, QStringLiteral("cellSuspicious")));
    QVERIFY(app.waitFor(
        [&] { return app.text(QStringLiteral("workspaceTitle")) == QStringLiteral("Protección"); },
        3000));
    QCOMPARE(app.item(QStringLiteral("filterPicker"))->property("current").toString(),
             QStringLiteral("Sospechosos"));
    QCOMPARE(app.cardValue(QStringLiteral("cardSuspicious")), QStringLiteral("2"));
    QVERIFY(app.click(QStringLiteral("backButton")));
    QVERIFY(app.waitForItem(QStringLiteral("closeFullAnalysisButton"), 3000));
    QVERIFY(app.click(QStringLiteral("closeFullAnalysisButton")));
    QVERIFY(app.waitFor([&] { return !app.item(QStringLiteral("fullAnalysisTitle")); }, 3000));

    // From the sidebar: a new scanner, the filter back to "Todos".
    QVERIFY(app.click(QStringLiteral("sidebar_protection")));
    QCOMPARE(app.item(QStringLiteral("filterPicker"))->property("current").toString(),
             QStringLiteral("Todos"));
    QCOMPARE(app.text(QStringLiteral("backButton")), QStringLiteral("Panel principal"));
    QCOMPARE(app.cardValue(QStringLiteral("cardSuspicious")), QStringLiteral("0"));
    QVERIFY(app.click(QStringLiteral("backButton")));
    app.settle(300);
    QVERIFY(!app.item(QStringLiteral("fullAnalysisTitle")));

    // "Ver recomendaciones" after a finished run starts a new one.
    QVERIFY(app.click(QStringLiteral("recommendationsButton")));
    QVERIFY(app.waitForItem(QStringLiteral("fullAnalysisTitle")));
    QVERIFY(app.waitFor(
        [&] { return app.text(QStringLiteral("stepCount")) == QStringLiteral("5 de 5"); }, 60000));
    QCOMPARE(cellText(app, "resultLargeFiles", "resultValue"), QStringLiteral("1"));
}

QTEST_MAIN(TestFullAnalysisJourney)
#include "tst_fullanalysisjourney.moc"
