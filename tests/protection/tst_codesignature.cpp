#include "CodeSignature.h"
#include "MachOSigner.h"
#include "PropertyList.h"
#include "TestEnvironment.h"
#include "TreeBuilder.h"

#include <QFile>
#include <QtTest>

namespace {

const QString kFixtures = QStringLiteral(VELMORA_SOURCE_DIR "/tests/protection/fixtures/");

QString write(const QString &path, const QByteArray &bytes)
{
    QFile f(path);
    f.open(QIODevice::WriteOnly);
    f.write(bytes);
    return path;
}

QByteArray readAll(const QString &path)
{
    QFile f(path);
    f.open(QIODevice::ReadOnly);
    return f.readAll();
}

// A copy of `bytes` with one byte changed at `at`.
QByteArray flipped(QByteArray bytes, qint64 at)
{
    bytes[at] = char(bytes.at(at) ^ 0x5a);
    return bytes;
}

void expectValid(const SignatureInformation &info, const QString &identifier,
                 const std::optional<QString> &team = std::nullopt)
{
    QVERIFY(info.wasCreated);
    QVERIFY(info.isValid);
    QCOMPARE(info.identifier, std::optional<QString>(identifier));
    QCOMPARE(info.teamIdentifier, team);
    QCOMPARE(info.description, QStringLiteral("Firma digital válida"));
}

void expectBroken(const SignatureInformation &info)
{
    QVERIFY(info.wasCreated);
    QVERIFY(!info.isValid);
    QCOMPARE(info.description, QStringLiteral("Firma presente; validación incompleta"));
}

void expectNone(const SignatureInformation &info)
{
    QCOMPARE(info, SignatureInformation{});
    QCOMPARE(info.description, QStringLiteral("Sin firma verificable"));
}

} // namespace

class TestCodeSignature : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void signaturesMadeByLlvm();
    void ourSignaturesEveryShape();
    void sealedBundles();
    void hostileFiles();
};

void TestCodeSignature::signaturesMadeByLlvm()
{
    // Signed ad-hoc by Debian's LLVM 15 (make-fixtures.sh): SHA-256, no team.
    expectValid(CodeSignature::signatureInformation(kFixtures + "llvm-adhoc-arm64"),
                "llvm-adhoc-arm64");
    expectValid(CodeSignature::signatureInformation(kFixtures + "llvm-adhoc-x86_64"),
                "llvm-adhoc-x86_64");
    // lipo puts x86_64 first: the identity is the first slice's.
    expectValid(CodeSignature::signatureInformation(kFixtures + "llvm-adhoc-universal"),
                "llvm-adhoc-x86_64");
    expectNone(CodeSignature::signatureInformation(kFixtures + "llvm-unsigned-x86_64"));

    // One byte of code changed: still signed, no longer valid, still identified.
    TestEnvironment env;
    const QByteArray thin = readAll(kFixtures + "llvm-adhoc-arm64");
    const SignatureInformation tampered =
        CodeSignature::signatureInformation(write(env.home() + "/thin", flipped(thin, 0x300)));
    expectBroken(tampered);
    QCOMPARE(tampered.identifier, std::optional<QString>(QStringLiteral("llvm-adhoc-arm64")));
    // In a universal file every slice is checked, the second as well as the first.
    const QByteArray fat = readAll(kFixtures + "llvm-adhoc-universal");
    const auto sliceOffset = [&fat](int i) {
        const auto *u = reinterpret_cast<const unsigned char *>(fat.constData() + 16 + 20 * i);
        return qint64(u[0]) << 24 | qint64(u[1]) << 16 | qint64(u[2]) << 8 | u[3];
    };
    for (int i : {0, 1}) {
        const SignatureInformation info = CodeSignature::signatureInformation(
            write(env.home() + "/fat", flipped(fat, sliceOffset(i) + 0x300)));
        expectBroken(info);
        QCOMPARE(info.identifier, std::optional<QString>(QStringLiteral("llvm-adhoc-x86_64")));
    }
}

void TestCodeSignature::ourSignaturesEveryShape()
{
    TestEnvironment env;
    MachOSigner::Options team;
    team.identifier = "com.example.tool";
    team.team = QStringLiteral("ABCDE12345");
    team.entitlements = QByteArray("<plist><dict/></plist>");
    team.embeddedInfo = QByteArray("<plist><dict><key>CFBundleIdentifier</key>"
                                   "<string>com.example.tool</string></dict></plist>");
    MachOSigner::Options cms = team;
    cms.cms = true;
    MachOSigner::Options sha1;
    sha1.sha1 = true;
    sha1.identifier = "com.example.old";

    const QByteArray thin64 = MachOSigner::signedSlice(true, team);
    const QByteArray thin32 = MachOSigner::signedSlice(false, sha1);
    const QByteArray withCms = MachOSigner::signedSlice(true, cms, 20000);
    expectValid(CodeSignature::signatureInformation(write(env.home() + "/t64", thin64)),
                "com.example.tool", QStringLiteral("ABCDE12345"));
    expectValid(CodeSignature::signatureInformation(write(env.home() + "/t32", thin32)),
                "com.example.old");
    expectValid(CodeSignature::signatureInformation(write(env.home() + "/cms", withCms)),
                "com.example.tool", QStringLiteral("ABCDE12345"));
    expectValid(CodeSignature::signatureInformation(
                    write(env.home() + "/fat", MachOSigner::universal({thin32, thin64}))),
                "com.example.old");

    // Each part the signature covers, changed: code, the embedded information
    // list, the entitlements blob, the CMS signature, a blob header.
    const auto broken = [&](const QByteArray &bytes, const char *name) {
        expectBroken(CodeSignature::signatureInformation(write(env.home() + "/" + name, bytes)));
    };
    broken(flipped(thin64, 3000), "code");
    broken(flipped(thin32, 3000), "code32");
    const qint64 info = thin64.indexOf("<string>com.example.tool");
    broken(flipped(thin64, info + 3), "embedded");
    const qint64 ents = thin64.indexOf("<plist><dict/>");
    broken(flipped(thin64, ents + 2), "entitlements");
    const qint64 cmsAt = withCms.indexOf("\xfa\xde\x0b\x01");
    broken(flipped(withCms, withCms.size() - 400), "cms");
    QVERIFY(cmsAt > 0);
    const qint64 superBlob = thin64.indexOf("\xfa\xde\x0c\xc0");
    broken(flipped(thin64, superBlob + 1), "magic");
    const qint64 directory = thin64.indexOf("\xfa\xde\x0c\x02");
    broken(flipped(thin64, directory + 1), "directory");
    // A second slice unsigned inside a universal file.
    broken(MachOSigner::universal({thin64, MachOSigner::unsignedSlice(false)}), "halfsigned");
    expectNone(CodeSignature::signatureInformation(
        write(env.home() + "/plain", MachOSigner::unsignedSlice(true))));
}

