#include "LeftoverOwnership.h"
#include "TestEnvironment.h"
#include "TreeBuilder.h"
#include "UninstallerScanner.h"

#include <QtTest>

// Whose a Library entry is: the uninstall moves only what is the application's
// own, on real trees, checked on disk afterwards.
namespace {

QVariantMap info(const QString &identifier)
{
    return {{QStringLiteral("CFBundleIdentifier"), identifier}};
}

struct Tree
{
    TestEnvironment env;
    TreeBuilder root{env.root()};
    TreeBuilder library{env.home() + "/Library"};
    // In the system's Applications folder, or in `base`'s.
    QString app(const QString &name, const QString &identifier, const QString &base = {})
    {
        TreeBuilder where(base.isEmpty() ? env.root() : base);
        return where.bundle("Applications/" + name + ".app", info(identifier), false);
    }
    QString entry(const QString &relative) { return library.file(relative, "x"); }
};

bool exists(const QString &path)
{
    return QFileInfo::exists(path) || QFileInfo(path).isSymLink();
}

void scan(UninstallerScanner &scanner)
{
    QTRY_COMPARE_WITH_TIMEOUT(scanner.completedScanCount(), 1, 30000);
}

const InstalledApplication *named(const UninstallerScanner &scanner, const QString &name)
{
    for (const InstalledApplication &app : scanner.applications())
        if (app.name == name)
            return &app;
    return nullptr;
}

// Why `app` would keep `url`: empty when it moves, "?" when not related.
QString reasonFor(const UninstallerScanner &scanner, const InstalledApplication &app,
                  const QString &url)
{
    for (const LeftoverOwnership::Decision &d : scanner.relatedDecisions(app))
        if (d.url == url)
            return d.kept ? d.keptBecause : QString();
    return QStringLiteral("?");
}

void uninstall(UninstallerScanner &scanner, const QString &name)
{
    scanner.clearSelection();
    const InstalledApplication *app = named(scanner, name);
    QVERIFY(app);
    scanner.toggleSelection(*app);
    scanner.uninstallSelected();
    QTRY_VERIFY_WITH_TIMEOUT(!scanner.isRemoving(), 10000);
}

} // namespace

class TestLeftoverOwnership : public QObject
{
    Q_OBJECT

private slots:
    void ranking();
    void shortNamesAndIdentifiersMoveNothing();
    void identifierBeatsNameAndTheStayingApplicationKeepsItsData();
    void sharedVendorPrefixGoesToTheLongerIdentifier();
    void twoInstallationsShareTheirData();
    void remainingRowsAreWorkedOutAgain();
    void applesAndVelmorasStay();
};

void TestLeftoverOwnership::ranking()
{
    using LeftoverOwnership::match;
    using Kind = LeftoverOwnership::Match::Kind;
    QCOMPARE(match("org.thirdparty.atool", "a", QString("org.thirdparty.atool")).kind,
             Kind::identifier);
    QCOMPARE(match("com.apple.mail", "a", QString("org.thirdparty.atool")).kind, Kind::weak);
    QCOMPARE(match("com.apple.mail", "X", QString("com")).kind, Kind::weak);
    QCOMPARE(match("anything.plist", "Y", QString(".")).kind, Kind::weak);
    QCOMPARE(match("Mail Downloads", "Mail", QString("org.mailer")).kind, Kind::name);
    QCOMPARE(match("Other", "Mail", QString("org.mailer")).kind, Kind::none);
    // Identifier over name; the longer one within a kind; weak below all.
    const auto id = match("org.tool.helper", "Tool", QString("org.tool"));
    QCOMPARE(id.kind, Kind::identifier);
    QVERIFY(match("org.tool.helper", "Tool", QString("org.tool")) >
            match("org.tool.helper", "Tool", std::nullopt));
    QVERIFY(match("supertoolbox", "Toolbox", std::nullopt) >
            match("supertoolbox", "Tool", std::nullopt));
    QVERIFY(match("x.y.toolbox", "Toolbox", QString("x.y")) >
            match("x.y.toolbox", "Toolbox", std::nullopt));
    QVERIFY(match("abcd", "abcd", std::nullopt) > match("abcd", "a", QString("ab")));
}

