#include "LeftoverOwnership.h"
#include "TestEnvironment.h"
#include "TreeBuilder.h"
#include "UninstallerScanner.h"

#include <QAbstractItemModelTester>
#include <QtTest>

// Whose a Library entry is: the rules on their own, then the uninstall moving
// only what is the application's own, on real trees, checked on disk afterwards.
namespace {

InstalledApplication app(const QString &name, const QString &identifier, const QString &url = {})
{
    InstalledApplication a;
    a.name = name;
    a.bundleIdentifier = identifier;
    a.url = url.isEmpty() ? "/Applications/" + name + ".app" : url;
    return a;
}

struct Tree
{
    TestEnvironment env;
    TreeBuilder root{env.root()};
    TreeBuilder library{env.home() + "/Library"};
    std::unique_ptr<UninstallerScanner> owned;
    std::unique_ptr<QAbstractItemModelTester> tester;

    // In the system's Applications folder, or in `base`'s.
    QString bundle(const QString &name, const QString &identifier, const QString &base = {})
    {
        TreeBuilder where(base.isEmpty() ? env.root() : base);
        return where.bundle("Applications/" + name + ".app",
                            {{QStringLiteral("CFBundleIdentifier"), identifier}}, false);
    }
    // An entry of the Library; returns the entry (the first path component below
    // its folder).
    QString entry(const QString &relative, const QByteArray &contents = "x")
    {
        library.file(relative, contents);
        return library.path(relative.section('/', 0, 1));
    }
    UninstallerScanner &scan()
    {
        owned = std::make_unique<UninstallerScanner>();
        tester = std::make_unique<QAbstractItemModelTester>(owned->applicationsModel());
        (void)QTest::qWaitFor([this] { return owned->completedScanCount() == 1; }, 30000);
        return *owned;
    }
    const InstalledApplication *named(const QString &name) const
    {
        for (const InstalledApplication &a : owned->applications())
            if (a.name == name)
                return &a;
        return nullptr;
    }
    bool uninstall(const QStringList &names)
    {
        owned->clearSelection();
        for (const InstalledApplication &a : owned->applications())
            if (names.contains(a.name))
                owned->toggleSelection(a);
        owned->uninstallSelected();
        return QTest::qWaitFor([this] { return !owned->isRemoving(); }, 10000);
    }
};

bool exists(const QString &path)
{
    return QFileInfo::exists(path) || QFileInfo(path).isSymLink();
}

} // namespace

class TestLeftoverOwnership : public QObject
{
    Q_OBJECT

private slots:
    void ranking();
    void decisions_data();
    void decisions();
    void shortMatchesApplesAndVelmorasStay();
    void theStayingApplicationKeepsItsDataAndRowsAreWorkedOutAgain();
    void twoInstallationsShareTheirData();
};

void TestLeftoverOwnership::ranking()
{
    using LeftoverOwnership::match;
    using Kind = LeftoverOwnership::Match::Kind;
    const struct
    {
        const char *entry, *name, *identifier;
        Kind kind;
        int length;
    } rows[] = {
        {"org.thirdparty.atool", "a", "org.thirdparty.atool", Kind::identifier, 20},
        {"com.apple.mail", "a", "org.thirdparty.atool", Kind::weak, 0},
        {"com.apple.mail", "X", "com", Kind::weak, 0},
        {"anything.plist", "Y", ".", Kind::weak, 0},
        {"Mail Downloads", "Mail", "org.mailer", Kind::name, 4},
        {"Other", "Mail", "org.mailer", Kind::none, 0},
        {"org.tool.helper", "Tool", "org.tool", Kind::identifier, 8},
        {"org.tool.helper", "Tool", nullptr, Kind::name, 4},
    };
    for (const auto &r : rows) {
        const auto m = match(r.entry, r.name,
                             r.identifier ? std::optional<QString>(r.identifier) : std::nullopt);
        QVERIFY2(m.kind == r.kind && m.length == r.length, r.entry);
    }
    // The longer one within a kind; weak below all.
    QVERIFY(match("supertoolbox", "Toolbox", std::nullopt) >
            match("supertoolbox", "Tool", std::nullopt));
    QVERIFY(match("x.y.toolbox", "Toolbox", QString("x.y")) >
            match("x.y.toolbox", "Toolbox", std::nullopt));
    QVERIFY(match("abcd", "abcd", std::nullopt) > match("abcd", "a", QString("ab")));
}

