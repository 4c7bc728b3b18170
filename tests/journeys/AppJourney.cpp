#include "AppJourney.h"

#include <QAbstractItemModelTester>
#include <QCoreApplication>
#include <QDir>
#include <QMetaProperty>
#include <QQuickItem>
#include <QQuickWindow>
#include <QSettings>
#include <QUrl>

namespace {

bool isShown(const QQuickItem *item)
{
    for (const QQuickItem *i = item; i; i = i->parentItem())
        if (!i->isVisible() || i->opacity() <= 0)
            return false;
    return item->window() != nullptr;
}

// Every shown item of that name below scope in the visual tree (dialogs live in
// the window's overlay, which is part of that tree too).
void collectShown(QQuickItem *scope, const QString &objectName, QList<QQuickItem *> *found)
{
    const QList<QQuickItem *> children = scope->childItems();
    for (QQuickItem *child : children) {
        if (child->objectName() == objectName && isShown(child))
            *found << child;
        collectShown(child, objectName, found);
    }
}

} // namespace

QString AppJourney::textOf(const QQuickItem *item)
{
    return item ? item->property("text").toString() : QString();
}

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
           waitForItem(QStringLiteral("dashboard"), 3000);
}

bool AppJourney::restart()
{
    m_app.reset();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    return start();
}

QQuickItem *AppJourney::item(const QString &objectName) const
{
    return itemIn(window()->contentItem(), objectName);
}

QQuickItem *AppJourney::itemIn(QQuickItem *scope, const QString &objectName) const
{
    const QList<QQuickItem *> shown = allIn(scope, objectName);
    return shown.isEmpty() ? nullptr : shown.first();
}

QList<QQuickItem *> AppJourney::allIn(QQuickItem *scope, const QString &objectName) const
{
    QList<QQuickItem *> shown;
    if (scope)
        collectShown(scope, objectName, &shown);
    return shown;
}

QQuickItem *AppJourney::waitForItem(const QString &objectName, int timeoutMs) const
{
    QQuickItem *found = nullptr;
    waitFor([&] { return (found = item(objectName)) != nullptr; }, timeoutMs);
    return found;
}

void AppJourney::visitRows(const QString &list,
                           const std::function<bool(QQuickItem *)> &visit) const
{
    QQuickItem *view = item(list);
    const int count = view ? view->property("count").toInt() : 0;
    for (int i = 0; i < count; ++i) {
        // Only rows in view exist (and are reused): scroll to it, read it at once.
        QMetaObject::invokeMethod(view, "positionViewAtIndex", Q_ARG(int, i), Q_ARG(int, 0));
        settle(30);
        QQuickItem *delegate = nullptr;
        waitFor(
            [&] {
                QMetaObject::invokeMethod(view, "itemAtIndex", Q_RETURN_ARG(QQuickItem *, delegate),
                                          Q_ARG(int, i));
                return delegate != nullptr;
            },
            2000);
        if (delegate && visit(delegate))
            return;
    }
}

QQuickItem *AppJourney::row(const QString &list, const char *role, const QString &value) const
{
    QQuickItem *found = nullptr;
    visitRows(list, [&](QQuickItem *delegate) {
        if (delegate->property(role).toString() == value && isShown(delegate))
            found = delegate;
        return found != nullptr;
    });
    return found;
}

QStringList AppJourney::selectedRows(const QString &list, const char *role) const
{
    QStringList values;
    visitRows(list, [&](QQuickItem *delegate) {
        if (delegate->property("selected").toBool())
            values << delegate->property(role).toString();
        return false;
    });
    return values;
}

QString AppJourney::text(const QString &objectName) const
{
    return textOf(item(objectName));
}

QString AppJourney::textIn(const QString &scope, const QString &objectName) const
{
    return textOf(itemIn(item(scope), objectName));
}

QString AppJourney::textInRow(const QString &list, const char *role, const QString &value,
                              const QString &objectName) const
{
    return textOf(itemIn(row(list, role, value), objectName));
}

bool AppJourney::leave(const QString &banner)
{
    return click(QStringLiteral("backButton")) && text(QStringLiteral("activityBanner")) == banner;
}

bool AppJourney::press(QQuickItem *item, std::optional<QPointF> local, bool twice)
{
    if (!item || !isShown(item) || !item->isEnabled())
        return false;
    const QPoint at =
        item->mapToScene(local.value_or(QPointF(item->width() / 2, item->height() / 2))).toPoint();
    if (twice)
        QTest::mouseDClick(window(), Qt::LeftButton, {}, at);
    else
        QTest::mouseClick(window(), Qt::LeftButton, {}, at);
    settle();
    return true;
}

void AppJourney::key(int key)
{
    QTest::keyClick(window(), Qt::Key(key));
    settle();
}

bool AppJourney::openModule(const QString &entry, const QString &title, int scans)
{
    if (!click(entry) || !waitForText(QStringLiteral("workspaceTitle"), title, 3000))
        return false;
    watchModels();
    return scans < 0 || waitForScans(scans);
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

bool AppJourney::openChooser()
{
    return click(QStringLiteral("headerButton")) &&
           waitFor([this] { return chooserIsOpen(); }, 3000);
}

bool AppJourney::chooseFolder(const QString &folder, bool highlightLast)
{
    return openChooser() && navigateChooser(folder, highlightLast) &&
           click(QStringLiteral("chooserAccept")) && !chooserIsOpen();
}

bool AppJourney::confirmSelectionAction(const QString &dialogTitle)
{
    return click(QStringLiteral("selectionActionButton")) &&
           (dialogTitle.isEmpty() || text(QStringLiteral("dialogTitle")) == dialogTitle) &&
           click(QStringLiteral("dialogConfirmButton"));
}

bool AppJourney::waitForText(const QString &objectName, const QString &wanted, int timeoutMs) const
{
    return waitFor([&] { return text(objectName) == wanted; }, timeoutMs);
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

bool AppJourney::navigateChooser(const QString &folder, bool highlightLast)
{
    const QString shown = text(QStringLiteral("chooserPath"));
    if (!folder.startsWith(shown + QLatin1Char('/')))
        return false;
    const QStringList steps = folder.mid(shown.size() + 1).split(QLatin1Char('/'));
    for (int i = 0; i < steps.size(); ++i) {
        QQuickItem *entry = waitForItem(QStringLiteral("chooserFolder_") + steps.at(i));
        if (highlightLast && i == steps.size() - 1)
            return clickItem(entry);
        const QString target = text(QStringLiteral("chooserPath")) + QLatin1Char('/') + steps.at(i);
        if (!press(entry, {}, true) ||
            !waitFor([&] { return text(QStringLiteral("chooserPath")) == target; }, 3000))
            return false;
    }
    return true;
}

QString AppJourney::trashInfoPath(const QString &name) const
{
    const QSettings info(m_env.dataHome() + QStringLiteral("/Trash/info/") + name +
                             QStringLiteral(".trashinfo"),
                         QSettings::IniFormat);
    return QUrl::fromPercentEncoding(info.value(QStringLiteral("Trash Info/Path")).toByteArray());
}

QStringList AppJourney::trashNames() const
{
    return QDir(m_env.trashFiles())
        .entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                   QDir::Name);
}
