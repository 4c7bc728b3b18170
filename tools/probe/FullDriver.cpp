#include "FullAnalysisCoordinator.h"
#include "ProbeDriver.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QTimer>
#include <cstdio>

namespace {

// full: the coordinator's whole run on the tree, with every step text it
// published, in order, and how long each step took.
class FullDriver : public ProbeDriver
{
public:
    QString module() const override { return QStringLiteral("full"); }
    QString usage() const override { return QStringLiteral("full"); }
    ScannerBase *scanner() const override { return nullptr; }

    bool run(const QStringList &options, ProbeResult *result, QString *usageError) override
    {
        if (!options.isEmpty()) {
            *usageError = QStringLiteral("unexpected argument \"%1\"").arg(options.first());
            return false;
        }
        QElapsedTimer elapsed;
        elapsed.start();
        FullAnalysisCoordinator coordinator;
        QStringList steps;
        const auto record = [&] {
            if (steps.isEmpty() || steps.last() != coordinator.currentStep())
                steps.append(coordinator.currentStep());
        };
        QObject::connect(&coordinator, &FullAnalysisCoordinator::stateChanged, record);
        // VELMORA_STALLS=1: how long the main thread was ever kept from its
        // event loop during the run, told on standard error (the JSON is the
        // coordinator's state only).
        const bool measureStalls = qEnvironmentVariableIntValue("VELMORA_STALLS") == 1;
        QTimer tick;
        QElapsedTimer sinceTick;
        qint64 longestStall = 0;
        if (measureStalls) {
            tick.setTimerType(Qt::PreciseTimer);
            tick.setInterval(2);
            QObject::connect(&tick, &QTimer::timeout,
                             [&] { longestStall = std::max(longestStall, sinceTick.restart()); });
            sinceTick.start();
            tick.start();
        }
        coordinator.start();
        waitUntil(&coordinator, &FullAnalysisCoordinator::stateChanged,
                  [&coordinator] { return !coordinator.isRunning(); });
        const qint64 elapsedMs = elapsed.elapsed();
        if (measureStalls)
            std::fprintf(stderr, "longest main-thread stall: %lld ms\n",
                         static_cast<long long>(longestStall));

        QJsonArray stepMs;
        for (const qint64 ms : coordinator.stepDurationsMs())
            stepMs.append(double(ms));
        const QJsonObject totals{
            {QStringLiteral("largeFilesCount"), coordinator.largeFilesCount()},
            {QStringLiteral("largeFilesSize"), double(coordinator.largeFilesSize())},
            {QStringLiteral("duplicateGroupsCount"), coordinator.duplicateGroupsCount()},
            {QStringLiteral("recoverableDuplicateSize"),
             double(coordinator.recoverableDuplicateSize())},
            {QStringLiteral("cleanupItemsCount"), coordinator.cleanupItemsCount()},
            {QStringLiteral("cleanupSize"), double(coordinator.cleanupSize())},
            {QStringLiteral("applicationsCount"), coordinator.applicationsCount()},
            {QStringLiteral("dangerousCount"), coordinator.dangerousCount()},
            {QStringLiteral("suspiciousCount"), coordinator.suspiciousCount()},
            {QStringLiteral("reviewCount"), coordinator.reviewCount()},
            {QStringLiteral("safeCount"), coordinator.safeCount()}};
        result->own = QJsonObject{
            {QStringLiteral("module"), module()},
            {QStringLiteral("currentStep"), coordinator.currentStep()},
            {QStringLiteral("progress"), coordinator.progress()},
            {QStringLiteral("completedSteps"), coordinator.completedSteps()},
            {QStringLiteral("errorMessage"), coordinator.errorMessage().isEmpty()
                                                 ? QJsonValue(QJsonValue::Null)
                                                 : QJsonValue(coordinator.errorMessage())},
            {QStringLiteral("elapsedMs"), double(elapsedMs)},
            {QStringLiteral("steps"), QJsonArray::fromStringList(steps)},
            {QStringLiteral("totals"), totals},
            {QStringLiteral("stepMs"), stepMs}};
        return true;
    }
};

} // namespace

std::unique_ptr<ProbeDriver> makeFullDriver()
{
    return std::make_unique<FullDriver>();
}
