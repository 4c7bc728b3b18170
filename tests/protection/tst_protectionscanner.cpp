#include "FolderChooser.h"
#include "MacTree.h"
#include "MachOSigner.h"
#include "Preferences.h"
#include "PropertyList.h"
#include "ProtectionQuarantineManager.h"
#include "ProtectionScanner.h"
#include "QuarantineTesting.h"
#include "TestEnvironment.h"
#include "TreeBuilder.h"

#include <QProcess>
#include <QtTest>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

// The seven automatic places, their walks and handlers, on a Mac tree whose home
// lies inside the system root.
namespace {

void scanAndWait(ProtectionScanner &scanner, const QString &custom = QString())
{
    const int before = scanner.completedScanCount();
    custom.isEmpty() ? scanner.runFullScan() : scanner.scanCustom(custom);
    QTRY_VERIFY_WITH_TIMEOUT(!scanner.isScanning(), 30000);
    QVERIFY(scanner.completedScanCount() == before + 1 || !scanner.errorMessage().isEmpty());
}

QStringList names(const QList<SecurityFinding> &findings)
{
    QStringList out;
    for (const SecurityFinding &f : findings)
        out << f.name;
    return out;
}

class ScriptedChooser : public FolderChooser
{
public:
    QString answer; // null: cancel
    FolderRequest request;
    void choose(const FolderRequest &r, QObject *context, Answer onChosen) override
    {
        request = r;
        FolderChooser::choose(r, context, std::move(onChosen));
        answer.isNull() ? reject() : accept(answer);
    }
};

} // namespace

class TestProtectionScanner : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void walksHandlersAndLimits();
    void signedBundlesRateBySignature();
    void failuresAndCustomScans();
    void probePrintsFindingsCountsAndSelection();
    void hostileTreesNeverHangOrCrash();
    void hostileFilesWhereAFileIsRead_data();
    void hostileFilesWhereAFileIsRead();
    void unreadableWalkedRootFailsTheAnalysis();
    void chooserStartsACustomScanOnlyOnOk();
};

void TestProtectionScanner::walksHandlersAndLimits()
{
    MacTree tree;
    tree.root.file("Users/ana/Downloads/setup.dmg", "x");
    tree.root.file("Users/ana/Downloads/run.sh", "x");
    tree.root.file("Users/ana/Downloads/notes.txt", "x");
    tree.root.file("Users/ana/Downloads/a/b/c/deep.pkg", "x");     // depth 4: walked
    tree.root.file("Users/ana/Downloads/a/b/c/d/deeper.pkg", "x"); // depth 5: not
    tree.root.folder("Users/ana/Downloads/Loose.app/Contents");
    tree.root.file("Users/ana/Library/LaunchAgents/.hidden.plist", "x");
    QVERIFY(PropertyList::write(tree.root.path("Users/ana/Library/LaunchAgents/com.v.agent.plist"),
                                {{"Label", "com.v.agent"}, {"Program", "/tmp/x"}}, false));
    tree.executable("Users/ana/Library/Application Support/V/.hidden-tool");
    tree.executable("Users/ana/Library/Application Support/V/visible-tool"); // not hidden: none
    tree.executable("Users/ana/Library/Application Support/1/2/3/4/.at-five");
    tree.executable("Users/ana/Library/Application Support/1/2/3/4/5/.at-six");
    tree.root.file("Library/PrivilegedHelperTools/com.v.helper", "x");
    tree.root.file("Library/PrivilegedHelperTools/.hidden-helper", "x"); // flat listings skip it
    tree.root.folder("Applications/Tool.app/Contents");
    tree.root.folder("Applications/Folder/Inner.app/Contents");
    tree.root.file("Applications/readme.txt", "x");

    ProtectionScanner scanner;
    QCOMPARE(
        scanner.statusText(),
        QStringLiteral("Rutas automáticas listas: /Applications, carpeta personal y /Library."));
    scanner.setSignatureSource([](const QString &) { return SignatureInformation{}; });
    QStringList statuses;
    connect(&scanner, &ScannerBase::statusTextChanged, this,
            [&] { statuses << scanner.statusText(); });
    scanAndWait(scanner);
    QCOMPARE(statuses.first(),
             QStringLiteral("Analizando aplicaciones, descargas, agentes y procesos de inicio…"));
    QCOMPARE(
        scanner.statusText(),
        QStringLiteral("Análisis completo: %1 elementos revisados.").arg(scanner.findingCount()));
    QStringList found = names(scanner.findings());
    found.sort();
    QCOMPARE(found,
             QStringList({".at-five", ".hidden-tool", "Inner", "Loose", "Tool", "com.v.agent",
                          "com.v.helper", "deep.pkg", "run.sh", "setup.dmg"}));
    for (const SecurityFinding &f : scanner.findings())
        if (f.name == "Loose") // a bundle in Downloads goes to the application rule
            QCOMPARE(f.type, SecurityFindingType::application);
    QCOMPARE(scanner.dangerousCount() + scanner.suspiciousCount() + scanner.reviewCount() +
                 scanner.safeCount(),
             scanner.findingCount());
    QCOMPARE(scanner.completedScanCount(), 1);
}

