#include "VelmoraModule.h"

#include <QRegularExpression>
#include <QtTest>

class TestVelmoraModule : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void rawValuesRoundTrip();
    void unknownTextYieldsNothing();
    void catalogueForQml();
};

void TestVelmoraModule::rawValuesRoundTrip()
{
    QStringList raws;
    for (VelmoraModule module : VelmoraModules::allCases) {
        raws << VelmoraModules::rawValue(module);
        QCOMPARE(VelmoraModules::fromRawValue(VelmoraModules::rawValue(module)), module);
        QCOMPARE(VelmoraModules::id(module), VelmoraModules::rawValue(module));
        QVERIFY(!VelmoraModules::title(module).isEmpty());
        QVERIFY(QRegularExpression(QStringLiteral("^#[0-9A-F]{6}$"))
                    .match(VelmoraModules::accent(module))
                    .hasMatch());
        QVERIFY(VelmoraModules::summary(module).endsWith(QLatin1Char('.')));
    }
    QCOMPARE(raws,
             QStringList({"largeFiles", "duplicates", "safeCleanup", "uninstaller", "protection"}));
}

void TestVelmoraModule::unknownTextYieldsNothing()
{
    for (const char *text : {"LargeFiles", "", "largefiles", " largeFiles", "protection "})
        QVERIFY2(!VelmoraModules::fromRawValue(QString::fromLatin1(text)).has_value(), text);
}

void TestVelmoraModule::catalogueForQml()
{
    VelmoraModuleCatalog catalog;
    QCOMPARE(catalog.allCases().size(), 5);
    QCOMPARE(catalog.title("safeCleanup"), QStringLiteral("Limpieza segura"));
    QCOMPARE(catalog.symbol("duplicates"), QStringLiteral("square.on.square"));
    QVERIFY(catalog.title("nothing").isEmpty());
    QVERIFY(!catalog.isModule("Protection"));
}

QTEST_GUILESS_MAIN(TestVelmoraModule)
#include "tst_velmoramodule.moc"
