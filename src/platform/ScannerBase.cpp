#include "ScannerBase.h"

#include <utility>

ScannerBase::ScannerBase(const QString &initialStatus, QObject *parent)
    : QObject(parent), m_statusText(initialStatus)
{}

ScannerBase::~ScannerBase()
{
    stopWalk();
}

quint64 ScannerBase::startGeneration()
{
    stopWalk();
    m_stop = StopToken::make();
    return ++m_generation;
}

void ScannerBase::stopWalk()
{
    if (m_stop)
        m_stop->store(true);
    ++m_generation;
}

bool ScannerBase::deferWhileRemoving(std::function<void()> scan)
{
    if (!m_isRemoving)
        return false;
    m_deferredScan = std::move(scan);
    return true;
}

void ScannerBase::runDeferredScan()
{
    if (std::function<void()> scan = std::exchange(m_deferredScan, nullptr))
        scan();
}

void ScannerBase::setErrorMessage(const QString &message)
{
    if (message == m_errorMessage)
        return;
    m_errorMessage = message;
    Q_EMIT errorMessageChanged();
}

void ScannerBase::setScanning(bool scanning)
{
    if (scanning == m_isScanning)
        return;
    m_isScanning = scanning;
    Q_EMIT isScanningChanged();
}

void ScannerBase::setStatusText(const QString &text)
{
    if (text == m_statusText)
        return;
    m_statusText = text;
    Q_EMIT statusTextChanged();
}

void ScannerBase::countCompletedScan()
{
    ++m_completedScanCount;
    Q_EMIT completedScanCountChanged();
}
