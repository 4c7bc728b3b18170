#include "FileSystem.h"
#include "PropertyList.h"
#include "ProtectionRules.h"
#include "TestEnvironment.h"
#include "TreeBuilder.h"

#include <QtTest>

// Every row of every decision table, each with a near miss beside it. Paths are
// written relative to the system root, where the home folder lies as on a Mac.
namespace {

SignatureInformation signature(const QString &state)
{
    SignatureInformation s;
    if (state == "none")
        return s;
    s.wasCreated = true;
    s.isValid = state == "valid";
    s.identifier = QStringLiteral("sig.identifier");
    if (state == "invalid+team" || state == "valid+team")
        s.teamIdentifier = QStringLiteral("TEAM123456");
    s.isValid = state.startsWith("valid");
    s.description = s.isValid ? QStringLiteral("Firma digital válida")
                              : QStringLiteral("Firma presente; validación incompleta");
    return s;
}

struct Tree
{
    TestEnvironment env;
    TreeBuilder root{env.root()};
    Tree() { qputenv("HOME", QFile::encodeName(env.root() + "/Users/ana")); }
    ~Tree() { qputenv("HOME", QFile::encodeName(env.home())); }
    EntryInfo entry(const QString &relative) const
    {
        const auto values = FileSystem::resourceValues(root.path(relative));
        return values.value_or(EntryInfo{});
    }
};

QString level(ThreatLevel l)
{
    return Threat::caseName(l);
}

} // namespace

class TestProtectionRules : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void application_data();
    void application();
    void downloadedItem_data();
    void downloadedItem();
    void launchItem_data();
    void launchItem();
    void privilegedHelper_data();
    void privilegedHelper();
    void executable_data();
    void executable();
    void orderAndFilters();
};

void TestProtectionRules::application_data()
{
    QTest::addColumn<QString>("place");
    QTest::addColumn<QString>("bundleIdentifier"); // empty: none of its own
    QTest::addColumn<QString>("signature");
    QTest::addColumn<QString>("level");
    QTest::addColumn<int>("reasons");
    QTest::newRow("1 Apple, valid") << "Applications/Safari.app"
                                    << "com.apple.Safari"
                                    << "valid"
                                    << "protected" << 1;
    QTest::newRow("1 system folder, valid") << "System/Applications/Notes.app"
                                            << "com.vendor.x"
                                            << "valid"
                                            << "protected" << 1;
    QTest::newRow("1 near: com.applex") << "Applications/X.app"
                                        << "com.applex.tool"
                                        << "valid"
                                        << "safe" << 1;
    QTest::newRow("1 near: Apple, not valid") << "Applications/Mail.app"
                                              << "com.apple.mail"
                                              << "invalid"
                                              << "review" << 2;
    QTest::newRow("1 signature's identifier") << "Applications/NoId.app"
                                              << ""
                                              << "valid"
                                              << "safe" << 1;
    QTest::newRow("2 valid anywhere") << "Users/ana/Downloads/Tool.app"
                                      << "com.vendor.tool"
                                      << "valid"
                                      << "safe" << 1;
    QTest::newRow("3 team in Applications") << "Applications/Tool.app"
                                            << "com.vendor.tool"
                                            << "invalid+team"
                                            << "review" << 2;
    QTest::newRow("3 near: team in Downloads") << "Users/ana/Downloads/Tool.app"
                                               << "com.vendor.tool"
                                               << "invalid+team"
                                               << "dangerous" << 1;
    QTest::newRow("3 near: hidden name") << "Applications/.Tool.app"
                                         << "com.vendor.tool"
                                         << "invalid+team"
                                         << "dangerous" << 1;
    QTest::newRow("4 tmp") << "tmp/Tool.app"
                           << "com.vendor.tool"
                           << "invalid"
                           << "dangerous" << 1;
    QTest::newRow("4 private var") << "private/var/folders/x/Tool.app"
                                   << "com.vendor.tool"
                                   << "invalid"
                                   << "dangerous" << 1;
    QTest::newRow("4 near: Applications") << "Applications/Tool.app"
                                          << "com.vendor.tool"
                                          << "invalid"
                                          << "review" << 2;
    QTest::newRow("5 shared, unsigned") << "Users/Shared/Tool.app"
                                        << "com.vendor.tool"
                                        << "none"
                                        << "suspicious" << 1;
    QTest::newRow("5 hidden, unsigned") << "Users/ana/Apps/.Tool.app"
                                        << "com.vendor.tool"
                                        << "none"
                                        << "suspicious" << 1;
    QTest::newRow("5 near: Users/ana/Apps") << "Users/ana/Apps/Tool.app"
                                            << "com.vendor.tool"
                                            << "none"
                                            << "review" << 2;
}

