#include "ProbeDriver.h"
#include "StorageScanner.h"

#include <QJsonArray>

namespace {

QJsonObject toJson(const LargeFileItem &item)
{
    return {{QStringLiteral("url"), item.url},
            {QStringLiteral("name"), item.name},
            {QStringLiteral("path"), item.path},
            {QStringLiteral("size"), double(item.size)},
            {QStringLiteral("modificationDate"), jsonDate(item.modificationDateMs)}};
}

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
        QString folder;
        int minimumMB = -1;
        bool selectAll = false, trash = false;
        for (int i = 0; i < options.size(); ++i) {
            const QString &o = options.at(i);
            if (o == QLatin1String("--min-mb") && i + 1 < options.size()) {
                bool ok = false;
                minimumMB = options.at(++i).toInt(&ok);
                if (!ok || minimumMB < 0) {
                    *usageError = QStringLiteral("--min-mb takes a whole number of megabytes");
                    return false;
                }
            } else if (o == QLatin1String("--select-all")) {
                selectAll = true;
            } else if (o == QLatin1String("--trash-selected")) {
                trash = true;
            } else if (!o.startsWith(QLatin1String("--")) && folder.isEmpty()) {
                folder = o;
            } else {
                *usageError = QStringLiteral("unexpected argument \"%1\"").arg(o);
                return false;
            }
        }
        if (folder.isEmpty() || minimumMB < 0) {
            *usageError = QStringLiteral("largefiles needs FOLDER and --min-mb N");
            return false;
        }
        m_scanner = std::make_unique<StorageScanner>();
        const int before = m_scanner->completedScanCount();
        m_scanner->scan(folder, minimumMB);
        waitForScan(m_scanner.get(), before);
        if (selectAll)
            m_scanner->selectAll();
        if (trash)
            m_scanner->moveSelectedToTrash();
        for (const LargeFileItem &item : m_scanner->files())
            result->items.append(toJson(item));
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
