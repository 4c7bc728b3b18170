#include "SymbolCatalogue.h"

#include "SymbolTable.h"

QString SymbolCatalogue::glyph(const QString &symbolName)
{
    const auto it = symbolTable().constFind(symbolName);
    if (it == symbolTable().cend())
        return {};
    return QString(QChar(*it));
}

bool SymbolCatalogue::contains(const QString &symbolName)
{
    return symbolTable().contains(symbolName);
}
