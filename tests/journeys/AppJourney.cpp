#include "AppJourney.h"

#include <QAbstractItemModelTester>
#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QMetaProperty>
#include <QQuickItem>
#include <QQuickWindow>
#include <QTest>
#include <QUrl>

namespace {

bool isShown(const QQuickItem *item)
{
    for (const QQuickItem *i = item; i; i = i->parentItem())
        if (!i->isVisible() || i->opacity() <= 0)
            return false;
    return item->window() != nullptr;
}

// Every item of that name below scope in the visual tree (dialogs live in the
// window's overlay, which is part of that tree too).
void collectNamed(QQuickItem *scope, const QString &objectName, QList<QQuickItem *> *found)
{
    const QList<QQuickItem *> children = scope->childItems();
    for (QQuickItem *child : children) {
        if (child->objectName() == objectName)
            *found << child;
        collectNamed(child, objectName, found);
    }
}

QList<QQuickItem *> named(QQuickItem *scope, const QString &objectName)
{
    QList<QQuickItem *> found;
    collectNamed(scope, objectName, &found);
    return found;
}

} // namespace

AppJourney::AppJourney() = default;

AppJourney::~AppJourney()
{
    m_app.reset();
    // Closed screens are deleted later; let them go before the tree does.
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

bool AppJourney::start()
{
    m_app = std::make_unique<VelmoraApp>();
    if (!m_app->load())
        return false;
    m_app->finishLaunching();
    if (!QTest::qWaitForWindowExposed(m_app->window()))
        return false;
    // The window is placed 0.35 s after launching, as in the app.
    return waitFor([this] { return window()->width() == VelmoraWindowDelegate::kWidth; }, 3000) &&
           waitFor([this] { return item(QStringLiteral("dashboard")) != nullptr; }, 3000);
}

bool AppJourney::restart()
{
    m_app.reset();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    return start();
}

QQuickWindow *AppJourney::window() const
{
    return m_app ? m_app->window() : nullptr;
}

QQuickItem *AppJourney::item(const QString &objectName) const
{
    return itemIn(window()->contentItem(), objectName);
}

QQuickItem *AppJourney::itemIn(QQuickItem *scope, const QString &objectName) const
{
    for (QQuickItem *item : named(scope, objectName))
        if (isShown(item))
            return item;
    return nullptr;
}

QList<QQuickItem *> AppJourney::allIn(QQuickItem *scope, const QString &objectName) const
{
    QList<QQuickItem *> shown;
    for (QQuickItem *item : named(scope, objectName))
        if (isShown(item))
            shown << item;
    return shown;
}

QQuickItem *AppJourney::waitForItem(const QString &objectName, int timeoutMs) const
{
    QQuickItem *found = nullptr;
    waitFor([&] { return (found = item(objectName)) != nullptr; }, timeoutMs);
    return found;
}

QQuickItem *AppJourney::delegateAt(QQuickItem *view, int index) const
{
    // Only rows in view exist (and are reused): scroll to it, read it at once.
    QMetaObject::invokeMethod(view, "positionViewAtIndex", Q_ARG(int, index), Q_ARG(int, 0));
    settle(30); // lets the view lay its rows out where it scrolled
    QQuickItem *delegate = nullptr;
    waitFor(
        [&] {
            QMetaObject::invokeMethod(view, "itemAtIndex", Q_RETURN_ARG(QQuickItem *, delegate),
                                      Q_ARG(int, index));
            return delegate != nullptr;
        },
        2000);
    return delegate;
}

QQuickItem *AppJourney::row(const QString &list, const char *role, const QString &value) const
{
    QQuickItem *view = item(list);
    const int count = view ? view->property("count").toInt() : 0;
    for (int i = 0; i < count; ++i)
        if (QQuickItem *delegate = delegateAt(view, i);
            delegate && delegate->property(role).toString() == value && isShown(delegate))
            return delegate;
    return nullptr;
}

QStringList AppJourney::selectedRows(const QString &list, const char *role) const
{
    QStringList values;
    QQuickItem *view = item(list);
    const int count = view ? view->property("count").toInt() : 0;
    for (int i = 0; i < count; ++i)
        if (QQuickItem *delegate = delegateAt(view, i);
            delegate && delegate->property("selected").toBool())
            values << delegate->property(role).toString();
    return values;
}

QString AppJourney::text(const QString &objectName) const
{
    const QQuickItem *found = item(objectName);
    return found ? found->property("text").toString() : QString();
}

QString AppJourney::cardValue(const QString &card) const
{
    QQuickItem *found = item(card);
    QQuickItem *value = found ? itemIn(found, QStringLiteral("summaryValue")) : nullptr;
    return value ? value->property("text").toString() : QString();
}

bool AppJourney::click(const QString &objectName)
{
    return clickItem(item(objectName));
}

bool AppJourney::clickItem(QQuickItem *item)
{
    return item && clickAt(item, QPointF(item->width() / 2, item->height() / 2));
}

bool AppJourney::clickAt(QQuickItem *item, QPointF local)
{
    if (!item || !isShown(item) || !item->isEnabled())
        return false;
    QTest::mouseClick(window(), Qt::LeftButton, {}, item->mapToScene(local).toPoint());
    settle();
    return true;
}

bool AppJourney::doubleClickItem(QQuickItem *item)
{
    if (!item || !isShown(item) || !item->isEnabled())
        return false;
    const QPointF centre = item->mapToScene(QPointF(item->width() / 2, item->height() / 2));
    QTest::mouseDClick(window(), Qt::LeftButton, {}, centre.toPoint());
    settle();
    return true;
}

void AppJourney::key(int key)
{
    QTest::keyClick(window(), Qt::Key(key));
    settle();
}

bool AppJourney::openModule(const QString &entry, const QString &title)
{
    if (!click(entry) || !waitForText(QStringLiteral("workspaceTitle"), title, 3000))
        return false;
    watchModels();
    return true;
}

void AppJourney::watchModels() const
{
    for (const QObject *owner : {screen(), scanner()}) {
        const QMetaObject *meta = owner ? owner->metaObject() : nullptr;
        for (int i = 0; meta && i < meta->propertyCount(); ++i) {
            auto *model = meta->property(i).read(owner).value<QAbstractItemModel *>();
            if (model && !model->findChild<QAbstractItemModelTester *>())
                new QAbstractItemModelTester(
                    model, QAbstractItemModelTester::FailureReportingMode::QtTest, model);
        }
    }
}

bool AppJourney::chooseFolder(const QString &folder, bool highlightLast)
{
    return click(QStringLiteral("headerButton")) &&
           waitFor([this] { return chooserIsOpen(); }, 3000) &&
           navigateChooser(folder, highlightLast) && click(QStringLiteral("chooserAccept")) &&
           !chooserIsOpen();
}

bool AppJourney::tickRow(const QString &list, const char *role, const QString &value)
{
    QQuickItem *found = row(list, role, value);
    return found && clickItem(itemIn(found, QStringLiteral("rowCheckBox")));
}

bool AppJourney::confirmSelectionAction(const QString &dialogTitle)
{
    return click(QStringLiteral("selectionActionButton")) &&
           (dialogTitle.isEmpty() || text(QStringLiteral("dialogTitle")) == dialogTitle) &&
           click(QStringLiteral("dialogConfirmButton"));
}

QString AppJourney::textIn(const QString &scope, const QString &objectName) const
{
    QQuickItem *outer = item(scope);
    QQuickItem *found = outer ? itemIn(outer, objectName) : nullptr;
    return found ? found->property("text").toString() : QString();
}

bool AppJourney::waitForText(const QString &objectName, const QString &wanted, int timeoutMs) const
{
    return waitFor([&] { return text(objectName) == wanted; }, timeoutMs);
}

bool AppJourney::waitFor(const std::function<bool()> &condition, int timeoutMs) const
{
    return QTest::qWaitFor(condition, timeoutMs);
}

void AppJourney::settle(int ms) const
{
    QElapsedTimer timer;
    timer.start();
    while (timer.elapsed() < ms) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }
}

