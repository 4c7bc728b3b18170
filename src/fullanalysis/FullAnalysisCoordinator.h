#pragma once

#include <QElapsedTimer>
#include <QObject>
#include <QString>
#include <QTimer>
#include <QtQml/qqmlregistration.h>
#include <functional>
#include <memory>

#include "CleanupScanner.h"
#include "DuplicateScanner.h"
#include "ProtectionScanner.h"
#include "StorageScanner.h"
#include "UninstallerScanner.h"

// Runs the five scanners one after another over their automatic places, each
// for at most ten minutes, and keeps a few totals of each for the summary. It
// owns its scanners; a module opened from the summary is handed the matching
// one, so it shows this run's results. Everything happens on the main thread:
// a step is started and ends when its scanner signals a new result or a stop
// without one; a check every 0.3 s on a monotonic timer ends it when it runs
// out of time.
class FullAnalysisCoordinator : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(bool isRunning READ isRunning NOTIFY stateChanged)
    Q_PROPERTY(double progress READ progress NOTIFY stateChanged)
    Q_PROPERTY(QString currentStep READ currentStep NOTIFY stateChanged)
    Q_PROPERTY(int completedSteps READ completedSteps NOTIFY stateChanged)
    Q_PROPERTY(
        QString errorMessage READ errorMessage WRITE setErrorMessage NOTIFY errorMessageChanged)
    Q_PROPERTY(int largeFilesCount READ largeFilesCount NOTIFY totalsChanged)
    Q_PROPERTY(qint64 largeFilesSize READ largeFilesSize NOTIFY totalsChanged)
    Q_PROPERTY(int duplicateGroupsCount READ duplicateGroupsCount NOTIFY totalsChanged)
    Q_PROPERTY(qint64 recoverableDuplicateSize READ recoverableDuplicateSize NOTIFY totalsChanged)
    Q_PROPERTY(int cleanupItemsCount READ cleanupItemsCount NOTIFY totalsChanged)
    Q_PROPERTY(qint64 cleanupSize READ cleanupSize NOTIFY totalsChanged)
    Q_PROPERTY(int applicationsCount READ applicationsCount NOTIFY totalsChanged)
    Q_PROPERTY(int dangerousCount READ dangerousCount NOTIFY totalsChanged)
    Q_PROPERTY(int suspiciousCount READ suspiciousCount NOTIFY totalsChanged)
    Q_PROPERTY(int reviewCount READ reviewCount NOTIFY totalsChanged)
    Q_PROPERTY(int safeCount READ safeCount NOTIFY totalsChanged)
    Q_PROPERTY(StorageScanner *storageScanner READ storageScanner CONSTANT)
    Q_PROPERTY(DuplicateScanner *duplicateScanner READ duplicateScanner CONSTANT)
    Q_PROPERTY(CleanupScanner *cleanupScanner READ cleanupScanner CONSTANT)
    Q_PROPERTY(UninstallerScanner *uninstallerScanner READ uninstallerScanner CONSTANT)
    Q_PROPERTY(ProtectionScanner *protectionScanner READ protectionScanner CONSTANT)
    Q_PROPERTY(int totalSteps READ totalSteps CONSTANT)

public:
    explicit FullAnalysisCoordinator(QObject *parent = nullptr);
    ~FullAnalysisCoordinator() override;

    static constexpr int kTotalSteps = 5;

    bool isRunning() const { return m_isRunning; }
    double progress() const { return m_progress; }
    QString currentStep() const { return m_currentStep; }
    int completedSteps() const { return m_completedSteps; }
    QString errorMessage() const { return m_errorMessage; } // empty: none
    void setErrorMessage(const QString &message);
    Q_INVOKABLE void clearError() { setErrorMessage(QString()); }

    int largeFilesCount() const { return m_totals.largeFilesCount; }
    qint64 largeFilesSize() const { return m_totals.largeFilesSize; }
    int duplicateGroupsCount() const { return m_totals.duplicateGroupsCount; }
    qint64 recoverableDuplicateSize() const { return m_totals.recoverableDuplicateSize; }
    int cleanupItemsCount() const { return m_totals.cleanupItemsCount; }
    qint64 cleanupSize() const { return m_totals.cleanupSize; }
    int applicationsCount() const { return m_totals.applicationsCount; }
    int dangerousCount() const { return m_totals.dangerousCount; }
    int suspiciousCount() const { return m_totals.suspiciousCount; }
    int reviewCount() const { return m_totals.reviewCount; }
    int safeCount() const { return m_totals.safeCount; }

    StorageScanner *storageScanner() const { return m_storage; }
    DuplicateScanner *duplicateScanner() const { return m_duplicates; }
    CleanupScanner *cleanupScanner() const { return m_cleanup; }
    UninstallerScanner *uninstallerScanner() const { return m_uninstaller; }
    ProtectionScanner *protectionScanner() const { return m_protection; }
    int totalSteps() const { return kTotalSteps; }

    Q_INVOKABLE void start();
    Q_INVOKABLE void resetResults();

    // For tests and the benchmark: the limit of one step, the pause between
    // polls, and the clock the limit is measured on (milliseconds).
    void setStepLimitMs(qint64 ms) { m_stepLimitMs = ms; }
    void setPollIntervalMs(int ms) { m_pollIntervalMs = ms; }
    void setClock(std::function<qint64()> clock) { m_clock = std::move(clock); }
    // How long each step of the last run took, in milliseconds.
    const QList<qint64> &stepDurationsMs() const { return m_stepDurations; }

Q_SIGNALS:
    void stateChanged();
    void errorMessageChanged();
    void totalsChanged();
    void stepFinished(int step); // 1 to 5

private:
    struct Totals
    {
        int largeFilesCount = 0;
        qint64 largeFilesSize = 0;
        int duplicateGroupsCount = 0;
        qint64 recoverableDuplicateSize = 0;
        int cleanupItemsCount = 0;
        qint64 cleanupSize = 0;
        int applicationsCount = 0;
        int dangerousCount = 0;
        int suspiciousCount = 0;
        int reviewCount = 0;
        int safeCount = 0;
    };

    ScannerBase *scannerOf(int step) const;
    void beginStep(int step);
    void poll();
    // Ends the running step when its scanner is done or out of time; true then.
    bool settle();
    void finishStep();
    void readTotals(int step);
    void setCurrentStep(const QString &text);

    // The smart cleanup's mode and switch as stored now, read anew for each
    // run: the cache scan selects as the cleanup screen's own scan would.
    std::unique_ptr<CleanupAutomationSettings> m_cleanupAutomation;
    StorageScanner *m_storage;
    DuplicateScanner *m_duplicates;
    CleanupScanner *m_cleanup;
    UninstallerScanner *m_uninstaller;
    ProtectionScanner *m_protection;

    bool m_isRunning = false;
    double m_progress = 0.0;
    QString m_currentStep;
    int m_completedSteps = 0;
    QString m_errorMessage;
    Totals m_totals;

    int m_step = 0; // the running step, 1 to 5; 0 when none
    int m_startCount = 0;
    qint64 m_deadline = 0;
    qint64 m_stepLimitMs = 600 * 1000;
    int m_pollIntervalMs = 300;
    std::function<qint64()> m_clock;
    QTimer m_pollTimer;
    QElapsedTimer m_stepTimer;
    QList<qint64> m_stepDurations;
};
