#include "OperationHistory.h"
#include "ProbeDriver.h"

#include <QJsonArray>

namespace {

// history [--undo ID]…: the operations of the last 30 days, newest first, after
// putting back the asked ones whole, in that order.
class HistoryDriver : public ProbeDriver
{
public:
    QString module() const override { return QStringLiteral("history"); }
    QString usage() const override { return QStringLiteral("history [--undo ID]…"); }
    ScannerBase *scanner() const override { return nullptr; }

    bool run(const QStringList &options, ProbeResult *result, QString *usageError) override
    {
        QStringList undo;
        for (int i = 0; i < options.size(); ++i) {
            if (options.at(i) == QLatin1String("--undo") && i + 1 < options.size()) {
                undo << options.at(++i);
            } else {
                *usageError = QStringLiteral("unexpected argument \"%1\"").arg(options.at(i));
                return false;
            }
        }
        OperationHistory history;
        int before = history.completedScanCount();
        history.scan();
        waitForScan(&history, before);
        for (const QString &id : undo) {
            before = history.completedScanCount();
            history.undoOperation(id);
            waitForRemoval(&history);
            waitForScan(&history, before);
        }
        QJsonArray operations;
        for (const HistoryOperation &operation : history.operations()) {
            QJsonArray items;
            for (const HistoryItem &item : operation.items)
                items.append(
                    QJsonObject{{QStringLiteral("originalPath"), item.originalPath},
                                {QStringLiteral("place"),
                                 QString::fromLatin1(OperationUndo::placeName(item.place))},
                                {QStringLiteral("size"), double(item.size)}});
            operations.append(
                QJsonObject{{QStringLiteral("id"), operation.id},
                            {QStringLiteral("module"), operation.module},
                            {QStringLiteral("date"), operation.date.toUTC().toString(Qt::ISODate)},
                            {QStringLiteral("state"), operation.stateText()},
                            {QStringLiteral("items"), items}});
        }
        result->own = QJsonObject{{QStringLiteral("operations"), operations}};
        return true;
    }
};

} // namespace

std::unique_ptr<ProbeDriver> makeHistoryDriver()
{
    return std::make_unique<HistoryDriver>();
}
