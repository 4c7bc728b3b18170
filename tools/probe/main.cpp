// velmora-probe MODULE [options]: drives a module's real scanner without a window
// and prints its published state as one JSON object.

#include "FileLocation.h"
#include "ProbeDriver.h"
#include "ScannerBase.h"
#include "SystemLayout.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <cstdio>

namespace {

// Paths keep the bytes of names that are not UTF-8 as escapes JSON cannot
// carry; what the probe prints is what the screens show.
QJsonValue displayed(const QJsonValue &value)
{
    if (value.isString())
        return FileLocation::displayText(value.toString());
    if (value.isArray()) {
        QJsonArray out;
        for (const QJsonValue &v : value.toArray())
            out.append(displayed(v));
        return out;
    }
    if (value.isObject()) {
        QJsonObject out;
        const QJsonObject in = value.toObject();
        for (auto it = in.constBegin(); it != in.constEnd(); ++it)
            out.insert(it.key(), displayed(it.value()));
        return out;
    }
    return value;
}

void print(const QJsonObject &object)
{
    const QJsonDocument document(displayed(object).toObject());
    std::fputs(document.toJson(QJsonDocument::Indented).constData(), stdout);
}

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
    // Arguments are paths too, with the exact bytes of their names.
    QStringList args;
    for (int i = 1; i < argc; ++i)
        args << FileLocation::decode(QByteArray(argv[i]));
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
        print(*result.own);
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
    QJsonArray skipped;
    for (const QVariant &entry : scanner->skippedItems()) {
        const QVariantMap map = entry.toMap();
        skipped.append(QJsonObject{
            {QStringLiteral("path"), map.value(QStringLiteral("path")).toString()},
            {QStringLiteral("reason"), map.value(QStringLiteral("reason")).toString()}});
    }
    out.insert(QStringLiteral("skipped"), skipped);
    for (auto it = result.extra.constBegin(); it != result.extra.constEnd(); ++it)
        out.insert(it.key(), it.value());
    print(out);
    return 0;
}
