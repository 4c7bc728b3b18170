#include "DiskMapScanner.h"
#include "FileLocation.h"
#include "ProbeDriver.h"

#include <QJsonArray>

namespace {

using Node = FolderTotals::Node;

// diskmap FOLDER [--depth N]: every folder and file down to N levels below
// FOLDER, each with its total, children largest first, then by path.
class DiskMapDriver : public ProbeDriver
{
public:
    QString module() const override { return QStringLiteral("diskmap"); }
    QString usage() const override { return QStringLiteral("diskmap FOLDER [--depth N]"); }
    ScannerBase *scanner() const override { return m_scanner.get(); }

    bool run(const QStringList &options, ProbeResult *result, QString *usageError) override
    {
        QString folder;
        int depth = 2;
        for (qsizetype i = 0; i < options.size(); ++i) {
            bool ok = true;
            if (options[i] == QLatin1String("--depth") && i + 1 < options.size())
                depth = options[++i].toInt(&ok);
            else if (folder.isEmpty() && !options[i].startsWith(QLatin1String("--")))
                folder = options[i];
            else
                ok = false;
            if (!ok || depth < 0) {
                *usageError = QStringLiteral("%1: unexpected \"%2\"").arg(module(), options[i]);
                return false;
            }
        }
        if (folder.isEmpty()) {
            *usageError = QStringLiteral("%1 needs a FOLDER").arg(module());
            return false;
        }
        m_scanner = std::make_unique<DiskMapScanner>();
        m_scanner->setAllFilesAbove(depth);
        const int before = m_scanner->completedScanCount();
        m_scanner->scan(folder);
        waitForScan(m_scanner.get(), before);
        if (const Node *root = m_scanner->root())
            result->extra.insert(QStringLiteral("root"), json(*root, root->name, depth));
        else
            result->extra.insert(QStringLiteral("root"), QJsonValue::Null);
        result->extra.insert(QStringLiteral("partial"), m_scanner->isPartial());
        return true;
    }

private:
    static QJsonObject json(const Node &node, const QByteArray &path, int depth)
    {
        QJsonArray children;
        if (depth > 0)
            for (const auto &child : node.children)
                children.append(json(*child, FolderTotals::joined(path, child->name), depth - 1));
        return {{QStringLiteral("path"), FileLocation::decode(path)},
                {QStringLiteral("size"), double(node.size)},
                {QStringLiteral("files"), double(node.files)},
                {QStringLiteral("children"), children}};
    }

    std::unique_ptr<DiskMapScanner> m_scanner;
};

} // namespace

std::unique_ptr<ProbeDriver> makeDiskMapDriver()
{
    return std::make_unique<DiskMapDriver>();
}
