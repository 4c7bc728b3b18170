// velmora-probe MODULE [options]: drives a module's real scanner without a window
// and prints its published state as one JSON object.

#include "ProbeDriver.h"
#include "ScannerBase.h"
#include "SystemLayout.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QJsonDocument>
#include <cstdio>

namespace {

int usage(const QString &problem)
{
    if (!problem.isEmpty())
        std::fprintf(stderr, "velmora-probe: %s\n", qPrintable(problem));
    std::fprintf(stderr, "usage: velmora-probe MODULE [options]\nmodules:\n");
    for (const ProbeDriverFactory &make : probeDrivers())
        std::fprintf(stderr, "  %s\n", qPrintable(make()->usage()));
    std::fprintf(stderr, "HOME selects the home folder, VELMORA_ROOT the system root.\n");
    return 2;
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setOrganizationName(QStringLiteral("Velmora"));
    QCoreApplication::setApplicationName(QStringLiteral("Velmora"));
    QStringList args = app.arguments().mid(1);
    if (args.isEmpty())
        return usage({});
    const QString module = args.takeFirst();
    // Fault injection: a command run between the selection and the removal.
    if (const qsizetype at = args.indexOf(QStringLiteral("--before-remove")); at >= 0) {
        if (at + 1 >= args.size())
            return usage(QStringLiteral("--before-remove needs a command"));
        setBeforeRemove(args.at(at + 1));
        args.remove(at, 2);
    }

    std::unique_ptr<ProbeDriver> driver;
    for (const ProbeDriverFactory &make : probeDrivers()) {
        auto candidate = make();
        if (candidate->module() == module)
            driver = std::move(candidate);
    }
    if (!driver)
        return usage(QStringLiteral("unknown module \"%1\"").arg(module));

    for (const QString &place : {SystemLayout::homeFolder(), SystemLayout::systemRoot()})
        if (!QFileInfo(place).isDir())
            std::fprintf(stderr, "velmora-probe: %s is not a folder; scans of it will fail\n",
                         qPrintable(place));

    QElapsedTimer timer;
    timer.start();
    ProbeResult result;
    QString usageError;
    if (!driver->run(args, &result, &usageError))
        return usage(usageError);
    const qint64 elapsed = timer.elapsed();

    if (result.own) {
        std::fputs(QJsonDocument(*result.own).toJson(QJsonDocument::Indented).constData(), stdout);
        return 0;
    }
    const ScannerBase *scanner = driver->scanner();
    QJsonObject out;
    out.insert(QStringLiteral("module"), module);
    out.insert(QStringLiteral("statusText"), scanner->statusText());
    out.insert(QStringLiteral("errorMessage"), result.errorMessage ? *result.errorMessage
                                               : scanner->errorMessage().isEmpty()
                                                   ? QJsonValue(QJsonValue::Null)
                                                   : QJsonValue(scanner->errorMessage()));
    out.insert(QStringLiteral("completedScanCount"), scanner->completedScanCount());
    out.insert(QStringLiteral("elapsedMs"), double(elapsed));
    out.insert(QStringLiteral("items"), result.items);
    out.insert(QStringLiteral("selected"), result.selected);
    for (auto it = result.extra.constBegin(); it != result.extra.constEnd(); ++it)
        out.insert(it.key(), it.value());
    std::fputs(QJsonDocument(out).toJson(QJsonDocument::Indented).constData(), stdout);
    return 0;
}
