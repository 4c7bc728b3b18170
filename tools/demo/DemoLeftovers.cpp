// What applications leave in the seven Library folders the uninstaller reads:
// entries named after a bundle identifier, entries named after the application
// (spaces and letter case do not matter to the match), and a few that belong to
// no application or only look as if they did.
#include "DemoAreas.h"
#include "DemoTree.h"

#include <QDateTime>
#include <QVariantMap>

namespace {

using Demo::KiB;
using Demo::MiB;

struct DataFile
{
    const char *path; // below the home's Library
    qint64 bytes;
};

// Caches of the same applications are built with the other caches.
const DataFile kDataFiles[] = {
    {"Application Support/Drift Browser/Default/History", 2560 * KiB},
    {"Application Support/Drift Browser/Default/Cookies", 320 * KiB},
    {"Application Support/Drift Browser/Default/Extensions/ublock/manifest.json", 4 * KiB},
    {"Application Support/Aurora Photo/Presets.db", 1200 * KiB},
    {"Application Support/Quill/Themes/Solarized.quilltheme", 12 * KiB},
    {"Application Support/Lumen Notes/Notes.sqlite", 4 * MiB},
    {"Application Support/Lumen Notes/Attachments/boceto.png", 600 * KiB},
    {"Application Support/Ledger/Books.ledger", 1536 * KiB},
    {"Application Support/Orbit VPN/servers.json", 48 * KiB},
    {"Application Support/Tessera/Projects.db", 2 * MiB},
    {"Application Support/Ghost Sync/state.db", 700 * KiB},
    {"Application Support/Cadence/Library.db", 3 * MiB},
    {"Application Support/Atlas Maps/Tiles/z12.mbtiles", 6 * MiB},
    {"Application Support/Sketchpad/Brushes/Ink.brush", 256 * KiB},
    {"Application Support/OldGame/Saves/slot1.sav", 90 * KiB}, // no application left
    {"Saved Application State/com.driftbrowser.Drift.savedState/data.data", 64 * KiB},
    {"Saved Application State/com.quillapp.Quill.savedState/data.data", 32 * KiB},
    {"Saved Application State/com.apple.Safari.savedState/data.data", 128 * KiB},
    {"Containers/com.aurorasoft.AuroraPhoto/Data/Documents/Library.aurora", 6 * MiB},
    {"Containers/com.apple.mail/Data/Library/Mail/V10/MailData/Envelope Index", 5 * MiB},
    {"Containers/com.pocketsynth.app/Data/Library/Application Support/Presets/Warm Pad.synth",
     40 * KiB},
    // Holds the full identifier: related.
    {"Group Containers/7QK4M2.com.aurorasoft.AuroraPhoto.shared/Presets/Shared.db", 512 * KiB},
    // Same vendor, but neither the identifier nor the name: not related.
    {"Group Containers/7QK4M2.com.aurorasoft.suite/Licenses.db", 16 * KiB},
    {"Group Containers/group.com.lumenlabs.LumenNotes/Shared.sqlite", 1 * MiB},
};

struct Preference
{
    const char *path; // below the home's Library
    bool binary;
};

const Preference kPreferences[] = {
    {"Preferences/com.driftbrowser.Drift.plist", false},
    {"Preferences/com.quillapp.Quill.plist", true},
    {"Preferences/com.lumenlabs.LumenNotes.plist", false},
    {"Preferences/io.orbitvpn.client.plist", true},
    {"Preferences/com.apple.Safari.plist", true},
    {"Preferences/com.inkwell.Sketchpad.plist", false},
    {"Preferences/org.cadence.player.plist", true},
    {"Preferences/com.ledgerworks.Ledger.plist", false},
    {"Preferences/com.oldvendor.Tool.plist", false}, // no application left
    {"Containers/com.aurorasoft.AuroraPhoto/Data/Library/Preferences/"
     "com.aurorasoft.AuroraPhoto.plist",
     true},
    {"Saved Application State/com.driftbrowser.Drift.savedState/windows.plist", true},
};

const char *const kLogs[] = {
    "Logs/DriftBrowser/update.log",
    "Logs/Ledger.log",
    "Logs/Orbit VPN/connection.log",
    "Logs/GhostSync.log",
};

QString library(const char *path)
{
    return DemoTree::home(QStringLiteral("Library/") + QString::fromUtf8(path));
}

QVariantMap preferenceValues(int index)
{
    return {
        {QStringLiteral("NSWindow Frame Main"), QStringLiteral("120 140 1180 760 0 0 1512 944 ")},
        {QStringLiteral("SUEnableAutomaticChecks"), index % 2 == 0},
        {QStringLiteral("LaunchCount"), qint64(17 + 9 * index)},
        {QStringLiteral("LastLaunch"), DemoTree::daysBeforeReference(3 + index)},
    };
}

QByteArray logText(int lines)
{
    QByteArray text;
    QDateTime when = DemoTree::daysBeforeReference(30);
    for (int i = 0; i < lines; ++i) {
        when = when.addSecs(3600 * 7 + i * 13);
        text += when.toString(Qt::ISODate).toUtf8() + " info: sesión iniciada, comprobación " +
                QByteArray::number(i) + " correcta\n";
    }
    return text;
}

} // namespace

namespace Demo {

void buildLeftovers(DemoTree &tree)
{
    TreeBuilder &b = tree.builder();
    quint32 seed = 500;
    for (const DataFile &file : kDataFiles) {
        // Real bytes for the small ones; the megabyte ones only reserve space.
        if (file.bytes <= 1 * MiB)
            b.patternFile(library(file.path), file.bytes, seed++);
        else
            b.allocatedFile(library(file.path), file.bytes);
        tree.setDate(library(file.path), DemoTree::daysBeforeReference(seed % 40));
    }
    int index = 0;
    for (const Preference &pref : kPreferences)
        b.plist(library(pref.path), preferenceValues(index++), pref.binary);
    int lines = 40;
    for (const char *log : kLogs)
        b.file(library(log), logText(lines += 60));
}

} // namespace Demo
