// velmora-demo [--force] FOLDER
//   Builds a Mac-shaped demo tree in FOLDER, for the app, the probe and the
//   screenshots to run on where there is no Mac:
//     HOME=FOLDER/Users/demo VELMORA_ROOT=FOLDER velmora
//   An existing demo tree of the same version is left alone; --force rebuilds it.
// velmora-demo --verify FOLDER
//   Checks a built tree: its marker, and that every icon reads back.

#include "DemoGuard.h"
#include "DemoTree.h"
#include "DemoVerify.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <cstdio>
#include <optional>

namespace {

struct Options
{
    bool force = false;
    bool verify = false;
    QString folder;
};

std::optional<Options> parseArguments(int argc, char *argv[])
{
    Options options;
    for (int i = 1; i < argc; ++i) {
        const QByteArray arg(argv[i]);
        if (arg == "--force")
            options.force = true;
        else if (arg == "--verify")
            options.verify = true;
        else if (arg.startsWith('-') || !options.folder.isEmpty())
            return std::nullopt;
        else
            options.folder =
                QDir::cleanPath(QDir::current().absoluteFilePath(QFile::decodeName(arg)));
    }
    if (options.folder.isEmpty())
        return std::nullopt;
    return options;
}

int fail(const QString &message)
{
    std::fprintf(stderr, "velmora-demo: %s\n", qPrintable(message));
    return 1;
}

int buildTree(const QString &folder, bool clearFirst)
{
    QElapsedTimer timer;
    timer.start();
    // The marker says "unfinished" before anything else changes, so a build
    // that stops half-way is still known as ours and is redone next time.
    DemoTree tree(folder);
    if (!DemoGuard::writeMarker(folder, DemoGuard::unfinishedMarkerContents()))
        return fail(QStringLiteral("cannot write into %1").arg(folder));
    QString error;
    if (clearFirst && !DemoGuard::clearTree(folder, &error))
        return fail(error);
    QStringList problems;
    if (!tree.build(&problems))
        return fail(QStringLiteral("could not write (disk full?): %1")
                        .arg(problems.join(QLatin1String(", "))));
    if (!DemoGuard::writeMarker(folder, DemoGuard::markerContents()))
        return fail(QStringLiteral("cannot write the marker into %1").arg(folder));
    std::printf("velmora-demo: built %s in %.1f s\n  HOME=%s/Users/demo VELMORA_ROOT=%s\n",
                qPrintable(folder), timer.elapsed() / 1000.0, qPrintable(tree.path({})),
                qPrintable(tree.path({})));
    return 0;
}

} // namespace

int main(int argc, char *argv[])
{
    const std::optional<Options> options = parseArguments(argc, argv);
    if (!options) {
        std::fprintf(stderr, "usage: velmora-demo [--force] FOLDER\n"
                             "       velmora-demo --verify FOLDER\n");
        return 2;
    }
    if (options->verify) {
        QCoreApplication app(argc, argv);
        return DemoVerify::run(options->folder);
    }
    // Decided before Qt starts, so a refusal or an up-to-date tree costs nothing.
    const DemoGuard::Decision decision = DemoGuard::decide(options->folder, options->force);
    switch (decision.action) {
    case DemoGuard::Action::Refuse:
        std::fprintf(stderr, "velmora-demo: %s\n", qPrintable(decision.message));
        return 2;
    case DemoGuard::Action::Nothing:
        std::printf("velmora-demo: %s\n", qPrintable(decision.message));
        return 0;
    case DemoGuard::Action::Build:
    case DemoGuard::Action::Rebuild:
        break;
    }
    // Icons are painted on QImage, which needs no GUI application; a
    // QGuiApplication would also create a runtime folder under /tmp.
    QCoreApplication app(argc, argv);
    return buildTree(options->folder, decision.action == DemoGuard::Action::Rebuild);
}
