#include "VelmoraWindowDelegate.h"

#include <QGuiApplication>
#include <QScreen>
#include <QWindow>
#include <QtTest>

class TestWindowDelegate : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void withoutWindowNothingHappens();
    void firstWindowIsPlacedAfterTheDelay();
};

void TestWindowDelegate::withoutWindowNothingHappens()
{
    QVERIFY(QGuiApplication::topLevelWindows().isEmpty());
    VelmoraWindowDelegate delegate;
    delegate.applicationDidFinishLaunching();
    QTest::qWait(VelmoraWindowDelegate::kDelayMs + 100);
    QVERIFY(QGuiApplication::topLevelWindows().isEmpty());
}

void TestWindowDelegate::firstWindowIsPlacedAfterTheDelay()
{
    QWindow window;
    window.resize(640, 480); // as if another size had been restored
    window.setPosition(0, 0);
    window.show();
    VelmoraWindowDelegate delegate;
    delegate.applicationDidFinishLaunching();
    QTest::qWait(VelmoraWindowDelegate::kDelayMs / 2);
    QCOMPARE(window.size(), QSize(640, 480)); // not before 0.35 s

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
