// Application bundles in "/Applications" and in the home's "Applications", each
// with an information list, an executable and a drawn icon, plus the bundles an
// inventory must cope with: no version, a version of the wrong type, a binary
// list, a truncated list, no list at all, and bundles it must not list.
#include "DemoAreas.h"
#include "DemoTree.h"
#include "IcnsWriter.h"
#include "IconPainter.h"

#include <QFile>
#include <QList>
#include <QStandardPaths>
#include <QVariant>

namespace {

using Mark = IconStyle::Mark;

enum class InfoList
{
    Xml,
    Binary,
    Truncated,
    Missing
};

struct DemoApp
{
    QString folder; // relative to the tree root
    QString identifier;
    QString name;
    QVariant version; // invalid: no CFBundleShortVersionString
    InfoList infoList;
    IconStyle icon;
    qint64 resourceBytes; // reserved on disk, so each bundle has a size of its own
};

IconStyle drawn(QRgb top, QRgb bottom, Mark mark)
{
    return {QColor::fromRgb(top), QColor::fromRgb(bottom), mark, {}};
}

IconStyle lettered(QRgb top, QRgb bottom, const char *letter)
{
    return {QColor::fromRgb(top), QColor::fromRgb(bottom), Mark::Letter,
            QString::fromLatin1(letter)};
}

QList<DemoApp> applications()
{
    const QString root = QStringLiteral("Applications/");
    const QString home = DemoTree::home(QStringLiteral("Applications/"));
    using Demo::MiB;
    return {
        {root + "Safari.app", "com.apple.Safari", "Safari", "18.1", InfoList::Binary,
         drawn(0x4fc3f7, 0x1565c0, Mark::Compass), 4 * MiB},
        {root + "Mail.app", "com.apple.mail", "Mail", "16.0", InfoList::Binary,
         drawn(0x64b5f6, 0x0d47a1, Mark::Envelope), 3 * MiB},
        {root + "Lumen Notes.app", "com.lumenlabs.LumenNotes", "Lumen Notes", "4.2.1",
         InfoList::Xml, lettered(0xffd54f, 0xf57f17, "N"), 2 * MiB},
        {root + "Drift Browser.app", "com.driftbrowser.Drift", "Drift Browser", "121.0.3",
         InfoList::Xml, drawn(0x4dd0e1, 0x00697c, Mark::Waves), 8 * MiB},
        {root + "Aurora Photo.app", "com.aurorasoft.AuroraPhoto", "Aurora Photo", "5.0",
         InfoList::Binary, drawn(0xffab91, 0xd81b60, Mark::Sun), 9 * MiB},
        {root + "Quill.app", "com.quillapp.Quill", "Quill", "2.8", InfoList::Xml,
         lettered(0xb39ddb, 0x4a148c, "Q"), 2 * MiB},
        {root + "Cadence.app", "org.cadence.player", "Cadence", "1.4.0", InfoList::Binary,
         drawn(0xf48fb1, 0x880e4f, Mark::Bars), 3 * MiB},
        {root + "Ledger.app", "com.ledgerworks.Ledger", "Ledger", QVariant(), InfoList::Xml,
         lettered(0xa5d6a7, 0x1b5e20, "L"), 1 * MiB},
        // A number where a string belongs: shown without a version.
        {root + "Atlas Maps.app", "com.atlasmaps.Atlas", "Atlas Maps", qint64(7), InfoList::Xml,
         drawn(0xc5e1a5, 0x33691e, Mark::Pin), 3 * MiB},
        {root + "Orbit VPN.app", "io.orbitvpn.client", "Orbit VPN", "3.2.0", InfoList::Xml,
         drawn(0x90a4ae, 0x263238, Mark::Orbit), 2 * MiB},
        {root + "Tessera.app", "com.tessera.Tessera", "Tessera", "0.9", InfoList::Truncated,
         lettered(0xffcc80, 0xe65100, "T"), 1 * MiB},
        {root + "Ghost Sync.app", "com.ghostsync.GhostSync", "Ghost Sync", "2.0", InfoList::Missing,
         lettered(0xe0e0e0, 0x616161, "G"), 1 * MiB},
        // Inside a plain folder: the inventory does not look into sub-folders.
        {root + "Utilities/Disk Helper.app", "com.diskhelper.app", "Disk Helper", "1.1",
         InfoList::Xml, lettered(0xb0bec5, 0x455a64, "D"), 1 * MiB},
        // Hidden: left out of the inventory, rated by the protection scan.
        {root + ".Updater.app", "com.softupdate.agent", "Updater", "1.0", InfoList::Binary,
         lettered(0xef9a9a, 0xb71c1c, "U"), 1 * MiB},
        // The same application under both roots is listed twice.
        {home + "Quill.app", "com.quillapp.Quill", "Quill", "2.8", InfoList::Xml,
         lettered(0xb39ddb, 0x4a148c, "Q"), 2 * MiB},
        {home + "Sketchpad.app", "com.inkwell.Sketchpad", "Sketchpad", "3.3", InfoList::Binary,
         lettered(0x80deea, 0x283593, "S"), 1 * MiB},
        // Downloaded and never installed: not in the inventory, rated as an
        // application in an unusual place by the protection scan.
        {DemoTree::home(QStringLiteral("Downloads/FreeCleaner Pro.app")), "com.freecleaner.pro",
         "FreeCleaner Pro", "9.9", InfoList::Binary, lettered(0xff8a65, 0xbf360c, "F"), 1 * MiB},
        {home + "Pocket Synth.app", "com.pocketsynth.app", "Pocket Synth", "1.0.2", InfoList::Xml,
         drawn(0xce93d8, 0x311b92, Mark::Keys), 2 * MiB},
    };
}

QVariantMap infoFor(const DemoApp &app)
{
    QVariantMap info{
        {QStringLiteral("CFBundleName"), app.name},
        {QStringLiteral("CFBundleExecutable"), app.name},
        {QStringLiteral("CFBundleIconFile"), QStringLiteral("AppIcon")},
        {QStringLiteral("CFBundlePackageType"), QStringLiteral("APPL")},
        {QStringLiteral("CFBundleInfoDictionaryVersion"), QStringLiteral("6.0")},
        {QStringLiteral("LSMinimumSystemVersion"), QStringLiteral("12.0")},
    };
    if (!app.identifier.isEmpty())
        info.insert(QStringLiteral("CFBundleIdentifier"), app.identifier);
    if (app.version.isValid())
        info.insert(QStringLiteral("CFBundleShortVersionString"), app.version);
    return info;
}

void spoilInfoList(const QString &infoPath, InfoList kind)
{
    if (kind == InfoList::Missing) {
        QFile::remove(infoPath);
    } else if (kind == InfoList::Truncated) {
        // Cut mid-element, as an interrupted copy leaves it.
        QFile file(infoPath);
        if (file.open(QIODevice::ReadWrite))
            file.resize(file.size() * 3 / 5);
    }
}

void buildApp(DemoTree &tree, const DemoApp &app)
{
    TreeBuilder &b = tree.builder();
    b.bundle(app.folder, infoFor(app), app.infoList == InfoList::Binary, 0);
    spoilInfoList(tree.path(app.folder + "/Contents/Info.plist"), app.infoList);
    // Executable, so the bundle can be started by hand; it only waits.
    b.executableFile(app.folder + "/Contents/MacOS/" + app.name, "#!/bin/sh\nexec sleep 100000\n");
    b.file(app.folder + "/Contents/PkgInfo", "APPL????");
    b.file(app.folder + "/Contents/Resources/AppIcon.icns", IcnsWriter::icns(app.icon));
    b.allocatedFile(app.folder + "/Contents/Resources/Assets.car", app.resourceBytes);
}

// An application is running when a process's executable lies in its
// "Contents/MacOS" folder. A script's process is its interpreter, and after
// exec it is sleep, so the script hands over to a copy of sleep kept inside
// the bundle: started by hand, Lumen Notes then counts as open and its caches
// as in use.
void makeStartable(DemoTree &tree, const QString &folder, const QString &executable)
{
    const QString sleep = QStandardPaths::findExecutable(QStringLiteral("sleep"));
    const QString worker = folder + "/Contents/MacOS/" + executable + " Worker";
    if (sleep.isEmpty() || !QFile::copy(sleep, tree.path(worker))) {
        tree.reportProblem(worker + QStringLiteral(" (no sleep executable to copy)"));
        return;
    }
    QFile::setPermissions(tree.path(worker), QFile::permissions(tree.path(worker)) |
                                                 QFileDevice::ExeOwner | QFileDevice::ExeGroup |
                                                 QFileDevice::ExeOther);
    tree.builder().executableFile(folder + "/Contents/MacOS/" + executable,
                                  "#!/bin/sh\nexec \"$(dirname \"$0\")/" + executable.toUtf8() +
                                      " Worker\" 100000\n");
}

} // namespace

namespace Demo {

void buildApplications(DemoTree &tree)
{
    for (const DemoApp &app : applications()) {
        buildApp(tree, app);
        tree.setDate(app.folder, DemoTree::daysBeforeReference(20 + app.resourceBytes / MiB));
    }
    makeStartable(tree, QStringLiteral("Applications/Lumen Notes.app"),
                  QStringLiteral("Lumen Notes"));
}

} // namespace Demo