void TestProtectionScanner::signedBundlesRateBySignature()
{
    MacTree tree;
    MachOSigner::Options o;
    o.identifier = "com.vendor.viewer";
    o.team = QStringLiteral("TEAM123456");
    QVERIFY(MachOSigner::writeBundle(tree.root.path("Applications/Viewer.app"), "Viewer",
                                     {{"Resources/a.txt", "a"}}, o));
    o.identifier = "com.apple.Notes";
    QVERIFY(MachOSigner::writeBundle(tree.root.path("Applications/Notes.app"), "Notes", {}, o));
    o.identifier = "com.vendor.tampered";
    QVERIFY(MachOSigner::writeBundle(tree.root.path("Applications/Tampered.app"), "Tampered",
                                     {{"Resources/a.txt", "a"}}, o));
    tree.root.file("Applications/Tampered.app/Contents/Resources/a.txt", "b");
    o.team.reset();
    o.identifier = "com.vendor.dropper";
    QVERIFY(MachOSigner::writeBundle(tree.root.path("Users/ana/Downloads/Dropper.app"), "Dropper",
                                     {}, o));
    tree.root.file("Users/ana/Downloads/Dropper.app/Contents/added", "x");

    ProtectionScanner scanner;
    scanAndWait(scanner);
    QHash<QString, QString> levels;
    for (const SecurityFinding &f : scanner.findings())
        levels.insert(f.name, Threat::caseName(f.level));
    QCOMPARE(levels.value("Viewer"), QStringLiteral("safe"));
    QCOMPARE(levels.value("Notes"), QStringLiteral("protected"));
    QCOMPARE(levels.value("Tampered"),
             QStringLiteral("review")); // signed with a team, in /Applications
    QCOMPARE(levels.value("Dropper"), QStringLiteral("dangerous"));
    QCOMPARE(scanner.findings().first().name, QStringLiteral("Dropper"));
    QCOMPARE(ProtectionSelection::recommended(scanner.findings(), {}),
             QStringList({tree.root.path("Users/ana/Downloads/Dropper.app")}));
    QCOMPARE(ProtectionSelection::recommended(scanner.findings(),
                                              {tree.root.path("Users/ana/Downloads/Dropper.app")}),
             QStringList());
}