void TestProtectionRules::application()
{
    QFETCH(QString, place);
    QFETCH(QString, bundleIdentifier);
    QFETCH(QString, signature);
    QFETCH(QString, level);
    QFETCH(int, reasons);
    Tree tree;
    QVariantMap info{{"CFBundleExecutable", "Tool"}};
    if (!bundleIdentifier.isEmpty())
        info.insert("CFBundleIdentifier", bundleIdentifier);
    tree.root.file(place + "/Contents/MacOS/Tool", QByteArray(5000, 'x'));
    QVERIFY(PropertyList::write(tree.root.path(place + "/Contents/Info.plist"), info, false));
    const SecurityFinding f = ProtectionRules::analyzeApplication(
        tree.entry(place), [&](const QString &) { return ::signature(signature); });
    QCOMPARE(::level(f.level), level);
    QCOMPARE(f.reasons.size(), reasons);
    static const QHash<QString, QStringList> kReasons{
        {"protected", {"Aplicación válida integrada o firmada por Apple."}},
        {"safe", {"La firma digital es válida."}},
        {"dangerous",
         {"La firma digital no es válida y la aplicación está en una ubicación inusual u oculta."}},
        {"suspicious", {"Aplicación sin firma verificable en una ubicación inusual u oculta."}},
    };
    if (kReasons.contains(level))
        QCOMPARE(f.reasons, kReasons.value(level));
    else if (signature == "invalid+team")
        QCOMPARE(f.reasons,
                 QStringList({"La aplicación tiene firma, pero la validación completa no terminó "
                              "correctamente.",
                              "Puede ocurrir después de una actualización o por componentes "
                              "auxiliares antiguos."}));
    else
        QCOMPARE(f.reasons, QStringList({"No fue posible validar completamente la firma.",
                                         "Esto no significa automáticamente que sea malware."}));
    QCOMPARE(f.type, SecurityFindingType::application);
    QCOMPARE(f.name, QFileInfo(place).completeBaseName());
    QCOMPARE(f.path, QFileInfo(tree.root.path(place)).path());
    QCOMPARE(f.bundleIdentifier,
             std::optional<QString>(bundleIdentifier.isEmpty() ? QStringLiteral("sig.identifier")
                                                               : bundleIdentifier));
    QCOMPARE(f.size, tree.entry(place + "/Contents/MacOS/Tool").allocatedSize +
                         tree.entry(place + "/Contents/Info.plist").allocatedSize);
}

void TestProtectionRules::downloadedItem_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("type");
    QTest::addColumn<QString>("level");
    QTest::addColumn<QString>("second");
    const QString scripts = "Los scripts descargados pueden ejecutar instrucciones al abrirse.";
    const QString review = "Revisa su procedencia antes de instalarlo.";
    for (const char *ext : {"command", "sh", "bash", "zsh"})
        QTest::newRow(ext) << QStringLiteral("run.%1").arg(ext) << "script"
                           << "suspicious" << scripts;
    QTest::newRow("upper case SH") << "RUN.SH"
                                   << "script"
                                   << "suspicious" << scripts;
    QTest::newRow("mobileconfig") << "profile.mobileconfig"
                                  << "configuration"
                                  << "review" << review;
    QTest::newRow("dmg") << "setup.dmg"
                         << "installer"
                         << "review" << review;
    QTest::newRow("pkg") << "Installer.pkg"
                         << "installer"
                         << "review" << review;
    QTest::newRow("app file") << "Fake.app"
                              << "installer"
                              << "review" << review;
}

