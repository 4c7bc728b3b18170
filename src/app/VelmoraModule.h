#pragma once

#include <QObject>
#include <QString>
#include <QStringList>
#include <QtQml/qqmlregistration.h>
#include <array>
#include <optional>

// The five tool modules, in sidebar order.
enum class VelmoraModule
{
    largeFiles,
    duplicates,
    safeCleanup,
    uninstaller,
    protection
};

namespace VelmoraModules {

constexpr std::array<VelmoraModule, 5> allCases = {
    VelmoraModule::largeFiles, VelmoraModule::duplicates, VelmoraModule::safeCleanup,
    VelmoraModule::uninstaller, VelmoraModule::protection};

QString rawValue(VelmoraModule module);
inline QString id(VelmoraModule module)
{
    return rawValue(module);
}
// Nothing for any text that is not exactly one of the five raw values.
std::optional<VelmoraModule> fromRawValue(const QString &raw);
QString title(VelmoraModule module);
QString symbol(VelmoraModule module);
QString accent(VelmoraModule module); // the platform's named colour, as "#RRGGBB"
QString summary(VelmoraModule module);

} // namespace VelmoraModules

// The catalogue as QML sees it: modules are named by their raw value, and an
// unknown raw value gives empty texts.
class VelmoraModuleCatalog : public QObject
{
    Q_OBJECT
    QML_NAMED_ELEMENT(VelmoraModule)
    QML_SINGLETON
    Q_PROPERTY(QStringList allCases READ allCases CONSTANT)

public:
    using QObject::QObject;

    QStringList allCases() const;
    Q_INVOKABLE bool isModule(const QString &raw) const;
    Q_INVOKABLE QString title(const QString &raw) const;
    Q_INVOKABLE QString symbol(const QString &raw) const;
    Q_INVOKABLE QString accent(const QString &raw) const;
    Q_INVOKABLE QString summary(const QString &raw) const;
};
