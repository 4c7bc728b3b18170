#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

// Keeps the generator from touching anything but a demo tree of its own: it
// builds into an empty or missing folder, rebuilds only a folder that carries
// its marker file, and never builds under /tmp (cleaned behind one's back, and
// the protection rules treat /tmp as a suspicious place).
namespace DemoGuard {

inline constexpr char kMarkerName[] = ".velmora-demo";

// What the marker holds once a tree is complete. Raise the number whenever the
// tree changes, so existing demo trees are rebuilt.
QByteArray markerContents();
// What it holds while the tree is being built: an interrupted build is still
// recognised as ours, and rebuilt next time.
QByteArray unfinishedMarkerContents();

enum class Action
{
    Build,
    Rebuild,
    Nothing,
    Refuse
};

struct Decision
{
    Action action;
    QString message;
};

// The folders no demo tree may be built under: /tmp, and where it really is.
QStringList temporaryRoots();
// `refusedRoots` stands in for temporaryRoots() where a test needs other ones.
Decision decide(const QString &folder, bool force,
                const QStringList &refusedRoots = temporaryRoots());

// Removes everything in folder but the marker, without following links or
// crossing into other file systems.
bool clearTree(const QString &folder, QString *error);
bool writeMarker(const QString &folder, const QByteArray &contents);

// The absolute path with every link resolved as far as the path exists.
QString resolvedPath(const QString &path);

} // namespace DemoGuard
