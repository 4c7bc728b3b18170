#include "CleanupAutomationSettings.h"
#include "CleanupScanner.h"
#include "ProbeDriver.h"

namespace {

QJsonObject toJson(const CleanupItem &item)
{
    return {{QStringLiteral("url"), item.url},
            {QStringLiteral("name"), item.name},
            {QStringLiteral("displayName"), item.displayName},
            {QStringLiteral("size"), double(item.size)},
            {QStringLiteral("itemCount"), item.itemCount},
            {QStringLiteral("modificationDate"), jsonDate(item.modificationDateMs)},
            {QStringLiteral("isDirectory"), item.isDirectory},
            {QStringLiteral("isProtected"), item.isProtected},
            {QStringLiteral("protectionReason"), item.protectionReason.isEmpty()
                                                     ? QJsonValue(QJsonValue::Null)
                                                     : QJsonValue(item.protectionReason)}};
}

// cleanup [--mode Conservador|Equilibrado|Agresivo] [--select-recommended]
//         [--select-all-safe] [--trash-selected]: the scanner has the screen's
// smart selection settings as stored, so it selects as the screen does after
// the scan and after the removal; the options choose again in between.
class CleanupDriver : public ProbeDriver
{
public:
    QString module() const override { return QStringLiteral("cleanup"); }
    QString usage() const override
    {
        return QStringLiteral("cleanup [--mode Conservador|Equilibrado|Agresivo] "
                              "[--select-recommended] [--select-all-safe] [--trash-selected]");
    }
    ScannerBase *scanner() const override { return m_scanner.get(); }

    bool run(const QStringList &options, ProbeResult *result, QString *usageError) override
    {
        SmartCleanupMode mode = SmartCleanupMode::balanced;
        bool recommended = false, allSafe = false, trash = false;
        for (int i = 0; i < options.size(); ++i) {
            const QString &o = options.at(i);
            if (o == QLatin1String("--mode") && i + 1 < options.size()) {
                const auto parsed = SmartCleanupModes::fromRawValue(options.at(++i));
                if (!parsed) {
                    *usageError =
                        QStringLiteral("--mode takes Conservador, Equilibrado or Agresivo");
                    return false;
                }
                mode = *parsed;
            } else if (o == QLatin1String("--select-recommended")) {
                recommended = true;
            } else if (o == QLatin1String("--select-all-safe")) {
                allSafe = true;
            } else if (o == QLatin1String("--trash-selected")) {
                trash = true;
            } else {
                *usageError = QStringLiteral("unexpected argument \"%1\"").arg(o);
                return false;
            }
        }
        // The scanner starts its analysis by itself, as in the app.
        m_automation = std::make_unique<CleanupAutomationSettings>();
        m_scanner = std::make_unique<CleanupScanner>();
        m_scanner->setAutomation(m_automation.get());
        waitForScan(m_scanner.get(), 0);
        if (recommended)
            m_scanner->selectRecommended(mode);
        if (allSafe)
            m_scanner->selectAllSafe();
        if (trash) {
            runBeforeRemove();
            m_scanner->moveSelectedToTrash();
            waitForRemoval(m_scanner.get());
        }
        for (const CleanupItem &item : m_scanner->items())
            result->items.append(toJson(item));
        for (const CleanupItem &item : m_scanner->selectedItems())
            result->selected.append(item.id());
        return true;
    }

private:
    std::unique_ptr<CleanupAutomationSettings> m_automation; // outlives the scanner
    std::unique_ptr<CleanupScanner> m_scanner;
};

} // namespace

std::unique_ptr<ProbeDriver> makeCleanupDriver()
{
    return std::make_unique<CleanupDriver>();
}
