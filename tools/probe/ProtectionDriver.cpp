#include "ProbeDriver.h"
#include "ProtectionQuarantineManager.h"
#include "ProtectionScanner.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QJsonArray>

namespace {

QJsonValue optionalString(const std::optional<QString> &value)
{
    return value ? QJsonValue(*value) : QJsonValue(QJsonValue::Null);
}

QJsonValue optionalText(const QString &text)
{
    return text.isEmpty() ? QJsonValue(QJsonValue::Null) : QJsonValue(text);
}

void waitForQuarantine(const ProtectionQuarantineManager &manager)
{
    waitUntil(&manager, &ProtectionQuarantineManager::isRemovingChanged,
              [&manager] { return !manager.isWorking(); });
}

// protection [--custom FOLDER] [--trust ID]… [--quarantine-selected]: the
// selection is the one every scan ends with, by the trust list as stored;
// trusting comes after it, then the selection is made again, then moved.
class ProtectionDriver : public ProbeDriver
{
public:
    QString module() const override { return QStringLiteral("protection"); }
    QString usage() const override
    {
        return QStringLiteral("protection [--custom FOLDER] [--trust ID]… [--quarantine-selected]");
    }
    ScannerBase *scanner() const override { return m_scanner.get(); }

    bool run(const QStringList &options, ProbeResult *result, QString *usageError) override
    {
        QString custom;
        QStringList trust;
        bool quarantine = false;
        for (int i = 0; i < options.size(); ++i) {
            if (options.at(i) == QLatin1String("--custom") && i + 1 < options.size()) {
                custom = options.at(++i);
            } else if (options.at(i) == QLatin1String("--trust") && i + 1 < options.size()) {
                trust.append(options.at(++i));
            } else if (options.at(i) == QLatin1String("--quarantine-selected")) {
                quarantine = true;
            } else {
                *usageError = QStringLiteral("unexpected argument \"%1\"").arg(options.at(i));
                return false;
            }
        }
        m_scanner = std::make_unique<ProtectionScanner>();
        if (quarantine) {
            m_manager = std::make_unique<ProtectionQuarantineManager>();
            waitForQuarantine(*m_manager);
            m_scanner->setQuarantine(m_manager.get());
        }
        const int before = m_scanner->completedScanCount();
        if (custom.isEmpty())
            m_scanner->runFullScan();
        else
            m_scanner->scanCustom(custom);
        waitForScan(m_scanner.get(), before);
        for (const QString &id : trust)
            if (!m_scanner->trustStore()->isTrusted(id))
                m_scanner->toggleTrust(id);
        if (!trust.isEmpty())
            m_scanner->selectRecommendedFindings();
        if (quarantine) {
            runBeforeRemove();
            m_scanner->quarantineSelected();
            QCoreApplication::processEvents();
            waitForQuarantine(*m_manager);
            QCoreApplication::processEvents(); // the scanner's part of the outcome
        }

        for (const SecurityFinding &f : m_scanner->findings()) {
            QJsonArray reasons;
            for (const QString &r : f.reasons)
                reasons.append(r);
            result->items.append(QJsonObject{
                {QStringLiteral("url"), f.url},
                {QStringLiteral("name"), f.name},
                {QStringLiteral("path"), f.path},
                {QStringLiteral("type"), Threat::caseName(f.type)},
                {QStringLiteral("level"), Threat::caseName(f.level)},
                {QStringLiteral("reasons"), reasons},
                {QStringLiteral("bundleIdentifier"), optionalString(f.bundleIdentifier)},
                {QStringLiteral("teamIdentifier"), optionalString(f.teamIdentifier)},
                {QStringLiteral("signatureDescription"), f.signatureDescription},
                {QStringLiteral("size"), double(f.size)},
                {QStringLiteral("modificationDate"), jsonDate(f.modificationDateMs)}});
        }
        for (const SecurityFinding &f : m_scanner->selectedFindings())
            result->selected.append(f.id());
        result->extra.insert(
            QStringLiteral("counts"),
            QJsonObject{{QStringLiteral("dangerous"), m_scanner->dangerousCount()},
                        {QStringLiteral("suspicious"), m_scanner->suspiciousCount()},
                        {QStringLiteral("review"), m_scanner->reviewCount()},
                        {QStringLiteral("safe"), m_scanner->safeCount()}});
        if (m_manager) {
            // The screen's alert: the scanner's message, else the quarantine's.
            if (m_scanner->errorMessage().isEmpty())
                result->errorMessage = optionalText(m_manager->errorMessage());
            result->extra.insert(
                QStringLiteral("quarantine"),
                QJsonObject{
                    {QStringLiteral("statusText"), m_manager->statusText()},
                    {QStringLiteral("errorMessage"), optionalText(m_manager->errorMessage())}});
        }
        return true;
    }

private:
    std::unique_ptr<ProtectionScanner> m_scanner;
    std::unique_ptr<ProtectionQuarantineManager> m_manager;
};

// quarantine [--restore ID]… [--trash ID]…: the records as stored, after the
// asked restores and moves to the Trash, in that order.
class QuarantineDriver : public ProbeDriver
{
public:
    QString module() const override { return QStringLiteral("quarantine"); }
    QString usage() const override
    {
        return QStringLiteral("quarantine [--restore ID]… [--trash ID]…");
    }
    ScannerBase *scanner() const override { return nullptr; }

    bool run(const QStringList &options, ProbeResult *result, QString *usageError) override
    {
        QList<std::pair<bool, QString>> actions; // (restore?, id)
        for (int i = 0; i < options.size(); ++i) {
            const QString &option = options.at(i);
            if ((option == QLatin1String("--restore") || option == QLatin1String("--trash")) &&
                i + 1 < options.size()) {
                actions.append({option == QLatin1String("--restore"), options.at(++i)});
            } else {
                *usageError = QStringLiteral("unexpected argument \"%1\"").arg(option);
                return false;
            }
        }
        ProtectionQuarantineManager manager;
        waitForQuarantine(manager);
        if (!actions.isEmpty())
            runBeforeRemove();
        for (const auto &[restore, id] : actions) {
            if (restore)
                manager.restore(id);
            else
                manager.moveToTrash(id);
            QCoreApplication::processEvents();
            waitForQuarantine(manager);
        }
        QJsonArray records;
        for (const ProtectionQuarantineRecord &r : manager.records())
            records.append(QuarantineIndex::toJson(r));
        result->own =
            QJsonObject{{QStringLiteral("module"), module()},
                        {QStringLiteral("statusText"), manager.statusText()},
                        {QStringLiteral("errorMessage"), optionalText(manager.errorMessage())},
                        {QStringLiteral("records"), records}};
        return true;
    }
};

} // namespace

std::unique_ptr<ProbeDriver> makeProtectionDriver()
{
    return std::make_unique<ProtectionDriver>();
}

std::unique_ptr<ProbeDriver> makeQuarantineDriver()
{
    return std::make_unique<QuarantineDriver>();
}
