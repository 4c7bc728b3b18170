#include "VelmoraWindowDelegate.h"

#include <QGuiApplication>
#include <QScreen>
#include <QWindow>
#include <QtTest>

class TestWindowDelegate : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void firstWindowIsPlacedAfterTheDelay_data();
    void firstWindowIsPlacedAfterTheDelay();
};

void TestWindowDelegate::firstWindowIsPlacedAfterTheDelay_data()
{
    QTest::addColumn<bool>("withWindow");
    QTest::newRow("no window") << false;
    QTest::newRow("a window of another size") << true;
}

void TestWindowDelegate::firstWindowIsPlacedAfterTheDelay()
{
    QFETCH(bool, withWindow);
    QVERIFY(QGuiApplication::topLevelWindows().isEmpty());
    std::unique_ptr<QWindow> shown(withWindow ? new QWindow : nullptr);
    if (shown) {
        shown->resize(640, 480); // as if another size had been restored
        shown->setPosition(0, 0);
        shown->show();
    }
    // The delay is held here: the placing runs when the test says.
    QList<int> delays;
    std::function<void()> placing;
    VelmoraWindowDelegate delegate(nullptr,
                                   [&](int ms, QObject *context, std::function<void()> work) {
                                       QCOMPARE(context, &delegate);
                                       delays << ms;
                                       placing = std::move(work);
                                   });
    delegate.applicationDidFinishLaunching();
    QCOMPARE(delays, QList<int>({VelmoraWindowDelegate::kDelayMs}));
    QCoreApplication::processEvents();
    QVERIFY(!shown || shown->size() == QSize(640, 480)); // not before the delay
    placing();
    if (!shown) {
        QVERIFY(QGuiApplication::topLevelWindows().isEmpty());
        return;
    }
    QWindow &window = *shown;
    QTRY_COMPARE(window.size(), QSize(1120, 730));
    QCOMPARE(window.minimumSize(), QSize(980, 680));
    const QRect area = window.screen()->availableGeometry();
    // Centred, give or take what the window system adds for its frame.
    const QPoint offset = window.geometry().center() - area.center();
    QVERIFY2(qAbs(offset.x()) <= 8 && qAbs(offset.y()) <= 8,
             qPrintable(QStringLiteral("off centre by %1,%2").arg(offset.x()).arg(offset.y())));
}

QTEST_MAIN(TestWindowDelegate)
#include "tst_windowdelegate.moc"
