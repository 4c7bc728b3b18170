#pragma once

#include <QObject>

class QQuickItem;
class QQuickWindow;

// What the keyboard does the same way in every window, so that no screen has
// to wire it by hand:
// - Tab and Shift+Tab walk a list row by row in the list's order, scrolling
//   to the next row, instead of stopping at the rows that happen to exist;
// - whatever takes the focus is scrolled into view in every list or page
//   around it;
// - Return and Enter press the focused button, as Space does.
class KeyboardNavigation : public QObject
{
    Q_OBJECT
public:
    // Installs one for the whole application.
    static void install();

    bool eventFilter(QObject *watched, QEvent *event) override;

    // Scrolls every flickable around `item` so that it is fully in view.
    static void reveal(QQuickItem *item);
    // Moves the focus one step in reading order from the window's focused
    // item, row by row through lists. False when the default move is right.
    static bool step(QQuickWindow *window, bool forward);

private:
    using QObject::QObject;
};
