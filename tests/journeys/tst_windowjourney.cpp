#include "AppJourney.h"
#include "AppSetup.h"
#include "ImportQmlPlugins.h"

#include <QImage>
#include <QQuickItem>
#include <QQuickWindow>
#include <QtTest>

// The window as a user sees it: which sidebar row is selected, where the keyboard
// focus is, and every screen at the smallest window size.
class TestWindowJourney : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { AppSetup::configureApplication(); }
    void sidebarFillsTheSelectedRow();
    void tabShowsWhereTheFocusIs();
    void smallestWindowShowsEveryControl_data();
    void smallestWindowShowsEveryControl();

private:
    static QColor pixelIn(AppJourney &app, const QString &item, qreal fromRight);
    static QList<QQuickItem *> visibleRings(AppJourney &app);
};

QColor TestWindowJourney::pixelIn(AppJourney &app, const QString &name, qreal fromRight)
{
    QQuickItem *row = app.item(name);
    if (!row)
        return {};
    const QImage image = app.window()->grabWindow();
    const QPointF point = row->mapToScene(QPointF(row->width() - fromRight, row->height() / 2));
    const qreal scale = image.width() / qreal(app.window()->width());
    return image.pixelColor((point * scale).toPoint());
}

void TestWindowJourney::sidebarFillsTheSelectedRow()
{
    AppJourney app;
    QVERIFY(app.start());
    // Right of the title, left of the dot: the blue-to-teal fill near its end.
    const QColor selected = pixelIn(app, QStringLiteral("sidebar_dashboard"), 28);
    QVERIFY2(selected.green() > 150 && selected.blue() > 150 && selected.red() < 120,
             qPrintable(selected.name()));
    const QColor plain = pixelIn(app, QStringLiteral("sidebar_largeFiles"), 28);
    QVERIFY2(plain.green() < 60 && plain.blue() < 60, qPrintable(plain.name()));
}

QList<QQuickItem *> TestWindowJourney::visibleRings(AppJourney &app)
{
    QList<QQuickItem *> rings;
    std::function<void(QQuickItem *)> collect = [&](QQuickItem *item) {
        for (QQuickItem *child : item->childItems()) {
            if (child->objectName() == QLatin1String("focusRing") && child->isVisible())
                rings << child;
            collect(child);
        }
    };
    collect(app.window()->contentItem());
    return rings;
}

void TestWindowJourney::tabShowsWhereTheFocusIs()
{
    AppJourney app;
    QVERIFY(app.start());
    QVERIFY(visibleRings(app).isEmpty());
    // Every Tab lands on a control, and exactly that control shows a ring.
    auto ringOnFocus = [&] {
        const QList<QQuickItem *> rings = visibleRings(app);
        QQuickItem *focused = app.window()->activeFocusItem();
        return rings.size() == 1 && focused &&
               (rings.first()->parentItem() == focused || focused->isAncestorOf(rings.first()));
    };
    for (int i = 0; i < 10; ++i) {
        app.key(Qt::Key_Tab);
        QVERIFY2(ringOnFocus(),
                 qPrintable(QStringLiteral("after Tab %1 on the dashboard").arg(i + 1)));
    }
    // Back to the sidebar's large files row and into the module with the keyboard.
    for (int i = 0; i < 40 && app.window()->activeFocusItem() !=
                                  app.item(QStringLiteral("sidebar_largeFiles"));
         ++i)
        app.key(Qt::Key_Tab);
    QCOMPARE(app.window()->activeFocusItem(), app.item(QStringLiteral("sidebar_largeFiles")));
    app.key(Qt::Key_Return);
    QCOMPARE(app.text(QStringLiteral("workspaceTitle")), QStringLiteral("Archivos grandes"));
    for (int i = 0; i < 4; ++i) {
        app.key(Qt::Key_Tab);
        QVERIFY2(ringOnFocus(),
                 qPrintable(QStringLiteral("after Tab %1 in the module").arg(i + 1)));
    }
    // A click focuses nothing visibly: rings are for the keyboard.
    QVERIFY(app.click(QStringLiteral("backButton")));
    QVERIFY(visibleRings(app).isEmpty());
}

void TestWindowJourney::smallestWindowShowsEveryControl_data()
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

void TestWindowJourney::smallestWindowShowsEveryControl()
{
    QFETCH(QString, card);
    QFETCH(QStringList, controls);
    AppJourney app;
    QVERIFY(app.start());
    app.window()->resize(app.window()->minimumSize());
    QVERIFY(app.waitFor([&] { return app.window()->size() == QSize(980, 680); }, 2000));
    if (!card.isEmpty()) {
        QVERIFY(app.click(card));
        QVERIFY(app.waitForScans(0));
    }
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

QTEST_MAIN(TestWindowJourney)
#include "tst_windowjourney.moc"