QObject *AppJourney::screen() const
{
    const QQuickItem *loader = item(QStringLiteral("moduleScreen"));
    return loader ? loader->property("item").value<QObject *>() : nullptr;
}

QObject *AppJourney::scanner() const
{
    const QObject *open = screen();
    return open ? open->property("scanner").value<QObject *>() : nullptr;
}

bool AppJourney::waitForScans(int count, int timeoutMs) const
{
    return waitFor(
        [this, count] {
            const QObject *s = scanner();
            return s && s->property("completedScanCount").toInt() >= count &&
                   !s->property("isScanning").toBool();
        },
        timeoutMs);
}

bool AppJourney::chooserIsOpen() const
{
    return item(QStringLiteral("folderChooser")) != nullptr;
}

bool AppJourney::navigateChooser(const QString &folder, bool highlightLast)
{
    const QString shown = text(QStringLiteral("chooserPath"));
    if (!folder.startsWith(shown + QLatin1Char('/')))
        return false;
    const QStringList steps = folder.mid(shown.size() + 1).split(QLatin1Char('/'));
    for (int i = 0; i < steps.size(); ++i) {
        const QString name = QStringLiteral("chooserFolder_") + steps.at(i);
        QQuickItem *entry = waitForItem(name);
        if (!entry)
            return false;
        const bool last = i == steps.size() - 1;
        if (last && highlightLast)
            return clickItem(entry);
        const QString target = text(QStringLiteral("chooserPath")) + QLatin1Char('/') + steps.at(i);
        if (!doubleClickItem(entry) ||
            !waitFor([&] { return text(QStringLiteral("chooserPath")) == target; }, 3000))
            return false;
    }
    return true;
}

QString AppJourney::trashedFile(const QString &name) const
{
    return m_env.trashFiles() + QLatin1Char('/') + name;
}

QString AppJourney::trashInfoPath(const QString &name) const
{
    QFile info(m_env.dataHome() + QStringLiteral("/Trash/info/") + name +
               QStringLiteral(".trashinfo"));
    if (!info.open(QIODevice::ReadOnly))
        return {};
    const QList<QByteArray> lines = info.readAll().split('\n');
    for (const QByteArray &line : lines)
        if (line.startsWith("Path="))
            return QUrl::fromPercentEncoding(line.mid(5));
    return {};
}

QStringList AppJourney::trashNames() const
{
    return QDir(m_env.trashFiles())
        .entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                   QDir::Name);
}
