#include "ProtectionRules.h"

#include "FileLocation.h"
#include "FileWalker.h"
#include "PropertyList.h"
#include "SystemLayout.h"

namespace ProtectionRules {

namespace {

bool containsAny(const QString &text, std::initializer_list<const char *> parts)
{
    for (const char *part : parts)
        if (text.contains(QLatin1String(part)))
            return true;
    return false;
}

bool nameIsHidden(const EntryInfo &entry)
{
    return entry.name.startsWith(QLatin1Char('.'));
}

// The fields every rule fills the same way.
SecurityFinding base(const EntryInfo &entry, SecurityFindingType type, const QString &name)
{
    SecurityFinding f;
    f.url = entry.path;
    f.name = name;
    f.path = FileLocation::deletingLastPathComponent(entry.path);
    f.type = type;
    f.size = entry.allocatedSize > 0 ? entry.allocatedSize : entry.fileSize;
    f.modificationDateMs = entry.modificationTimeMs;
    f.identity = {entry.device, entry.inode, entry.fileSize, entry.modificationTimeMs};
    return f;
}

void signWith(SecurityFinding &f, const SignatureInformation &signature)
{
    f.teamIdentifier = signature.teamIdentifier;
    f.signatureDescription = signature.description;
}

QString nameWithoutExtension(const QString &name)
{
    const QString ext = FileLocation::pathExtension(name);
    return ext.isEmpty() ? name : name.left(name.size() - ext.size() - 1);
}

} // namespace

const QStringList &downloadExtensions()
{
    static const QStringList list{"app",     "pkg", "dmg",  "mobileconfig",
                                  "command", "sh",  "bash", "zsh"};
    return list;
}

const QStringList &downloadedScriptExtensions()
{
    static const QStringList list{"command", "sh", "bash", "zsh"};
    return list;
}

const QStringList &scriptExtensions()
{
    static const QStringList list{"command", "sh", "bash", "zsh", "py", "rb", "pl", "js"};
    return list;
}

std::pair<qint64, int> directoryStatistics(const QString &path)
{
    qint64 size = 0;
    int count = 0;
    FileWalker::walk(path, SkipHiddenFiles, [&](const EntryInfo &entry) {
        if (entry.isReadable && !entry.isSymbolicLink && entry.isRegularFile) {
            size += entry.allocatedSize > 0 ? entry.allocatedSize : entry.fileSize;
            ++count;
        }
        return FileWalker::Action::Continue;
    });
    return {size, count};
}

QString lowerPath(const QString &path)
{
    return SystemLayout::pathRelativeToRoot(path).toLower();
}

bool isLaunchLocation(const QString &path)
{
    const QString lower = lowerPath(path);
    return lower.contains(QLatin1String("/launchagents/")) ||
           lower.contains(QLatin1String("/launchdaemons/"));
}

SecurityFinding analyzeApplication(const EntryInfo &entry, const SignatureOf &signatureOf)
{
    const SignatureInformation signature = signatureOf(entry.path);
    const std::optional<BundleInfo> info = BundleInfo::read(entry.path);
    const std::optional<QString> identifier = info && !info->identifier.isEmpty()
                                                  ? std::optional<QString>(info->identifier)
                                                  : signature.identifier;
    const QString lower = lowerPath(entry.path);
    const bool systemOrApple =
        lower.startsWith(QLatin1String("/system/")) ||
        (identifier && identifier->toLower().startsWith(QLatin1String("com.apple.")));
    const bool inApplications = lower.startsWith(QLatin1String("/applications/"));
    const bool unusual =
        containsAny(lower, {"/downloads/", "/tmp/", "/private/var/", "/users/shared/"});
    const bool hidden = entry.isHidden || nameIsHidden(entry);

    SecurityFinding f =
        base(entry, SecurityFindingType::application, nameWithoutExtension(entry.name));
    f.bundleIdentifier = identifier;
    signWith(f, signature);
    f.size = directoryStatistics(entry.path).first;
    if (signature.isValid && systemOrApple) {
        f.level = ThreatLevel::protected_;
        f.reasons = {QStringLiteral("Aplicación válida integrada o firmada por Apple.")};
    } else if (signature.isValid) {
        f.level = ThreatLevel::safe;
        f.reasons = {QStringLiteral("La firma digital es válida.")};
    } else if (!entry.isHidden && signature.teamIdentifier && inApplications &&
               !nameIsHidden(entry)) {
        f.level = ThreatLevel::review;
        f.reasons = {QStringLiteral("La aplicación tiene firma, pero la validación completa no "
                                    "terminó correctamente."),
                     QStringLiteral("Puede ocurrir después de una actualización o por componentes "
                                    "auxiliares antiguos.")};
    } else if (signature.wasCreated && (unusual || hidden)) {
        f.level = ThreatLevel::dangerous;
        f.reasons = {QStringLiteral("La firma digital no es válida y la aplicación está en una "
                                    "ubicación inusual u oculta.")};
    } else if (!signature.wasCreated && (unusual || hidden)) {
        f.level = ThreatLevel::suspicious;
        f.reasons = {
            QStringLiteral("Aplicación sin firma verificable en una ubicación inusual u oculta.")};
    } else {
        f.level = ThreatLevel::review;
        f.reasons = {QStringLiteral("No fue posible validar completamente la firma."),
                     QStringLiteral("Esto no significa automáticamente que sea malware.")};
    }
    return f;
}

SecurityFinding analyzeDownloadedItem(const EntryInfo &entry)
{
    const QString ext = FileLocation::pathExtension(entry.name).toLower();
    const QString first =
        QStringLiteral("Archivo ejecutable o instalador localizado en Descargas.");
    SecurityFinding f = base(entry, SecurityFindingType::installer, entry.name);
    f.signatureDescription = QStringLiteral("Pendiente de revisión manual");
    if (downloadedScriptExtensions().contains(ext)) {
        f.type = SecurityFindingType::script;
        f.level = ThreatLevel::suspicious;
        f.reasons = {first,
                     QStringLiteral("Los scripts descargados pueden ejecutar instrucciones al "
                                    "abrirse.")};
    } else {
        if (ext == QLatin1String("mobileconfig"))
            f.type = SecurityFindingType::configuration;
        f.level = ThreatLevel::review;
        f.reasons = {first, QStringLiteral("Revisa su procedencia antes de instalarlo.")};
    }
    return f;
}

SecurityFinding analyzeLaunchItem(const EntryInfo &entry)
{
    const QVariantMap plist = PropertyList::read(entry.path).value_or(QVariantMap());
    const auto stringValue = [&plist](const char *key) -> std::optional<QString> {
        const QVariant v = plist.value(QLatin1String(key));
        return v.typeId() == QMetaType::QString ? std::optional<QString>(v.toString())
                                                : std::nullopt;
    };
    const std::optional<QString> label = stringValue("Label");
    QString program = stringValue("Program").value_or(QString());
    if (!stringValue("Program")) {
        const QVariant args = plist.value(QStringLiteral("ProgramArguments"));
        if (args.typeId() == QMetaType::QVariantList) {
            const QVariantList list = args.toList();
            const bool allStrings = std::all_of(list.cbegin(), list.cend(), [](const QVariant &v) {
                return v.typeId() == QMetaType::QString;
            });
            if (!list.isEmpty() && allStrings)
                program = list.first().toString();
        }
    }
    const QVariant runAtLoadValue = plist.value(QStringLiteral("RunAtLoad"));
    const bool runsAtLoad = runAtLoadValue.typeId() == QMetaType::Bool && runAtLoadValue.toBool();
    const QVariant keepAlive = plist.value(QStringLiteral("KeepAlive"));
    const bool keepsAlive = (keepAlive.typeId() == QMetaType::Bool && keepAlive.toBool()) ||
                            keepAlive.typeId() == QMetaType::QVariantMap;
    const QString lowerProgram = program.toLower();
    const bool partOfMacOS = (label && label->toLower().startsWith(QLatin1String("com.apple."))) ||
                             lowerProgram.startsWith(QLatin1String("/system/")) ||
                             lowerProgram.startsWith(QLatin1String("/usr/libexec/"));
    const bool unusual = containsAny(lowerProgram, {"/downloads/", "/tmp/", "/private/var/tmp/",
                                                    "/users/shared/", "/."}) ||
                         lowerProgram.endsWith(QLatin1String(".command")) ||
                         lowerProgram.endsWith(QLatin1String(".sh"));

    SecurityFinding f = base(entry, SecurityFindingType::launchItem,
                             label ? *label : nameWithoutExtension(entry.name));
    f.bundleIdentifier = label;
    f.signatureDescription = QStringLiteral("Configuración de inicio automático");
    if (partOfMacOS) {
        f.level = ThreatLevel::protected_;
        f.reasons = {QStringLiteral("Elemento de inicio perteneciente a macOS.")};
    } else if (unusual && (runsAtLoad || keepsAlive)) {
        f.level = ThreatLevel::dangerous;
        f.reasons = {
            QStringLiteral("Ejecuta automáticamente un archivo desde una ubicación inusual.")};
    } else if (unusual) {
        f.level = ThreatLevel::suspicious;
        f.reasons = {QStringLiteral("Apunta a una ruta o script poco habitual.")};
    } else {
        f.level = ThreatLevel::review;
        f.reasons = {QStringLiteral("Puede iniciarse automáticamente con tu sesión o con macOS.")};
    }
    if (runsAtLoad)
        f.reasons << QStringLiteral("Está configurado para arrancar automáticamente.");
    if (keepsAlive)
        f.reasons << QStringLiteral("Está configurado para mantenerse activo.");
    if (!program.isEmpty())
        f.reasons << QStringLiteral("Ejecutable: ") + program;
    return f;
}

SecurityFinding analyzePrivilegedHelper(const EntryInfo &entry, const SignatureOf &signatureOf)
{
    const SignatureInformation signature = signatureOf(entry.path);
    SecurityFinding f = base(entry, SecurityFindingType::executable, entry.name);
    f.bundleIdentifier = signature.identifier;
    signWith(f, signature);
    f.reasons = {QStringLiteral("Herramienta con permisos elevados instalada por una aplicación.")};
    if (signature.isValid) {
        f.level = ThreatLevel::review;
        f.reasons << QStringLiteral("La firma digital es válida, pero conviene identificar qué "
                                    "aplicación la instaló.");
    } else if (!nameIsHidden(entry)) {
        f.level = ThreatLevel::review;
        f.reasons << QStringLiteral("La firma no pudo validarse completamente.");
    } else {
        f.level = ThreatLevel::suspicious;
        f.reasons << QStringLiteral("La herramienta está oculta y su firma no pudo validarse.");
    }
    return f;
}

std::optional<SecurityFinding> analyzeExecutable(const EntryInfo &entry, bool isScript,
                                                 const SignatureOf &signatureOf)
{
    const bool hidden = entry.isHidden || nameIsHidden(entry);
    const bool unusual = containsAny(
        lowerPath(entry.path), {"/downloads/", "/tmp/", "/private/var/tmp/", "/users/shared/"});
    if (!hidden && !unusual)
        return std::nullopt;
    SecurityFinding f =
        base(entry, isScript ? SecurityFindingType::script : SecurityFindingType::executable,
             entry.name);
    SignatureInformation signature;
    if (isScript) {
        f.signatureDescription = QStringLiteral("No aplica");
    } else {
        signature = signatureOf(entry.path);
        f.bundleIdentifier = signature.identifier;
        signWith(f, signature);
    }
    if (hidden)
        f.reasons << QStringLiteral("El archivo ejecutable está oculto.");
    if (unusual)
        f.reasons << QStringLiteral(
            "Está ubicado en una carpeta temporal, compartida o de descargas.");
    if (unusual && !isScript && signature.wasCreated && !signature.isValid) {
        f.reasons << QStringLiteral("La firma digital no es válida.");
        f.level = ThreatLevel::dangerous;
    } else {
        f.level = hidden && unusual ? ThreatLevel::suspicious : ThreatLevel::review;
    }
    return f;
}

} // namespace ProtectionRules
