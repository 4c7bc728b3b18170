#include "FileLocation.h"
#include "FileSystem.h"
#include "MacTree.h"
#include "PropertyList.h"
#include "ProtectionRules.h"

#include <QtTest>

// Every row of every decision table, each with a near miss beside it. Paths are
// written relative to the system root, where the home folder lies as on a Mac.
namespace {

// "none", "invalid", "valid", each with "+team" for a team identifier.
SignatureInformation signature(const QString &state)
{
    SignatureInformation s;
    if (state == "none")
        return s;
    s.wasCreated = true;
    s.identifier = QStringLiteral("sig.identifier");
    if (state.endsWith("+team"))
        s.teamIdentifier = QStringLiteral("TEAM123456");
    s.isValid = state.startsWith("valid");
    s.description = s.isValid ? QStringLiteral("Firma digital válida")
                              : QStringLiteral("Firma presente; validación incompleta");
    return s;
}

EntryInfo entry(const MacTree &tree, const QString &relative)
{
    return FileSystem::resourceValues(tree.root.path(relative)).value_or(EntryInfo{});
}

// Rows of texts: the first names the row, the others fill its columns.
template <size_t R, size_t N> void addRows(const char *const (&rows)[R][N])
{
    for (const auto &texts : rows) {
        QTestData &row = QTest::newRow(texts[0]);
        for (size_t c = 1; c < N; ++c)
            row << QString::fromUtf8(texts[c]);
    }
}

} // namespace

class TestProtectionRules : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void application_data();
    void application();
    void launchItem_data();
    void launchItem();
    void fileItem_data();
    void fileItem();
    void sortedUnique();
};

void TestProtectionRules::application_data()
{
    for (const char *column : {"place", "bundleIdentifier", "signature", "level"})
        QTest::addColumn<QString>(column); // bundleIdentifier empty: none of its own
    static const char *const rows[][5] = {
        {"1 Apple, valid", "Applications/Safari.app", "com.apple.Safari", "valid", "protected"},
        {"1 system folder, valid", "System/Applications/Notes.app", "com.v.x", "valid",
         "protected"},
        {"1 near: com.applex", "Applications/X.app", "com.applex.tool", "valid", "safe"},
        {"1 near: Apple, not valid", "Applications/Mail.app", "com.apple.mail", "invalid",
         "review"},
        {"1 signature's identifier", "Applications/NoId.app", "", "valid", "safe"},
        {"2 valid anywhere", "Users/ana/Downloads/Tool.app", "com.v.tool", "valid", "safe"},
        {"3 team in Applications", "Applications/Tool.app", "com.v.tool", "invalid+team", "review"},
        {"3 near: team in Downloads", "Users/ana/Downloads/Tool.app", "com.v.tool", "invalid+team",
         "dangerous"},
        {"3 near: hidden name", "Applications/.Tool.app", "com.v.tool", "invalid+team",
         "dangerous"},
        {"4 tmp", "tmp/Tool.app", "com.v.tool", "invalid", "dangerous"},
        {"4 private var", "private/var/folders/x/Tool.app", "com.v.tool", "invalid", "dangerous"},
        {"4 near: Applications", "Applications/Tool.app", "com.v.tool", "invalid", "review"},
        {"5 shared, unsigned", "Users/Shared/Tool.app", "com.v.tool", "none", "suspicious"},
        {"5 hidden, unsigned", "Users/ana/Apps/.Tool.app", "com.v.tool", "none", "suspicious"},
        {"5 near: Users/ana/Apps", "Users/ana/Apps/Tool.app", "com.v.tool", "none", "review"},
    };
    addRows(rows);
}

