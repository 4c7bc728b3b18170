#include "ApplicationFilterModel.h"
#include "ApplicationInventory.h"
#include "TestEnvironment.h"
#include "TreeBuilder.h"
#include "UninstallerScanner.h"

#include <QAbstractItemModelTester>
#include <QFile>
#include <QtTest>

namespace {

constexpr qint64 MiB = 1024 * 1024;

QVariantMap info(const QString &identifier, const QVariant &version = QVariant())
{
    QVariantMap map{{QStringLiteral("CFBundleIdentifier"), identifier}};
    if (version.isValid())
        map.insert(QStringLiteral("CFBundleShortVersionString"), version);
    return map;
}

QStringList names(const QList<InstalledApplication> &apps)
{
    QStringList out;
    for (const InstalledApplication &app : apps)
        out << app.name;
    return out;
}

const InstalledApplication *named(const QList<InstalledApplication> &apps, const QString &name)
{
    for (const InstalledApplication &app : apps)
        if (app.name == name)
            return &app;
    return nullptr;
}

// Relative to the Library, for comparing related files.
QStringList relative(const QStringList &paths, const QString &library)
{
    QStringList out;
    for (const QString &path : paths)
        out << path.mid(library.size() + 1);
    out.sort();
    return out;
}

void waitForScan(UninstallerScanner &scanner, int count)
{
    QTRY_COMPARE_WITH_TIMEOUT(scanner.completedScanCount(), count, 30000);
    QVERIFY(!scanner.isScanning());
}

} // namespace

class TestUninstallerScanner : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void relatedFilesByNameAndIdentifier();
    void inventoryOfBothRoots();
    void iconsNamedByTheBundle();
    void sizesOnDiskAndOrder();
    void startsByItselfAndReportsAnEmptyInventory();
    void uninstallMovesBundleBeforeLeftovers();
    void unreadablePlacesCountAsEmpty();
    void searchMatching();
};

void TestUninstallerScanner::relatedFilesByNameAndIdentifier()
{
    TestEnvironment env;
    const QString library = env.home() + "/Library";
    TreeBuilder tree(library);
    tree.file("Preferences/com.example.foobar.plist");
    tree.folder("Application Support/Foo Bar");
    tree.folder("Caches/FooBarHelper");
    tree.folder("Caches/com.example.FooBar"); // by name and by identifier: once
    tree.folder("Caches/Foo Baz");
    tree.folder("Caches/.foobar");          // hidden
    tree.file("LaunchAgents/foobar.plist"); // not a searched folder
    tree.folder("Saved Application State/com.example.FooBar.savedState");
    tree.file("Application Support/Gmail Helper");
    tree.file("Logs/MAILBOX.log");
    tree.folder("Containers/com.apple.mail");
    tree.folder("Group Containers/Maple");
    tree.folder("Group Containers/ABCDE12345.com.example.FooBar");
    // "Containers" is there, "Logs" too; nothing else is needed for the walk.

    const auto listing = ApplicationInventory::listLibrary(library);
    QCOMPARE(
        relative(ApplicationInventory::relatedFiles(QStringLiteral("com.example.FooBar"),
                                                    QStringLiteral("Foo Bar"), listing),
                 library),
        QStringList({"Application Support/Foo Bar", "Caches/FooBarHelper",
                     "Caches/com.example.FooBar", "Group Containers/ABCDE12345.com.example.FooBar",
                     "Preferences/com.example.foobar.plist",
                     "Saved Application State/com.example.FooBar.savedState"}));
    QCOMPARE(
        relative(ApplicationInventory::relatedFiles(std::nullopt, QStringLiteral("Mail"), listing),
                 library),
        QStringList(
            {"Application Support/Gmail Helper", "Containers/com.apple.mail", "Logs/MAILBOX.log"}));
    // The identifier is only lower-cased: it keeps its spaces and so matches nothing here.
    QCOMPARE(ApplicationInventory::relatedFiles(QStringLiteral("foo bar"), QString(), listing),
             QStringList());
    // A name of spaces only and an empty identifier match nothing, not everything.
    QCOMPARE(ApplicationInventory::relatedFiles(QString(), QStringLiteral("   "), listing),
             QStringList());
    QCOMPARE(ApplicationInventory::relatedFiles(std::nullopt, QString(), listing), QStringList());
}

