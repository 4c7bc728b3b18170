#include "AnalysedMac.h"
#include "AppJourney.h"
#include "AppSetup.h"
#include "Formatters.h"
#include "ImportQmlPlugins.h"
#include "TreeBuilder.h"

#include <QGuiApplication>
#include <QImage>
#include <QQuickItem>
#include <QQuickWindow>
#include <QtTest>

// The app as a user meets it in the real window, a file for each part of it; here
// the dashboard and the full analysis.
class TestJourneys : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void sidebarFillAndFocusRings();
    void smallestWindowShowsEveryControl_data();
    void smallestWindowShowsEveryControl();
    void runOpenModulesAndComeBack();
};

void TestJourneys::sidebarFillAndFocusRings()
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

// "Análisis rápido": its totals, each module opened from the summary on the run's
// own results (a large file trashed there), and protection on the filter chosen.
void TestJourneys::runOpenModulesAndComeBack()
{
    AppJourney app;
    TreeBuilder home(app.home()), root(app.root());
    fillAnalysedMac(home, root);
    const QString movie = home.path("Movies/big.mov");
    QVERIFY(app.start());
    const auto review = [&](const char *card, const char *title) {
        return app.clickItem(app.itemIn(app.item(card), "reviewButton")) &&
               app.waitForText("workspaceTitle", title);
    };
    const auto backToSummary = [&] {
        return app.click("backButton") && app.waitForItem("fullAnalysisTitle", 3000);
    };
    const auto runFrom = [&](const char *button) {
        return app.click(button) && app.waitForItem("fullAnalysisTitle") &&
               app.waitForText("stepCount", "5 de 5", 60000);
    };

    QVERIFY(runFrom("quickAnalysisButton"));
    QCOMPARE(app.text("currentStep"), "Análisis completo terminado");
    QCOMPARE(app.text("bottomText"),
             "Análisis terminado. Revisa cada módulo antes de eliminar archivos.");
    const QList<std::tuple<const char *, const char *, QString>> shown{
        {"resultLargeFiles", "resultValue", "1"},
        {"resultLargeFiles", "resultDetail", Formatters::bytes(qint64(520) << 20)},
        {"resultDuplicates", "resultValue", "2 grupos"},
        {"resultDuplicates", "resultDetail", Formatters::bytes(23 << 20) + " recuperables"},
        {"resultCleanup", "resultValue", "3 cachés"},
        {"resultCleanup", "resultDetail", Formatters::bytes((30 << 20) + 1400)},
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
    QCOMPARE(app.trashInfoPath("big.mov"), movie);
    QVERIFY(backToSummary());
    QCOMPARE(app.text("stepCount"), "5 de 5");
    QCOMPARE(app.textIn("resultLargeFiles", "resultValue"), "1");

    // Each other module shows the same results as the summary.
    const char *const modules[][4] = {
        {"resultDuplicates", "Duplicados", "cardGroups", "2"},
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
    QVERIFY(runFrom("recommendationsButton"));
    QCOMPARE(app.textIn("resultLargeFiles", "resultValue"), "0");
}

std::unique_ptr<QObject> fileJourneys();
std::unique_ptr<QObject> systemJourneys();
std::unique_ptr<QObject> undoJourneys();

int main(int argc, char *argv[])
{
    QGuiApplication application(argc, argv);
    application.setAttribute(Qt::AA_Use96Dpi, true);
    AppSetup::configureApplication();
    int failed = 0;
    for (const auto &journeys : {std::unique_ptr<QObject>(std::make_unique<TestJourneys>()),
                                 fileJourneys(), systemJourneys(), undoJourneys()})
        failed += QTest::qExec(journeys.get(), argc, argv);
    return failed;
}

#include "tst_journeys.moc"
