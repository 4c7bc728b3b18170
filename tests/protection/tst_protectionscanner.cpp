#include "MacTree.h"
#include "MachOSigner.h"
#include "Preferences.h"
#include "ProtectionFindingFilter.h"
#include "ProtectionScanner.h"
#include "QuarantineTesting.h"

#include <QtTest>
#include <sys/resource.h>
#include <sys/stat.h>

// The seven automatic places, their walks and handlers, on a Mac tree whose home
// lies inside the system root.
using namespace QuarantineTesting;

namespace {

constexpr auto kReportToQtTest = QAbstractItemModelTester::FailureReportingMode::QtTest;

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
    void signedBundlesAndHostileTrees();
    void hostileFilesWhereAFileIsRead_data();
    void hostileFilesWhereAFileIsRead();
};

void TestProtectionScanner::walksHandlersAndLimits()
{
    MacTree tree;
    for (const char *file :
         {"Users/ana/Downloads/setup.dmg", "Users/ana/Downloads/run.sh",
          "Users/ana/Downloads/notes.txt",
          "Users/ana/Downloads/a/b/c/deep.pkg",     // depth 4: walked
          "Users/ana/Downloads/a/b/c/d/deeper.pkg", // depth 5: not
          "Users/ana/Library/LaunchAgents/.hidden.plist", "Applications/readme.txt",
          "Library/PrivilegedHelperTools/com.v.helper",
          "Library/PrivilegedHelperTools/.hidden-helper"}) // flat listings skip it
        tree.root.file(file, "x");
    for (const char *bundle : {"Users/ana/Downloads/Loose.app", "Applications/Tool.app",
                               "Applications/Folder/Inner.app"})
        tree.root.folder(bundle + QStringLiteral("/Contents"));
    tree.root.plist("Users/ana/Library/LaunchAgents/com.v.agent.plist",
                    {{"Label", "com.v.agent"}, {"Program", "/tmp/x"}, {"RunAtLoad", true}}, false);
    tree.root.plist("Library/LaunchAgents/com.apple.x.plist", {{"Label", "com.apple.x"}}, false);
    // Hidden tools down to depth 4; a visible one is none.
    for (const char *tool :
         {"V/.hidden-tool", "V/visible-tool", "1/2/3/4/.at-five", "1/2/3/4/5/.at-six"})
        tree.root.executableFile(QStringLiteral("Users/ana/Library/Application Support/") + tool,
                                 "#!/bin/sh\n");

    ProtectionScanner scanner;
    QCOMPARE(
        scanner.statusText(),
        QStringLiteral("Rutas automáticas listas: /Applications, carpeta personal y /Library."));
    // Applications are signed; nothing else is.
    scanner.setSignatureSource([](const QString &path) {
        SignatureInformation s;
        s.wasCreated = s.isValid = path.endsWith(".app") && path.contains("/Applications/");
        return s;
    });
    // The findings as the screen shows them: all, or one level at a time.
    QAbstractItemModelTester findingsTester(scanner.findingsModel(), kReportToQtTest);
    ProtectionFindingFilter filter;
    filter.setSourceModel(scanner.findingsModel());
    QAbstractItemModelTester filterTester(&filter, kReportToQtTest);
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
             QStringList({".at-five", ".hidden-tool", "Inner", "Loose", "Tool", "com.apple.x",
                          "com.v.agent", "com.v.helper", "deep.pkg", "run.sh", "setup.dmg"}));
    for (const SecurityFinding &f : scanner.findings())
        if (f.name == "Loose") // a bundle in Downloads goes to the application rule
            QCOMPARE(f.type, SecurityFindingType::application);
    // Each count on its own, protected among the safe.
    QCOMPARE(QList<int>({scanner.dangerousCount(), scanner.suspiciousCount(), scanner.reviewCount(),
                         scanner.safeCount()}),
             QList<int>({1, 2, 5, 3}));
    const QList<int> passing{scanner.findingCount(), 1, 2, 5, 3};
    for (int level = 0; level < passing.size(); ++level) {
        filter.setFilter(ProtectionResultFilter(level));
        QCOMPARE(filter.count(), passing[level]);
    }
    QCOMPARE(scanner.completedScanCount(), 1);
    // A new scan under a filter: the filter follows the new findings.
    filter.setFilter(ProtectionResultFilter::dangerous);
    scanAndWait(scanner);
    QCOMPARE(filter.count(), 1);
    QCOMPARE(filter.data(filter.index(0, 0), scanner.findingsModel()->role("name")).toString(),
             QStringLiteral("com.v.agent"));

    // A custom folder, from the chooser once it says OK: bundles, launch items
    // inside LaunchAgents, hidden tools.
    tree.root.folder("Elsewhere/Kit.app/Contents");
    tree.root.plist("Elsewhere/x/LaunchAgents/com.k.plist", {{"Label", "com.k"}}, false);
    tree.root.file("Elsewhere/plain.plist", "x");
    tree.root.executableFile("Elsewhere/1/2/3/4/5/.six", "#!/bin/sh\n"); // depth 6 here
    tree.root.executableFile("Elsewhere/1/2/3/4/5/6/.seven", "#!/bin/sh\n");
    ScriptedChooser chooser;
    FolderChooser::setCurrent(&chooser);
    const auto restoreChooser = qScopeGuard([] { FolderChooser::setCurrent(nullptr); });
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
    QTRY_COMPARE(scanner.completedScanCount(), 3);
    QVERIFY(scanner.errorMessage().isEmpty());
    QCOMPARE(scanner.scannedURL(), tree.root.path("Elsewhere"));
    found = names(scanner.findings());
    found.sort();
    QCOMPARE(found, QStringList({".six", "Kit", "com.k"}));
    QCOMPARE(scanner.statusText(), QStringLiteral("Se analizaron 3 elementos."));

    // A flat listing that fails yields nothing; a walked place that cannot be
    // opened fails the whole analysis.
    QVERIFY(QDir(tree.root.path("Library/LaunchAgents")).removeRecursively());
    tree.root.file("Library/LaunchAgents", "a file where a folder should be");
    scanAndWait(scanner);
    QVERIFY(scanner.errorMessage().isEmpty());
    QCOMPARE(scanner.findingCount(), 10); // all but com.apple.x
    QVERIFY(QDir(tree.home + "/Downloads").removeRecursively());
    tree.root.file("Users/ana/Downloads", "a file where a folder should be");
    scanAndWait(scanner);
    QCOMPARE(scanner.errorMessage(),
             QStringLiteral("No se pudo abrir una de las ubicaciones autorizadas."));
    QCOMPARE(scanner.statusText(), QStringLiteral("No fue posible completar el análisis."));
    QCOMPARE(scanner.completedScanCount(), 4);
    QCOMPARE(scanner.findingCount(), 0);
}

