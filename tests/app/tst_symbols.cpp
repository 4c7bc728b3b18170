#include "SymbolCatalogue.h"
#include "SymbolTable.h"
#include "VelmoraModule.h"

#include <QDirIterator>
#include <QFile>
#include <QFontDatabase>
#include <QRawFont>
#include <QRegularExpression>
#include <QtTest>

class TestSymbols : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everySymbolInTheScreensIsMapped();
    void everyMappedGlyphExistsInTheFont();
};

void TestSymbols::everySymbolInTheScreensIsMapped()
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
}

void TestSymbols::everyMappedGlyphExistsInTheFont()
{
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

QTEST_MAIN(TestSymbols)
#include "tst_symbols.moc"