void TestUninstallerScanner::inventoryOfBothRoots()
{
    TestEnvironment env;
    TreeBuilder root(env.root());
    TreeBuilder home(env.home());
    root.bundle("Applications/Xml.app", info("com.example.xml", "1.2"), false);
    root.bundle("Applications/Binary.app", info("com.example.binary", "3.0"), true);
    root.bundle("Applications/Number.app", info("com.example.number", qint64(7)), false);
    root.bundle("Applications/Empty Id.app", info(QString(), "1.0"), false);
    root.bundle("Applications/Truncated.app", info("com.example.truncated", "2.0"), false);
    {
        QFile plist(root.path("Applications/Truncated.app/Contents/Info.plist"));
        QVERIFY(plist.open(QIODevice::ReadWrite));
        plist.resize(plist.size() / 2);
    }
    root.folder("Applications/NoList.app/Contents/MacOS");
    root.file("Applications/Plain File.app", "not a bundle");
    root.bundle("Applications/UPPER.APP", info("com.example.upper", "9"), false);
    root.bundle("Applications/Utilities/Nested.app", info("com.example.nested", "1"), false);
    root.bundle("Applications/.Hidden.app", info("com.example.hidden", "1"), false);
    root.folder("Applications/Folder");
    root.bundle("Applications/Shared.app", info("com.example.shared", "1"), false);
    home.bundle("Applications/Shared.app", info("com.example.shared", "1"), false);

    const QString library = env.home() + "/Library";
    const auto apps = ApplicationInventory::findInstalledApplications(
        {env.root() + "/Applications", env.home() + "/Applications", env.base() + "/missing"},
        library);
    QStringList found = names(apps);
    QCOMPARE(found.count("Shared"), 2);
    QVERIFY(named(apps, "Shared")->id() != apps.at(found.lastIndexOf("Shared")).id());
    QCOMPARE(apps.last().url, env.home() + "/Applications/Shared.app"); // home root comes last
    found.sort();
    QCOMPARE(found, QStringList({"Binary", "Empty Id", "NoList", "Number", "Plain File", "Shared",
                                 "Shared", "Truncated", "UPPER", "Xml"}));

    QCOMPARE(named(apps, "Xml")->bundleIdentifier, std::optional<QString>("com.example.xml"));
    QCOMPARE(named(apps, "Xml")->version, QStringLiteral("1.2"));
    QCOMPARE(named(apps, "Binary")->version, QStringLiteral("3.0"));
    QCOMPARE(named(apps, "UPPER")->version, QStringLiteral("9"));
    QCOMPARE(named(apps, "Number")->version, QStringLiteral("Sin versión"));
    QCOMPARE(named(apps, "Number")->bundleIdentifier, std::optional<QString>("com.example.number"));
    for (const char *broken : {"Truncated", "NoList", "Plain File", "Empty Id"})
        QVERIFY2(!named(apps, broken)->bundleIdentifier, broken);
    for (const char *broken : {"Truncated", "NoList", "Plain File"})
        QCOMPARE(named(apps, broken)->version, QStringLiteral("Sin versión"));
    QCOMPARE(named(apps, "Empty Id")->version, QStringLiteral("1.0"));
}

void TestUninstallerScanner::iconsNamedByTheBundle()
{
    TestEnvironment env;
    TreeBuilder root(env.root());
    auto withIcon = [](const QString &file) {
        QVariantMap map = info("com.example.icon", "1");
        map.insert(QStringLiteral("CFBundleIconFile"), file);
        return map;
    };
    root.bundle("Applications/Plain.app", withIcon("AppIcon"), false);
    root.file("Applications/Plain.app/Contents/Resources/AppIcon.icns", "icns");
    root.bundle("Applications/Named.app", withIcon("Logo.icns"), true);
    root.file("Applications/Named.app/Contents/Resources/Logo.icns", "icns");
    root.bundle("Applications/Escape.app", withIcon("../../../outside.icns"), false);
    root.file("outside.icns", "icns");
    root.bundle("Applications/Absent.app", withIcon("Missing"), false);
    root.bundle("Applications/None.app", info("com.example.none", "1"), false);

    QHash<QString, QString> icons;
    for (const auto &found : ApplicationInventory::findApplicationsWithIcons(
             {env.root() + "/Applications"}, env.home() + "/Library"))
        icons.insert(found.application.name, found.iconPath);
    QCOMPARE(icons.size(), 5);
    QCOMPARE(icons.value("Plain"),
             root.path("Applications/Plain.app/Contents/Resources/AppIcon.icns"));
    QCOMPARE(icons.value("Named"),
             root.path("Applications/Named.app/Contents/Resources/Logo.icns"));
    for (const char *none : {"Escape", "Absent", "None"})
        QVERIFY2(icons.value(none).isEmpty(), none);
}