void TestProtectionRules::downloadedItem()
{
    QFETCH(QString, name);
    QFETCH(QString, type);
    QFETCH(QString, level);
    QFETCH(QString, second);
    Tree tree;
    tree.root.file("Users/ana/Downloads/" + name, "data");
    const SecurityFinding f =
        ProtectionRules::analyzeDownloadedItem(tree.entry("Users/ana/Downloads/" + name));
    QCOMPARE(Threat::caseName(f.type), type);
    QCOMPARE(::level(f.level), level);
    QCOMPARE(f.reasons,
             QStringList({"Archivo ejecutable o instalador localizado en Descargas.", second}));
    QCOMPARE(f.name, name);
    QCOMPARE(f.signatureDescription, QStringLiteral("Pendiente de revisión manual"));
    QVERIFY(!f.bundleIdentifier && !f.teamIdentifier);
}

void TestProtectionRules::launchItem_data()
{
    QTest::addColumn<QVariantMap>("plist"); // empty: not a property list at all
    QTest::addColumn<QString>("level");
    QTest::addColumn<QStringList>("reasons");
    const QString boot = "Está configurado para arrancar automáticamente.";
    const QString alive = "Está configurado para mantenerse activo.";
    const QString macos = "Elemento de inicio perteneciente a macOS.";
    const QString unusualAuto = "Ejecuta automáticamente un archivo desde una ubicación inusual.";
    const QString unusual = "Apunta a una ruta o script poco habitual.";
    const QString review = "Puede iniciarse automáticamente con tu sesión o con macOS.";
    QTest::newRow("1 Apple label wins over /tmp")
        << QVariantMap{{"Label", "com.apple.tool"}, {"Program", "/tmp/x"}, {"RunAtLoad", true}}
        << "protected" << QStringList{macos, boot, "Ejecutable: /tmp/x"};
    QTest::newRow("1 /System program")
        << QVariantMap{{"Label", "x"}, {"Program", "/System/Library/x"}} << "protected"
        << QStringList{macos, "Ejecutable: /System/Library/x"};
    QTest::newRow("1 /usr/libexec arguments")
        << QVariantMap{{"ProgramArguments", QVariantList{"/usr/libexec/x", "-v"}}} << "protected"
        << QStringList{macos, "Ejecutable: /usr/libexec/x"};
    QTest::newRow("1 near: /usr/lib") << QVariantMap{{"Program", "/usr/lib/x"}} << "review"
                                      << QStringList{review, "Ejecutable: /usr/lib/x"};
    QTest::newRow("2 shared, run at load")
        << QVariantMap{{"Label", "com.vendor.a"},
                       {"ProgramArguments", QVariantList{"/Users/Shared/Run.app/run"}},
                       {"RunAtLoad", true}}
        << "dangerous" << QStringList{unusualAuto, boot, "Ejecutable: /Users/Shared/Run.app/run"};
    QTest::newRow("2 keep alive as dictionary")
        << QVariantMap{{"Program", "/Users/ana/Downloads/x"}, {"KeepAlive", QVariantMap{}}}
        << "dangerous" << QStringList{unusualAuto, alive, "Ejecutable: /Users/ana/Downloads/x"};
    QTest::newRow("3 near: keep alive false")
        << QVariantMap{{"Program", "/private/var/tmp/x"}, {"KeepAlive", false}} << "suspicious"
        << QStringList{unusual, "Ejecutable: /private/var/tmp/x"};
    QTest::newRow("3 .sh program") << QVariantMap{{"Program", "/opt/tool/Start.SH"}} << "suspicious"
                                   << QStringList{unusual, "Ejecutable: /opt/tool/Start.SH"};
    QTest::newRow("3 hidden folder")
        << QVariantMap{{"Program", "/Users/ana/.cache/run"}} << "suspicious"
        << QStringList{unusual, "Ejecutable: /Users/ana/.cache/run"};
    QTest::newRow("4 near: RunAtLoad a string")
        << QVariantMap{{"Program", "/opt/tool/run"}, {"RunAtLoad", "YES"}} << "review"
        << QStringList{review, "Ejecutable: /opt/tool/run"};
    QTest::newRow("4 arguments not all strings")
        << QVariantMap{{"ProgramArguments", QVariantList{"/tmp/x", 3}}} << "review"
        << QStringList{review};
    QTest::newRow("4 not a property list") << QVariantMap{} << "review" << QStringList{review};
}

