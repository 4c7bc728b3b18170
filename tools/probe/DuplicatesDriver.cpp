#include "ContentDigest.h"
#include "DuplicateScanner.h"
#include "ProbeDriver.h"

namespace {

// duplicates FOLDER --min-mb N [--trash-selected]; the selection is the
// recommended copies, which every scan ends with.
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
        const auto parsed =
            parseFolderScan(module(), options, {QStringLiteral("--trash-selected")}, usageError);
        if (!parsed)
            return false;
        m_scanner = std::make_unique<DuplicateScanner>();
        m_scanner->scan(parsed->folder, parsed->minimumMB);
        waitForScan(m_scanner.get(), 0);
        if (parsed->flags.contains(QLatin1String("--trash-selected"))) {
            runBeforeRemove();
            m_scanner->moveSelectedToTrash();
            waitForRemoval(m_scanner.get());
        }
        for (const DuplicateGroup &group : m_scanner->groups()) {
            QJsonArray files;
            for (const DuplicateFileItem &file : group.files)
                files.append(fileJson(file));
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