void TestUninstallerScanner::sizesOnDiskAndOrder()
{
    TestEnvironment env;
    TreeBuilder root(env.root());
    TreeBuilder home(env.home());
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

    UninstallerScanner scanner;
    QAbstractItemModelTester tester(scanner.applicationsModel());
    waitForScan(scanner, 1);
    const QList<InstalledApplication> &apps = scanner.applications();
    QCOMPARE(names(apps), QStringList({"Big", "Tie A", "Tie C", "Tie B"}));
    const InstalledApplication &big = apps.at(0);
    // Allocated blocks only: the hidden file, the sparse length and the link's target do not count.
    QVERIFY2(big.appSize >= 4 * MiB && big.appSize < 4 * MiB + 64 * 1024,
             qPrintable(QString::number(big.appSize)));
    QCOMPARE(big.relatedSize, 3 * MiB);
    QCOMPARE(apps.at(1).relatedSize, 1 * MiB); // a leftover that is a plain file measures itself
    QCOMPARE(apps.at(1).totalSize(), apps.at(3).totalSize());
    QCOMPARE(ApplicationInventory::folderSize(env.base() + "/missing"), qint64(0));
    QCOMPARE(ApplicationInventory::folderSize(
                 root.path("Applications/Big.app/Contents/Resources/link.bin")),
             qint64(0));

    QCOMPARE(scanner.applicationsModel()->rowCount(), 4);

    // Many equal totals across both roots keep the order of discovery (enough of
    // them that an unstable sort would show).
    QStringList expected;
    for (int i = 0; i < 24; ++i) {
        const QString name = QStringLiteral("Same %1").arg(i, 2, 10, QLatin1Char('0'));
        TreeBuilder &base = i % 2 ? home : root;
        base.bundle("Applications/" + name + ".app", info("org.same." + QString::number(i), "1"),
                    false, 0);
        base.allocatedFile("Applications/" + name + ".app/Contents/blob", 1 * MiB);
    }
    for (int i = 0; i < 24; i += 2)
        expected << QStringLiteral("Same %1").arg(i, 2, 10, QLatin1Char('0'));
    for (int i = 1; i < 24; i += 2)
        expected << QStringLiteral("Same %1").arg(i, 2, 10, QLatin1Char('0'));
    scanner.scanApplications();
    waitForScan(scanner, 2);
    QCOMPARE(names(scanner.applications()).mid(4), expected);
}

void TestUninstallerScanner::startsByItselfAndReportsAnEmptyInventory()
{
    TestEnvironment env;
    TreeBuilder(env.root()).folder("Applications");
    UninstallerScanner scanner;
    QAbstractItemModelTester tester(scanner.applicationsModel());
    QCOMPARE(scanner.statusText(), QStringLiteral("Preparando análisis de aplicaciones…"));
    QVERIFY(!scanner.isScanning());
    QSignalSpy status(&scanner, &ScannerBase::statusTextChanged);
    waitForScan(scanner, 1);
    QCOMPARE(status.count(), 2);
    QCOMPARE(scanner.statusText(), QStringLiteral("No se encontraron aplicaciones."));
    QVERIFY(scanner.errorMessage().isEmpty());

    TreeBuilder(env.home()).bundle("Applications/One.app", info("com.example.one", "1"), false);
    scanner.toggleSelection(QStringLiteral("/stale/id"));
    scanner.scanApplications();
    QVERIFY(scanner.isScanning());
    QVERIFY(scanner.selectedApplicationIDs().isEmpty());
    QCOMPARE(scanner.statusText(), QStringLiteral("Analizando aplicaciones instaladas…"));
    waitForScan(scanner, 2);
    QCOMPARE(scanner.statusText(), QStringLiteral("Se encontraron 1 aplicaciones."));
}