void TestProtectionRules::application()
{
    QFETCH(QString, place);
    QFETCH(QString, bundleIdentifier);
    QFETCH(QString, signature);
    QFETCH(QString, level);
    MacTree tree;
    QVariantMap info{{"CFBundleExecutable", "Tool"}};
    if (!bundleIdentifier.isEmpty())
        info.insert("CFBundleIdentifier", bundleIdentifier);
    tree.root.file(place + "/Contents/MacOS/Tool", QByteArray(5000, 'x'));
    QVERIFY(PropertyList::write(tree.root.path(place + "/Contents/Info.plist"), info, false));
    const SecurityFinding f = ProtectionRules::analyzeApplication(
        entry(tree, place), [&](const QString &) { return ::signature(signature); });
    QCOMPARE(Threat::caseName(f.level), level);
    static const QHash<QString, QStringList> kReasons{
        {"protected", {"Aplicación válida integrada o firmada por Apple."}},
        {"safe", {"La firma digital es válida."}},
        {"dangerous",
         {"La firma digital no es válida y la aplicación está en una ubicación inusual u oculta."}},
        {"suspicious", {"Aplicación sin firma verificable en una ubicación inusual u oculta."}},
        {"review+team",
         {"La aplicación tiene firma, pero la validación completa no terminó correctamente.",
          "Puede ocurrir después de una actualización o por componentes auxiliares antiguos."}},
        {"review",
         {"No fue posible validar completamente la firma.",
          "Esto no significa automáticamente que sea malware."}},
    };
    QCOMPARE(
        f.reasons,
        kReasons.value(level == "review" && signature.endsWith("+team") ? "review+team" : level));
    QCOMPARE(f.type, SecurityFindingType::application);
    QCOMPARE(f.name, QFileInfo(place).completeBaseName());
    QCOMPARE(f.path, QFileInfo(tree.root.path(place)).path());
    QCOMPARE(f.bundleIdentifier,
             std::optional<QString>(bundleIdentifier.isEmpty() ? QStringLiteral("sig.identifier")
                                                               : bundleIdentifier));
    QCOMPARE(f.size, entry(tree, place + "/Contents/MacOS/Tool").allocatedSize +
                         entry(tree, place + "/Contents/Info.plist").allocatedSize);
}

void TestProtectionRules::launchItem_data()
{
    QTest::addColumn<QVariantMap>("plist"); // empty: not a property list at all
    QTest::addColumn<QString>("level");
    QTest::addColumn<QStringList>("reasons");
    const QHash<QString, QString> first{
        {"protected", "Elemento de inicio perteneciente a macOS."},
        {"dangerous", "Ejecuta automáticamente un archivo desde una ubicación inusual."},
        {"suspicious", "Apunta a una ruta o script poco habitual."},
        {"review", "Puede iniciarse automáticamente con tu sesión o con macOS."}};
    const QString boot = "Está configurado para arrancar automáticamente.";
    const QString alive = "Está configurado para mantenerse activo.";
    // A program, an optional label and "Key=value" (true, false, {} or text).
    static const char *const rows[][5] = {
        {"1 Apple label wins over /tmp", "/tmp/x", "com.apple.tool", "RunAtLoad=true", "protected"},
        {"1 /System program", "/System/Library/x", "x", "", "protected"},
        {"1 near: /usr/lib", "/usr/lib/x", "", "", "review"},
        {"2 shared, run at load", "/Users/Shared/Run.app/run", "com.v.a", "RunAtLoad=true",
         "dangerous"},
        {"2 Downloads, keep alive as dictionary", "/Users/ana/Downloads/x", "", "KeepAlive={}",
         "dangerous"},
        {"2 /private/tmp, run at load", "/private/tmp/x", "", "RunAtLoad=true", "dangerous"},
        {"2 /tmp, keep alive", "/tmp/agent", "com.v.b", "KeepAlive=true", "dangerous"},
        {"2 hidden folder, run at load", "/Users/ana/.local/agent", "", "RunAtLoad=true",
         "dangerous"},
        {"3 /tmp", "/tmp/x", "", "", "suspicious"},
        {"3 Downloads", "/Users/ana/Downloads/setup", "", "", "suspicious"},
        {"3 near: keep alive false", "/private/var/tmp/x", "", "KeepAlive=false", "suspicious"},
        {"3 .sh program", "/opt/tool/Start.SH", "", "", "suspicious"},
        {"3 .command program", "/opt/tool/go.command", "", "", "suspicious"},
        {"3 hidden folder", "/Users/ana/.cache/run", "", "", "suspicious"},
        {"4 near: RunAtLoad a string", "/opt/tool/run", "", "RunAtLoad=YES", "review"},
        {"4 near: usual place, run at load", "/opt/tool/run", "", "RunAtLoad=true", "review"},
    };
    for (const auto &row : rows) {
        QVariantMap plist{{"Program", row[1]}};
        if (*row[2])
            plist.insert("Label", row[2]);
        const QStringList flag = QString(row[3]).split('=');
        if (flag.size() == 2)
            plist.insert(flag[0], flag[1] == "true"    ? QVariant(true)
                                  : flag[1] == "false" ? QVariant(false)
                                  : flag[1] == "{}"    ? QVariant(QVariantMap())
                                                       : QVariant(flag[1]));
        QStringList reasons{first.value(row[4])};
        if (flag[0] == "RunAtLoad" && flag.value(1) == "true")
            reasons << boot;
        if (flag[0] == "KeepAlive" && flag.value(1) != "false")
            reasons << alive;
        QTest::newRow(row[0]) << plist << QString(row[4])
                              << reasons + QStringList{QStringLiteral("Ejecutable: ") + row[1]};
    }
    QTest::newRow("1 /usr/libexec arguments")
        << QVariantMap{{"ProgramArguments", QVariantList{"/usr/libexec/x", "-v"}}} << "protected"
        << QStringList{first["protected"], "Ejecutable: /usr/libexec/x"};
    QTest::newRow("4 arguments not all strings")
        << QVariantMap{{"ProgramArguments", QVariantList{"/tmp/x", 3}}} << "review"
        << QStringList{first["review"]};
    QTest::newRow("4 not a property list")
        << QVariantMap{} << "review" << QStringList{first["review"]};
}

