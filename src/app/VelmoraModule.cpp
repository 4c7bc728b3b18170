#include "VelmoraModule.h"

namespace VelmoraModules {

namespace {

struct Entry
{
    const char *raw;
    const char *title;
    const char *symbol;
    const char *accent;
    const char *summary;
};

// Accents are the Mac's named system colours in dark appearance.
const Entry &entry(VelmoraModule module)
{
    static const Entry entries[] = {
        {"largeFiles", "Archivos grandes", "externaldrive.fill", "#0A84FF",
         "Localiza los archivos que más espacio ocupan."},
        {"duplicates", "Duplicados", "square.on.square", "#BF5AF2",
         "Encuentra archivos repetidos en tu Mac."},
        {"safeCleanup", "Limpieza segura", "sparkles", "#64D2FF",
         "Analiza cachés y archivos temporales."},
        {"uninstaller", "Desinstalación profunda", "trash.fill", "#FF9F0A",
         "Elimina aplicaciones y archivos relacionados."},
        {"protection", "Protección", "shield.lefthalf.filled", "#30D158",
         "Revisa ubicaciones importantes del sistema."},
    };
    return entries[static_cast<int>(module)];
}

} // namespace

QString rawValue(VelmoraModule module)
{
    return QString::fromUtf8(entry(module).raw);
}

std::optional<VelmoraModule> fromRawValue(const QString &raw)
{
    for (VelmoraModule module : allCases)
        if (rawValue(module) == raw)
            return module;
    return std::nullopt;
}

QString title(VelmoraModule module)
{
    return QString::fromUtf8(entry(module).title);
}
QString symbol(VelmoraModule module)
{
    return QString::fromUtf8(entry(module).symbol);
}
QString accent(VelmoraModule module)
{
    return QString::fromUtf8(entry(module).accent);
}
QString summary(VelmoraModule module)
{
    return QString::fromUtf8(entry(module).summary);
}

} // namespace VelmoraModules

QStringList VelmoraModuleCatalog::allCases() const
{
    QStringList raws;
    for (VelmoraModule module : VelmoraModules::allCases)
        raws.append(VelmoraModules::rawValue(module));
    return raws;
}

bool VelmoraModuleCatalog::isModule(const QString &raw) const
{
    return VelmoraModules::fromRawValue(raw).has_value();
}

template <typename Get> static QString valueFor(const QString &raw, Get get)
{
    const auto module = VelmoraModules::fromRawValue(raw);
    return module ? get(*module) : QString();
}

QString VelmoraModuleCatalog::title(const QString &raw) const
{
    return valueFor(raw, VelmoraModules::title);
}
QString VelmoraModuleCatalog::symbol(const QString &raw) const
{
    return valueFor(raw, VelmoraModules::symbol);
}
QString VelmoraModuleCatalog::accent(const QString &raw) const
{
    return valueFor(raw, VelmoraModules::accent);
}
QString VelmoraModuleCatalog::summary(const QString &raw) const
{
    return valueFor(raw, VelmoraModules::summary);
}
