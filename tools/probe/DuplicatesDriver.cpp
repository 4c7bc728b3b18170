#include "ContentDigest.h"
#include "DuplicateScanner.h"
#include "ProbeDriver.h"

namespace {

QJsonObject toJson(const DuplicateFileItem &item)
{
    return {{QStringLiteral("url"), item.url},
            {QStringLiteral("name"), item.name},
            {QStringLiteral("path"), item.path},
            {QStringLiteral("size"), double(item.size)},
            {QStringLiteral("modificationDate"), jsonDate(item.modificationDateMs)}};
}

// duplicates FOLDER --min-mb N [--trash-selected]; the selection is the
// recommended copies, as the screen makes it after every scan.
class DuplicatesDriver : public ProbeDriver
{
public:
    QString module() const override { return QStringLiteral("duplicates"); }
    QString usage() const override
    {
        return QStringLiteral("duplicates FOLDER --min-mb N [--trash-selected]");
    }
    ScannerBase *scanner() const override { return m_scanner.get(); }

    bool run(const QStringList &options, ProbeResult *result, QString *usageError) override
    {
        QString folder;
        bool haveMinimum = false, trash = false;
        int minimumMB = 0;
        for (int i = 0; i < options.size(); ++i) {
            const QString &o = options.at(i);
            if (o == QLatin1String("--min-mb") && i + 1 < options.size()) {
                minimumMB = options.at(++i).toInt(&haveMinimum);
                if (!haveMinimum) {
                    *usageError = QStringLiteral("--min-mb takes a whole number of megabytes");
                    return false;
                }
            } else if (o == QLatin1String("--trash-selected")) {
                trash = true;
            } else if (!o.startsWith(QLatin1String("--")) && folder.isEmpty()) {
                folder = o;
            } else {
                *usageError = QStringLiteral("unexpected argument \"%1\"").arg(o);
                return false;
            }
        }
        if (folder.isEmpty() || !haveMinimum) {
            *usageError = QStringLiteral("duplicates needs FOLDER and --min-mb N");
            return false;
        }
        m_scanner = std::make_unique<DuplicateScanner>();
        m_scanner->scan(folder, minimumMB);
        waitForScan(m_scanner.get(), 0);
        if (m_scanner->completedScanCount() > 0)
            m_scanner->selectRecommendedCopies();
        if (trash)
            m_scanner->moveSelectedToTrash();
        for (const DuplicateGroup &group : m_scanner->groups()) {
            QJsonArray files;
            for (const DuplicateFileItem &file : group.files)
                files.append(toJson(file));
            const auto keeper = DuplicateOrder::keeper(group);
            result->items.append(
                QJsonObject{{QStringLiteral("hash"), group.hash},
                            {QStringLiteral("files"), files},
                            {QStringLiteral("keeper"), keeper ? keeper->url : QString()}});
        }
        for (const DuplicateFileItem &file : m_scanner->selectedFiles())
            result->selected.append(file.id());
        result->extra.insert(QStringLiteral("filesOpened"), double(ContentDigest::filesOpened()));
        return true;
    }

private:
    std::unique_ptr<DuplicateScanner> m_scanner;
};

} // namespace

std::unique_ptr<ProbeDriver> makeDuplicatesDriver()
{
    return std::make_unique<DuplicatesDriver>();
}