void TestProtectionRules::launchItem()
{
    QFETCH(QVariantMap, plist);
    QFETCH(QString, level);
    QFETCH(QStringList, reasons);
    MacTree tree;
    const QString rel = "Users/ana/Library/LaunchAgents/com.vendor.agent.plist";
    tree.root.folder("Users/ana/Library/LaunchAgents");
    if (plist.isEmpty())
        tree.root.file(rel, "not a plist");
    else
        QVERIFY(PropertyList::write(tree.root.path(rel), plist, true));
    const SecurityFinding f = ProtectionRules::analyzeLaunchItem(entry(tree, rel));
    QCOMPARE(Threat::caseName(f.level), level);
    QCOMPARE(f.reasons, reasons);
    QCOMPARE(f.type, SecurityFindingType::launchItem);
    const QVariant label = plist.value("Label");
    QCOMPARE(f.name, label.isValid() ? label.toString() : QStringLiteral("com.vendor.agent"));
    QCOMPARE(f.bundleIdentifier.has_value(), label.isValid());
    QCOMPARE(f.signatureDescription, QStringLiteral("Configuración de inicio automático"));
}

void TestProtectionRules::fileItem_data()
{
    // Downloads and helpers name the file only. Reasons: D in Downloads, then
    // s script or r installer; P elevated helper, then v valid, n not valid or
    // o hidden and not valid; H hidden, U unusual place, I signature not
    // valid. Level empty: no finding.
    for (const char *column : {"rule", "place", "signature", "type", "level", "reasons"})
        QTest::addColumn<QString>(column);
    static const char *const rows[][7] = {
        {"download command", "download", "run.command", "none", "script", "suspicious", "Ds"},
        {"download sh", "download", "run.sh", "none", "script", "suspicious", "Ds"},
        {"download bash", "download", "run.bash", "none", "script", "suspicious", "Ds"},
        {"download zsh", "download", "run.zsh", "none", "script", "suspicious", "Ds"},
        {"download upper case SH", "download", "RUN.SH", "none", "script", "suspicious", "Ds"},
        {"download mobileconfig", "download", "p.mobileconfig", "none", "configuration", "review",
         "Dr"},
        {"download dmg", "download", "setup.dmg", "none", "installer", "review", "Dr"},
        {"download pkg", "download", "Installer.pkg", "none", "installer", "review", "Dr"},
        {"download app file", "download", "Fake.app", "none", "installer", "review", "Dr"},
        {"helper valid", "helper", "com.v.helper", "valid+team", "executable", "review", "Pv"},
        {"helper valid hidden", "helper", ".helper", "valid", "executable", "review", "Pv"},
        {"helper not valid", "helper", "com.v.helper", "none", "executable", "review", "Pn"},
        {"helper not valid, hidden", "helper", ".helper", "invalid", "executable", "suspicious",
         "Po"},
        {"plain: none", "", "Users/ana/Library/Application Support/V/run", "none", "executable", "",
         ""},
        {"near: private/var/folders", "", "private/var/folders/x/run", "invalid", "executable", "",
         ""},
        {"hidden", "", "Users/ana/Library/Application Support/V/.run", "none", "executable",
         "review", "H"},
        {"unusual, unsigned", "", "Users/Shared/run", "none", "executable", "review", "U"},
        {"hidden and unusual", "", "tmp/.run", "none", "executable", "suspicious", "HU"},
        {"unusual, broken signature", "", "private/var/tmp/run", "invalid", "executable",
         "dangerous", "UI"},
        {"near: valid signature", "", "private/var/tmp/run", "valid", "executable", "review", "U"},
        {"near: a script is not checked", "", "Users/ana/Downloads/run.sh", "invalid", "script",
         "review", "U"},
    };
    addRows(rows);
}