void TestUninstallerScanner::uninstallMovesBundleBeforeLeftovers()
{
    TestEnvironment env;
    TreeBuilder root(env.root());
    TreeBuilder library(env.home() + "/Library");
    root.bundle("Applications/Keep.app", info("com.example.keep", "1"), false);
    root.bundle("Applications/Gone.app", info("com.example.gone", "1"), false);
    root.bundle("Applications/Stuck.app", info("com.example.stuck", "1"), false);
    library.file("Preferences/com.example.gone.plist", "x");
    library.folder("Caches/com.example.gone");
    library.file("Logs/Gone.log", "x");
    library.folder("Caches/com.example.stuck");
    library.file("Preferences/com.example.keep.plist", "x");

    UninstallerScanner scanner;
    QAbstractItemModelTester tester(scanner.applicationsModel());
    waitForScan(scanner, 1);
    scanner.uninstallSelected();
    QTRY_VERIFY_WITH_TIMEOUT(!scanner.isRemoving(), 10000);
    QCOMPARE(scanner.errorMessage(), QStringLiteral("Selecciona una aplicación."));
    scanner.clearError();
    const QString status = scanner.statusText();

    for (const InstalledApplication &app : scanner.applications())
        if (app.name != QLatin1String("Keep"))
            scanner.toggleSelection(app);
    QCOMPARE(scanner.selectedCount(), 2);
    // The bundle is gone before the uninstall (it cannot be trashed); a leftover was
    // removed by hand.
    QVERIFY(QDir(root.path("Applications/Stuck.app")).removeRecursively());
    QVERIFY(QFile::remove(library.path("Logs/Gone.log")));

    QSignalSpy uninstalling(&scanner, &UninstallerScanner::isRemovingChanged);
    scanner.uninstallSelected();
    QTRY_VERIFY_WITH_TIMEOUT(!scanner.isRemoving(), 10000);
    QCOMPARE(uninstalling.count(), 2);
    QVERIFY(!scanner.isUninstalling());
    QCOMPARE(scanner.errorMessage(), QStringLiteral("No fue posible desinstalar: Stuck. Cambiaron "
                                                    "desde el análisis y no se tocaron: Stuck."));
    QCOMPARE(scanner.statusText(), status);
    QStringList left = names(scanner.applications());
    left.sort();
    QCOMPARE(left, QStringList({"Keep", "Stuck"}));
    QCOMPARE(scanner.applicationCount(), 2);
    QCOMPARE(scanner.selectedApplicationIDs(),
             QSet<QString>({root.path("Applications/Stuck.app")}));
    QCOMPARE(scanner.completedScanCount(), 1);
    const QStringList trashed =
        QDir(env.trashFiles()).entryList(QDir::NoDotAndDotDot | QDir::AllEntries);
    QCOMPARE(QSet<QString>(trashed.cbegin(), trashed.cend()),
             QSet<QString>({"Gone.app", "com.example.gone.plist", "com.example.gone"}));
    QVERIFY(QFile::exists(library.path("Caches/com.example.stuck")));
    QVERIFY(QFile::exists(library.path("Preferences/com.example.keep.plist")));

    scanner.clearError();
    scanner.setSelectedApplicationIDs({named(scanner.applications(), "Keep")->id()});
    scanner.uninstallSelected();
    QTRY_VERIFY_WITH_TIMEOUT(!scanner.isRemoving(), 10000);
    QVERIFY(scanner.errorMessage().isEmpty());
    QCOMPARE(scanner.statusText(), QStringLiteral("1 aplicación(es) movidas a la Papelera."));
    QCOMPARE(names(scanner.applications()), QStringList({"Stuck"}));
    QVERIFY(!QFile::exists(library.path("Preferences/com.example.keep.plist")));
}

