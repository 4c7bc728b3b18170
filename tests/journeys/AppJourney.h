#pragma once

#include "TestEnvironment.h"
#include "VelmoraApp.h"

#include <QPointF>
#include <QString>
#include <functional>
#include <memory>

// Waits until the item shows that text; on failure, says what it shows.
#define VERIFY_TEXT(app, objectName, wanted)                                                       \
    QVERIFY2((app).waitForText(objectName, wanted), qPrintable((app).text(objectName)))

class QQuickItem;
class QQuickWindow;

// Starts the app exactly as `velmora` does (same main QML, set-up and singletons),
// on a private tree, and drives its real window with mouse and key events. Nothing
// is injected: HOME, VELMORA_ROOT and the XDG folders point into the test's own
// temporary folder, and that is all.
class AppJourney
{
public:
    AppJourney();
    ~AppJourney();

    const TestEnvironment &env() const { return m_env; }
    QString home() const { return m_env.home(); }
    QString root() const { return m_env.root(); }

    // Loads the main window and waits until it is shown and placed.
    bool start();
    // Quits the app and starts it again on the same tree, as a user reopening it.
    bool restart();
    QQuickWindow *window() const;

    // The visible item of that name (dialogs included), or nullptr.
    QQuickItem *item(const QString &objectName) const;
    // The visible item of that name inside `scope`.
    QQuickItem *itemIn(QQuickItem *scope, const QString &objectName) const;
    // Every shown item of that name in the scope, in tree order.
    QList<QQuickItem *> allIn(QQuickItem *scope, const QString &objectName) const;
    // Waits for a visible item of that name.
    QQuickItem *waitForItem(const QString &objectName, int timeoutMs = 5000) const;
    // The delegate of `list` whose `role` property reads `value`, scrolled into view.
    QQuickItem *row(const QString &list, const char *role, const QString &value) const;
    // The `role` of every row of `list` whose checkbox is on, in list order.
    QStringList selectedRows(const QString &list, const char *role) const;
    QString text(const QString &objectName) const;
    // The value of a summary card.
    QString cardValue(const QString &card) const;

    // A left click in the middle of the item, as a user would: an item under a
    // modal dialog or outside the window does not get it. False when the item
    // is missing, hidden or disabled.
    bool click(const QString &objectName);
    bool clickItem(QQuickItem *item);
    // A click at a point of the item, in its own coordinates.
    bool clickAt(QQuickItem *item, QPointF local);
    bool doubleClickItem(QQuickItem *item);
    void key(int key);

    // The steps every module's journey takes, each false when it could not be
    // taken: a module opened from a card or the sidebar (until its title shows),
    // a folder chosen in the chooser, a row's box ticked, the selection's action
    // confirmed (after its dialog showed that title, when one is given).
    bool openModule(const QString &entry, const QString &title);
    // Holds every list model of the open module's screen and scanner to the
    // item-model rules from now on (openModule does it by itself).
    void watchModels() const;
    bool chooseFolder(const QString &folder, bool highlightLast);
    bool tickRow(const QString &list, const char *role, const QString &value);
    bool confirmSelectionAction(const QString &dialogTitle = {});
    // The text of the item `objectName` inside the item `scope`.
    QString textIn(const QString &scope, const QString &objectName) const;
    // Waits until the item shows that text (what it becomes on the main thread
    // once background work has ended).
    bool waitForText(const QString &objectName, const QString &text, int timeoutMs = 10000) const;

    bool waitFor(const std::function<bool()> &condition, int timeoutMs = 20000) const;
    void settle(int ms = 100) const;

    // The open module's screen and its scanner.
    QObject *screen() const;
    QObject *scanner() const;
    // Waits until the open module's scanner finished `count` scans in all.
    bool waitForScans(int count, int timeoutMs = 30000) const;

    // Finds a folder in the open folder chooser by double-clicking down from the
    // folder it shows, one level at a time. With `highlightLast` the last level is
    // picked by a single click (highlighted), not opened.
    bool navigateChooser(const QString &folder, bool highlightLast);
    bool chooserIsOpen() const;

    // Where the Trash keeps a trashed item, and the original path its .trashinfo
    // records (empty when there is none).
    QString trashedFile(const QString &name) const;
    QString trashInfoPath(const QString &name) const;
    // Every name in the Trash's files folder.
    QStringList trashNames() const;

private:
    QQuickItem *delegateAt(QQuickItem *view, int index) const;

    TestEnvironment m_env;
    std::unique_ptr<VelmoraApp> m_app;
};