void TestProtectionScanner::failuresAndCustomScans()
{
    MacTree tree;
    tree.root.file("Users/ana/Downloads", "a file where a folder should be");
    ProtectionScanner scanner;
    scanAndWait(scanner);
    QCOMPARE(scanner.errorMessage(),
             QStringLiteral("No se pudo abrir una de las ubicaciones autorizadas."));
    QCOMPARE(scanner.statusText(), QStringLiteral("No fue posible completar el análisis."));
    QCOMPARE(scanner.completedScanCount(), 0);
    QCOMPARE(scanner.findingCount(), 0);

    // A custom folder: bundles, launch items inside LaunchAgents, hidden tools,
    // down to depth 6.
    tree.root.folder("Elsewhere/Kit.app/Contents");
    QVERIFY(PropertyList::write(tree.root.path("Elsewhere/x/LaunchAgents/com.k.plist"),
                                {{"Label", "com.k"}}, false) ||
            (tree.root.folder("Elsewhere/x/LaunchAgents"),
             PropertyList::write(tree.root.path("Elsewhere/x/LaunchAgents/com.k.plist"),
                                 {{"Label", "com.k"}}, false)));
    tree.root.file("Elsewhere/plain.plist", "x");
    tree.executable("Elsewhere/1/2/3/4/5/.six");
    tree.executable("Elsewhere/1/2/3/4/5/6/.seven");
    scanAndWait(scanner, tree.root.path("Elsewhere"));
    QVERIFY(scanner.errorMessage().isEmpty());
    QCOMPARE(scanner.scannedURL(), tree.root.path("Elsewhere"));
    QStringList found = names(scanner.findings());
    found.sort();
    QCOMPARE(found, QStringList({".six", "Kit", "com.k"}));
    QCOMPARE(scanner.statusText(), QStringLiteral("Se analizaron 3 elementos."));
    QCOMPARE(scanner.completedScanCount(), 1);
}

void TestProtectionScanner::probePrintsFindingsCountsAndSelection()
{
    MacTree tree;
    tree.root.file("Users/ana/Downloads/run.sh", "x");
    tree.root.file("Library/LaunchDaemons/com.apple.x.plist", "x");
    QProcess probe;
    probe.start(QStringLiteral(VELMORA_PROBE), {QStringLiteral("protection")});
    QVERIFY(probe.waitForFinished(60000));
    const QJsonObject out = QJsonDocument::fromJson(probe.readAllStandardOutput()).object();
    QCOMPARE(out.value("module").toString(), QStringLiteral("protection"));
    QCOMPARE(out.value("counts").toObject(),
             QJsonObject({{"dangerous", 0}, {"suspicious", 1}, {"review", 1}, {"safe", 0}}));
    const QJsonArray items = out.value("items").toArray();
    QCOMPARE(items.size(), 2);
    const QJsonObject script = items.at(0).toObject();
    QCOMPARE(script.value("type").toString(), QStringLiteral("script"));
    QCOMPARE(script.value("level").toString(), QStringLiteral("suspicious"));
    QCOMPARE(script.value("teamIdentifier"), QJsonValue(QJsonValue::Null));
    QCOMPARE(script.value("signatureDescription").toString(),
             QStringLiteral("Pendiente de revisión manual"));
    QCOMPARE(out.value("selected").toArray(),
             QJsonArray({tree.root.path("Users/ana/Downloads/run.sh")}));
    // A daemon of the system is never offered: it is outside the home folder.
    QCOMPARE(items.at(1).toObject().value("level").toString(), QStringLiteral("review"));
}

void TestProtectionScanner::hostileTreesNeverHangOrCrash()
{
    MacTree tree;
    // Loops of links, a link to the root, a bundle with no executable, launch
    // lists of the wrong shape, a universal header that lies about its size.
    tree.root.symlink("Users/ana/Library/Application Support/loop/a", "b");
    tree.root.symlink("Users/ana/Library/Application Support/loop/b", "a");
    tree.root.symlink("Users/ana/Downloads/everything.app", "/");
    tree.root.folder("Applications/Empty.app/Contents");
    tree.root.folder("Library/LaunchAgents");
    QVERIFY(PropertyList::write(tree.root.path("Library/LaunchAgents/typed.plist"),
                                {{"Label", 42}, {"Program", QVariantList{}}, {"KeepAlive", "yes"}},
                                false));
    tree.root.file("Library/LaunchAgents/array.plist",
                   "<?xml version=\"1.0\"?><plist><array><string>x</string></array></plist>");
    tree.root.file("Library/PrivilegedHelperTools/liar",
                   QByteArray("\xca\xfe\xba\xbe\x00\x00\x00\x02", 8) + QByteArray(64, '\xff'));
    ProtectionScanner scanner;
    scanAndWait(scanner);
    QVERIFY(scanner.errorMessage().isEmpty());
    QHash<QString, SecurityFinding> byName;
    for (const SecurityFinding &f : scanner.findings())
        byName.insert(f.name, f);
    QCOMPARE(byName.size(), 4); // no link was followed or rated
    QCOMPARE(byName.value("Empty").signatureDescription, QStringLiteral("Sin firma verificable"));
    QCOMPARE(byName.value("Empty").level, ThreatLevel::review);
    // Wrong types count as absent: named by the file, no program, no flags.
    QCOMPARE(byName.value("typed").reasons,
             QStringList({"Puede iniciarse automáticamente con tu sesión o con macOS."}));
    QCOMPARE(byName.value("array").level, ThreatLevel::review);
    QCOMPARE(byName.value("liar").signatureDescription, QStringLiteral("Sin firma verificable"));
}

