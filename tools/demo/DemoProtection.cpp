// The other places the protection scan walks: Downloads, Application Support,
// the privileged helper tools, and a shared folder for a custom analysis.
// Every script here only prints a line: the demo names dangerous things, it
// does not hold any.
#include "DemoAreas.h"
#include "DemoTree.h"
#include "MachOSigner.h"

#include <QFile>

#include <QVariantMap>

namespace {

const QByteArray kHarmless = "#!/bin/sh\necho \"Velmora demo: this file does nothing.\"\n";

struct Item
{
    const char *path; // relative to the tree root
    bool executable;
};

const Item kItems[] = {
    // Downloads, walked four levels deep.
    {"Users/demo/Downloads/run.sh", true},             // script: suspicious
    {"Users/demo/Downloads/cleanup.command", true},    // script: suspicious
    {"Users/demo/Downloads/fix-fonts.sh", true},       // script: suspicious
    {"Users/demo/Downloads/instalar-tema.zsh", false}, // script: suspicious
    {"Users/demo/Downloads/updater", true},            // no extension: not rated here
    {"Users/demo/Downloads/leeme.txt", false},         // not rated
    {"Users/demo/Downloads/Factura.pdf.app", false},   // a file, not a bundle: installer
    {"Users/demo/Downloads/Proyectos/cliente/2024/setup.command", true},     // level 4: rated
    {"Users/demo/Downloads/Proyectos/cliente/2024/scripts/deploy.sh", true}, // level 5: not
    // Application Support, walked five levels deep.
    {"Users/demo/Library/Application Support/Drift Browser/tmp/DriftUpdater", true}, // "/tmp/"
    {"Users/demo/Library/Application Support/Orbit VPN/.orbit-watchdog", true},      // hidden
    {"Users/demo/Library/Application Support/com.mediahelper/Downloads/.mh_install.sh", true},
    {"Users/demo/Library/Application Support/Quill/scripts/export.py", false}, // ordinary: none
    {"Users/demo/Library/Application Support/Ledger/Plugins/Sync/bin/.ledger-sync", true},
    {"Users/demo/Library/Application Support/Ledger/Plugins/Sync/bin/old/.ledger-sync-old", true},
    // Privileged helpers, listed flat without hidden entries.
    {"Library/PrivilegedHelperTools/io.orbitvpn.helper", true},
    {"Library/PrivilegedHelperTools/com.driftbrowser.elevated-updater", true},
    {"Library/PrivilegedHelperTools/.com.fastclean.helper", true},
    // A shared folder, for the custom analysis.
    {"Users/Shared/.sync/syncd", true},
    {"Users/Shared/Actualizar.command", true},
    {"Users/Shared/.cache/.launcher.sh", true},
};

QVariantMap wifiProfile()
{
    const QVariantMap wifi{{"PayloadType", "com.apple.wifi.managed"},
                           {"PayloadIdentifier", "com.oficina.wifi.payload"},
                           {"PayloadUUID", "5B0C1F7E-1D52-4C3A-9E0B-6B7D2E4F8A11"},
                           {"PayloadVersion", qint64(1)},
                           {"SSID_STR", "Oficina"},
                           {"EncryptionType", "WPA2"}};
    return {{"PayloadType", "Configuration"},
            {"PayloadDisplayName", "Wi-Fi Oficina"},
            {"PayloadIdentifier", "com.oficina.wifi"},
            {"PayloadUUID", "0E6A43D2-8B7C-4F39-A2D1-5C9E7B3F6A20"},
            {"PayloadVersion", qint64(1)},
            {"PayloadContent", QVariantList{wifi}}};
}

// Changes one sealed file after signing, as an update gone wrong (or a
// tampered copy) would.
void tamper(DemoTree &tree, const QString &file)
{
    QFile f(tree.path(file));
    if (f.open(QIODevice::Append))
        f.write("\n");
}

// Signed programs, made by our signer: every level of the application and
// helper rules shows. The code is a few KB of filler, not a program.
void buildSignedItems(DemoTree &tree)
{
    MachOSigner::Options o;
    const QMap<QString, QByteArray> resources{{"Resources/es.lproj/Localizable.strings", "\"ok\";"},
                                              {"Resources/Readme.txt", "Velmora demo"}};
    const auto bundle = [&](const QString &folder, const char *exe, const char *identifier,
                            std::optional<QString> team) {
        o.identifier = QString::fromLatin1(identifier);
        o.team = std::move(team);
        MachOSigner::writeBundle(tree.path(folder), QString::fromLatin1(exe), resources, o);
    };
    // Valid with a team: safe. Valid and Apple's: protected.
    bundle("Applications/Nimbus Sync.app", "Nimbus Sync", "com.nimbus.sync", "NMB4S7Y9QK");
    bundle("Applications/Vista Previa.app", "Vista Previa", "com.apple.Preview", "APPLE00001");
    // Signed with a team, changed after signing, in /Applications: review.
    bundle("Applications/Pixel Studio.app", "Pixel Studio", "com.pixelstudio.app", "PX5T7D1O00");
    tamper(tree, "Applications/Pixel Studio.app/Contents/Resources/Readme.txt");
    // Signed without a team, changed, in Downloads: dangerous.
    bundle(DemoTree::home("Downloads/Codec Pack.app"), "Codec Pack", "net.codecpack.installer",
           std::nullopt);
    tamper(tree, DemoTree::home("Downloads/Codec Pack.app/Contents/Resources/Readme.txt"));
    // A valid helper: review, with the reason that it is valid.
    o.identifier = QStringLiteral("com.nimbus.sync.helper");
    o.team = QStringLiteral("NMB4S7Y9QK");
    tree.builder().executableFile(
        QStringLiteral("Library/PrivilegedHelperTools/com.nimbus.sync.helper"),
        MachOSigner::signedSlice(true, o));
    // A changed signed tool in a temporary folder: dangerous for the custom
    // analysis of the shared folder.
    o.team.reset();
    o.identifier = QStringLiteral("sync.agent");
    QByteArray tool = MachOSigner::signedSlice(true, o);
    tool[2000] = char(tool.at(2000) ^ 0x20);
    tree.builder().executableFile(QStringLiteral("Users/Shared/tmp/sync-agent"), tool);
}

} // namespace