void TestProtectionRules::launchItem()
{
    QFETCH(QVariantMap, plist);
    QFETCH(QString, level);
    QFETCH(QStringList, reasons);
    Tree tree;
    const QString rel = "Users/ana/Library/LaunchAgents/com.vendor.agent.plist";
    tree.root.folder("Users/ana/Library/LaunchAgents");
    if (plist.isEmpty())
        tree.root.file(rel, "not a plist");
    else
        QVERIFY(PropertyList::write(tree.root.path(rel), plist, true));
    const SecurityFinding f = ProtectionRules::analyzeLaunchItem(tree.entry(rel));
    QCOMPARE(::level(f.level), level);
    QCOMPARE(f.reasons, reasons);
    QCOMPARE(f.type, SecurityFindingType::launchItem);
    const QVariant label = plist.value("Label");
    QCOMPARE(f.name, label.isValid() ? label.toString() : QStringLiteral("com.vendor.agent"));
    QCOMPARE(f.bundleIdentifier.has_value(), label.isValid());
    QCOMPARE(f.signatureDescription, QStringLiteral("Configuración de inicio automático"));
}

void TestProtectionRules::privilegedHelper_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("signature");
    QTest::addColumn<QString>("level");
    QTest::addColumn<QString>("second");
    QTest::newRow("valid")
        << "com.vendor.helper"
        << "valid+team"
        << "review"
        << "La firma digital es válida, pero conviene identificar qué aplicación la instaló.";
    QTest::newRow("valid hidden")
        << ".helper"
        << "valid"
        << "review"
        << "La firma digital es válida, pero conviene identificar qué aplicación la instaló.";
    QTest::newRow("not valid") << "com.vendor.helper"
                               << "none"
                               << "review"
                               << "La firma no pudo validarse completamente.";
    QTest::newRow("not valid, hidden")
        << ".helper"
        << "invalid"
        << "suspicious"
        << "La herramienta está oculta y su firma no pudo validarse.";
}

void TestProtectionRules::privilegedHelper()
{
    QFETCH(QString, name);
    QFETCH(QString, signature);
    QFETCH(QString, level);
    QFETCH(QString, second);
    Tree tree;
    tree.root.file("Library/PrivilegedHelperTools/" + name, "x");
    const SecurityFinding f = ProtectionRules::analyzePrivilegedHelper(
        tree.entry("Library/PrivilegedHelperTools/" + name),
        [&](const QString &) { return ::signature(signature); });
    QCOMPARE(::level(f.level), level);
    QCOMPARE(
        f.reasons,
        QStringList({"Herramienta con permisos elevados instalada por una aplicación.", second}));
    QCOMPARE(f.teamIdentifier.has_value(), signature.endsWith("+team"));
    QCOMPARE(f.signatureDescription, ::signature(signature).description);
}

