#include "ProbeDriver.h"
#include "ProtectionScanner.h"

#include <QJsonArray>

namespace {

QJsonValue optionalString(const std::optional<QString> &value)
{
    return value ? QJsonValue(*value) : QJsonValue(QJsonValue::Null);
}

// protection [--custom FOLDER]; the selection is the one the screen makes after
// a scan, with the trust list as stored.
class ProtectionDriver : public ProbeDriver
{
public:
    QString module() const override { return QStringLiteral("protection"); }
    QString usage() const override { return QStringLiteral("protection [--custom FOLDER]"); }
    ScannerBase *scanner() const override { return m_scanner.get(); }

    bool run(const QStringList &options, ProbeResult *result, QString *usageError) override
    {
        QString custom;
        for (int i = 0; i < options.size(); ++i) {
            if (options.at(i) == QLatin1String("--custom") && i + 1 < options.size()) {
                custom = options.at(++i);
            } else {
                *usageError = QStringLiteral("unexpected argument \"%1\"").arg(options.at(i));
                return false;
            }
        }
        m_scanner = std::make_unique<ProtectionScanner>();
        const int before = m_scanner->completedScanCount();
        if (custom.isEmpty())
            m_scanner->runFullScan();
        else
            m_scanner->scanCustom(custom);
        waitForScan(m_scanner.get(), before);
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
        for (const QString &id : ProtectionSelection::recommended(
                 m_scanner->findings(), ProtectionSelection::trustedIDs()))
            result->selected.append(id);
        result->extra.insert(
            QStringLiteral("counts"),
            QJsonObject{{QStringLiteral("dangerous"), m_scanner->dangerousCount()},
                        {QStringLiteral("suspicious"), m_scanner->suspiciousCount()},
                        {QStringLiteral("review"), m_scanner->reviewCount()},
                        {QStringLiteral("safe"), m_scanner->safeCount()}});
        return true;
    }

private:
    std::unique_ptr<ProtectionScanner> m_scanner;
};

} // namespace

std::unique_ptr<ProbeDriver> makeProtectionDriver()
{
    return std::make_unique<ProtectionDriver>();
}
