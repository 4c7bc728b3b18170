#include "KeyboardNavigation.h"

#include <QCoreApplication>
#include <QKeyEvent>
#include <QQuickItem>
#include <QQuickWindow>

namespace {

// ListView.Contain: scroll only as far as needed.
constexpr int PositionContain = 4;

bool isItemView(const QQuickItem *item)
{
    return item && item->inherits("QQuickItemView");
}

QQuickItem *contentItemOf(QQuickItem *flickable)
{
    return flickable->property("contentItem").value<QQuickItem *>();
}

// The row of an item view that holds `item`, with its view, or nothing.
QQuickItem *rowOf(QQuickItem *item, QQuickItem **view)
{
    for (QQuickItem *row = item; row && row->parentItem(); row = row->parentItem()) {
        QQuickItem *flickable = row->parentItem()->parentItem();
        if (isItemView(flickable) && contentItemOf(flickable) == row->parentItem()) {
            *view = flickable;
            return row;
        }
    }
    return nullptr;
}

bool canTakeTabFocus(const QQuickItem *item)
{
    return item->activeFocusOnTab() && item->isVisible() && item->isEnabled();
}

// The first (or last) item below `row` that Tab stops at, in tree order, which
// is the order the focus chain follows.
QQuickItem *edgeStop(QQuickItem *row, bool first)
{
    QQuickItem *found = nullptr;
    QList<QQuickItem *> pending{row};
    while (!pending.isEmpty()) {
        QQuickItem *item = pending.takeFirst();
        if (!item->isVisible())
            continue;
        if (item != row && canTakeTabFocus(item)) {
            found = item;
            if (first)
                return found;
        }
        pending = item->childItems() + pending;
    }
    return found;
}

int rowCount(QQuickItem *view)
{
    return view->property("count").toInt();
}

QQuickItem *rowAt(QQuickItem *view, int index)
{
    QMetaObject::invokeMethod(view, "positionViewAtIndex", Q_ARG(int, index),
                              Q_ARG(int, PositionContain));
    QMetaObject::invokeMethod(view, "forceLayout");
    QQuickItem *row = nullptr;
    QMetaObject::invokeMethod(view, "itemAtIndex", Q_RETURN_ARG(QQuickItem *, row),
                              Q_ARG(int, index));
    return row;
}

int indexOfRow(QQuickItem *view, QQuickItem *row)
{
    int index = -1;
    QMetaObject::invokeMethod(view, "indexAt", Q_RETURN_ARG(int, index), Q_ARG(qreal, row->x() + 1),
                              Q_ARG(qreal, row->y() + 1));
    return index;
}

// The index of the first or last row in view.
int visibleEdgeIndex(QQuickItem *view, bool first)
{
    const qreal contentY = view->property("contentY").toReal();
    const qreal y = first ? contentY + 1 : contentY + view->height() - 1;
    int index = -1;
    QMetaObject::invokeMethod(view, "indexAt", Q_RETURN_ARG(int, index), Q_ARG(qreal, 1),
                              Q_ARG(qreal, y));
    if (index < 0)
        index = first ? 0 : rowCount(view) - 1;
    return index;
}

bool focusRowStop(QQuickItem *view, int index, bool forward)
{
    QQuickItem *row = rowAt(view, index);
    QQuickItem *stop = row ? edgeStop(row, forward) : nullptr;
    if (!stop)
        return false;
    stop->forceActiveFocus(forward ? Qt::TabFocusReason : Qt::BacktabFocusReason);
    return true;
}

void scrollIntoView(QQuickItem *flickable, QQuickItem *item)
{
    QQuickItem *content = contentItemOf(flickable);
    if (!content)
        return;
    const QRectF rect = item->mapRectToItem(content, QRectF(0, 0, item->width(), item->height()));
    const qreal contentY = flickable->property("contentY").toReal();
    const qreal height = flickable->height();
    qreal wanted = contentY;
    if (rect.bottom() > contentY + height)
        wanted = rect.bottom() - height;
    if (rect.top() < wanted)
        wanted = rect.top();
    const qreal originY = flickable->property("originY").toReal();
    const qreal highest = originY + flickable->property("contentHeight").toReal() - height;
    wanted = qMax(originY, qMin(wanted, highest));
    if (!qFuzzyCompare(wanted + 1, contentY + 1))
        flickable->setProperty("contentY", wanted);
}

} // namespace

void KeyboardNavigation::install()
{
    QCoreApplication::instance()->installEventFilter(
        new KeyboardNavigation(QCoreApplication::instance()));
}

void KeyboardNavigation::reveal(QQuickItem *item)
{
    for (QQuickItem *parent = item->parentItem(); parent; parent = parent->parentItem()) {
        if (parent->inherits("QQuickFlickable"))
            scrollIntoView(parent, item);
    }
}

bool KeyboardNavigation::step(QQuickWindow *window, bool forward)
{
    QQuickItem *focused = window->activeFocusItem();
    if (!focused)
        return false;
    QQuickItem *next = focused->nextItemInFocusChain(forward);
    QQuickItem *view = nullptr;
    QQuickItem *row = rowOf(focused, &view);
    if (!row) {
        // Entering a list from outside: the first row in view, or the last one
        // going back, rather than whichever row the list made first.
        QQuickItem *nextView = nullptr;
        if (next && rowOf(next, &nextView) && !nextView->isAncestorOf(focused))
            return focusRowStop(nextView, visibleEdgeIndex(nextView, forward), forward);
        return false;
    }
    if (next && row->isAncestorOf(next))
        return false;
    const int target = indexOfRow(view, row) + (forward ? 1 : -1);
    if (target >= 0 && target < rowCount(view) && focusRowStop(view, target, forward))
        return true;
    // Leaving the list: the next stop outside it.
    while (next && next != focused && view->isAncestorOf(next))
        next = next->nextItemInFocusChain(forward);
    if (!next || next == focused)
        return false;
    next->forceActiveFocus(forward ? Qt::TabFocusReason : Qt::BacktabFocusReason);
    return true;
}

bool KeyboardNavigation::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() == QEvent::FocusIn) {
        if (auto *item = qobject_cast<QQuickItem *>(watched); item && item->hasActiveFocus())
            reveal(item);
        return false;
    }
    if (event->type() != QEvent::KeyPress)
        return false;
    auto *window = qobject_cast<QQuickWindow *>(watched);
    if (!window)
        return false;
    const auto *key = static_cast<QKeyEvent *>(event);
    if (key->modifiers() & (Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier))
        return false;
    switch (key->key()) {
    case Qt::Key_Tab:
        return step(window, !(key->modifiers() & Qt::ShiftModifier));
    case Qt::Key_Backtab:
        return step(window, false);
    case Qt::Key_Return:
    case Qt::Key_Enter: {
        QQuickItem *focused = window->activeFocusItem();
        if (!focused || !focused->inherits("QQuickAbstractButton") || key->isAutoRepeat())
            return false;
        // As a click: a checkable button changes state first, then says so.
        if (focused->property("checkable").toBool())
            QMetaObject::invokeMethod(focused, "toggle");
        return QMetaObject::invokeMethod(focused, "clicked");
    }
    default:
        return false;
    }
}