void TestProtectionRules::executable_data()
{
    QTest::addColumn<QString>("place");
    QTest::addColumn<bool>("isScript");
    QTest::addColumn<QString>("signature");
    QTest::addColumn<QString>("level"); // empty: no finding
    QTest::addColumn<QStringList>("reasons");
    const QString hidden = "El archivo ejecutable está oculto.";
    const QString unusual = "Está ubicado en una carpeta temporal, compartida o de descargas.";
    const QString invalid = "La firma digital no es válida.";
    QTest::newRow("plain: none") << "Users/ana/Library/Application Support/V/run" << false << "none"
                                 << "" << QStringList{};
    QTest::newRow("near: private/var/folders") << "private/var/folders/x/run" << false << "invalid"
                                               << "" << QStringList{};
    QTest::newRow("hidden") << "Users/ana/Library/Application Support/V/.run" << false << "none"
                            << "review" << QStringList{hidden};
    QTest::newRow("unusual, unsigned") << "Users/Shared/run" << false << "none"
                                       << "review" << QStringList{unusual};
    QTest::newRow("hidden and unusual") << "tmp/.run" << false << "none"
                                        << "suspicious" << QStringList{hidden, unusual};
    QTest::newRow("unusual, broken signature") << "private/var/tmp/run" << false << "invalid"
                                               << "dangerous" << QStringList{unusual, invalid};
    QTest::newRow("near: valid signature") << "private/var/tmp/run" << false << "valid"
                                           << "review" << QStringList{unusual};
    QTest::newRow("near: a script is not checked")
        << "Users/ana/Downloads/run.sh" << true << "invalid"
        << "review" << QStringList{unusual};
}

void TestProtectionRules::executable()
{
    QFETCH(QString, place);
    QFETCH(bool, isScript);
    QFETCH(QString, signature);
    QFETCH(QString, level);
    QFETCH(QStringList, reasons);
    Tree tree;
    tree.root.file(place, "#!/bin/sh\n");
    bool asked = false;
    const auto f =
        ProtectionRules::analyzeExecutable(tree.entry(place), isScript, [&](const QString &) {
            asked = true;
            return ::signature(signature);
        });
    QCOMPARE(f.has_value(), !level.isEmpty());
    if (!f)
        return;
    QCOMPARE(::level(f->level), level);
    QCOMPARE(f->reasons, reasons);
    QCOMPARE(asked, !isScript);
    QCOMPARE(f->type, isScript ? SecurityFindingType::script : SecurityFindingType::executable);
    if (isScript)
        QCOMPARE(f->signatureDescription, QStringLiteral("No aplica"));
}

void TestProtectionRules::orderAndFilters()
{
    const auto finding = [](const QString &url, const QString &name, ThreatLevel level) {
        SecurityFinding f;
        f.url = url;
        f.name = name;
        f.level = level;
        return f;
    };
    const QList<SecurityFinding> raw{
        finding("/a/Gamma", "Gamma", ThreatLevel::review),
        finding("/a/zeta", "zeta", ThreatLevel::dangerous),
        finding("/a/alfa", "alfa", ThreatLevel::suspicious),
        finding("/a/b/../Gamma", "Gamma again", ThreatLevel::dangerous), // same item: dropped
        finding("/a/Beta", "Beta", ThreatLevel::review),
        finding("/a/./álamo", "álamo", ThreatLevel::review),
        finding("/a/lock", "Lock", ThreatLevel::protected_),
        finding("/a/ok", "Ok", ThreatLevel::safe),
    };
    QStringList names;
    for (const SecurityFinding &f : Findings::sortedUnique(raw))
        names << f.name;
    QCOMPARE(names, QStringList({"zeta", "alfa", "álamo", "Beta", "Gamma", "Ok", "Lock"}));
    const FindingCounts counts = Findings::counts(Findings::sortedUnique(raw));
    QCOMPARE(counts.dangerous, 1);
    QCOMPARE(counts.suspicious, 1);
    QCOMPARE(counts.review, 3);
    QCOMPARE(counts.safe, 2);
    QCOMPARE(Findings::filtered(raw, ProtectionResultFilter::safe).size(), 2);
    QCOMPARE(Threat::title(ProtectionResultFilter::safe), QStringLiteral("Seguros"));
    QCOMPARE(Threat::badge(ThreatLevel::protected_), QStringLiteral("PROTEGIDO"));
    QCOMPARE(Threat::title(SecurityFindingType::launchItem), QStringLiteral("Inicio automático"));
}

QTEST_GUILESS_MAIN(TestProtectionRules)
#include "tst_protectionrules.moc"
