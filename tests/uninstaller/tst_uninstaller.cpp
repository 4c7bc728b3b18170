#include "ApplicationFilterModel.h"
#include "ApplicationInventory.h"
#include "LeftoverOwnership.h"
#include "TestEnvironment.h"
#include "TreeBuilder.h"
#include "UninstallerScanner.h"

#include <QAbstractItemModelTester>
#include <QFile>
#include <QtTest>

// The inventory of applications and whose each Library entry is (the rules, then
// real trees), and the uninstall moving only what is the application's own.
namespace {

constexpr qint64 MiB = 1024 * 1024;

QVariantMap info(const QString &identifier, const QVariant &version = {}, const QString &icon = {})
{
    QVariantMap map{{QStringLiteral("CFBundleIdentifier"), identifier}};
    if (version.isValid())
        map.insert(QStringLiteral("CFBundleShortVersionString"), version);
    if (!icon.isEmpty())
        map.insert(QStringLiteral("CFBundleIconFile"), icon);
    return map;
}

InstalledApplication app(const QString &name, const QString &identifier, const QString &url = {})
{
    InstalledApplication a;
    a.name = name;
    a.bundleIdentifier = identifier;
    a.url = url.isEmpty() ? "/Applications/" + name + ".app" : url;
    return a;
}

QStringList names(const QList<InstalledApplication> &apps)
{
    QStringList out;
    for (const InstalledApplication &a : apps)
        out << a.name;
    return out;
}

const InstalledApplication *named(const QList<InstalledApplication> &apps, const QString &name)
{
    for (const InstalledApplication &a : apps)
        if (a.name == name)
            return &a;
    return nullptr;
}

// A private system and home; the scanner is made once the tree is ready.
struct Tree
{
    TestEnvironment env;
    TreeBuilder root{env.root()};
    TreeBuilder home{env.home()};
    TreeBuilder library{env.home() + "/Library"};
    std::unique_ptr<UninstallerScanner> scanner;
    std::unique_ptr<QAbstractItemModelTester> tester;

    // In the system's Applications folder, or in `base`'s.
    QString bundle(const QString &name, const QString &identifier, const QString &base = {})
    {
        return TreeBuilder(base.isEmpty() ? env.root() : base)
            .bundle("Applications/" + name + ".app", info(identifier), false);
    }
    UninstallerScanner &scan()
    {
        scanner = std::make_unique<UninstallerScanner>();
        tester = std::make_unique<QAbstractItemModelTester>(scanner->applicationsModel());
        [&] {
            // It scans by itself, on the event loop's next turn.
            QCOMPARE(scanner->statusText(), QStringLiteral("Preparando análisis de aplicaciones…"));
            QVERIFY(!scanner->isScanning() && waitForScan(1));
        }();
        return *scanner;
    }
    bool waitForScan(int count)
    {
        return QTest::qWaitFor([&] { return scanner->completedScanCount() == count; }, 30000) &&
               !scanner->isScanning();
    }
    bool uninstall(const QStringList &which)
    {
        scanner->clearSelection();
        for (const InstalledApplication &a : scanner->applications())
            if (which.contains(a.name))
                scanner->toggleSelection(a);
        scanner->uninstallSelected();
        return QTest::qWaitFor([&] { return !scanner->isRemoving(); }, 10000);
    }
};

} // namespace

class TestUninstaller : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void relatedFilesByNameAndIdentifier();
    void inventoryOfBothRootsAndIcons();
    void sizesOnDiskAndOrder();
    void uninstallMovesBundleBeforeLeftovers();
    void unreadablePlacesCountAsEmpty();
    void searchMatching();
    void decisions_data();
    void decisions();
    void theStayingApplicationKeepsItsDataAndRowsAreWorkedOutAgain();
};

