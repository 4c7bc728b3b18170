#pragma once

#include "TestEnvironment.h"
#include "VelmoraApp.h"

#include <QPointF>
#include <QString>
#include <QTest>
#include <functional>
#include <memory>
#include <optional>

// Waits until the item shows that text; on failure, says what it shows.
#define VERIFY_TEXT(app, objectName, wanted)                                                       \
    QVERIFY2((app).waitForText(objectName, wanted), qPrintable((app).text(objectName)))

class QQuickItem;
class QQuickWindow;

// Starts the app exactly as `velmora` does (same main QML, set-up and singletons)
// on a private tree, and drives its real window with mouse and key events. Nothing
// is injected: HOME, VELMORA_ROOT and the XDG folders point into a temporary folder.
class AppJourney
{
public:
    AppJourney() = default;
    ~AppJourney();

    QString home() const { return m_env.home(); }
    QString root() const { return m_env.root(); }

    // Until the main window is shown and placed; restarted on the same tree.
    bool start();
    bool restart();
    QQuickWindow *window() const { return m_app ? m_app->window() : nullptr; }

    // Items are found by name among those shown (dialogs included).
    QQuickItem *item(const QString &objectName) const;
    QQuickItem *itemIn(QQuickItem *scope, const QString &objectName) const;
    QList<QQuickItem *> allIn(QQuickItem *scope, const QString &objectName) const;
    QQuickItem *waitForItem(const QString &objectName, int timeoutMs = 5000) const;
    // The delegate of `list` whose `role` reads `value`, scrolled into view.
    QQuickItem *row(const QString &list, const char *role, const QString &value) const;
    // The `role` of every row of `list` whose checkbox is on, in list order.
    QStringList selectedRows(const QString &list, const char *role) const;
    static QString textOf(const QQuickItem *item);
    QString text(const QString &objectName) const;
    QString textIn(const QString &scope, const QString &objectName) const;
    QString cardValue(const QString &card) const { return textIn(card, "summaryValue"); }
    QString textInRow(const QString &list, const char *role, const QString &value,
                      const QString &objectName) const;

    // A click as a user makes it (an item under a modal dialog does not get it);
    // false when the item is missing, hidden or disabled.
    bool click(const QString &objectName) { return clickItem(item(objectName)); }
    bool clickItem(QQuickItem *item) { return press(item, {}, false); }
    bool clickInRow(const QString &list, const char *role, const QString &value,
                    const QString &objectName)
    {
        return clickItem(itemIn(row(list, role, value), objectName));
    }
    bool clickAt(QQuickItem *item, QPointF local) { return press(item, local, false); }
    void key(int key);

    // The steps every module's journey takes, each false when it could not be
    // taken: a module opened from a card or the sidebar (until its title shows,
    // then until its scanner finished `scans` scans), the selection's action
    // confirmed (after its dialog showed that title, when one is given).
    bool openModule(const QString &entry, const QString &title, int scans = -1);
    // Back to the dashboard, whose banner then tells what ended.
    bool leave(const QString &banner);
    // Holds the open screen's and scanner's list models to the item-model rules.
    void watchModels() const;
    bool chooseFolder(const QString &folder, bool highlightLast);
    bool tickRow(const QString &list, const char *role, const QString &value)
    {
        return clickInRow(list, role, value, QStringLiteral("rowCheckBox"));
    }
    bool confirmSelectionAction(const QString &dialogTitle = {});
    bool waitForText(const QString &objectName, const QString &text, int timeoutMs = 10000) const;
    bool waitFor(const std::function<bool()> &condition, int timeoutMs = 20000) const
    {
        return QTest::qWaitFor(condition, timeoutMs);
    }
    // Lets the window react to what was just done (events and deferred deletes).
    void settle(int ms = 100) const { QTest::qWait(ms); }

    QObject *screen() const;
    QObject *scanner() const;
    // Until the open module's scanner finished `count` scans in all and rests.
    bool waitForScans(int count, int timeoutMs = 30000) const;

    // The header button's folder chooser, then a folder in it found by double-clicking
    // down from the folder it shows; with `highlightLast` the last level is only highlighted.
    bool openChooser();
    bool navigateChooser(const QString &folder, bool highlightLast);
    bool chooserIsOpen() const { return item(QStringLiteral("folderChooser")) != nullptr; }

    // The original path the Trash's .trashinfo records.
    QString trashInfoPath(const QString &name) const;
    QStringList trashNames() const;

private:
    bool press(QQuickItem *item, std::optional<QPointF> local, bool twice);
    // Calls `visit` with each delegate of `list` in turn until it returns true.
    void visitRows(const QString &list, const std::function<bool(QQuickItem *)> &visit) const;

    TestEnvironment m_env;
    std::unique_ptr<VelmoraApp> m_app;
};
