#pragma once

#include "TestEnvironment.h"
#include "VelmoraApp.h"

#include <QPointF>
#include <QString>
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
// is injected: HOME, VELMORA_ROOT and the XDG folders point into the test's own
// temporary folder, and that is all.
class AppJourney
{
public:
    AppJourney() = default;
    ~AppJourney();

    const TestEnvironment &env() const { return m_env; }
    QString home() const { return m_env.home(); }
    QString root() const { return m_env.root(); }

    // Loads the main window and waits until it is shown and placed.
    bool start();
    // Quits the app and starts it again on the same tree, as a user reopening it.
    bool restart();
    QQuickWindow *window() const;

    // Items are found by name among those shown (dialogs included).
    QQuickItem *item(const QString &objectName) const;
    QQuickItem *itemIn(QQuickItem *scope, const QString &objectName) const;
    QList<QQuickItem *> allIn(QQuickItem *scope, const QString &objectName) const;
    QQuickItem *waitForItem(const QString &objectName, int timeoutMs = 5000) const;
    // The delegate of `list` whose `role` reads `value`, scrolled into view.
    QQuickItem *row(const QString &list, const char *role, const QString &value) const;
    // The `role` of every row of `list` whose checkbox is on, in list order.
    QStringList selectedRows(const QString &list, const char *role) const;
    QString text(const QString &objectName) const;
    QString textIn(const QString &scope, const QString &objectName) const;
    QString cardValue(const QString &card) const { return textIn(card, "summaryValue"); }

    // A left click as a user would make it: an item under a modal dialog or
    // outside the window does not get it. False when the item is missing,
    // hidden or disabled.
    bool click(const QString &objectName) { return clickItem(item(objectName)); }
    bool clickItem(QQuickItem *item) { return press(item, {}, false); }
    // A click at a point of the item, in its own coordinates.
    bool clickAt(QQuickItem *item, QPointF local) { return press(item, local, false); }
    void key(int key);

    // The steps every module's journey takes, each false when it could not be
    // taken: a module opened from a card or the sidebar (until its title shows,
    // then until its scanner finished `scans` scans), a folder chosen in the
    // chooser, a row's box ticked, the selection's action confirmed (after its
    // dialog showed that title, when one is given).
    bool openModule(const QString &entry, const QString &title, int scans = -1);
    // Holds every list model of the open screen and its scanner to the item-model
    // rules from now on (openModule does it by itself).
    void watchModels() const;
    bool chooseFolder(const QString &folder, bool highlightLast);
    bool tickRow(const QString &list, const char *role, const QString &value);
    bool confirmSelectionAction(const QString &dialogTitle = {});
    bool waitForText(const QString &objectName, const QString &text, int timeoutMs = 10000) const;
    bool waitFor(const std::function<bool()> &condition, int timeoutMs = 20000) const;
    void settle(int ms = 100) const;

    // The open module's screen and its scanner.
    QObject *screen() const;
    QObject *scanner() const;
    // Until the open module's scanner finished `count` scans in all and rests.
    bool waitForScans(int count, int timeoutMs = 30000) const;

    // Finds a folder in the open folder chooser by double-clicking down from the
    // folder it shows; with `highlightLast` the last level is only highlighted.
    bool navigateChooser(const QString &folder, bool highlightLast);
    bool chooserIsOpen() const { return item(QStringLiteral("folderChooser")) != nullptr; }

    // The original path the Trash's .trashinfo records (empty when there is none).
    QString trashInfoPath(const QString &name) const;
    QStringList trashNames() const;

private:
    bool press(QQuickItem *item, std::optional<QPointF> local, bool twice);
    // Calls `visit` with each delegate of `list` in turn until it returns true.
    void visitRows(const QString &list, const std::function<bool(QQuickItem *)> &visit) const;

    TestEnvironment m_env;
    std::unique_ptr<VelmoraApp> m_app;
};