void TestUninstaller::relatedFilesByNameAndIdentifier()
{
    Tree t;
    const QString library = t.library.root();
    t.library.file("Preferences/com.example.foobar.plist");
    t.library.folder("Application Support/Foo Bar");
    t.library.folder("Caches/FooBarHelper");
    t.library.folder("Caches/com.example.FooBar"); // by name and by identifier: once
    t.library.folder("Caches/Foo Baz");
    t.library.folder("Caches/.foobar");          // hidden
    t.library.file("LaunchAgents/foobar.plist"); // not a searched folder
    t.library.folder("Saved Application State/com.example.FooBar.savedState");
    t.library.file("Application Support/Gmail Helper");
    t.library.file("Logs/MAILBOX.log");
    t.library.folder("Containers/com.apple.mail");
    t.library.folder("Group Containers/Maple");
    t.library.folder("Group Containers/ABCDE12345.com.example.FooBar");

    const auto listing = ApplicationInventory::listLibrary(library);
    const auto related = [&](const std::optional<QString> &identifier, const QString &name) {
        QStringList out;
        for (const QString &path : ApplicationInventory::relatedFiles(identifier, name, listing))
            out << path.mid(library.size() + 1);
        out.sort();
        return out;
    };
    QCOMPARE(
        related(QStringLiteral("com.example.FooBar"), QStringLiteral("Foo Bar")),
        QStringList({"Application Support/Foo Bar", "Caches/FooBarHelper",
                     "Caches/com.example.FooBar", "Group Containers/ABCDE12345.com.example.FooBar",
                     "Preferences/com.example.foobar.plist",
                     "Saved Application State/com.example.FooBar.savedState"}));
    QCOMPARE(related(std::nullopt, QStringLiteral("Mail")),
             QStringList({"Application Support/Gmail Helper", "Containers/com.apple.mail",
                          "Logs/MAILBOX.log"}));
    // The identifier is only lower-cased: it keeps its spaces and so matches nothing here.
    QCOMPARE(related(QStringLiteral("foo bar"), QString()), QStringList());
    // A name of spaces only and an empty identifier match nothing, not everything.
    QCOMPARE(related(QString(), QStringLiteral("   ")), QStringList());
    QCOMPARE(related(std::nullopt, QString()), QStringList());
}

void TestUninstaller::inventoryOfBothRootsAndIcons()
{
    Tree t;
    TreeBuilder &root = t.root;
    // Icons by the name the bundle gives, with or without the extension; one
    // outside the bundle or missing is none.
    root.bundle("Applications/Xml.app", info("com.example.xml", "1.2", "AppIcon"), false);
    root.bundle("Applications/Binary.app", info("com.example.binary", "3.0", "Logo.icns"), true);
    const QString xmlIcon =
        root.file("Applications/Xml.app/Contents/Resources/AppIcon.icns", "icns");
    const QString binaryIcon =
        root.file("Applications/Binary.app/Contents/Resources/Logo.icns", "icns");
    root.file("Applications/outside.icns", "icns"); // where the escape leads
    root.bundle("Applications/Number.app", info("com.example.number", qint64(7), "Missing"), false);
    root.bundle("Applications/Empty Id.app", info(QString(), "1.0"), false);
    QFile plist(
        root.bundle("Applications/Truncated.app", info("com.example.truncated", "2.0"), false) +
        "/Contents/Info.plist");
    QVERIFY(plist.open(QIODevice::ReadWrite) && plist.resize(plist.size() / 2));
    root.folder("Applications/NoList.app/Contents/MacOS");
    root.file("Applications/Plain File.app", "not a bundle");
    root.bundle("Applications/UPPER.APP", info("com.example.upper", "9", "../../../outside.icns"),
                false);
    root.bundle("Applications/Utilities/Nested.app", info("com.example.nested", "1"), false);
    root.bundle("Applications/.Hidden.app", info("com.example.hidden", "1"), false);
    root.folder("Applications/Folder");
    root.bundle("Applications/Shared.app", info("com.example.shared", "1"), false);
    t.home.bundle("Applications/Shared.app", info("com.example.shared", "1"), false);

    QList<InstalledApplication> apps;
    QHash<QString, QString> icons;
    for (const auto &found : ApplicationInventory::findApplicationsWithIcons(
             {t.env.root() + "/Applications", t.env.home() + "/Applications",
              t.env.base() + "/missing"},
             t.library.root())) {
        apps << found.application;
        if (!found.iconPath.isEmpty())
            icons.insert(found.application.name, found.iconPath);
    }
    QCOMPARE(icons, (QHash<QString, QString>{{"Xml", xmlIcon}, {"Binary", binaryIcon}}));
    QStringList found = names(apps);
    QCOMPARE(found.count("Shared"), 2);
    QVERIFY(named(apps, "Shared")->id() != apps.at(found.lastIndexOf("Shared")).id());
    QCOMPARE(apps.last().url, t.env.home() + "/Applications/Shared.app"); // home root comes last
    found.sort();
    QCOMPARE(found, QStringList({"Binary", "Empty Id", "NoList", "Number", "Plain File", "Shared",
                                 "Shared", "Truncated", "UPPER", "Xml"}));

    // Name, identifier (none: empty), version (none: "Sin versión").
    const char *const rows[][3] = {
        {"Xml", "com.example.xml", "1.2"},   {"Binary", "com.example.binary", "3.0"},
        {"UPPER", "com.example.upper", "9"}, {"Number", "com.example.number", "Sin versión"},
        {"Truncated", "", "Sin versión"},    {"NoList", "", "Sin versión"},
        {"Plain File", "", "Sin versión"},   {"Empty Id", "", "1.0"},
    };
    for (const auto &[name, identifier, version] : rows) {
        const InstalledApplication *a = named(apps, name);
        QCOMPARE(a->bundleIdentifier.value_or(QString()), QString::fromUtf8(identifier));
        QVERIFY2(a->bundleIdentifier != QString(), name);
        QCOMPARE(a->version, QString::fromUtf8(version));
    }
}