void TestLeftoverOwnership::shortNamesAndIdentifiersMoveNothing()
{
    Tree tree;
    const QString a = tree.app("a", "org.thirdparty.atool");
    const QString com = tree.app("Comet", "com");
    tree.app("Tool", "org.tools.tool");
    const QString own = tree.entry("Caches/org.thirdparty.atool/db");
    QStringList others;
    for (const char *entry :
         {"Containers/com.apple.mail", "Containers/com.apple.Notes",
          "Group Containers/group.com.apple.notes", "Application Support/AddressBook",
          "Preferences/com.example.viewer.plist", "Caches/Data"})
        others << tree.entry(QString(entry) + "/x");
    UninstallerScanner scanner;
    scan(scanner);
    // Listed as the inventory relates them...
    QVERIFY(named(scanner, "a")->relatedFiles.size() >= 6);
    // ...but only the identifier's own entry moves with "a".
    uninstall(scanner, "a");
    QVERIFY(!exists(a));
    QVERIFY(!exists(QFileInfo(own).path()));
    for (const QString &entry : others)
        QVERIFY2(exists(entry), qPrintable(entry));
    QVERIFY(
        scanner.statusText().startsWith("1 aplicación(es) movidas a la Papelera. Se conservaron "));
    // An identifier of one part relates everything with "com" and moves none of it.
    uninstall(scanner, "Comet");
    QVERIFY(!exists(com));
    for (const QString &entry : others)
        QVERIFY2(exists(entry), qPrintable(entry));
}

void TestLeftoverOwnership::identifierBeatsNameAndTheStayingApplicationKeepsItsData()
{
    Tree tree;
    tree.app("a", "org.thirdparty.atool");
    const QString toolApp = tree.app("Tool", "com.vendor.tool");
    tree.app("Viewer", "com.vendor.viewer");
    const QString atoolCache = tree.entry("Caches/org.thirdparty.atool/db");
    const QString toolSupport = tree.entry("Application Support/Tool/db");
    const QString vendorShared = tree.entry("Application Support/com.vendor/shared");
    UninstallerScanner scanner;
    scan(scanner);
    // "Tool" relates the atool cache by name, but "a" matches it by identifier.
    const InstalledApplication *tool = named(scanner, "Tool");
    QVERIFY(tool->relatedFiles.contains(QFileInfo(atoolCache).path()));
    QCOMPARE(reasonFor(scanner, *tool, QFileInfo(atoolCache).path()),
             QStringLiteral("También puede ser de a."));
    uninstall(scanner, "Tool");
    QVERIFY(!exists(toolApp));
    QVERIFY(exists(atoolCache));
    QVERIFY(!exists(toolSupport)); // by name, nobody else matches it
    QVERIFY(exists(vendorShared)); // not related to Tool at all
    // The remaining rows are worked out again.
    QVERIFY(named(scanner, "a")->relatedFiles.contains(QFileInfo(atoolCache).path()));
    uninstall(scanner, "a");
    QVERIFY(!exists(atoolCache));
}

void TestLeftoverOwnership::sharedVendorPrefixGoesToTheLongerIdentifier()
{
    // "com.vendor.toolbox" contains both identifiers: it is Toolbox's.
    Tree tree;
    const QString tool = tree.app("Tool", "com.vendor.tool");
    tree.app("Toolbox", "com.vendor.toolbox");
    tree.app("Tool Helper", "com.vendor.tool.helper");
    const QString toolbox = tree.entry("Caches/com.vendor.toolbox/db");
    const QString helper = tree.entry("Preferences/com.vendor.tool.helper.plist/x");
    const QString own = tree.entry("Preferences/com.vendor.tool.plist/x");
    UninstallerScanner scanner;
    scan(scanner);
    const InstalledApplication *toolApp = named(scanner, "Tool");
    QCOMPARE(toolApp->relatedFiles.size(), 3);
    QCOMPARE(reasonFor(scanner, *toolApp, QFileInfo(toolbox).path()),
             QStringLiteral("También puede ser de Toolbox."));
    QCOMPARE(reasonFor(scanner, *toolApp, QFileInfo(helper).path()),
             QStringLiteral("También puede ser de Tool Helper."));
    QCOMPARE(reasonFor(scanner, *toolApp, QFileInfo(own).path()), QString());
    // Toolbox goes first, Tool staying: the longer identifier takes it.
    uninstall(scanner, "Toolbox");
    QVERIFY(!exists(toolbox));
    QVERIFY(exists(own));
    uninstall(scanner, "Tool");
    QVERIFY(!exists(tool));
    QVERIFY(!exists(own));
    QVERIFY(exists(helper));
}

