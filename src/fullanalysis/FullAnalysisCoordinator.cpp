#include "FullAnalysisCoordinator.h"

#include "CleanupScanner.h"
#include "DuplicateScanner.h"
#include "ProtectionScanner.h"
#include "StorageScanner.h"
#include "SystemLayout.h"
#include "UninstallerScanner.h"

#include <QDateTime>

namespace {

const char *const kStepTexts[FullAnalysisCoordinator::kTotalSteps] = {
    "Buscando archivos grandes…", "Buscando archivos duplicados…", "Analizando cachés…",
    "Analizando aplicaciones instaladas…", "Comprobando protección…"};

} // namespace

FullAnalysisCoordinator::FullAnalysisCoordinator(QObject *parent)
    : QObject(parent),
      // Made in this order; the cache and application scanners schedule their
      // first scan by themselves now.
      m_storage(new StorageScanner(this)), m_duplicates(new DuplicateScanner(this)),
      m_cleanup(new CleanupScanner(this)), m_uninstaller(new UninstallerScanner(this)),
      m_protection(new ProtectionScanner(this)),
      m_currentStep(QStringLiteral("Listo para comenzar")),
      // The limit is one of wall-clock time, as the user counts it.
      m_clock([] { return QDateTime::currentMSecsSinceEpoch(); })
{
    m_pollTimer.setSingleShot(true);
    m_pollTimer.setTimerType(Qt::PreciseTimer); // a steady timer, no coalescing
    connect(&m_pollTimer, &QTimer::timeout, this, &FullAnalysisCoordinator::poll);
    // A step ends as soon as its scanner says so; the timer only watches the
    // limit. Queued, so that the scanner has published all of its result first.
    for (int step = 1; step <= kTotalSteps; ++step) {
        ScannerBase *scanner = scannerOf(step);
        const auto changed = [this, scanner] {
            if (m_step != 0 && scannerOf(m_step) == scanner)
                settle();
        };
        connect(scanner, &ScannerBase::completedScanCountChanged, this, changed,
                Qt::QueuedConnection);
        connect(scanner, &ScannerBase::isScanningChanged, this, changed, Qt::QueuedConnection);
    }
}

FullAnalysisCoordinator::~FullAnalysisCoordinator() = default;

void FullAnalysisCoordinator::setErrorMessage(const QString &message)
{
    if (message == m_errorMessage)
        return;
    m_errorMessage = message;
    Q_EMIT errorMessageChanged();
}

void FullAnalysisCoordinator::setCurrentStep(const QString &text)
{
    m_currentStep = text;
    Q_EMIT stateChanged();
}

void FullAnalysisCoordinator::resetResults()
{
    m_progress = 0.0;
    m_completedSteps = 0;
    m_totals = Totals();
    m_currentStep = QStringLiteral("Preparando análisis completo");
    Q_EMIT totalsChanged();
    Q_EMIT stateChanged();
}

void FullAnalysisCoordinator::start()
{
    if (m_isRunning)
        return;
    resetResults();
    m_isRunning = true;
    m_stepDurations.clear();
    Q_EMIT stateChanged();
    setErrorMessage(QString());
    beginStep(1);
}

ScannerBase *FullAnalysisCoordinator::scannerOf(int step) const
{
    switch (step) {
    case 1:
        return m_storage;
    case 2:
        return m_duplicates;
    case 3:
        return m_cleanup;
    case 4:
        return m_uninstaller;
    default:
        return m_protection;
    }
}

void FullAnalysisCoordinator::beginStep(int step)
{
    m_step = step;
    setCurrentStep(QString::fromUtf8(kStepTexts[step - 1]));
    m_stepTimer.start();
    ScannerBase *scanner = scannerOf(step);
    m_startCount = scanner->completedScanCount();
    switch (step) {
    case 1:
        // One walk of the home for the first two steps: this one lists what the
        // duplicate step needs, which then reads again only what changed since.
        m_storage->scanAndList(SystemLayout::homeFolder(), 500,
                               DuplicateScanner::thresholdBytes(10));
        break;
    case 2:
        m_duplicates->scanFromListing(SystemLayout::homeFolder(), 10, m_storage->takeListing());
        break;
    case 3: {
        // The settings of a screen shown on this scanner since may be gone.
        auto automation = std::make_unique<CleanupAutomationSettings>();
        m_cleanup->setAutomation(automation.get());
        m_cleanupAutomation = std::move(automation);
        m_cleanup->scan();
        break;
    }
    case 4:
        m_uninstaller->scanApplications();
        break;
    default:
        m_protection->runFullScan();
        break;
    }
    m_deadline = m_clock() + m_stepLimitMs;
    poll(); // the first check comes at once
}

void FullAnalysisCoordinator::poll()
{
    if (!settle())
        m_pollTimer.start(m_pollIntervalMs);
}

bool FullAnalysisCoordinator::settle()
{
    ScannerBase *scanner = scannerOf(m_step);
    if (m_clock() >= m_deadline)
        setErrorMessage(QStringLiteral("Uno de los análisis tardó demasiado y fue omitido."));
    else if (scanner->completedScanCount() <= m_startCount && scanner->isScanning())
        return false;
    // A new result, a scan that stopped without one, or the limit.
    m_pollTimer.stop();
    finishStep();
    return true;
}

void FullAnalysisCoordinator::readTotals(int step)
{
    switch (step) {
    case 1:
        m_totals.largeFilesCount = m_storage->fileCount();
        m_totals.largeFilesSize = m_storage->totalSize();
        break;
    case 2:
        m_totals.duplicateGroupsCount = m_duplicates->groupCount();
        m_totals.recoverableDuplicateSize = m_duplicates->recoverableSize();
        break;
    case 3:
        m_totals.cleanupItemsCount = m_cleanup->itemCount();
        m_totals.cleanupSize = m_cleanup->totalSize();
        break;
    case 4:
        m_totals.applicationsCount = m_uninstaller->applicationCount();
        break;
    default:
        m_totals.dangerousCount = m_protection->dangerousCount();
        m_totals.suspiciousCount = m_protection->suspiciousCount();
        m_totals.reviewCount = m_protection->reviewCount();
        m_totals.safeCount = m_protection->safeCount();
        break;
    }
    Q_EMIT totalsChanged();
}

void FullAnalysisCoordinator::finishStep()
{
    const int step = m_step;
    readTotals(step);
    m_stepDurations.append(m_stepTimer.elapsed());
    ++m_completedSteps;
    m_progress = m_completedSteps / double(kTotalSteps);
    Q_EMIT stateChanged();
    Q_EMIT stepFinished(step);
    if (step < kTotalSteps) {
        beginStep(step + 1);
        return;
    }
    m_step = 0;
    m_currentStep = QStringLiteral("Análisis completo terminado");
    m_progress = 1.0;
    m_isRunning = false;
    Q_EMIT stateChanged();
}