void TestUninstaller::sizesOnDiskAndOrder()
{
    Tree t;
    TreeBuilder &root = t.root, &home = t.home;
    root.bundle("Applications/Big.app", info("com.example.big", "1"), false, 0);
    root.allocatedFile("Applications/Big.app/Contents/Resources/data.bin", 3 * MiB);
    root.allocatedFile("Applications/Big.app/Contents/Resources/.hidden.bin", 5 * MiB);
    root.allocatedFile("Applications/Big.app/Contents/Frameworks/Kit.framework/Kit", 1 * MiB);
    root.sparseFile("Applications/Big.app/Contents/Resources/sparse.bin", 50 * MiB);
    root.allocatedFile("outside.bin", 20 * MiB);
    root.symlink("Applications/Big.app/Contents/Resources/link.bin", root.path("outside.bin"));
    // Equal totals: 1 MiB of bundle and 1 MiB of leftovers against 2 MiB of bundle.
    root.bundle("Applications/Tie A.app", info("com.example.tiea", "1"), false, 0);
    root.allocatedFile("Applications/Tie A.app/Contents/blob", 1 * MiB);
    home.allocatedFile("Library/Preferences/com.example.tiea.plist", 1 * MiB);
    home.bundle("Applications/Tie B.app", info("com.example.tieb", "1"), false, 0);
    home.allocatedFile("Applications/Tie B.app/Contents/blob", 2 * MiB);
    root.bundle("Applications/Tie C.app", info("com.example.tiec", "1"), false, 0);
    root.allocatedFile("Applications/Tie C.app/Contents/blob", 2 * MiB);
    home.allocatedFile("Library/Caches/com.example.big/a", 2 * MiB);
    home.allocatedFile("Library/Caches/com.example.big/b/c", 1 * MiB);

    UninstallerScanner &scanner = t.scan();
    const QList<InstalledApplication> &apps = scanner.applications();
    QCOMPARE(names(apps), QStringList({"Big", "Tie A", "Tie C", "Tie B"}));
    const InstalledApplication &big = apps.at(0);
    // Allocated blocks only: the hidden file, the sparse length and the link's target do not count.
    QVERIFY2(big.appSize >= 4 * MiB && big.appSize < 4 * MiB + 64 * 1024,
             qPrintable(QString::number(big.appSize)));
    QCOMPARE(big.relatedSize, 3 * MiB);
    QCOMPARE(apps.at(1).relatedSize, 1 * MiB); // a leftover that is a plain file measures itself
    QCOMPARE(apps.at(1).totalSize(), apps.at(3).totalSize());
    QCOMPARE(ApplicationInventory::folderSize(t.env.base() + "/missing"), qint64(0));
    QCOMPARE(ApplicationInventory::folderSize(
                 root.path("Applications/Big.app/Contents/Resources/link.bin")),
             qint64(0));

    // Many equal totals across both roots keep the order of discovery (enough of
    // them that an unstable sort would show).
    QStringList expected[2];
    for (int i = 0; i < 24; ++i) {
        const QString name = QStringLiteral("Same %1").arg(i, 2, 10, QLatin1Char('0'));
        TreeBuilder &base = i % 2 ? home : root;
        base.bundle("Applications/" + name + ".app", info("org.same." + QString::number(i), "1"),
                    false, 0);
        base.allocatedFile("Applications/" + name + ".app/Contents/blob", 1 * MiB);
        expected[i % 2] << name;
    }
    // A selection does not outlive the list it was made on.
    scanner.toggleSelection(QStringLiteral("/stale/id"));
    scanner.scanApplications();
    QVERIFY(scanner.selectedApplicationIDs().isEmpty());
    QVERIFY(t.waitForScan(2));
    QCOMPARE(names(scanner.applications()).mid(4), expected[0] + expected[1]);
}