void TestLeftoverOwnership::twoInstallationsShareTheirData()
{
    Tree tree;
    const QString system = tree.app("Quill", "com.quill.editor");
    const QString mine = tree.app("Quill", "com.quill.editor", tree.env.home());
    const QString prefs = tree.entry("Preferences/com.quill.editor.plist");
    const QString support = tree.entry("Application Support/Quill/doc");
    UninstallerScanner scanner;
    scan(scanner);
    QCOMPARE(scanner.applicationCount(), 2);
    scanner.clearSelection();
    for (const InstalledApplication &app : scanner.applications())
        if (app.url == mine)
            scanner.toggleSelection(app);
    QCOMPARE(scanner.selectedKeptCount(), 2);
    // The selected copy keeps them for the other; the other, were it to go
    // as well, would leave nothing to share with.
    for (const InstalledApplication &app : scanner.applications())
        for (const auto &d : scanner.relatedDecisions(app))
            QCOMPARE(d.keptBecause, app.url == mine
                                        ? QStringLiteral("También es de otra instalación de Quill.")
                                        : QString());
    scanner.uninstallSelected();
    QTRY_VERIFY_WITH_TIMEOUT(!scanner.isRemoving(), 10000);
    QVERIFY(!exists(mine));
    QVERIFY(exists(system));
    QVERIFY(exists(prefs));
    QVERIFY(exists(support));
    // The remaining installation still lists them, with their count.
    QCOMPARE(scanner.applications().first().relatedFiles.size(), 2);
    // Both at once: nothing stays to share with, so the data goes too.
    for (const InstalledApplication &app : scanner.applications())
        scanner.toggleSelection(app);
    scanner.uninstallSelected();
    QTRY_VERIFY_WITH_TIMEOUT(!scanner.isRemoving(), 10000);
    QVERIFY(!exists(prefs));
}

void TestLeftoverOwnership::remainingRowsAreWorkedOutAgain()
{
    Tree tree;
    tree.app("a", "org.thirdparty.atool");
    tree.app("Tool", "com.vendor.tool");
    const QString atool =
        tree.library.file("Caches/org.thirdparty.atool/db", QByteArray(300000, 'a'));
    const QString support = tree.library.file("Application Support/Tool/db", QByteArray(5000, 't'));
    UninstallerScanner scanner;
    scan(scanner);
    const qint64 before = named(scanner, "Tool")->relatedSize;
    QCOMPARE(named(scanner, "Tool")->relatedFiles.size(), 2);
    // The atool cache goes with "a" (its identifier beats Tool's name)...
    uninstall(scanner, "a");
    QVERIFY(!exists(atool));
    // ...and Tool no longer counts it, nor its bytes.
    const InstalledApplication *tool = named(scanner, "Tool");
    QCOMPARE(tool->relatedFiles, QStringList{QFileInfo(support).path()});
    QVERIFY(tool->relatedSize < before);
    QVERIFY(tool->relatedSize >= 5000 && tool->relatedSize < 300000);
    const QModelIndex row = scanner.applicationsModel()->index(0);
    QCOMPARE(row.data(scanner.applicationsModel()->role("relatedCount")).toInt(), 1);
}

void TestLeftoverOwnership::applesAndVelmorasStay()
{
    Tree tree;
    tree.app("Notes Helper", "org.helper.notes");
    const QString apple = tree.entry("Containers/com.apple.noteshelper/x");
    const QString own = tree.entry("Caches/org.helper.notes/db");
    tree.app("Velmora", "org.other.velmora");
    const QString velmora = tree.entry("Application Support/Velmora/Quarantine/records.json");
    const QString velmoraCache = tree.entry("Caches/org.other.velmora/db");
    UninstallerScanner scanner;
    scan(scanner);
    const InstalledApplication *helper = named(scanner, "Notes Helper");
    QVERIFY(helper->relatedFiles.contains(QFileInfo(apple).path()));
    QCOMPARE(reasonFor(scanner, *helper, QFileInfo(apple).path()), QStringLiteral("Es de Apple."));
    uninstall(scanner, "Notes Helper");
    QVERIFY(exists(apple));
    QVERIFY(!exists(own));
    uninstall(scanner, "Velmora");
    QVERIFY(exists(velmora));
    QVERIFY(!exists(velmoraCache));
}

QTEST_GUILESS_MAIN(TestLeftoverOwnership)
#include "tst_leftoverownership.moc"
