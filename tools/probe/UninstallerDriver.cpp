#include "ProbeDriver.h"
#include "UninstallerScanner.h"

#include "FileLocation.h"

namespace {

QJsonObject toJson(const InstalledApplication &app)
{
    return {{QStringLiteral("url"), app.url},
            {QStringLiteral("name"), app.name},
            {QStringLiteral("bundleIdentifier"), app.bundleIdentifier
                                                     ? QJsonValue(*app.bundleIdentifier)
                                                     : QJsonValue(QJsonValue::Null)},
            {QStringLiteral("version"), app.version},
            {QStringLiteral("appSize"), double(app.appSize)},
            {QStringLiteral("relatedFiles"), QJsonArray::fromStringList(app.relatedFiles)},
            {QStringLiteral("relatedSize"), double(app.relatedSize)}};
}

// uninstaller [--select NAME]… [--select-path PATH]… [--uninstall]
class UninstallerDriver : public ProbeDriver
{
public:
    QString module() const override { return QStringLiteral("uninstaller"); }
    QString usage() const override
    {
        return QStringLiteral("uninstaller [--select NAME]... [--select-path PATH]... "
                              "[--uninstall]   (NAME selects every application of that name, "
                              "PATH the one at that bundle path)");
    }
    ScannerBase *scanner() const override { return m_scanner.get(); }

    bool run(const QStringList &options, ProbeResult *result, QString *usageError) override
    {
        QStringList names;
        QStringList paths;
        bool uninstall = false;
        for (int i = 0; i < options.size(); ++i) {
            const QString &o = options.at(i);
            if (o == QLatin1String("--select") && i + 1 < options.size()) {
                names << options.at(++i);
            } else if (o == QLatin1String("--select-path") && i + 1 < options.size()) {
                paths << FileLocation::standardizedPath(options.at(++i));
            } else if (o == QLatin1String("--uninstall")) {
                uninstall = true;
            } else {
                *usageError = QStringLiteral("unexpected argument \"%1\"").arg(o);
                return false;
            }
        }
        // The scanner starts its analysis by itself, as in the app.
        m_scanner = std::make_unique<UninstallerScanner>();
        waitForScan(m_scanner.get(), 0);
        for (const QString &name : names) {
            bool found = false;
            for (const InstalledApplication &app : m_scanner->applications())
                if (app.name == name) {
                    found = true;
                    if (!m_scanner->selectedApplicationIDs().contains(app.id()))
                        m_scanner->toggleSelection(app);
                }
            if (!found) {
                *usageError = QStringLiteral("no application named \"%1\"").arg(name);
                return false;
            }
        }
        for (const QString &path : paths) {
            bool found = false;
            for (const InstalledApplication &app : m_scanner->applications())
                if (app.id() == path) {
                    found = true;
                    if (!m_scanner->selectedApplicationIDs().contains(app.id()))
                        m_scanner->toggleSelection(app);
                }
            if (!found) {
                *usageError = QStringLiteral("no application at \"%1\"").arg(path);
                return false;
            }
        }
        if (uninstall) {
            // What the uninstall leaves in place, decided before it runs.
            const QStringList keptPaths = m_scanner->uninstallPlan().kept;
            runBeforeRemove();
            m_scanner->uninstallSelected();
            waitForRemoval(m_scanner.get());
            result->extra.insert(QStringLiteral("kept"), QJsonArray::fromStringList(keptPaths));
        }
        for (const InstalledApplication &app : m_scanner->applications()) {
            QJsonObject item = toJson(app);
            QJsonArray related;
            for (const LeftoverOwnership::Decision &d : m_scanner->relatedDecisions(app))
                related.append(QJsonObject{
                    {QStringLiteral("url"), d.url},
                    {QStringLiteral("matchedBy"),
                     d.byIdentifier ? QStringLiteral("identifier") : QStringLiteral("name")},
                    {QStringLiteral("kept"), d.kept},
                    {QStringLiteral("keptBecause"), d.keptBecause.isEmpty()
                                                        ? QJsonValue(QJsonValue::Null)
                                                        : QJsonValue(d.keptBecause)}});
            item.insert(QStringLiteral("related"), related);
            result->items.append(item);
        }
        for (const InstalledApplication &app : m_scanner->selectedApplications())
            result->selected.append(app.id());
        return true;
    }

private:
    std::unique_ptr<UninstallerScanner> m_scanner;
};

} // namespace

std::unique_ptr<ProbeDriver> makeUninstallerDriver()
{
    return std::make_unique<UninstallerDriver>();
}
