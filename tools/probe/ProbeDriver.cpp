#include "ProbeDriver.h"

#include "ScannerBase.h"

#include <QCoreApplication>
#include <QEventLoop>

void waitForScan(ScannerBase *scanner, int before)
{
    // Scanners that start by themselves do so on the next turn of the loop.
    while (!scanner->isScanning() && scanner->completedScanCount() <= before &&
           scanner->errorMessage().isEmpty())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 50);
    while (scanner->completedScanCount() <= before && scanner->isScanning())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 50);
}

QJsonValue jsonDate(const std::optional<qint64> &ms)
{
    if (!ms)
        return QJsonValue::Null;
    return double(*ms) / 1000.0;
}