namespace Demo {

void buildProtectionItems(DemoTree &tree)
{
    TreeBuilder &b = tree.builder();
    for (const Item &item : kItems) {
        const QString path = QString::fromUtf8(item.path);
        if (item.executable)
            b.executableFile(path, kHarmless);
        else
            b.file(path, kHarmless);
    }
    // Installers, rated for review.
    b.allocatedFile(DemoTree::home(QStringLiteral("Downloads/OrbitVPN-3.2.pkg")), 4 * MiB);
    b.allocatedFile(DemoTree::home(QStringLiteral("Downloads/setup.dmg")), 2560 * KiB);
    b.plist(DemoTree::home(QStringLiteral("Downloads/perfil-wifi-oficina.mobileconfig")),
            wifiProfile(), false);
    // A launch list in a folder the custom analysis walks: rated as a launch item.
    b.plist(QStringLiteral("Users/Shared/LaunchAgents/com.shared.loader.plist"),
            {{"Label", "com.shared.loader"},
             {"ProgramArguments", QVariantList{QStringLiteral("/Users/Shared/.sync/syncd")}},
             {"RunAtLoad", true}},
            false);
    // An application inside Application Support, rated by the application rule.
    b.bundle(DemoTree::home(QStringLiteral("Library/Application Support/Lumen Notes/Plugins/"
                                           "Export.app")),
             {{"CFBundleIdentifier", "com.lumenlabs.LumenNotes.Export"},
              {"CFBundleName", "Export"},
              {"CFBundleExecutable", "Export"}},
             false, 0);
    buildSignedItems(tree);
}

} // namespace Demo
