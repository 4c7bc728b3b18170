#include "ProbeDriver.h"

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

QJsonValue jsonDate(const std::optional<qint64> &ms)
{
    if (!ms)
        return QJsonValue::Null;
    return double(*ms) / 1000.0;
}
