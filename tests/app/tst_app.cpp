#include "SymbolCatalogue.h"
#include "SymbolTable.h"
#include "VelmoraModule.h"
#include "VelmoraWindowDelegate.h"

#include <QDirIterator>
#include <QFile>
#include <QFontDatabase>
#include <QGuiApplication>
#include <QRawFont>
#include <QRegularExpression>
#include <QScreen>
#include <QWindow>
#include <QtTest>

// The app's own pieces: the modules by their raw values, the symbols the
// screens name, and where the first window goes.
class TestApp : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void modulesByRawValue();
    void everySymbolInTheScreensHasAGlyph();
    void firstWindowIsPlacedAfterTheDelay_data();
    void firstWindowIsPlacedAfterTheDelay();
};

void TestApp::modulesByRawValue()
{
    QStringList raws;
    for (VelmoraModule module : VelmoraModules::allCases) {
        raws << VelmoraModules::rawValue(module);
        QCOMPARE(VelmoraModules::fromRawValue(VelmoraModules::rawValue(module)), module);
        QCOMPARE(VelmoraModules::id(module), VelmoraModules::rawValue(module));
    }
    QCOMPARE(raws,
             QStringList({"largeFiles", "duplicates", "safeCleanup", "uninstaller", "protection"}));
    for (const char *text : {"LargeFiles", "", "largefiles", " largeFiles", "protection "})
        QVERIFY2(!VelmoraModules::fromRawValue(QString::fromLatin1(text)).has_value(), text);

    VelmoraModuleCatalog catalog;
    QCOMPARE(catalog.allCases().size(), 5);
    QVERIFY(catalog.title("nothing").isEmpty());
    QVERIFY(!catalog.isModule("Protection"));
}

void TestApp::everySymbolInTheScreensHasAGlyph()
{
    // Symbol names appear as `symbol: "…"` and `name: "…"` properties and in the
    // module catalogue.
    const QRegularExpression pattern(
        QStringLiteral(R"(\b(?:\w*[sS]ymbol|name)\s*:\s*"([a-z0-9.]+)\")"));
    QStringList names;
    QDirIterator it(QStringLiteral(VELMORA_SOURCE_DIR "/src"), {QStringLiteral("*.qml")},
                    QDir::Files, QDirIterator::Subdirectories);
    int files = 0;
    while (it.hasNext()) {
        QFile file(it.next());
        QVERIFY(file.open(QIODevice::ReadOnly));
        ++files;
        const QString text = QString::fromUtf8(file.readAll());
        for (const QRegularExpressionMatch &m : pattern.globalMatch(text))
            names << m.captured(1);
    }
    for (VelmoraModule module : VelmoraModules::allCases)
        names << VelmoraModules::symbol(module);
    QVERIFY(files > 10);
    QVERIFY(names.contains(QStringLiteral("house.fill")));
    QStringList missing;
    for (const QString &name : names)
        if (!SymbolCatalogue::contains(name))
            missing << name;
    QVERIFY2(missing.isEmpty(), qPrintable(missing.join(QStringLiteral(", "))));

    const int id = QFontDatabase::addApplicationFont(
        QStringLiteral(":/Velmora/fonts/MaterialIcons-Regular.ttf"));
    QVERIFY2(id >= 0, "the icon font is embedded");
    QFile fontFile(QStringLiteral(":/Velmora/fonts/MaterialIcons-Regular.ttf"));
    QVERIFY(fontFile.open(QIODevice::ReadOnly));
    const QRawFont raw(fontFile.readAll(), 24);
    QVERIFY(raw.isValid());
    QVERIFY(symbolTable().size() > 20);
    for (auto it = symbolTable().cbegin(); it != symbolTable().cend(); ++it) {
        const QString glyph = SymbolCatalogue::glyph(it.key());
        QCOMPARE(glyph.size(), 1);
        QVERIFY2(raw.supportsCharacter(glyph.at(0)), qPrintable(it.key()));
    }
    QVERIFY(SymbolCatalogue::glyph(QStringLiteral("no.such.symbol")).isEmpty());
}

void TestApp::firstWindowIsPlacedAfterTheDelay_data()
{
    QTest::addColumn<bool>("withWindow");
    QTest::newRow("no window") << false;
    QTest::newRow("a window of another size") << true;
}

void TestApp::firstWindowIsPlacedAfterTheDelay()
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

QTEST_MAIN(TestApp)
#include "tst_app.moc"
