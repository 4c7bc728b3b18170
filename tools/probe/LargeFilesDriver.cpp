#include "ProbeDriver.h"
#include "StorageScanner.h"

#include <QJsonArray>

namespace {

// largefiles FOLDER --min-mb N [--select-all] [--trash-selected]
class LargeFilesDriver : public ProbeDriver
{
public:
    QString module() const override { return QStringLiteral("largefiles"); }
    QString usage() const override
    {
        return QStringLiteral("largefiles FOLDER --min-mb N [--select-all] [--trash-selected]");
    }
    ScannerBase *scanner() const override { return m_scanner.get(); }

    bool run(const QStringList &options, ProbeResult *result, QString *usageError) override
    {
        const auto parsed = parseFolderScan(
            module(), options, {QStringLiteral("--select-all"), QStringLiteral("--trash-selected")},
            usageError);
        if (!parsed)
            return false;
        m_scanner = std::make_unique<StorageScanner>();
        const int before = m_scanner->completedScanCount();
        m_scanner->scan(parsed->folder, parsed->minimumMB);
        waitForScan(m_scanner.get(), before);
        if (parsed->flags.contains(QLatin1String("--select-all")))
            m_scanner->selectAll();
        if (parsed->flags.contains(QLatin1String("--trash-selected"))) {
            runBeforeRemove();
            m_scanner->moveSelectedToTrash();
            waitForRemoval(m_scanner.get());
        }
        for (const LargeFileItem &item : m_scanner->files())
            result->items.append(fileJson(item));
        for (const LargeFileItem &item : m_scanner->selectedFiles())
            result->selected.append(item.id());
        return true;
    }

private:
    std::unique_ptr<StorageScanner> m_scanner;
};

} // namespace

std::unique_ptr<ProbeDriver> makeLargeFilesDriver()
{
    return std::make_unique<LargeFilesDriver>();
}
