#include "ScannerBase.h"

#include "FileLocation.h"
#include "Formatters.h"

#include <algorithm>
#include <utility>

namespace {
// The progress line is renewed at most this often.
constexpr int kProgressIntervalMs = 100;
} // namespace

ScannerBase::ScannerBase(const QString &initialStatus, QObject *parent)
    : QObject(parent), m_statusText(initialStatus)
{
    // A child, so that a test can see how often the line may be renewed.
    m_progressTimer.setParent(this);
    m_progressTimer.setObjectName(QStringLiteral("progressTimer"));
    m_progressTimer.setInterval(kProgressIntervalMs);
    connect(&m_progressTimer, &QTimer::timeout, this, &ScannerBase::updateProgress);
}

ScannerBase::~ScannerBase()
{
    stopWalk();
}

void ScannerBase::setResults(ResultModel *results)
{
    m_results = results;
    connect(results, &ResultModel::selectionChanged, this, &ScannerBase::selectionChanged);
}

quint64 ScannerBase::startGeneration()
{
    stopWalk();
    m_control = WalkControl::make();
    publish(m_skippedText, QString(), &ScannerBase::skippedTextChanged);
    publish(m_skippedItems, QVariantList(), &ScannerBase::skippedItemsChanged);
    m_progressTimer.start();
    return ++m_generation;
}

void ScannerBase::stopWalk()
{
    if (m_control)
        m_control->stop.store(true);
    ++m_generation;
}

void ScannerBase::stopScan()
{
    if (!m_isScanning || !m_control)
        return;
    m_control->keepPartial.store(true);
    m_control->stop.store(true);
}

QString ScannerBase::progressLine(qint64 entries, qint64) const
{
    return QStringLiteral("%1 elementos examinados").arg(entries);
}

void ScannerBase::updateProgress()
{
    if (!m_control)
        return;
    const QString text = progressLine(m_control->entries.load(), m_control->bytes.load());
    publish(m_progressText, text, &ScannerBase::progressTextChanged);
}

void ScannerBase::finishProgress()
{
    m_progressTimer.stop();
    publish(m_progressText, QString(), &ScannerBase::progressTextChanged);
    const qint64 skipped = m_control ? m_control->skipped.load() : 0;
    const QString text =
        skipped > 0
            ? QStringLiteral("%1 elemento(s) no se pudieron leer y no se incluyen.").arg(skipped)
            : QString();
    publish(m_skippedText, text, &ScannerBase::skippedTextChanged);

    QList<WalkControl::Skipped> skippedList =
        m_control ? m_control->skippedList() : QList<WalkControl::Skipped>();
    // The walk's threads add in any order; equal trees give equal lists.
    std::sort(skippedList.begin(), skippedList.end(),
              [](const WalkControl::Skipped &a, const WalkControl::Skipped &b) {
                  return a.path < b.path;
              });
    QVariantList items;
    items.reserve(skippedList.size());
    for (const WalkControl::Skipped &entry : skippedList)
        items.append(
            QVariantMap{{QStringLiteral("path"), FileLocation::displayText(entry.path)},
                        {QStringLiteral("reason"), WalkControl::caseName(entry.reason)},
                        {QStringLiteral("reasonText"), WalkControl::reasonText(entry.reason)}});
    publish(m_skippedItems, items, &ScannerBase::skippedItemsChanged);
}

bool ScannerBase::deferWhileRemoving(std::function<void()> scan)
{
    if (!m_isRemoving)
        return false;
    m_deferredScan = std::move(scan);
    return true;
}

void ScannerBase::startNextRemoval()
{
    setRemoving(true);
    std::function<void()> start = std::move(m_removals.front());
    m_removals.pop_front();
    start();
}

void ScannerBase::finishRemoval()
{
    if (!m_removals.empty()) {
        startNextRemoval();
        return;
    }
    setRemoving(false);
    // A scan asked for meanwhile runs now, on the list the removals left.
    if (std::function<void()> scan = std::exchange(m_deferredScan, nullptr))
        scan();
}

void ScannerBase::setRemoving(bool removing)
{
    publish(m_isRemoving, removing, &ScannerBase::isRemovingChanged);
}

void ScannerBase::toggleSelection(const QString &itemId)
{
    if (m_results)
        m_results->toggle(itemId);
}

void ScannerBase::clearSelection()
{
    if (m_results)
        m_results->clearSelection();
}

QString ScannerBase::failedNames(const QString &prefix, const QStringList &names)
{
    return prefix + names.join(QStringLiteral(", ")) + QLatin1Char('.');
}

QString ScannerBase::removalError(const Trash::BatchOutcome &outcome, const QString &prefix,
                                  const QString &advice)
{
    QString text = failedNames(prefix, outcome.failedNames);
    // Advice such as closing an application helps only with what did not
    // change; an item refused for safety is named in a sentence of its own.
    if (outcome.failedNames.size() > outcome.changedNames.size())
        text += advice;
    if (!outcome.changedNames.isEmpty())
        text += QLatin1Char(' ') +
                failedNames(QStringLiteral("Cambiaron desde el análisis y no se tocaron: "),
                            outcome.changedNames);
    return text;
}

// Texts may name items; a name that is not UTF-8 shows with replacement marks.
void ScannerBase::setErrorMessage(const QString &message)
{
    publish(m_errorMessage, FileLocation::displayText(message), &ScannerBase::errorMessageChanged);
}

void ScannerBase::setScanning(bool scanning)
{
    if (!scanning && m_progressTimer.isActive())
        finishProgress();
    publish(m_isScanning, scanning, &ScannerBase::isScanningChanged);
}

void ScannerBase::setStatusText(const QString &text)
{
    publish(m_statusText, FileLocation::displayText(text), &ScannerBase::statusTextChanged);
}

void ScannerBase::failScan(const QString &error, const QString &status)
{
    setErrorMessage(error);
    setStatusText(status);
    setScanning(false);
}

void ScannerBase::countCompletedScan()
{
    if (m_undoReport) {
        setStatusText(m_undoReport->first);
        setErrorMessage(m_undoReport->second);
        m_undoReport.reset();
    }
    ++m_completedScanCount;
    Q_EMIT completedScanCountChanged();
}

void ScannerBase::setLastOperation(const QString &operation)
{
    publish(m_lastOperation, operation, &ScannerBase::lastOperationChanged);
}

void ScannerBase::undoLastRemoval()
{
    if (m_lastOperation.isEmpty() || isRemoving())
        return;
    setErrorMessage(QString());
    runRemoval<OperationUndo::Report>(
        [operation = m_lastOperation] { return OperationUndo::undo(operation); },
        [this](const OperationUndo::Report &report) {
            setLastOperation(QString());
            finishUndo(report);
        });
}

void ScannerBase::finishUndo(const OperationUndo::Report &report)
{
    const QString status = OperationUndo::statusText(report);
    const QString error = OperationUndo::errorText(report);
    if (rescanAfterUndo())
        m_undoReport = {status, error};
    setStatusText(status);
    setErrorMessage(error);
}