void TestUninstaller::uninstallMovesBundleBeforeLeftovers()
{
    Tree t;
    t.bundle("Gone", "com.example.gone");
    const QString stuck = t.bundle("Stuck", "com.example.stuck");
    t.library.file("Preferences/com.example.gone.plist", "x");
    t.library.folder("Caches/com.example.gone");
    t.library.file("Logs/Gone.log", "x");
    t.library.folder("Caches/com.example.stuck");

    UninstallerScanner &scanner = t.scan();
    QVERIFY(t.uninstall({}));
    QCOMPARE(scanner.errorMessage(), QStringLiteral("Selecciona una aplicación."));
    scanner.clearError();
    const QString status = scanner.statusText();

    // The bundle is gone before the uninstall (it cannot be trashed); a leftover was
    // removed by hand.
    QVERIFY(QDir(stuck).removeRecursively());
    QVERIFY(QFile::remove(t.library.path("Logs/Gone.log")));
    QSignalSpy uninstalling(&scanner, &UninstallerScanner::isRemovingChanged);
    QVERIFY(t.uninstall({"Gone", "Stuck"}));
    QCOMPARE(uninstalling.count(), 2);
    QVERIFY(!scanner.isUninstalling());
    QCOMPARE(scanner.errorMessage(), QStringLiteral("No fue posible desinstalar: Stuck. Cambiaron "
                                                    "desde el análisis y no se tocaron: Stuck."));
    QCOMPARE(scanner.statusText(), status);
    QCOMPARE(names(scanner.applications()), QStringList({"Stuck"}));
    QCOMPARE(scanner.applicationCount(), 1);
    QCOMPARE(scanner.selectedApplicationIDs(), QSet<QString>({stuck}));
    QCOMPARE(scanner.completedScanCount(), 1);
    QCOMPARE(QDir(t.env.trashFiles()).entryList(QDir::NoDotAndDotDot | QDir::AllEntries),
             QStringList({"com.example.gone", "com.example.gone.plist", "Gone.app"}));
    QVERIFY(QFile::exists(t.library.path("Caches/com.example.stuck")));
}