// Puts at `path` something that is no small regular file.
void plant(const QString &path, const QString &kind)
{
    const QByteArray bytes = QFile::encodeName(path);
    unlink(bytes.constData());
    if (kind == "pipe") {
        QCOMPARE(mkfifo(bytes.constData(), 0644), 0);
    } else if (kind == "device") {
        QCOMPARE(symlink("/dev/zero", bytes.constData()), 0);
    } else if (kind == "loop") {
        QCOMPARE(
            symlink(QFile::encodeName(QFileInfo(path).fileName()).constData(), bytes.constData()),
            0);
    } else if (kind == "sparse") {
        const int fd = open(bytes.constData(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
        QVERIFY(fd >= 0);
        QCOMPARE(ftruncate(fd, qint64(40) << 30), 0); // 40 GB, no blocks
        close(fd);
    } else { // a socket, bound from its folder: full paths outgrow sun_path
        const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        qstrncpy(address.sun_path, QFile::encodeName(QFileInfo(path).fileName()).constData(),
                 sizeof address.sun_path);
        const QString here = QDir::currentPath();
        QVERIFY(QDir::setCurrent(QFileInfo(path).path()));
        QCOMPARE(bind(fd, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
        QVERIFY(QDir::setCurrent(here));
        close(fd);
    }
}

long peakKilobytes()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

void TestProtectionScanner::hostileFilesWhereAFileIsRead_data()
{
    QTest::addColumn<QString>("place");
    QTest::addColumn<QString>("kind");
    const QStringList places{"Contents/_CodeSignature/CodeResources",
                             "Contents/Info.plist",
                             "Contents/MacOS/Dropper",
                             "Contents/Resources/a.txt",
                             "launch list",
                             "quarantine index",
                             "quarantine intent",
                             "preferences"};
    for (const QString &place : places)
        for (const char *kind : {"pipe", "device", "socket", "sparse", "loop"})
            QTest::addRow("%s %s", qPrintable(place), kind) << place << QString::fromLatin1(kind);
}

// A name the disk gives can stand for anything. Every scan still ends as usual,
// its memory stays bounded, and the thing is simply unreadable.
void TestProtectionScanner::hostileFilesWhereAFileIsRead()
{
    QFETCH(QString, place);
    QFETCH(QString, kind);
    MacTree tree;
    const QString bundle = tree.root.path("Users/ana/Downloads/Dropper.app");
    MachOSigner::Options o;
    o.identifier = "com.vendor.dropper";
    QVERIFY(MachOSigner::writeBundle(bundle, "Dropper", {{"Resources/a.txt", "a"}}, o));
    const QString agent = tree.root.file("Library/LaunchAgents/com.vendor.agent.plist", "");
    QVERIFY(PropertyList::write(agent, {{"Label", "com.vendor.agent"}}, false));
    const QString quarantine = ProtectionQuarantineManager::quarantineDirectory();
    const QString intent = quarantine + "/0A1B2C3D-4E5F-4071-8293-A4B5C6D7E8F9.pending";
    const QString preferences = tree.env.root() + "/xdg-config/Velmora/Velmora.conf";
    qputenv("XDG_CONFIG_HOME", QFile::encodeName(tree.env.root() + "/xdg-config"));
    tree.root.folder("xdg-config/Velmora");
    QuarantineTesting::LoadedQuarantine().recordCount(); // makes the folder
    const auto signatureOfDropper = [](const ProtectionScanner &scanner) {
        for (const SecurityFinding &f : scanner.findings())
            if (f.url.endsWith("/Dropper.app"))
                return f.signatureDescription;
        return QStringLiteral("<not listed>");
    };
    ProtectionScanner first;
    scanAndWait(first);
    const QString valid = signatureOfDropper(first);
    const QHash<QString, QString> where{{"launch list", agent},
                                        {"quarantine index", quarantine + "/records.json"},
                                        {"quarantine intent", intent},
                                        {"preferences", preferences}};
    plant(where.value(place, bundle + "/" + place), kind);

    const long before = peakKilobytes();
    ProtectionScanner scanner;
    scanAndWait(scanner);
    QuarantineTesting::LoadedQuarantine manager;
    QCOMPARE(manager.recordCount(), 0);
    QCOMPARE(Preferences::string("velmora_cleanup_mode"), QString());
    QVERIFY2(peakKilobytes() - before < 100 * 1024, "memory grew by over 100 MB");
    // A signature with a part that cannot be read is never valid.
    QCOMPARE(signatureOfDropper(scanner) == valid, !place.startsWith("Contents"));
}

void TestProtectionScanner::unreadableWalkedRootFailsTheAnalysis()
{
    if (runningAsRoot() && qEnvironmentVariableIsEmpty("VELMORA_UNPRIVILEGED_RERUN")) {
        QString reason, output;
        const bool passed =
            rerunUnprivileged("unreadableWalkedRootFailsTheAnalysis", &reason, &output);
        if (!reason.isEmpty())
            QSKIP(qPrintable(reason));
        QVERIFY2(passed, qPrintable(output));
        return;
    }
    MacTree tree;
    tree.root.file("Users/ana/Library/LaunchAgents/a.plist", "x");
    const QString support = tree.root.folder("Users/ana/Library/Application Support");
    const QString agents = tree.root.path("Users/ana/Library/LaunchAgents");
    // A flat listing that fails yields nothing; a walked root that cannot be
    // opened fails the whole analysis.
    QFile::setPermissions(agents, QFileDevice::Permissions());
    ProtectionScanner scanner;
    scanAndWait(scanner);
    QVERIFY(scanner.errorMessage().isEmpty());
    QCOMPARE(scanner.findingCount(), 0);
    QFile::setPermissions(support, QFileDevice::Permissions());
    scanAndWait(scanner);
    const auto all = QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner;
    QFile::setPermissions(support, all);
    QFile::setPermissions(agents, all);
    QCOMPARE(scanner.errorMessage(),
             QStringLiteral("No se pudo abrir una de las ubicaciones autorizadas."));
    QCOMPARE(scanner.completedScanCount(), 1);
}

void TestProtectionScanner::chooserStartsACustomScanOnlyOnOk()
{
    MacTree tree;
    tree.root.folder("Elsewhere/Kit.app/Contents");
    ScriptedChooser chooser;
    FolderChooser::setCurrent(&chooser);
    ProtectionScanner scanner;
    const QString before = scanner.statusText();
    scanner.chooseLocationAndScan(); // cancelled: nothing changes
    QCOMPARE(chooser.request.title, QStringLiteral("Selecciona una ubicación para analizar"));
    QCOMPARE(chooser.request.message,
             QStringLiteral("Velmora analizará esta ubicación sin eliminar archivos."));
    QCOMPARE(chooser.request.prompt, QStringLiteral("Analizar"));
    QCOMPARE(scanner.statusText(), before);
    QVERIFY(!scanner.isScanning());
    chooser.answer = tree.root.path("Elsewhere");
    scanner.chooseLocationAndScan();
    QTRY_COMPARE(scanner.completedScanCount(), 1);
    QCOMPARE(scanner.scannedURL(), tree.root.path("Elsewhere"));
    QCOMPARE(names(scanner.findings()), QStringList({"Kit"}));
    FolderChooser::setCurrent(nullptr);
}

QTEST_GUILESS_MAIN(TestProtectionScanner)
#include "tst_protectionscanner.moc"
