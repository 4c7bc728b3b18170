#pragma once

#include <QObject>
#include <QString>
#include <QtQml/qqmlregistration.h>

// Turns the symbol names the screens use into glyphs of the embedded icon font.
class SymbolCatalogue : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON

public:
    using QObject::QObject;

    // The glyph as a one-character string; empty when the name has no mapping.
    Q_INVOKABLE static QString glyph(const QString &symbolName);
    Q_INVOKABLE static bool contains(const QString &symbolName);
};