void TestUninstaller::unreadablePlacesCountAsEmpty()
{
    VELMORA_RERUN_UNPRIVILEGED();
    Tree t;
    t.root.bundle("Applications/Tool.app", info("com.example.tool", "1"), false, 0);
    t.root.allocatedFile("Applications/Tool.app/Contents/open.bin", 1 * MiB);
    t.root.allocatedFile("Applications/Tool.app/Contents/Closed/secret.bin", 4 * MiB);
    t.library.folder("Caches/com.example.tool");
    t.library.folder("Application Support/Tool");
    t.bundle("Hidden Away", "com.example.away", t.env.home());
    const QStringList closed{t.root.path("Applications/Tool.app/Contents/Closed"),
                             t.library.path("Caches"), t.home.path("Applications")};
    for (const QString &folder : closed)
        QFile::setPermissions(folder, {});

    UninstallerScanner &scanner = t.scan();
    for (const QString &folder : closed)
        QFile::setPermissions(folder, QFileDevice::ReadOwner | QFileDevice::WriteOwner |
                                          QFileDevice::ExeOwner);
    QCOMPARE(names(scanner.applications()), QStringList({"Tool"}));
    const InstalledApplication &tool = scanner.applications().first();
    QVERIFY2(tool.appSize >= 1 * MiB && tool.appSize < 2 * MiB,
             qPrintable(QString::number(tool.appSize)));
    QCOMPARE(tool.relatedFiles, QStringList({t.library.path("Application Support/Tool")}));
}

void TestUninstaller::searchMatching()
{
    const std::tuple<const char *, const char *, const char *, bool> rows[] = {
        {"Lumen Notes", "com.lumenlabs.LumenNotes", "", true},
        {"Lumen Notes", "com.lumenlabs.LumenNotes", "NOTES", true},
        {"Lumen Notes", "com.lumenlabs.LumenNotes", "lumenlabs", true}, // identifier only
        {"Lumen Notes", nullptr, " ", true},         // not trimmed: a name with a space
        {"Quill", "com.quillapp.Quill", " ", false}, // ... and none without
        {"Quill", "com.quillapp.Quill", "quill ", false},
        {"Ñandú Éditor", nullptr, "ñANDÚ é", true},
        {"Quill", nullptr, "com.", false},
    };
    for (const auto &[name, identifier, search, matches] : rows)
        QVERIFY2(ApplicationFilterModel::matches(QString::fromUtf8(name),
                                                 QString::fromUtf8(identifier),
                                                 QString::fromUtf8(search)) == matches,
                 search);
}

void TestUninstaller::decisions_data()
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
    const char *tooShort = "Coincide solo con un nombre o identificador demasiado corto.";
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
    row("a longer name", app("Tool", "org.x"), "supertoolbox", {app("Toolbox", "org.y")},
        "También puede ser de Toolbox.");
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
    row("a short name", a, "Data", {}, tooShort);
    row("a one-part identifier", app("Comet", "com"), "com.example.viewer.plist", {}, tooShort);
}

void TestUninstaller::decisions()
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

void TestUninstaller::theStayingApplicationKeepsItsDataAndRowsAreWorkedOutAgain()
{
    Tree t;
    t.bundle("a", "org.thirdparty.atool");
    t.bundle("Tool", "com.vendor.tool");
    const QString atool =
        QFileInfo(t.library.file("Caches/org.thirdparty.atool/db", QByteArray(300000, 'a'))).path();
    const QString support =
        QFileInfo(t.library.file("Application Support/Tool/db", QByteArray(5000, 't'))).path();
    UninstallerScanner &scanner = t.scan();
    const auto tool = [&] { return named(scanner.applications(), "Tool"); };
    // "Tool" relates the atool cache by name, but "a" matches it by identifier.
    QCOMPARE(tool()->relatedFiles, QStringList({support, atool}));
    QVERIFY(t.uninstall({"a"}));
    QVERIFY(!QFileInfo::exists(atool));
    // Tool no longer counts it, nor its bytes.
    QCOMPARE(tool()->relatedFiles, QStringList{support});
    QVERIFY(tool()->relatedSize >= 5000 && tool()->relatedSize < 300000);
    const auto *model = scanner.applicationsModel();
    const int row = model->rowOf(tool()->id());
    QCOMPARE(model->index(row).data(model->role("relatedCount")).toInt(), 1);
}

QTEST_GUILESS_MAIN(TestUninstaller)
#include "tst_uninstaller.moc"
