#include "CodeSignature.h"
#include "MachOSigner.h"
#include "TestEnvironment.h"
#include "TreeBuilder.h"
#include "WalkControl.h"

#include <QtEndian>
#include <QtTest>
#include <functional>

namespace {

const QString kFixtures = QStringLiteral(VELMORA_SOURCE_DIR "/tests/protection/fixtures/");
// NotValid: either of the first two, as a file cut short may still show its headers.
constexpr int None = 0, Broken = 1, Valid = 2, NotValid = 3;
// Checked as root, as "nobody" (to whom a closed folder is closed), during a stopped scan.
constexpr int Root = 0, Nobody = 1, Stopping = 2;
using Make = std::function<QString(TreeBuilder &)>; // what to check, in a private folder
using Tamper = std::function<void(TreeBuilder &contents)>;

QByteArray flipped(QByteArray bytes, qint64 at)
{
    bytes[at] = char(bytes.at(at) ^ 0x5a);
    return bytes;
}

const MachOSigner::Options kViewer = [] {
    MachOSigner::Options o;
    o.identifier = "com.example.viewer";
    o.team = QStringLiteral("TEAM123456");
    o.links = {{"Resources/Current", "es.lproj/Main.strings"}};
    return o;
}();

} // namespace

class TestCodeSignature : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void signatures_data();
    void signatures();
};

