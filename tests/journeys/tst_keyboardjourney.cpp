// Every module on the demo Mac, at the window's default and minimum sizes: how
// many rows show whole, Tab through every row with the focus always in view,
// Return on a button, disclosures opened by keyboard, and every screen and
// dialog read the way a screen reader reads it.
#include "AppJourney.h"
#include "AppSetup.h"
#include "DemoTree.h"

#include <QAccessible>
#include <QQuickItem>
#include <QQuickWindow>
#include <QTest>
#include <numeric>

namespace {

QQuickItem *contentOf(QQuickItem *flickable)
{
    return flickable->property("contentItem").value<QQuickItem *>();
}

// A result row, as opposed to a section heading or a row kept for reuse.
bool isRow(const QQuickItem *item)
{
    return item->isVisible() && item->property("selected").isValid();
}

bool fullyInside(QQuickItem *item, QQuickItem *list)
{
    const QRectF rect = item->mapRectToItem(list, QRectF(0, 0, item->width(), item->height()));
    return rect.top() >= -0.5 && rect.bottom() <= list->height() + 0.5;
}

int rowsInView(QQuickItem *list)
{
    const QList<QQuickItem *> children = contentOf(list)->childItems();
    return int(std::count_if(children.begin(), children.end(), [list](QQuickItem *child) {
        return isRow(child) && fullyInside(child, list);
    }));
}

QQuickItem *rowHolding(QQuickItem *item, QQuickItem *list)
{
    QQuickItem *content = contentOf(list);
    while (item && item->parentItem() != content)
        item = item->parentItem();
    return item;
}

int indexOfRow(QQuickItem *list, QQuickItem *row)
{
    int index = -1;
    QMetaObject::invokeMethod(list, "indexAt", Q_RETURN_ARG(int, index), Q_ARG(qreal, row->x() + 1),
                              Q_ARG(qreal, row->y() + 1));
    return index;
}

// Every visible item that takes the focus must say what it is and what it is
// called; returns the ones that do not, by object name and class.
QStringList unnamedControls(QQuickItem *root)
{
    QStringList missing;
    QList<QQuickItem *> pending{root};
    while (!pending.isEmpty()) {
        QQuickItem *item = pending.takeFirst();
        if (!item->isVisible())
            continue;
        pending += item->childItems();
        if (!item->activeFocusOnTab() || !item->isEnabled())
            continue;
        QAccessibleInterface *face = QAccessible::queryAccessibleInterface(item);
        const bool named = face && face->role() != QAccessible::NoRole &&
                           face->role() != QAccessible::Client &&
                           !face->text(QAccessible::Name).trimmed().isEmpty();
        if (!named)
            missing << item->objectName() + QLatin1Char('/') + item->metaObject()->className();
    }
    return missing;
}

// Rows a list is still making get their names as they finish: wait for that.
#define VERIFY_NAMED(app)                                                                          \
    QTRY_VERIFY2(                                                                                  \
        unnamedControls((app).window()->contentItem()).isEmpty(),                                  \
        qPrintable(unnamedControls((app).window()->contentItem()).join(QLatin1String(", "))))

} // namespace

class KeyboardJourney : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        AppSetup::configureApplication();
        // As when a screen reader runs: controls then publish their names.
        QAccessible::setActive(true);
    }
    void everyRowByKeyboard_data();
    void everyRowByKeyboard();
    void dashboardAndSheetsAreNamed();
};

// The demo Mac under the journey's own root, its home as HOME.
static bool buildDemo(AppJourney &app)
{
    DemoTree demo(app.root());
    QStringList problems;
    if (!demo.build(&problems)) {
        qWarning() << problems;
        return false;
    }
    qputenv("HOME", demo.path(DemoTree::home({})).toUtf8());
    return true;
}

// How each module is opened (scanning by itself, or from its header button,
// which may ask for a folder), and how many rows must show whole at the default
// and the minimum size.
const struct Module
{
    const char *name, *entry, *title, *list;
    bool fromHeader, chooses;
    const char *disclosure;
    int wide, narrow;
} kModules[] = {
    {"largefiles", "sidebar_largeFiles", "Archivos grandes", "fileList", true, true, "", 6, 4},
    {"duplicates", "sidebar_duplicates", "Duplicados", "groupList", true, true, "", 6, 4},
    {"cleanup", "sidebar_safeCleanup", "Limpieza segura", "cacheList", false, false, "", 6, 4},
    {"uninstaller", "sidebar_uninstaller", "Desinstalación profunda", "applicationList", false,
     false, "relatedLine", 6, 4},
    {"protection", "sidebar_protection", "Protección", "findingList", true, false, "moreReasons", 4,
     3},
};

void KeyboardJourney::everyRowByKeyboard_data()
{
    QTest::addColumn<int>("module");
    QTest::addColumn<bool>("minimumSize");
    for (int i = 0; i < int(std::size(kModules)); ++i)
        for (const bool minimum : {false, true})
            QTest::addRow("%s %s", kModules[i].name, minimum ? "minimum" : "default")
                << i << minimum;
}