void TestLeftoverOwnership::decisions_data()
{
    QTest::addColumn<InstalledApplication>("leaving");
    QTest::addColumn<QString>("entry");
    QTest::addColumn<QList<InstalledApplication>>("staying");
    QTest::addColumn<QString>("keptBecause"); // empty: the entry moves

    const InstalledApplication a = app("a", "org.thirdparty.atool"),
                               tool = app("Tool", "com.vendor.tool"),
                               toolbox = app("Toolbox", "com.vendor.toolbox"),
                               helper = app("Tool Helper", "com.vendor.tool.helper");
    const auto row = [](const char *name, const InstalledApplication &leaving, const char *entry,
                        const QList<InstalledApplication> &staying, const char *because) {
        QTest::newRow(name) << leaving << QString::fromUtf8(entry) << staying
                            << QString::fromUtf8(because);
    };
    row("own identifier", a, "org.thirdparty.atool", {tool}, "");
    row("a rival's identifier beats a name", tool, "org.thirdparty.atool", {a},
        "También puede ser de a.");
    row("own name, nobody else's", tool, "Tool", {a, toolbox}, "");
    row("a longer identifier", tool, "com.vendor.toolbox", {toolbox},
        "También puede ser de Toolbox.");
    row("own longer identifier", toolbox, "com.vendor.toolbox", {tool}, "");
    row("helper's", tool, "com.vendor.tool.helper.plist", {toolbox, helper},
        "También puede ser de Tool Helper.");
    row("own among vendors", tool, "com.vendor.tool.plist", {toolbox, helper}, "");
    // Whoever is listed first: the staying application with the better match keeps it.
    row("the best rival, not the first", app("Notes", "com.acme.notes"), "com.acme.notespro.plist",
        {app("Acme", "org.acme"), app("Notes Pro", "com.acme.notespro")},
        "También puede ser de Notes Pro.");
    row("another installation", app("Quill", "com.quill.editor"), "com.quill.editor.plist",
        {app("Quill", "com.quill.editor", "/home/Applications/Quill.app")},
        "También es de otra instalación de Quill.");
    row("Apple's", app("Notes Helper", "org.helper.notes"), "com.apple.noteshelper", {},
        "Es de Apple.");
    row("Apple's own application", app("Notes", "com.apple.notes"), "com.apple.notes", {}, "");
    row("Velmora's", app("Velmora", "org.other.velmora"), "Velmora", {}, "Es de Velmora.");
    row("a short name", a, "Data", {},
        "Coincide solo con un nombre o identificador demasiado corto.");
    row("a one-part identifier", app("Comet", "com"), "com.example.viewer.plist", {},
        "Coincide solo con un nombre o identificador demasiado corto.");
}

void TestLeftoverOwnership::decisions()
{
    QFETCH(InstalledApplication, leaving);
    QFETCH(QString, entry);
    QFETCH(QList<InstalledApplication>, staying);
    QFETCH(QString, keptBecause);
    leaving.relatedFiles = {"/home/Library/Caches/" + entry};
    // The order the applications are listed in changes nothing.
    for (int pass = 0; pass < 2; ++pass) {
        const QList<LeftoverOwnership::Decision> d = LeftoverOwnership::decide(leaving, staying);
        QCOMPARE(d.size(), 1);
        QCOMPARE(d.first().url, leaving.relatedFiles.first());
        QCOMPARE(d.first().kept, !keptBecause.isEmpty());
        QCOMPARE(d.first().keptBecause, keptBecause);
        std::reverse(staying.begin(), staying.end());
    }
}

void TestLeftoverOwnership::shortMatchesApplesAndVelmorasStay()
{
    Tree tree;
    const QString a = tree.bundle("a", "org.thirdparty.atool");
    const QString comet = tree.bundle("Comet", "com");
    tree.bundle("Notes Helper", "org.helper.notes");
    tree.bundle("Velmora", "org.other.velmora");
    const QStringList own{tree.entry("Caches/org.thirdparty.atool/db"),
                          tree.entry("Caches/org.helper.notes/db"),
                          tree.entry("Caches/org.other.velmora/db")};
    QStringList others;
    for (const char *entry :
         {"Containers/com.apple.mail", "Containers/com.apple.noteshelper",
          "Group Containers/group.com.apple.notes", "Application Support/AddressBook",
          "Preferences/com.example.viewer.plist", "Caches/Data",
          "Application Support/Velmora/Quarantine"})
        others << tree.entry(QString(entry) + "/x");
    UninstallerScanner &scanner = tree.scan();
    // Listed as the inventory relates them...
    QVERIFY(tree.named("a")->relatedFiles.size() >= 6);
    // ...but only each one's own entry moves.
    QVERIFY(tree.uninstall({"a"}));
    QVERIFY(
        scanner.statusText().startsWith("1 aplicación(es) movidas a la Papelera. Se conservaron "));
    QVERIFY(tree.uninstall({"Comet"}));
    QVERIFY(tree.uninstall({"Notes Helper", "Velmora"}));
    QVERIFY(!exists(a) && !exists(comet));
    for (const QString &entry : own)
        QVERIFY2(!exists(entry), qPrintable(entry));
    for (const QString &entry : others)
        QVERIFY2(exists(entry), qPrintable(entry));
}