// The real signature check, on signed bundles and on trees that try to hang or
// crash a scan.
void TestProtectionScanner::signedBundlesAndHostileTrees()
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
    // Loops of links, a link to the root, a bundle with no executable, launch
    // lists of the wrong shape, a universal header that lies about its size.
    tree.root.symlink("Users/ana/Library/Application Support/loop/a", "b");
    tree.root.symlink("Users/ana/Library/Application Support/loop/b", "a");
    tree.root.symlink("Users/ana/Downloads/everything.app", "/");
    tree.root.folder("Applications/Empty.app/Contents");
    tree.root.plist("Library/LaunchAgents/typed.plist",
                    {{"Label", 42}, {"Program", QVariantList{}}, {"KeepAlive", "yes"}}, false);
    tree.root.file("Library/LaunchAgents/array.plist",
                   "<?xml version=\"1.0\"?><plist><array><string>x</string></array></plist>");
    tree.root.file("Library/PrivilegedHelperTools/liar",
                   QByteArray("\xca\xfe\xba\xbe\x00\x00\x00\x02", 8) + QByteArray(64, '\xff'));
    // Links in a listing are rated by what they lead to, and stay themselves.
    const QString helper = tree.root.file("opt/helper", MachOSigner::signedSlice(true, o));
    const QString linked = tree.root.symlink("Library/PrivilegedHelperTools/linked", helper);
    tree.root.symlink("Library/PrivilegedHelperTools/dangling", "gone");
    const QString agent = tree.root.plist("Users/ana/agent.plist",
                                          {{"Label", "com.v.agent"}, {"Program", "/tmp/x"}}, false);
    const QString agentLink = tree.root.symlink("Users/ana/Library/LaunchAgents/a.plist", agent);

    ProtectionScanner scanner;
    scanAndWait(scanner);
    QVERIFY(scanner.errorMessage().isEmpty());
    QStringList rated;
    QHash<QString, SecurityFinding> byName;
    for (const SecurityFinding &f : scanner.findings()) {
        rated << f.name + " " + Threat::caseName(f.level);
        byName.insert(f.name, f);
    }
    // No link below a walked folder was followed or rated; listed, it was. The
    // tampered bundle is signed with a team, in /Applications.
    rated.sort();
    QCOMPARE(rated,
             QStringList({"Dropper dangerous", "Empty review", "Notes protected", "Tampered review",
                          "Viewer safe", "array review", "com.v.agent suspicious",
                          "dangling review", "liar review", "linked review", "typed review"}));
    QCOMPARE(byName["linked"].signatureDescription, QStringLiteral("Firma digital válida"));
    QCOMPARE(byName["linked"].identity, findingFor(linked).identity);
    QCOMPARE(byName["dangling"].signatureDescription, QStringLiteral("Sin firma verificable"));
    QCOMPARE(byName["Empty"].signatureDescription, QStringLiteral("Sin firma verificable"));
    // Wrong types count as absent: named by the file, no program, no flags.
    QCOMPARE(byName["typed"].reasons,
             QStringList({"Puede iniciarse automáticamente con tu sesión o con macOS."}));
    QCOMPARE(byName["liar"].signatureDescription, QStringLiteral("Sin firma verificable"));
    QCOMPARE(scanner.findings().first().name, QStringLiteral("Dropper"));
    const QString dropper = tree.root.path("Users/ana/Downloads/Dropper.app");
    QCOMPARE(names(scanner.selectedFindings()), QStringList({"Dropper", "com.v.agent"}));
    QCOMPARE(ProtectionSelection::recommended(scanner.findings(), {dropper}, {dropper}),
             QStringList());

    // Quarantined, they leave the list and its counts, and the status says so;
    // the link goes alone. Put back, each is rated again as the scan rated it.
    const QList<SecurityFinding> scanned = scanner.findings();
    LoadedQuarantine manager;
    scanner.setQuarantine(&manager);
    scanner.quarantineSelected();
    QTRY_COMPARE(scanner.statusText(), QStringLiteral("2 elemento(s) en cuarentena."));
    QCOMPARE(QList<int>({scanner.findingCount(), scanner.dangerousCount()}),
             QList<int>({int(scanned.size()) - 2, 0}));
    QVERIFY(!exists(agentLink) && exists(agent));
    for (const ProtectionQuarantineRecord &r : QList(manager.records()))
        manager.restoreNow(r.id);
    QCOMPARE(scanner.statusText(), QStringLiteral("Dropper fue restaurado."));
    QTRY_COMPARE(scanner.findings(), scanned);

    // Trusted, a finding leaves the selection for good, and that is remembered;
    // trusted no more, it is offered again.
    scanner.selectRecommendedFindings();
    scanner.toggleTrust(dropper);
    scanner.toggleSelection(dropper);
    QCOMPARE(names(scanner.selectedFindings()), QStringList({"com.v.agent"}));
    scanner.selectRecommendedFindings();
    QCOMPARE(scanner.selectedCount(), 1);
    QVERIFY(ProtectionTrustStore().isTrusted(dropper));
    scanner.toggleTrust(dropper);
    QVERIFY(!ProtectionTrustStore().isTrusted(dropper));
    scanner.selectRecommendedFindings();
    QCOMPARE(scanner.selectedCount(), 2);
}