void TestCodeSignature::sealedBundles()
{
    TestEnvironment env;
    TreeBuilder tree(env.home());
    MachOSigner::Options o;
    o.identifier = "com.example.viewer";
    o.team = QStringLiteral("TEAM123456");
    const QMap<QString, QByteArray> resources{{"Resources/icon.icns", "icon"},
                                              {"Resources/es.lproj/Main.strings", "hola"}};
    const QString app = tree.path("Viewer.app");
    QVERIFY(MachOSigner::writeBundle(app, "Viewer", resources, o));
    expectValid(CodeSignature::signatureInformation(app), "com.example.viewer",
                QStringLiteral("TEAM123456"));

    // Left out by the seal's rules: nothing changes.
    tree.file("Viewer.app/Contents/Resources/.DS_Store", "x");
    QVERIFY(CodeSignature::signatureInformation(app).isValid);
    // A sealed resource changed, one removed, one added, the Info.plist changed.
    tree.file("Viewer.app/Contents/Resources/icon.icns", "icoN");
    expectBroken(CodeSignature::signatureInformation(app));
    tree.file("Viewer.app/Contents/Resources/icon.icns", "icon");
    QVERIFY(CodeSignature::signatureInformation(app).isValid);
    QVERIFY(QFile::remove(tree.path("Viewer.app/Contents/Resources/es.lproj/Main.strings")));
    expectBroken(CodeSignature::signatureInformation(app));
    tree.file("Viewer.app/Contents/Resources/es.lproj/Main.strings", "hola");
    tree.file("Viewer.app/Contents/Resources/extra.dylib", "added");
    expectBroken(CodeSignature::signatureInformation(app));
    QVERIFY(QFile::remove(tree.path("Viewer.app/Contents/Resources/extra.dylib")));
    QVERIFY(CodeSignature::signatureInformation(app).isValid);
    QFile plist(tree.path("Viewer.app/Contents/Info.plist"));
    QVERIFY(plist.open(QIODevice::Append));
    plist.write("\n");
    plist.close();
    const SignatureInformation info = CodeSignature::signatureInformation(app);
    expectBroken(info);
    QCOMPARE(info.teamIdentifier, std::optional<QString>(QStringLiteral("TEAM123456")));

    // Executables that the information list names badly: no code to inspect.
    for (const QString &bad : {QStringLiteral("../Info.plist"), QStringLiteral(".."),
                               QStringLiteral("a/b"), QString()}) {
        const QString other = tree.path("Bad.app");
        QVERIFY(MachOSigner::writeBundle(other, "Bad", {}, o));
        QVERIFY(PropertyList::write(other + "/Contents/Info.plist", {{"CFBundleExecutable", bad}},
                                    false));
        expectNone(CodeSignature::signatureInformation(other));
    }
    expectNone(CodeSignature::signatureInformation(tree.path("Missing.app")));
}

void TestCodeSignature::hostileFiles()
{
    TestEnvironment env;
    const QByteArray good = MachOSigner::signedSlice(true, MachOSigner::Options{});
    expectNone(CodeSignature::signatureInformation(write(env.home() + "/text", "#!/bin/sh\n")));
    expectNone(CodeSignature::signatureInformation(write(env.home() + "/empty", "")));
    // A universal header that claims a million architectures, or slices past the end.
    QByteArray absurd("\xca\xfe\xba\xbe\x00\x0f\x42\x40", 8);
    expectNone(CodeSignature::signatureInformation(write(env.home() + "/absurd", absurd)));
    QByteArray past = MachOSigner::universal({good});
    past[8 + 8] = '\x7f'; // slice offset far beyond the file
    expectNone(CodeSignature::signatureInformation(write(env.home() + "/past", past)));
    // Truncated at every few hundred bytes: a clean answer each time.
    for (qint64 cut = 0; cut < good.size(); cut += 97) {
        const SignatureInformation info =
            CodeSignature::signatureInformation(write(env.home() + "/cut", good.left(cut)));
        QVERIFY(!info.isValid);
    }
    // The signature's command pointing past the end: present, not valid.
    QByteArray outside = good;
    const qint64 command = outside.indexOf(QByteArray("\x1d\x00\x00\x00\x10\x00\x00\x00", 8));
    QVERIFY(command > 0);
    outside[command + 11] = '\x70';
    expectBroken(CodeSignature::signatureInformation(write(env.home() + "/outside", outside)));
}

QTEST_GUILESS_MAIN(TestCodeSignature)
#include "tst_codesignature.moc"