void TestLeftoverOwnership::theStayingApplicationKeepsItsDataAndRowsAreWorkedOutAgain()
{
    Tree tree;
    tree.bundle("a", "org.thirdparty.atool");
    const QString toolApp = tree.bundle("Tool", "com.vendor.tool");
    tree.bundle("Viewer", "com.vendor.viewer");
    const QString atool = tree.entry("Caches/org.thirdparty.atool/db", QByteArray(300000, 'a'));
    const QString support = tree.entry("Application Support/Tool/db", QByteArray(5000, 't'));
    const QString vendorShared = tree.entry("Application Support/com.vendor/shared");
    UninstallerScanner &scanner = tree.scan();
    // "Tool" relates the atool cache by name, but "a" matches it by identifier.
    QCOMPARE(tree.named("Tool")->relatedFiles, QStringList({support, atool}));
    const qint64 before = tree.named("Tool")->relatedSize;
    QVERIFY(tree.uninstall({"a"}));
    QVERIFY(!exists(atool));
    // Tool no longer counts it, nor its bytes.
    QCOMPARE(tree.named("Tool")->relatedFiles, QStringList{support});
    QVERIFY(tree.named("Tool")->relatedSize < before);
    QVERIFY(tree.named("Tool")->relatedSize >= 5000 && tree.named("Tool")->relatedSize < 300000);
    const auto *model = scanner.applicationsModel();
    const int row = model->rowOf(tree.named("Tool")->id());
    QCOMPARE(model->index(row).data(model->role("relatedCount")).toInt(), 1);

    QVERIFY(tree.uninstall({"Tool"}));
    QVERIFY(!exists(toolApp) && !exists(support));
    QVERIFY(exists(vendorShared)); // not related to Tool at all
}

void TestLeftoverOwnership::twoInstallationsShareTheirData()
{
    Tree tree;
    const QString system = tree.bundle("Quill", "com.quill.editor");
    const QString mine = tree.bundle("Quill", "com.quill.editor", tree.env.home());
    const QString prefs = tree.entry("Preferences/com.quill.editor.plist");
    const QString support = tree.entry("Application Support/Quill/doc");
    UninstallerScanner &scanner = tree.scan();
    QCOMPARE(scanner.applicationCount(), 2);
    for (const InstalledApplication &a : scanner.applications())
        if (a.url == mine)
            scanner.toggleSelection(a);
    QCOMPARE(scanner.selectedKeptCount(), 2);
    // The selected copy keeps them for the other; the other, were it to go
    // as well, would leave nothing to share with.
    for (const InstalledApplication &a : scanner.applications())
        for (const auto &d : scanner.relatedDecisions(a))
            QCOMPARE(d.keptBecause, a.url == mine
                                        ? QStringLiteral("También es de otra instalación de Quill.")
                                        : QString());
    scanner.uninstallSelected();
    QTRY_VERIFY_WITH_TIMEOUT(!scanner.isRemoving(), 10000);
    QVERIFY(!exists(mine) && exists(system) && exists(prefs) && exists(support));
    // The remaining installation still lists them.
    QCOMPARE(scanner.applications().first().relatedFiles.size(), 2);
    // Both at once: nothing stays to share with, so the data goes too.
    tree.bundle("Quill", "com.quill.editor", tree.env.home());
    tree.scan();
    QVERIFY(tree.uninstall({"Quill"})); // selects both: they share the name
    QVERIFY(!exists(prefs) && !exists(support));
}

QTEST_GUILESS_MAIN(TestLeftoverOwnership)
#include "tst_leftoverownership.moc"