// Puts at `relative` something that is no small regular file: a pipe, a huge
// sparse file, a link to a device or a link to itself.
void plant(TreeBuilder &root, const QString &relative, const QString &kind)
{
    QFile::remove(root.path(relative));
    if (kind == "pipe")
        mkfifo(QFile::encodeName(root.path(relative)).constData(), 0644);
    else if (kind == "sparse")
        root.sparseFile(relative, qint64(40) << 30); // 40 GB, no blocks
    else
        root.symlink(relative, kind == "device" ? "/dev/zero" : QFileInfo(relative).fileName());
    struct stat st;
    QVERIFY(lstat(QFile::encodeName(root.path(relative)).constData(), &st) == 0 &&
            (!S_ISREG(st.st_mode) || st.st_size > (1 << 30)));
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
        for (const char *kind : {"pipe", "device", "sparse", "loop"})
            QTest::addRow("%s %s", qPrintable(place), kind) << place << QString::fromLatin1(kind);
}

// A name the disk gives can stand for anything. Every scan still ends as usual,
// its memory stays bounded, and the thing is simply unreadable.
void TestProtectionScanner::hostileFilesWhereAFileIsRead()
{
    QFETCH(QString, place);
    QFETCH(QString, kind);
    MacTree tree;
    MachOSigner::Options o;
    o.identifier = "com.vendor.dropper";
    QVERIFY(MachOSigner::writeBundle(tree.root.path("Users/ana/Downloads/Dropper.app"), "Dropper",
                                     {{"Resources/a.txt", "a"}}, o));
    tree.root.plist("Library/LaunchAgents/com.vendor.agent.plist", {{"Label", "com.vendor.agent"}},
                    false);
    tree.root.folder("xdg-config/Velmora");
    qputenv("XDG_CONFIG_HOME", QFile::encodeName(tree.root.path("xdg-config")));
    LoadedQuarantine().recordCount(); // makes the folder
    const QString quarantine = quarantineFolder().mid(tree.root.root().size() + 1);
    const QHash<QString, QString> where{
        {"launch list", "Library/LaunchAgents/com.vendor.agent.plist"},
        {"quarantine index", quarantine + "/records.json"},
        {"quarantine intent", quarantine + "/" + kId + ".pending"},
        {"preferences", "xdg-config/Velmora/Velmora.conf"}};
    plant(tree.root, where.value(place, "Users/ana/Downloads/Dropper.app/" + place), kind);
    const auto peakKilobytes = [] {
        rusage usage{};
        getrusage(RUSAGE_SELF, &usage);
        return usage.ru_maxrss;
    };
    const long before = peakKilobytes();
    ProtectionScanner scanner;
    scanAndWait(scanner);
    LoadedQuarantine manager;
    QCOMPARE(manager.recordCount(), 0);
    QCOMPARE(Preferences::string("velmora_cleanup_mode"), QString());
    QVERIFY2(peakKilobytes() - before < 100 * 1024, "memory grew by over 100 MB");
    // A signature with a part that cannot be read is never valid.
    const auto dropper = std::find_if(scanner.findings().cbegin(), scanner.findings().cend(),
                                      [](const SecurityFinding &f) { return f.name == "Dropper"; });
    QVERIFY(dropper != scanner.findings().cend());
    QCOMPARE(dropper->signatureDescription == "Firma digital válida",
             !place.startsWith("Contents"));
}

QTEST_GUILESS_MAIN(TestProtectionScanner)
#include "tst_protectionscanner.moc"