void TestCodeSignature::signatures_data()
{
    QTest::addColumn<Make>("make");
    QTest::addColumn<int>("verdict");
    QTest::addColumn<QString>("identifier"); // of a broken signature: empty leaves it unchecked
    QTest::addColumn<QString>("team");
    QTest::addColumn<int>("checker");
    const auto file = [](const char *name, const QByteArray &bytes, int verdict,
                         const QString &identifier = {}, const QString &team = {}) {
        QTest::newRow(name) << Make([=](TreeBuilder &t) { return t.file("code", bytes); })
                            << verdict << identifier << team << Root;
    };
    // Signed ad-hoc by Debian's LLVM 15 (make-fixtures.sh): SHA-256, no team.
    // lipo puts x86_64 first: a universal file's identity is its first slice's.
    const QByteArray arm = fileContents(kFixtures + "llvm-adhoc-arm64");
    const QByteArray fat = fileContents(kFixtures + "llvm-adhoc-universal");
    const auto slice = [&](int i) { return qFromBigEndian<quint32>(fat.data() + 16 + 20 * i); };
    file("llvm arm64", arm, Valid, "llvm-adhoc-arm64");
    file("llvm universal", fat, Valid, "llvm-adhoc-x86_64");
    file("llvm unsigned", fileContents(kFixtures + "llvm-unsigned-x86_64"), None);
    file("llvm code changed", flipped(arm, 0x300), Broken, "llvm-adhoc-arm64");
    file("llvm first slice changed", flipped(fat, slice(0) + 768), Broken, "llvm-adhoc-x86_64");
    file("llvm second slice changed", flipped(fat, slice(1) + 768), Broken, "llvm-adhoc-x86_64");

    MachOSigner::Options team, sha1, hashed;
    team.team = QStringLiteral("ABCDE12345");
    team.entitlements = QByteArray("<plist><dict/></plist>");
    team.embeddedInfo = QByteArray("<plist><dict><key>K</key><string>V</string></dict></plist>");
    MachOSigner::Options cms = team;
    cms.cms = true;
    sha1.hashType = 1;
    sha1.identifier = "com.example.old";
    const QByteArray thin64 = MachOSigner::signedSlice(true, team);
    const QByteArray thin32 = MachOSigner::signedSlice(false, sha1);
    const QByteArray withCms = MachOSigner::signedSlice(true, cms, 20000);
    file("team", thin64, Valid, "com.example.tool", "ABCDE12345");
    file("32-bit sha1", thin32, Valid, "com.example.old");
    file("cms", withCms, Valid, "com.example.tool", "ABCDE12345");
    file("universal", MachOSigner::universal({thin32, thin64}), Valid, "com.example.old");
    // A link is read as the file it leads to; leading nowhere, it is no code.
    for (const auto &[name, target, verdict] :
         {std::tuple("link to signed code", "code", Valid),
          std::tuple("dangling link", "gone", None), std::tuple("link to itself", "link", None)})
        QTest::newRow(name) << Make([=](TreeBuilder &t) {
            t.file("code", thin64);
            return t.symlink("link", target);
        }) << verdict << QString(verdict == Valid ? "com.example.tool" : "")
                            << QString(verdict == Valid ? "ABCDE12345" : "") << Root;
    for (const auto &[name, type, size, verdict] :
         {std::tuple("sha256 cut to 20 bytes", 3, 0, Valid), std::tuple("sha384", 4, 0, Valid),
          std::tuple("sha256 hashes cut short", 2, 20, Broken),
          std::tuple("unknown hash type", 9, 32, Broken)}) {
        hashed.hashType = type;
        hashed.hashSize = size;
        file(name, MachOSigner::signedSlice(true, hashed), verdict,
             verdict == Valid ? "com.example.tool" : "");
    }
    // Each part the signature covers, changed.
    file("code changed", flipped(thin64, 3000), Broken, "com.example.tool", "ABCDE12345");
    file("embedded information changed", flipped(thin64, thin64.indexOf("<string>V")), Broken);
    file("entitlements changed", flipped(thin64, thin64.indexOf("<plist><dict/>") + 2), Broken);
    file("cms changed", flipped(withCms, withCms.size() - 400), Broken);
    file("super blob magic", flipped(thin64, thin64.indexOf("\xfa\xde\x0c\xc0") + 1), Broken);
    file("directory magic", flipped(thin64, thin64.indexOf("\xfa\xde\x0c\x02") + 1), Broken);
    file("a slice unsigned", MachOSigner::universal({thin64, MachOSigner::unsignedSlice(false)}),
         Broken);
    // Files cut short or pointing past their end: a clean answer each time.
    QByteArray outside = thin64; // the signature's command pointing past the end
    outside[outside.indexOf(QByteArray("\x1d\x00\x00\x00\x10\x00\x00\x00", 8)) + 11] = '\x70';
    file("signature past the end", outside, Broken);
    for (qint64 cut = 0; cut < thin64.size(); cut += 97)
        file(qPrintable(QStringLiteral("cut at %1").arg(cut)), thin64.left(cut), NotValid);

    // A signed bundle with a sealed link, then changed inside its Contents folder.
    const auto row = [](const char *name, int verdict, const Tamper &tamper, int checker = Root,
                        bool withFiles = true) {
        const Make make = [=](TreeBuilder &t) {
            const QMap<QString, QByteArray> files{{"Resources/icon.icns", "icon"},
                                                  {"Resources/es.lproj/Main.strings", "hola"}};
            MachOSigner::writeBundle(t.path("Viewer.app"), "Viewer",
                                     withFiles ? files : decltype(files)(), kViewer);
            TreeBuilder contents(t.path("Viewer.app/Contents"));
            tamper(contents);
            return t.path("Viewer.app");
        };
        QTest::newRow(name) << make << verdict << QString(kViewer.identifier) << *kViewer.team
                            << checker;
    };
    const auto add = [](const char *name) { return [=](TreeBuilder &t) { t.file(name); }; };
    const auto remove = [](const char *name) {
        return [=](TreeBuilder &t) { QFile::remove(t.path(name)); };
    };
    const auto change = [](const char *name, qint64 at) {
        return [=](TreeBuilder &t) { t.file(name, flipped(fileContents(t.path(name)), at)); };
    };
    const auto link = [](const char *target) {
        return [=](TreeBuilder &t) {
            QFile::remove(t.path("Resources/Current"));
            t.symlink("Resources/Current", target);
        };
    };
    const auto signedAgain = [](bool sealed, bool bound) {
        return [=](TreeBuilder &t) {
            MachOSigner::Options o = kViewer;
            if (sealed)
                o.codeResources = fileContents(t.path("_CodeSignature/CodeResources"));
            if (bound)
                o.infoPlist = fileContents(t.path("Info.plist"));
            t.file("MacOS/Viewer", MachOSigner::signedSlice(true, o));
        };
    };
    const auto closed = [](TreeBuilder &t) {
        QVERIFY(QFile::setPermissions(t.file("Resources/closed/payload"), {}));
        QVERIFY(QFile::setPermissions(t.path("Resources/closed"), {}));
    };
    row("untouched", Valid, [](TreeBuilder &) {});
    row("signed again whole", Valid, signedAgain(true, true));
    row(".DS_Store, left out by the rules", Valid, add("Resources/.DS_Store"));
    row("store receipt, added after signing", Valid, add("_MASReceipt/receipt"));
    row("code changed", Broken, change("MacOS/Viewer", 3000));
    row("Info.plist changed", Broken, change("Info.plist", 100));
    row("Info.plist deleted", Broken, remove("Info.plist"));
    row("seal changed", Broken, change("_CodeSignature/CodeResources", 100));
    row("seal deleted", Broken, remove("_CodeSignature/CodeResources"));
    row("resources not sealed by the code", Broken, signedAgain(false, true));
    row("Info.plist not bound by the code", Broken, signedAgain(true, false));
    row("sealed file changed", Broken, change("Resources/icon.icns", 3));
    row("sealed file removed", Broken, remove("Resources/es.lproj/Main.strings"));
    row("file added", Broken, add("Resources/extra.dylib"));
    row("file added beside the code", Broken, add("MacOS/helper"));
    row("signature folder below the top", Broken, add("Resources/_CodeSignature/x"));
    row("hidden file added", Broken, add(".hidden"));
    row("file added in a hidden folder", Broken, add(".cache/payload"));
    row("name that merely ends in .DS_Store", Broken, add("Resources/x.DS_Store"));
    row(".DS_Store and a line break", Broken, add("Resources/.DS_Store\n"));
    row("Info.plist below the top", Broken, add("Resources/Info.plist"));
    row("link retargeted", Broken, link("icon.icns"));
    row("link whose target ends with the sealed text", Broken, link("/tmp/es.lproj/Main.strings"));
    row("link whose target starts with the sealed text", Broken, link("es.lproj/Main.strings~"));
    row("file added in a folder that cannot be listed", Broken, closed, Nobody);
    row("file added, checked as the scan stops", Broken, add("Resources/extra"), Stopping, false);
    // Code that the information list names outside Contents/MacOS is not the bundle's.
    row("code named outside its folder", None, [](TreeBuilder &t) {
        t.file("Resources/tool", MachOSigner::signedSlice(true, kViewer));
        t.plist("Info.plist", {{"CFBundleExecutable", "../Resources/tool"}}, false);
    });
}