void KeyboardJourney::everyRowByKeyboard()
{
    QFETCH(int, module);
    QFETCH(bool, minimumSize);
    const Module &m = kModules[module];

    AppJourney app;
    QVERIFY(buildDemo(app));
    // Large files beyond the demo's three at the screen's first minimum, so
    // that list too outgrows its view.
    for (int i = 0; i < 6; ++i)
        TreeBuilder(app.root())
            .allocatedFile(QStringLiteral("Users/demo/Movies/Toma %1.mov").arg(i),
                           (600 + i) * 1000 * 1000);
    QVERIFY(app.start());
    if (minimumSize)
        app.window()->resize(app.window()->minimumSize());
    QVERIFY(app.openModule(m.entry, m.title, m.fromHeader ? -1 : 1));
    // The chooser opens on the home folder, which is the one to scan.
    if (m.fromHeader)
        QVERIFY((m.chooses ? app.openChooser() && app.click("chooserAccept")
                           : app.click("headerButton")) &&
                app.waitForScans(1));
    QQuickItem *list = app.waitForItem(m.list);
    QVERIFY(list);
    const int count = list->property("count").toInt();
    QVERIFY2(count > rowsInView(list), qPrintable(QStringLiteral("only %1 rows").arg(count)));
    QTRY_VERIFY2(rowsInView(list) >= (minimumSize ? m.narrow : m.wide),
                 qPrintable(QString::number(rowsInView(list))));
    VERIFY_NAMED(app);

    // Into the list from the way back to the dashboard, then row by row to its end.
    app.item("backButton")->forceActiveFocus(Qt::TabFocusReason);
    QList<int> visited;
    bool disclosed = !*m.disclosure;
    for (int press = 0; press < count * 10 + 40; ++press) {
        app.key(Qt::Key_Tab);
        QQuickItem *focused = app.window()->activeFocusItem();
        QVERIFY(focused);
        QQuickItem *row = rowHolding(focused, list);
        if (!row) {
            if (!visited.isEmpty())
                break;
            continue;
        }
        QTRY_VERIFY2(fullyInside(focused, list), qPrintable(focused->objectName()));
        const int index = indexOfRow(list, row);
        if (visited.isEmpty() || visited.last() != index)
            visited << index;
        if (!disclosed && focused->objectName() == QLatin1String(m.disclosure)) {
            app.key(Qt::Key_Return);
            QTRY_VERIFY(focused->property("expanded").toBool());
            disclosed = true;
        }
    }
    QList<int> everyRow(count);
    std::iota(everyRow.begin(), everyRow.end(), 0);
    QCOMPARE(visited, everyRow);
    QVERIFY2(disclosed, "no disclosure took the focus");
    QVERIFY(!rowHolding(app.window()->activeFocusItem(), list));

    // Return presses the focused button: tick a row by keyboard, then cancel
    // the selection with Return on the bar's button.
    QObject *scanner = app.scanner();
    if (!scanner->property("hasSelection").toBool()) {
        app.key(Qt::Key_Backtab);
        while (rowHolding(app.window()->activeFocusItem(), list) &&
               app.window()->activeFocusItem()->objectName() != QLatin1String("rowCheckBox"))
            app.key(Qt::Key_Backtab);
        app.key(Qt::Key_Return);
        QTRY_VERIFY(scanner->property("hasSelection").toBool());
    }
    app.item("cancelSelectionButton")->forceActiveFocus(Qt::TabFocusReason);
    app.key(Qt::Key_Return);
    QTRY_VERIFY(!scanner->property("hasSelection").toBool());
}

void KeyboardJourney::dashboardAndSheetsAreNamed()
{
    AppJourney app;
    QVERIFY(buildDemo(app));
    QVERIFY(app.start());
    VERIFY_NAMED(app);

    QVERIFY(app.openModule("sidebar_protection", "Protección"));
    QVERIFY(app.click("headerButton") && app.waitForScans(1));
    QVERIFY(app.click("selectionActionButton"));
    QVERIFY(app.waitForItem("dialogConfirmButton"));
    VERIFY_NAMED(app);
    QVERIFY(app.click("dialogConfirmButton"));
    QTRY_VERIFY(!app.scanner()->property("hasSelection").toBool());
    QVERIFY(app.click("quarantineButton"));
    QVERIFY(app.waitForItem("recordList"));
    VERIFY_NAMED(app);
    app.key(Qt::Key_Escape);

    QVERIFY(app.click("backButton"));
    QVERIFY(app.click("card_largeFiles"));
    QVERIFY(app.openChooser());
    VERIFY_NAMED(app);
    QVERIFY(app.click("chooserCancel"));

    QVERIFY(app.click("backButton"));
    QVERIFY(app.click("quickAnalysisButton"));
    QVERIFY(app.waitForItem("closeFullAnalysisButton", 60000));
    VERIFY_NAMED(app);
}

QTEST_MAIN(KeyboardJourney)
#include "tst_keyboardjourney.moc"
