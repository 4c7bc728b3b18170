#include "ProbeDriver.h"

#include <QProcess>

#include "ScannerBase.h"

#include <QCoreApplication>
#include <QEventLoop>

void waitForScan(ScannerBase *scanner, int before)
{
    // Sleeps in an event loop until the scanner says it is done; scanners that
    // start by themselves do so on the next turn of that loop.
    bool sawScanning = scanner->isScanning();
    auto done = [&] {
        sawScanning = sawScanning || scanner->isScanning();
        return scanner->completedScanCount() > before ||
               (!scanner->isScanning() && (sawScanning || !scanner->errorMessage().isEmpty()));
    };
    if (done())
        return;
    QEventLoop loop;
    auto check = [&] {
        if (done())
            loop.quit();
    };
    QObject::connect(scanner, &ScannerBase::isScanningChanged, &loop, check);
    QObject::connect(scanner, &ScannerBase::completedScanCountChanged, &loop, check);
    QObject::connect(scanner, &ScannerBase::errorMessageChanged, &loop, check);
    loop.exec();
}

void waitForRemoval(ScannerBase *scanner)
{
    waitUntil(scanner, &ScannerBase::isRemovingChanged,
              [scanner] { return !scanner->isRemoving(); });
}

namespace {
QString g_beforeRemove;
} // namespace

void setBeforeRemove(const QString &command)
{
    g_beforeRemove = command;
}

void runBeforeRemove()
{
    if (g_beforeRemove.isEmpty())
        return;
    QProcess shell;
    shell.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    shell.setStandardOutputFile(QProcess::nullDevice());
    shell.start(QStringLiteral("/bin/sh"), {QStringLiteral("-c"), g_beforeRemove});
    shell.waitForFinished(-1);
}

QJsonValue jsonDate(const std::optional<qint64> &ms)
{
    if (!ms)
        return QJsonValue::Null;
    return double(*ms) / 1000.0;
}

std::optional<FolderScanOptions> parseFolderScan(const QString &module, const QStringList &options,
                                                 const QStringList &allowedFlags,
                                                 QString *usageError)
{
    FolderScanOptions parsed;
    for (int i = 0; i < options.size(); ++i) {
        const QString &o = options.at(i);
        if (o == QLatin1String("--min-mb") && i + 1 < options.size()) {
            bool ok = false;
            parsed.minimumMB = options.at(++i).toInt(&ok);
            if (!ok || parsed.minimumMB < 0) {
                *usageError = QStringLiteral("--min-mb takes a whole number of megabytes");
                return std::nullopt;
            }
        } else if (allowedFlags.contains(o)) {
            parsed.flags.append(o);
        } else if (!o.startsWith(QLatin1String("--")) && parsed.folder.isEmpty()) {
            parsed.folder = o;
        } else {
            *usageError = QStringLiteral("unexpected argument \"%1\"").arg(o);
            return std::nullopt;
        }
    }
    if (parsed.folder.isEmpty() || parsed.minimumMB < 0) {
        *usageError = QStringLiteral("%1 needs FOLDER and --min-mb N").arg(module);
        return std::nullopt;
    }
    return parsed;
}
