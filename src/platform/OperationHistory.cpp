#include "OperationHistory.h"

#include "FileLocation.h"
#include "Formatters.h"

#include <algorithm>

namespace {

using Place = OperationUndo::Place;

QVariantList itemRows(const HistoryOperation &operation)
{
    QVariantList rows;
    for (const HistoryItem &item : operation.items)
        rows << QVariantMap{
            {QStringLiteral("index"), item.index},
            {QStringLiteral("name"),
             FileLocation::displayText(FileLocation::lastPathComponent(item.originalPath))},
            {QStringLiteral("path"), FileLocation::displayText(item.originalPath)},
            {QStringLiteral("sizeText"), Formatters::bytes(item.size)},
            {QStringLiteral("placeText"), OperationHistory::placeText(item)},
            {QStringLiteral("place"), QString::fromLatin1(OperationUndo::placeName(item.place))},
            {QStringLiteral("canPutBack"),
             item.place == Place::trash || item.place == Place::quarantine},
        };
    return rows;
}

QList<ResultRole<HistoryOperation>> operationRoles()
{
    using Op = HistoryOperation;
    return {
        {"operationId", [](const Op &o) { return QVariant(o.id); }},
        {"moduleTitle",
         [](const Op &o) { return QVariant(OperationHistory::moduleTitle(o.module)); }},
        {"dateText", [](const Op &o) { return QVariant(Formatters::mediumDateTime(o.date)); }},
        {"itemCount", [](const Op &o) { return QVariant(int(o.items.size())); }},
        {"sizeText", [](const Op &o) { return QVariant(Formatters::bytes(o.size)); }},
        {"stateText", [](const Op &o) { return QVariant(o.stateText()); }},
        {"canUndo", [](const Op &o) { return QVariant(o.canUndo()); }},
        {"items", [](const Op &o) { return QVariant(itemRows(o)); }},
    };
}

// Each operation with where its items are now, newest first.
QList<HistoryOperation> readHistory(QString *error)
{
    QList<HistoryOperation> out;
    for (const JournalOperation &operation : OperationUndo::recover(error)) {
        HistoryOperation shown{operation.id, operation.module, operation.date, {}, 0};
        for (int index = 0; index < operation.items.size(); ++index) {
            const JournalItem &item = operation.items.at(index);
            const Place place = OperationUndo::placeOf(item);
            if (place == Place::stayed)
                continue;
            shown.items.append({index, item.originalPath, item.identity.size, place,
                                item.restoredPath, item.place == JournalItem::Place::quarantine,
                                !item.quarantineRecord.isEmpty()});
            shown.size += item.identity.size;
        }
        if (!shown.items.isEmpty())
            out.append(shown);
    }
    // Newest first, also between operations written within the same moment
    // (the journal's times can tie): the later in the journal comes first.
    std::reverse(out.begin(), out.end());
    std::stable_sort(
        out.begin(), out.end(),
        [](const HistoryOperation &a, const HistoryOperation &b) { return a.date > b.date; });
    return out;
}

} // namespace

QString HistoryOperation::stateText() const
{
    int restored = 0, gone = 0, quarantined = 0, goneFromQuarantine = 0;
    for (const HistoryItem &item : items) {
        restored += item.place == Place::restored;
        gone += item.place == Place::gone;
        goneFromQuarantine += item.place == Place::gone && item.fromQuarantine;
        quarantined += item.place == Place::quarantine;
    }
    const int all = int(items.size());
    if (restored == all)
        return QStringLiteral("Deshecha");
    if (restored > 0)
        return QStringLiteral("Deshecha en parte");
    if (gone == all)
        return goneFromQuarantine == all ? QStringLiteral("Ya no está en la cuarentena")
                                         : QStringLiteral("Ya no está en la Papelera");
    if (gone > 0)
        return QStringLiteral("Ya no está todo en la Papelera");
    return quarantined == all ? QStringLiteral("En cuarentena") : QStringLiteral("En la Papelera");
}

bool HistoryOperation::canUndo() const
{
    return std::any_of(items.cbegin(), items.cend(), [](const HistoryItem &item) {
        return item.place == Place::trash || item.place == Place::quarantine;
    });
}

OperationHistory::OperationHistory(QObject *parent)
    : ScannerBase(QStringLiteral("Leyendo el historial…"), parent),
      m_operations({[](const HistoryOperation &o) { return o.size; },
                    [](const HistoryOperation &) { return false; }, operationRoles()})
{
    setResults(&m_operations);
    connect(&m_operations, &ResultModel::modelReset, this, &OperationHistory::operationsChanged);
}

QString OperationHistory::moduleTitle(const QString &module)
{
    static const QHash<QString, QString> titles{
        {QStringLiteral("largefiles"), QStringLiteral("Archivos grandes")},
        {QStringLiteral("duplicates"), QStringLiteral("Duplicados")},
        {QStringLiteral("cleanup"), QStringLiteral("Limpieza segura")},
        {QStringLiteral("uninstaller"), QStringLiteral("Desinstalación profunda")},
        {QStringLiteral("protection"), QStringLiteral("Protección")},
    };
    return titles.value(module, module);
}

QString OperationHistory::placeText(const HistoryItem &item)
{
    switch (item.place) {
    case Place::trash:
        return QStringLiteral("En la Papelera");
    case Place::quarantine:
        return QStringLiteral("En cuarentena");
    case Place::restored:
        if (item.toQuarantine)
            return QStringLiteral("Devuelto a la cuarentena");
        return item.restoredPath == item.originalPath
                   ? QStringLiteral("Devuelto a su lugar")
                   : QStringLiteral("Devuelto como “%1”")
                         .arg(FileLocation::displayText(
                             FileLocation::lastPathComponent(item.restoredPath)));
    case Place::gone:
    case Place::stayed:
        break;
    }
    return item.fromQuarantine ? QStringLiteral("Ya no está en la cuarentena")
                               : QStringLiteral("Ya no está en la Papelera");
}

void OperationHistory::scan()
{
    if (deferWhileRemoving([this] { scan(); }))
        return;
    setScanning(true);
    runWalk<QList<HistoryOperation>>(
        [] {
            QString error;
            QList<HistoryOperation> read = readHistory(&error);
            if (!error.isEmpty())
                return WalkOutcome<QList<HistoryOperation>>::failure(
                    QStringLiteral("No se pudo abrir el historial: ") + error);
            return WalkOutcome<QList<HistoryOperation>>::success(std::move(read));
        },
        [this](QList<HistoryOperation> read) {
            m_operations.setItems(std::move(read));
            setStatusText(operationCount() == 0
                              ? QStringLiteral("No hay eliminaciones en los últimos 30 días.")
                              : QStringLiteral("%1 operación(es) en los últimos 30 días.")
                                    .arg(operationCount()));
            setScanning(false);
            countCompletedScan();
        },
        [this](const QString &error) {
            m_operations.setItems({});
            failScan(error, QStringLiteral("No fue posible leer el historial."));
        });
}

void OperationHistory::undoOperation(const QString &operationId)
{
    undo(operationId, {});
}

void OperationHistory::undoItem(const QString &operationId, int index)
{
    undo(operationId, {index});
}

void OperationHistory::undo(const QString &operationId, const QList<int> &items)
{
    setErrorMessage(QString());
    runRemoval<OperationUndo::Report>(
        [operationId, items] { return OperationUndo::undo(operationId, items); },
        [this](const OperationUndo::Report &report) { finishUndo(report); });
}

bool OperationHistory::rescanAfterUndo()
{
    scan();
    return true;
}
