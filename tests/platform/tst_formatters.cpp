#include "DiskStatus.h"
#include "Formatters.h"

#include <QtTest>

class TestFormatters : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void generalBytes_data();
    void generalBytes();
    void diskBytes();
    void decimalSeparatorFollowsTheLocale();
    void dates();
    void diskShare();
};

void TestFormatters::generalBytes_data()
{
    QTest::addColumn<qint64>("bytes");
    QTest::addColumn<QString>("text");
    QTest::newRow("zero") << qint64(0) << "0 KB";
    QTest::newRow("negative") << qint64(-5) << "0 KB";
    QTest::newRow("one byte is never zero") << qint64(1) << "1 KB";
    QTest::newRow("1000") << qint64(1000) << "1 KB";
    QTest::newRow("1499") << qint64(1499) << "1 KB";
    QTest::newRow("1500 rounds up") << qint64(1500) << "2 KB";
    QTest::newRow("999499") << qint64(999499) << "999 KB";
    QTest::newRow("999999 shows the next unit") << qint64(999999) << "1 MB";
    QTest::newRow("1 MB exactly") << qint64(1000000) << "1 MB";
    QTest::newRow("1.5 MB") << qint64(1500000) << "1.5 MB";
    QTest::newRow("MiB is not MB") << qint64(1048576) << "1 MB";
    QTest::newRow("12.3 MB") << qint64(12345678) << "12.3 MB";
    QTest::newRow("500 MiB") << qint64(524288000) << "524.3 MB";
    QTest::newRow("999.95 MB carries") << qint64(999950000) << "1 GB";
    QTest::newRow("2.35 GB") << qint64(2345678901) << "2.35 GB";
    QTest::newRow("2.5 GB drops the zero") << qint64(2500000000) << "2.5 GB";
    QTest::newRow("1.5 TB") << qint64(1500000000000) << "1.5 TB";
    QTest::newRow("no PB") << qint64(5000000000000000) << "5000 TB";
}

void TestFormatters::generalBytes()
{
    QFETCH(qint64, bytes);
    QFETCH(QString, text);
    QCOMPARE(Formatters::bytes(bytes, QLocale::c()), text);
}

void TestFormatters::diskBytes()
{
    const QLocale c = QLocale::c();
    QCOMPARE(Formatters::diskBytes(0, c), QStringLiteral("0 GB"));
    QCOMPARE(Formatters::diskBytes(500000000, c), QStringLiteral("0.5 GB"));
    QCOMPARE(Formatters::diskBytes(85312345678, c), QStringLiteral("85.31 GB"));
    QCOMPARE(Formatters::diskBytes(994000000000, c), QStringLiteral("994 GB"));
    QCOMPARE(Formatters::diskBytes(1234567890123, c), QStringLiteral("1.23 TB"));
}

void TestFormatters::decimalSeparatorFollowsTheLocale()
{
    const QLocale spanish(QLocale::Spanish, QLocale::Spain);
    QCOMPARE(Formatters::bytes(1500000, spanish), QStringLiteral("1,5 MB"));
    QCOMPARE(Formatters::bytes(2345678901, spanish), QStringLiteral("2,35 GB"));
    QCOMPARE(Formatters::diskBytes(1234567890123, spanish), QStringLiteral("1,23 TB"));
    // No grouping separator inside the number.
    QCOMPARE(Formatters::bytes(5000000000000000, spanish), QStringLiteral("5000 TB"));
}

void TestFormatters::dates()
{
    const QDateTime when(QDate(2026, 11, 23), QTime(16, 5), Qt::LocalTime);
    const QLocale spanish(QLocale::Spanish, QLocale::Spain);
    QCOMPARE(Formatters::mediumDate(when, spanish), QStringLiteral("23 nov 2026"));
    QCOMPARE(Formatters::mediumDateTime(when, spanish), QStringLiteral("23 nov 2026, 16:05"));
    const QLocale us(QLocale::English, QLocale::UnitedStates);
    QCOMPARE(Formatters::mediumDate(when, us), QStringLiteral("Nov 23, 2026"));
    QVERIFY(Formatters::mediumDateTime(when, us).startsWith(QLatin1String("Nov 23, 2026, 4:05")));
    // Without a language (LANG unset) the time still has no seconds.
    QVERIFY(Formatters::mediumDateTime(when, QLocale::c()).endsWith(QLatin1String(":05")));
    QCOMPARE(Formatters::mediumDate(QDateTime(), us), QString());
}

void TestFormatters::diskShare()
{
    QCOMPARE((DiskInformation{25, 100}).usedPercent(), 75);
    QCOMPARE((DiskInformation{1, 3}).usedPercent(), 66); // truncated, not rounded
    QCOMPARE((DiskInformation{0, 0}).usedShare(), 0.0);
    QCOMPARE((DiskInformation{0, 0}).usedPercent(), 0);
    QCOMPARE((DiskInformation{500, 100}).usedShare(), 0.0); // free above total
    QCOMPARE((DiskInformation{-10, 100}).usedShare(), 1.0);

    DiskStatus status;
    QSignalSpy changed(&status, &DiskStatus::changed);
    status.setTotalBytes(0);
    status.setFreeBytes(0);
    QCOMPARE(status.usedPercent(), 0);
    QCOMPARE(status.freeText(), Formatters::diskBytes(0));
    const int before = changed.count();
    status.setFreeBytes(0);
    QCOMPARE(changed.count(), before); // no signal without a change
}

QTEST_GUILESS_MAIN(TestFormatters)
#include "tst_formatters.moc"