void TestCodeSignature::signatures()
{
    QFETCH(Make, make);
    QFETCH(int, verdict);
    QFETCH(QString, identifier);
    QFETCH(QString, team);
    QFETCH(int, checker);
    if (checker == Nobody && runningAsRoot()) {
        QString reason, output;
        const QString tag = QStringLiteral("signatures:") + QTest::currentDataTag();
        const bool passed = rerunUnprivileged(qPrintable(tag), &reason, &output);
        if (!reason.isEmpty())
            QSKIP(qPrintable(reason));
        QVERIFY2(passed, qPrintable(output));
        return;
    }
    TestEnvironment env;
    TreeBuilder tree(env.home());
    const QString path = make(tree);
    const WalkControl::Handle stopped = WalkControl::make();
    stopped->stop = checker == Stopping;
    const WalkControl::Scope scope(stopped);
    const SignatureInformation info = CodeSignature::signatureInformation(path);
    if (checker == Nobody) // the closed folder goes with the rest
        QFile::setPermissions(path + "/Contents/Resources/closed",
                              QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    const char *description[] = {"Sin firma verificable", "Firma presente; validación incompleta",
                                 "Firma digital válida"};
    QCOMPARE(info.isValid, verdict == Valid);
    if (verdict == NotValid)
        return;
    QCOMPARE(info.wasCreated, verdict != None);
    QCOMPARE(info.description, QString::fromUtf8(description[verdict]));
    const bool named = verdict != None && !identifier.isEmpty();
    if (verdict == Broken && !named)
        return;
    QCOMPARE(info.identifier, named ? std::optional(identifier) : std::nullopt);
    QCOMPARE(info.teamIdentifier, named && !team.isEmpty() ? std::optional(team) : std::nullopt);
}

QTEST_GUILESS_MAIN(TestCodeSignature)
#include "tst_codesignature.moc"
