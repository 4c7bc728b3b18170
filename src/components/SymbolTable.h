#pragma once
#include <QHash>
#include <QString>
// Maps each SF Symbol name the screens use to its Material Icons glyph.
const QHash<QString, char16_t> &symbolTable();