// Downloaded items, privileged helpers, and executables found elsewhere.
void TestProtectionRules::fileItem()
{
    QFETCH(QString, rule);
    QFETCH(QString, place);
    QFETCH(QString, signature);
    QFETCH(QString, type);
    QFETCH(QString, level);
    QFETCH(QString, reasons);
    static const QHash<QString, QString> folders{{"download", "Users/ana/Downloads/"},
                                                 {"helper", "Library/PrivilegedHelperTools/"}};
    static const QHash<QChar, QString> texts{
        {'D', "Archivo ejecutable o instalador localizado en Descargas."},
        {'s', "Los scripts descargados pueden ejecutar instrucciones al abrirse."},
        {'r', "Revisa su procedencia antes de instalarlo."},
        {'P', "Herramienta con permisos elevados instalada por una aplicación."},
        {'v', "La firma digital es válida, pero conviene identificar qué aplicación la instaló."},
        {'n', "La firma no pudo validarse completamente."},
        {'o', "La herramienta está oculta y su firma no pudo validarse."},
        {'H', "El archivo ejecutable está oculto."},
        {'U', "Está ubicado en una carpeta temporal, compartida o de descargas."},
        {'I', "La firma digital no es válida."}};
    MacTree tree;
    const QString relative = folders.value(rule) + place;
    tree.root.file(relative, "#!/bin/sh\n");
    const bool script = type == "script";
    bool asked = false;
    const ProtectionRules::SignatureOf signatureOf = [&](const QString &) {
        asked = true;
        return ::signature(signature);
    };
    std::optional<SecurityFinding> f;
    if (rule == "download")
        f = ProtectionRules::analyzeDownloadedItem(entry(tree, relative));
    else if (rule == "helper")
        f = ProtectionRules::analyzePrivilegedHelper(entry(tree, relative), signatureOf);
    else
        f = ProtectionRules::analyzeExecutable(entry(tree, relative), script, signatureOf);
    QCOMPARE(f.has_value(), !level.isEmpty());
    if (!f)
        return;
    QStringList expected;
    for (const QChar c : reasons)
        expected << texts.value(c);
    QCOMPARE(Threat::caseName(f->level), level);
    QCOMPARE(f->reasons, expected);
    QCOMPARE(Threat::caseName(f->type), type);
    QCOMPARE(f->name, FileLocation::lastPathComponent(relative));
    // Only signed code is checked, and only its signature names it.
    const bool code = rule != "download" && !script;
    QCOMPARE(asked, code);
    QCOMPARE(f->bundleIdentifier.has_value(), code && signature != "none");
    QCOMPARE(f->teamIdentifier.has_value(), code && signature.endsWith("+team"));
    QCOMPARE(f->signatureDescription, rule == "download"
                                          ? QStringLiteral("Pendiente de revisión manual")
                                      : script ? QStringLiteral("No aplica")
                                               : ::signature(signature).description);
}

// Most severe first, then by name as a person reads it; one finding per item
// however its path is spelt. The counts and filters are checked by the scanner's.
void TestProtectionRules::sortedUnique()
{
    const auto finding = [](const QString &url, ThreatLevel level) {
        SecurityFinding f;
        f.url = url;
        f.name = FileLocation::lastPathComponent(url);
        f.level = level;
        return f;
    };
    using L = ThreatLevel;
    const QList<SecurityFinding> raw{
        finding("/a/Gamma", L::review),     finding("/a/zeta", L::dangerous),
        finding("/a/alfa", L::suspicious),  finding("/a/b/../Gamma", L::dangerous), // dropped
        finding("/a/Beta", L::review),      finding("/a/./álamo", L::review),
        finding("/a/Lock", L::protected_),  finding("/a/Ok", L::safe),
        finding("/a/Delta", L::suspicious),
    };
    QStringList names;
    for (const SecurityFinding &f : Findings::sortedUnique(raw))
        names << f.name;
    QCOMPARE(names, QStringList({"zeta", "alfa", "Delta", "álamo", "Beta", "Gamma", "Ok", "Lock"}));
}

QTEST_GUILESS_MAIN(TestProtectionRules)
#include "tst_protectionrules.moc"