void TestUninstallerScanner::unreadablePlacesCountAsEmpty()
{
    if (runningAsRoot() && qEnvironmentVariableIsEmpty("VELMORA_UNPRIVILEGED_RERUN")) {
        QString reason, output;
        const bool passed = rerunUnprivileged("unreadablePlacesCountAsEmpty", &reason, &output);
        if (!reason.isEmpty())
            QSKIP(qPrintable(reason));
        QVERIFY2(passed, qPrintable(output));
        return;
    }
    TestEnvironment env;
    TreeBuilder root(env.root());
    TreeBuilder home(env.home());
    root.bundle("Applications/Tool.app", info("com.example.tool", "1"), false, 0);
    root.allocatedFile("Applications/Tool.app/Contents/open.bin", 1 * MiB);
    root.allocatedFile("Applications/Tool.app/Contents/Closed/secret.bin", 4 * MiB);
    home.folder("Library/Caches/com.example.tool");
    home.folder("Library/Application Support/Tool");
    home.bundle("Applications/Hidden Away.app", info("com.example.away", "1"), false);
    const auto open = QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner;
    QFile::setPermissions(root.path("Applications/Tool.app/Contents/Closed"), {});
    QFile::setPermissions(home.path("Library/Caches"), {});
    QFile::setPermissions(home.path("Applications"), {});

    UninstallerScanner scanner;
    QAbstractItemModelTester tester(scanner.applicationsModel());
    waitForScan(scanner, 1);
    for (const char *folder : {"Library/Caches", "Applications"})
        QFile::setPermissions(home.path(folder), open);
    QFile::setPermissions(root.path("Applications/Tool.app/Contents/Closed"), open);

    QCOMPARE(names(scanner.applications()), QStringList({"Tool"}));
    const InstalledApplication &tool = scanner.applications().first();
    QVERIFY2(tool.appSize >= 1 * MiB && tool.appSize < 2 * MiB,
             qPrintable(QString::number(tool.appSize)));
    QCOMPARE(tool.relatedFiles, QStringList({home.path("Library/Application Support/Tool")}));
}

void TestUninstallerScanner::searchMatching()
{
    using M = ApplicationFilterModel;
    QVERIFY(M::matches("Lumen Notes", "com.lumenlabs.LumenNotes", ""));
    QVERIFY(M::matches("Lumen Notes", "com.lumenlabs.LumenNotes", "NOTES"));
    QVERIFY(M::matches("Lumen Notes", "com.lumenlabs.LumenNotes", "lumenlabs")); // identifier only
    QVERIFY(M::matches("Lumen Notes", QString(), " "));       // not trimmed: a name with a space
    QVERIFY(!M::matches("Quill", "com.quillapp.Quill", " ")); // ... and none without
    QVERIFY(!M::matches("Quill", "com.quillapp.Quill", "quill "));
    QVERIFY(M::matches("Ñandú Éditor", QString(), "ñANDÚ é"));
    QVERIFY(!M::matches("Quill", QString(), "com."));

    // Over the scanner's own list, as the screen filters it.
    TestEnvironment env;
    TreeBuilder root(env.root());
    root.bundle("Applications/Lumen Notes.app", info("com.lumenlabs.notes", "1"), false);
    root.bundle("Applications/Quill.app", info("com.quillapp.quill", "1"), false);
    UninstallerScanner scanner;
    ApplicationFilterModel filter;
    filter.setSourceModel(scanner.applicationsModel());
    QAbstractItemModelTester tester(&filter);
    waitForScan(scanner, 1);
    QCOMPARE(filter.rowCount(), 2);
    filter.setSearchText(QStringLiteral("LUMENLABS"));
    QCOMPARE(filter.rowCount(), 1);
    QCOMPARE(filter.index(0, 0).data(scanner.applicationsModel()->role("name")).toString(),
             QStringLiteral("Lumen Notes"));
    scanner.scanApplications();
    waitForScan(scanner, 2);
    QCOMPARE(filter.rowCount(), 1);
    filter.setSearchText(QString());
    QCOMPARE(filter.rowCount(), 2);
}

QTEST_GUILESS_MAIN(TestUninstallerScanner)
#include "tst_uninstallerscanner.moc"
